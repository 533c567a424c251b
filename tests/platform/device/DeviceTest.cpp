#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <string>

#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

class Device : public testing::Test {
 protected:
  TempDatabase db_;
};

TEST_F(Device, SecretsRoundTripUnderTheDeviceKey) {
  LogCapture log;
  char stored[256];
  ASSERT_EQ(0, VM_Encrypt_Param("s3cr3t-Pa55", stored, sizeof stored));
  EXPECT_EQ(0, std::strncmp(stored, "enc1:", 5));
  EXPECT_EQ(nullptr, std::strstr(stored, "s3cr3t"));
  char plain[64];
  ASSERT_EQ(0, VM_Decrypt_Param(stored, plain, sizeof plain));
  EXPECT_STREQ("s3cr3t-Pa55", plain);

  char again[256];
  ASSERT_EQ(0, VM_Encrypt_Param("s3cr3t-Pa55", again, sizeof again));
  EXPECT_STRNE(stored, again);  // a fresh nonce each time

  struct stat info;
  ASSERT_EQ(0, stat((db_.directory() + "/device.key").c_str(), &info));
  EXPECT_EQ(0600u, info.st_mode & 0777);

  // Altered, foreign or plain text never decrypts, and the buffer is emptied.
  std::string altered = stored;
  altered[10] = altered[10] == 'A' ? 'B' : 'A';
  EXPECT_EQ(-1, VM_Decrypt_Param(altered.c_str(), plain, sizeof plain));
  EXPECT_STREQ("", plain);
  EXPECT_EQ(-1, VM_Decrypt_Param("s3cr3t-Pa55", plain, sizeof plain));
  EXPECT_EQ(-1, VM_Decrypt_Param("enc1:!!!", plain, sizeof plain));
  EXPECT_EQ(-1, VM_Decrypt_Param(stored, plain, 5));  // does not fit
  EXPECT_EQ(-1, VM_Decrypt_Param(nullptr, plain, sizeof plain));
  EXPECT_EQ(-1, VM_Encrypt_Param("x", stored, 8));

  for (const CapturedLine& line : log.lines()) {
    EXPECT_EQ(std::string::npos, line.text.find("s3cr3t")) << line.text;
  }
}

TEST_F(Device, SeededPasswordBelongsToThisDevice) {
  const char* stored = g78();
  ASSERT_NE(nullptr, stored);
  char plain[64];
  ASSERT_EQ(0, VM_Decrypt_Param(stored, plain, sizeof plain));
  EXPECT_STREQ("change-me-on-first-use", plain);
  // It is bound to its path: read from another path (copied or moved there)
  // it does not open.
  const std::string sealed = stored;
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/fallback_password", sealed.c_str()));
  EXPECT_EQ(-1, VM_Decrypt_Param(g1357(), plain, sizeof plain));
  EXPECT_EQ(0, VM_Decrypt_Param(g78(), plain, sizeof plain));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/password", "other"));
  EXPECT_EQ(-1, VM_Decrypt_Param(sealed.c_str(), plain, sizeof plain));
  // A text that was never read is found by a search, and must be held by one path only.
  char fresh[256];
  ASSERT_EQ(0, VM_Encrypt_Path_Param("/ems/server/password", "p", fresh, sizeof fresh));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/password", fresh));
  EXPECT_EQ(0, VM_Decrypt_Param(fresh, plain, sizeof plain));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/fallback_password", fresh));
  EXPECT_EQ(-1, VM_Decrypt_Param(fresh, plain, sizeof plain));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/password", sealed.c_str()));
  stored = g78();
  // Another device (another key) cannot read it.
  setenv("VM_DEVICE_KEY_FILE", (db_.directory() + "/other.key").c_str(), 1);
  EXPECT_EQ(-1, VM_Decrypt_Param(stored, plain, sizeof plain));
}

TEST_F(Device, ProfileQueriesAndBuffers) {
  EXPECT_STREQ("3.2.1.1140", VM_Get_Version());
  EXPECT_STREQ("DP400", VM_Get_Hw_Type());
  EXPECT_EQ(1, vm_is_registered());
  EXPECT_EQ(0, is_conference_phone());
  EXPECT_EQ(1, VM_cfg_is_b2goe_enable());
  char id[128];
  ASSERT_EQ(0, vm_get_user_id(id, sizeof id));
  EXPECT_STREQ("alex.morgan@example.com", id);
  char tiny[4];
  EXPECT_EQ(-1, vm_get_phone_number(tiny, sizeof tiny));
  EXPECT_STREQ("", tiny);

  LyncLocation location;
  ASSERT_TRUE(location.LoadFromConfig());
  EXPECT_FALSE(location.IsEmpty());
  EXPECT_EQ("12 Main Street, Springfield, US", location.ConvertToStringEx());
  for (const char* path : {"location/house_number", "location/street", "location/city", "location/country"}) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path, " "));
  }
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("location/postal_code", "62701"));
  ASSERT_TRUE(location.LoadFromConfig());
  EXPECT_EQ("62701", location.ConvertToStringEx());
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("location/postal_code", ""));
  ASSERT_TRUE(location.LoadFromConfig());
  EXPECT_TRUE(location.IsEmpty());

  char certificate[256];
  char key[256];
  EXPECT_EQ(-1, VM_Get_Cert_And_Pkey_File(certificate, key));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("security/device_certificate_file", "/etc/dm/device.crt"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("security/device_key_file", "/etc/dm/device.key"));
  ASSERT_EQ(0, VM_Get_Cert_And_Pkey_File(certificate, key));
  EXPECT_STREQ("/etc/dm/device.crt", certificate);
  EXPECT_STREQ("/etc/dm/device.key", key);
}

TEST_F(Device, NetworkComesFromTheInterfaceUnlessOverridden) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/interface", "lo"));
  char text[32];
  ASSERT_EQ(0, VM_Get_IP_Address(text, sizeof text));
  EXPECT_STREQ("127.0.0.1", text);
  ASSERT_EQ(0, VM_Get_NetMask(text, sizeof text));
  EXPECT_STREQ("255.0.0.0", text);
  ASSERT_EQ(0, VM_Get_Eth_Str_Mac(text, 20));
  EXPECT_STREQ("00:00:00:00:00:00", text);

  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/override/ip_address", "10.1.2.3"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/override/mac", "00:11:22:aa:bb:cc"));
  ASSERT_EQ(0, VM_Get_IP_Address(text, sizeof text));
  EXPECT_STREQ("10.1.2.3", text);
  ASSERT_EQ(0, VM_Get_Eth_Str_Mac(text, 20));
  EXPECT_STREQ("00:11:22:aa:bb:cc", text);
  EXPECT_EQ(-1, VM_Get_Eth_Str_Mac(text, 10));

  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/override/mac", ""));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/interface", "../../etc"));
  EXPECT_EQ(-1, VM_Get_Eth_Str_Mac(text, 20));
}

}  // namespace
