// Device queries and secrets sealed under the device key.
#include <gtest/gtest.h>

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
  LogCapture log_;
  char plain_[64] = "";
  int Open(const char* stored) { return VM_Decrypt_Param(stored, plain_, sizeof plain_); }
};

TEST_F(Device, SecretsRoundTripUnderTheDeviceKeyAndNeverLeak) {
  char stored[256], again[256];
  ASSERT_EQ(0, VM_Encrypt_Param("s3cr3t-Pa55", stored, sizeof stored));
  ASSERT_EQ(0, VM_Encrypt_Param("s3cr3t-Pa55", again, sizeof again));
  EXPECT_EQ(0, std::strncmp(stored, "enc1:", 5));
  EXPECT_EQ(nullptr, std::strstr(stored, "s3cr3t"));
  EXPECT_STRNE(stored, again);  // a fresh nonce each time
  ASSERT_EQ(0, Open(stored));
  EXPECT_STREQ("s3cr3t-Pa55", plain_);
  EXPECT_EQ(0, VM_Decrypt_Param(stored, plain_, 12));  // the exact fit
  EXPECT_EQ(-1, VM_Decrypt_Param(stored, plain_, 11));
  EXPECT_TRUE(log_.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Secrets", "VM_Decrypt_Param", "Decrypted parameter does not fit 11 bytes"));
  // Altered, foreign or plain text never decrypts, and the buffer is emptied.
  std::string altered = stored;
  altered[10] = altered[10] == 'A' ? 'B' : 'A';
  for (const char* bad : {altered.c_str(), "s3cr3t-Pa55", "enc1:!!!", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(-1, Open(bad));
    EXPECT_STREQ("", plain_);
  }
  EXPECT_EQ(-1, VM_Encrypt_Param("x", stored, 8));
  for (const CapturedLine& line : log_.lines()) EXPECT_EQ(std::string::npos, line.text.find("s3cr3t")) << line.text;
}

// A sealed value is bound to its path: it opens where this thread read it
// (among its last four reads of sealed values) or where it is the only copy.
TEST_F(Device, SeededPasswordOpensOnlyFromItsOwnPathOnThisDevice) {
  const std::string sealed = g78();
  ASSERT_EQ(0, Open(sealed.c_str()));
  EXPECT_STREQ("change-me-on-first-use", plain_);
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/fallback_password", sealed.c_str()));  // a copy
  EXPECT_EQ(-1, Open(g1357()));
  char value[256];
  for (int i = 0; i < 4; ++i) {  // other sealed values
    const std::string path = "other/" + std::to_string(i);
    ASSERT_EQ(0, VM_Encrypt_Path_Param(path.c_str(), "p", value, sizeof value));
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path.c_str(), value));
  }
  for (int reads : {3, 4}) {  // later reads of other sealed values push it out
    ASSERT_EQ(0, Open(g78()));
    for (int i = 0; i < reads; ++i) vmCfgGetParam(("other/" + std::to_string(i)).c_str(), value, sizeof value);
    EXPECT_EQ(reads < 4 ? 0 : -1, Open(sealed.c_str())) << reads;
  }
  setenv("VM_DEVICE_KEY_FILE", (db_.directory() + "/other.key").c_str(), 1);
  EXPECT_EQ(-1, Open(sealed.c_str()));  // another device (another key)
}

TEST_F(Device, ProfileAndNetworkQueriesFillTheirBuffers) {
  char id[24];
  ASSERT_EQ(0, vm_get_user_id(id, sizeof id));  // 23 bytes and the end
  EXPECT_STREQ("alex.morgan@example.com", id);
  EXPECT_EQ(-1, vm_get_user_id(id, sizeof id - 1));
  EXPECT_STREQ("", id);
  EXPECT_TRUE(log_.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "vmDevice", "CopyText", "23 bytes does not fit 23 bytes"));
  char certificate[256], key[256];
  EXPECT_EQ(-1, VM_Get_Cert_And_Pkey_File(certificate, key));
  EXPECT_TRUE(log_.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "vmDevice", "VM_Get_Cert_And_Pkey_File", "not configured"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/interface", "lo"));
  ASSERT_EQ(0, VM_Get_IP_Address(id, sizeof id));
  EXPECT_STREQ("127.0.0.1", id);
}

}  // namespace
