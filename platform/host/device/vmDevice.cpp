// Device queries of the host platform: profile values from the configuration
// database and the real addresses of the network interface.
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/host/config/ConfigAccess.h"
#include "platform/vmDevice.h"
#include "platform/vmLog.h"
#include "platform/vmUtils.h"

namespace {

int CopyText(const std::string& text, char* buffer, int size) {
  if (buffer == nullptr || size <= 0) return -1;
  if (text.size() >= static_cast<size_t>(size)) {
    buffer[0] = '\0';
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Value of %zu bytes does not fit %d bytes", text.size(), size);
    return -1;
  }
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return 0;
}

enum class Address { kIp, kNetmask };

// The IPv4 address or mask of the configured interface, or of the first
// running non-loopback interface that has one.
std::string InterfaceAddress(Address which, std::string* interface_name) {
  const std::string wanted = dmcfg::GetText("network/interface");
  struct ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return std::string();
  std::string result;
  for (const struct ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
    if (wanted.empty() ? ((entry->ifa_flags & IFF_LOOPBACK) || !(entry->ifa_flags & IFF_UP))
                       : wanted != entry->ifa_name) {
      continue;
    }
    const struct sockaddr* address = which == Address::kIp ? entry->ifa_addr : entry->ifa_netmask;
    char text[INET_ADDRSTRLEN] = {0};
    if (address != nullptr &&
        inet_ntop(AF_INET, &reinterpret_cast<const struct sockaddr_in*>(address)->sin_addr, text,
                  sizeof text) != nullptr) {
      result = text;
      if (interface_name) *interface_name = entry->ifa_name;
      break;
    }
  }
  freeifaddrs(list);
  return result;
}

int NetworkValue(const char* override_path, Address which, char* buffer, int size) {
  std::string value = dmcfg::GetText(override_path);
  if (value.empty()) value = InterfaceAddress(which, nullptr);
  if (value.empty()) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_WARNING, "No IPv4 interface found");
    if (buffer && size > 0) buffer[0] = '\0';
    return -1;
  }
  return CopyText(value, buffer, size);
}

}  // namespace

extern "C" {

int VM_Get_Eth_Str_Mac(char* buffer, int size) {
  std::string mac = dmcfg::GetText("network/override/mac");
  if (mac.empty()) {
    std::string name = dmcfg::GetText("network/interface");
    if (name.empty()) InterfaceAddress(Address::kIp, &name);
    // The interface name selects a file under sysfs; refuse anything that
    // could walk out of it.
    if (!name.empty() && name.find('/') == std::string::npos && name != "." && name != "..") {
      std::ifstream file("/sys/class/net/" + name + "/address");
      std::getline(file, mac);
      mac = strTrim(mac);
    }
  }
  if (mac.empty()) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_WARNING, "No Ethernet MAC address found");
    if (buffer && size > 0) buffer[0] = '\0';
    return -1;
  }
  return CopyText(mac, buffer, size);
}

int VM_Get_IP_Address(char* buffer, int size) {
  return NetworkValue("network/override/ip_address", Address::kIp, buffer, size);
}

int VM_Get_NetMask(char* buffer, int size) {
  return NetworkValue("network/override/netmask", Address::kNetmask, buffer, size);
}

const char* VM_Get_Version(void) { return dmcfg::KeepString(dmcfg::GetText("device/firmware_version")); }
const char* VM_Get_Hw_Type(void) { return dmcfg::KeepString(dmcfg::GetText("device/hw_type")); }
int VM_cfg_is_b2goe_enable(void) { return dmcfg::GetNumber("btoe/enabled") != 0; }
const char* vm_get_user_agent(void) { return dmcfg::KeepString(dmcfg::GetText("sip/user_agent")); }
int vm_is_registered(void) { return dmcfg::GetNumber("status/sip/registered") != 0; }
const char* vm_get_user_name(void) { return dmcfg::KeepString(dmcfg::GetText("sip/user_name")); }
int vm_get_user_id(char* buffer, int size) { return CopyText(dmcfg::GetText("sip/user_id"), buffer, size); }
int vm_get_phone_number(char* buffer, int size) {
  return CopyText(dmcfg::GetText("sip/phone_number"), buffer, size);
}
int is_conference_phone(void) { return dmcfg::GetNumber("device/is_conference_phone") != 0; }

int VM_Get_Cert_And_Pkey_File(char* certificate_path, char* key_path) {
  constexpr int kSize = 256;
  const std::string certificate = dmcfg::GetText("security/device_certificate_file");
  const std::string key = dmcfg::GetText("security/device_key_file");
  if (certificate.empty() || key.empty()) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Device certificate or key file is not configured");
    return -1;
  }
  if (CopyText(certificate, certificate_path, kSize) != 0 || CopyText(key, key_path, kSize) != 0) return -1;
  return 0;
}

}  // extern "C"

bool LyncLocation::LoadFromConfig() {
  std::string* fields[] = {&m_houseNumber, &m_street, &m_city, &m_state, &m_postalCode, &m_country};
  const char* paths[] = {"location/house_number", "location/street", "location/city",
                         "location/state", "location/postal_code", "location/country"};
  bool ok = true;
  for (size_t i = 0; i < sizeof paths / sizeof paths[0]; ++i) {
    std::string value;
    ok = dmcfg::ReadValue(paths[i], &value) == 0 && ok;
    *fields[i] = strTrim(value);
  }
  return ok;
}

bool LyncLocation::IsEmpty() const {
  return m_houseNumber.empty() && m_street.empty() && m_city.empty() && m_state.empty() &&
         m_postalCode.empty() && m_country.empty();
}

std::string LyncLocation::ConvertToStringEx() const {
  const auto joined = [](const std::string& a, const std::string& b) {
    return a.empty() ? b : (b.empty() ? a : a + " " + b);
  };
  std::string text;
  for (const std::string& part : {joined(m_houseNumber, m_street), m_city, joined(m_state, m_postalCode),
                                  m_country}) {
    if (part.empty()) continue;
    if (!text.empty()) text += ", ";
    text += part;
  }
  return text;
}
