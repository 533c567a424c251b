// Device and network queries, and the device's stored secrets.
//
// Identity and registration answers come from the configuration database
// (the device profile); network answers come from the configured interface
// (network/interface, else the first running non-loopback IPv4 interface),
// unless the network/override/* parameters hold a value. Text results are
// written into the caller's buffer (NUL-terminated, 0 on success, -1 when
// unknown or when it does not fit) or, for the const char* queries, follow
// the lifetime rule of vmCfg.h.
#ifndef DEVMGMT_PLATFORM_VMDEVICE_H_
#define DEVMGMT_PLATFORM_VMDEVICE_H_

#include <string>

#include "DmExport.h"

extern "C" {

DM_EXPORT int VM_Get_Eth_Str_Mac(char* buffer, int size);  // "aa:bb:cc:dd:ee:ff"
DM_EXPORT int VM_Get_IP_Address(char* buffer, int size);
DM_EXPORT int VM_Get_NetMask(char* buffer, int size);

DM_EXPORT const char* VM_Get_Version(void);
DM_EXPORT const char* VM_Get_Hw_Type(void);
DM_EXPORT int VM_cfg_is_b2goe_enable(void);
DM_EXPORT const char* vm_get_user_agent(void);
DM_EXPORT int vm_is_registered(void);
DM_EXPORT const char* vm_get_user_name(void);
DM_EXPORT int vm_get_user_id(char* buffer, int size);
DM_EXPORT int vm_get_phone_number(char* buffer, int size);
DM_EXPORT int is_conference_phone(void);

// Secrets are stored as "enc2:" + base64(nonce | AES-256-GCM ciphertext |
// tag) under a per-device key kept beside the database (device.key, mode
// 0600, made on first use, refused when others may read or change it;
// VM_DEVICE_KEY_FILE names another file). VM_Encrypt_Path_Param seals the
// secret for one configuration path (the path is the cipher's associated
// data): VM_Decrypt_Param opens such a text only when it is stored under
// exactly one path, the one it was made for, so secrets cannot be swapped or
// copied between paths. VM_Encrypt_Param makes the unbound "enc1:" form of
// earlier versions, which still opens anywhere.
// VM_Decrypt_Param writes the plain text into `buffer` and returns 0, or
// returns -1 (buffer emptied) for text that is not a secret of this device,
// that was altered or moved, or that does not fit. None ever logs the secret.
DM_EXPORT int VM_Decrypt_Param(const char* stored, char* buffer, int size);
DM_EXPORT int VM_Encrypt_Param(const char* plain, char* buffer, int size);
DM_EXPORT int VM_Encrypt_Path_Param(const char* path, const char* plain, char* buffer, int size);

// The device certificate and private key files (two 256-byte buffers);
// 0 when both are configured.
DM_EXPORT int VM_Get_Cert_And_Pkey_File(char* certificate_path, char* key_path);

}  // extern "C"

// The configured emergency location of the device.
class DM_EXPORT LyncLocation {
 public:
  // Reads the location/* parameters; false when the database can't be read.
  bool LoadFromConfig();
  bool IsEmpty() const;
  // "12 Main Street, Springfield, IL 62701, US": the parts that are set.
  std::string ConvertToStringEx() const;

  std::string m_houseNumber;
  std::string m_street;
  std::string m_city;
  std::string m_state;
  std::string m_postalCode;
  std::string m_country;
};

#endif  // DEVMGMT_PLATFORM_VMDEVICE_H_
