// The local certificate chain check: device certificate -> intermediates in
// CAcerts/ -> root, by issuer names.
#include <dirent.h>
#include <openssl/x509.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "state/CertAcquisition.h"
#include "state/CertLog.h"

namespace {

const char kDeviceCertFile[] = DEVICE_CERT_FILE_NAME;
const char kRootCertFile[] = "CAROOT.crt";
const char kIntermediateDir[] = "CAcerts";
// A directory entry type with this bit set is a directory (DT_DIR).
constexpr unsigned kDirectoryTypeBit = 4;

struct CertFree {
  void operator()(certificate_openssl* cert) const { cert_crypto_destroy(cert); }
};
using CertPtr = std::unique_ptr<certificate_openssl, CertFree>;

using NameText = char[CERT_TEXT_SIZE];

// The one-line form of a name, cut to CERT_TEXT_SIZE - 1 characters; empty
// when OpenSSL gives none.
void OneLine(const X509_NAME* name, NameText& text) {
  text[0] = '\0';
  if (name == nullptr || X509_NAME_oneline(name, text, CERT_TEXT_SIZE) == nullptr) text[0] = '\0';
}

// Joins parts into a CERT_TEXT_SIZE buffer; false when they don't fit (a cut
// path would name another file).
bool JoinPath(NameText& out, std::initializer_list<const char*> parts) {
  std::string joined;
  for (const char* part : parts) joined += part;
  if (joined.size() >= CERT_TEXT_SIZE) return false;
  std::memcpy(out, joined.c_str(), joined.size() + 1);
  return true;
}

// The chain step has always copied the next issuer with a printf-style call
// whose format was the issuer text itself. Its defined effect is kept: "%%"
// becomes "%". The text is never used as a format: any other '%' sequence
// (which would have read arguments that were never passed) is copied as it
// is. The result is cut to CERT_TEXT_SIZE - 1 characters.
void CopyIssuerText(const std::string& issuer, NameText& out) {
  size_t length = 0;
  for (size_t i = 0; i < issuer.size() && length + 1 < CERT_TEXT_SIZE; ++i) {
    out[length++] = issuer[i];
    if (issuer[i] == '%' && i + 1 < issuer.size() && issuer[i + 1] == '%') ++i;
  }
  out[length] = '\0';
}

// The issuer matches the root when it is a prefix of the root's subject.
bool MatchesRoot(const NameText& rootSubject, const NameText& current) {
  return std::strncmp(rootSubject, current, std::strlen(current)) == 0;
}

}  // namespace

void addCertificateToMap(const char* path, std::map<std::string, std::string>& map) try {
  CertPtr cert(get_certificate(path));
  if (!cert) {
    CERT_LOG(LOG_DEBUG, "File %s is not a certificate", path != nullptr ? path : "");
    return;
  }
  NameText subject;
  NameText issuer;
  OneLine(X509_get_subject_name(cert->certificate), subject);
  OneLine(X509_get_issuer_name(cert->certificate), issuer);
  if (subject[0] == '\0' || issuer[0] == '\0') {
    CERT_LOG(LOG_ERR, "Get cert's issuer or subject fail!");
    return;
  }
  map[subject] = issuer;
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, )

int initCaSubjIssuerMap(std::map<std::string, std::string>& map, const char* dir) try {
  if (dir == nullptr || dir[0] == '\0') {
    CERT_LOG(LOG_DEBUG, "certsPath %s is empty. won't init map.", dir != nullptr ? dir : "");
    return 0;
  }
  DIR* directory = opendir(dir);
  CERT_LOG(LOG_DEBUG, "Checking directory %s for intermediate crt", dir);
  // A folder that cannot be opened reads as an empty one: the walk then finds no link.
  if (directory == nullptr) return 1;
  // The 64-bit form: on the 32-bit phone plain readdir stops with EOVERFLOW
  // at the first inode number past 32 bits.
  errno = 0;
  while (const struct dirent64* entry = readdir64(directory)) {
    if ((entry->d_type & kDirectoryTypeBit) != 0) continue;  // directories, "." and ".."
    NameText path;
    if (!JoinPath(path, {dir, entry->d_name})) {
      CERT_LOG(LOG_ERR, "Path of %s in %s is too long, skipped", entry->d_name, dir);
      continue;
    }
    addCertificateToMap(path, map);
    errno = 0;
  }
  if (errno != 0) CERT_LOG(LOG_ERR, "Reading directory %s failed: %s", dir, std::strerror(errno));
  closedir(directory);
  return 1;
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, 0)

extern "C" int check_local_cert_chain(const char* dir) try {
  if (dir == nullptr) return 0;
  NameText devicePath;
  NameText rootPath;
  if (!JoinPath(devicePath, {dir, "/", kDeviceCertFile}) || !JoinPath(rootPath, {dir, "/", kRootCertFile})) {
    CERT_LOG(LOG_ERR, "Certificate directory %s is too long", dir);
    return 0;
  }
  if (access(devicePath, F_OK) != 0 || access(rootPath, F_OK) != 0) return 0;
  CertPtr device(get_certificate(devicePath));
  CertPtr root(get_certificate(rootPath));
  if (!device || !root) return 0;

  NameText intermediateDir;
  if (!JoinPath(intermediateDir, {dir, "/", kIntermediateDir, "/"})) return 0;

  NameText current;
  NameText rootSubject;
  OneLine(X509_get_issuer_name(device->certificate), current);
  OneLine(X509_get_subject_name(root->certificate), rootSubject);
  if (current[0] == '\0' || rootSubject[0] == '\0') {
    CERT_LOG(LOG_DEBUG, "Can't search chain. One parameter is null. rootSubj = %p , currCrtIssuer = %p",
             rootSubject[0] != '\0' ? static_cast<void*>(rootSubject) : nullptr,
             current[0] != '\0' ? static_cast<void*>(current) : nullptr);
    return 0;
  }
  if (MatchesRoot(rootSubject, current)) {
    CERT_LOG(LOG_DEBUG, "Root cert is the localCert issuer");
    return 1;
  }

  std::map<std::string, std::string> issuers;
  if (initCaSubjIssuerMap(issuers, intermediateDir) == 0) {
    CERT_LOG(LOG_ERR, "Failed to initialize caCerts map");
    return 0;
  }
  // Every name is visited once at most: issuers that lead back to a name
  // already seen would otherwise be walked forever.
  std::set<std::string> visited;
  bool found = false;
  for (;;) {
    CERT_LOG(LOG_DEBUG, "Checking for %s in crt chain", current);
    if (!visited.insert(current).second) {
      CERT_LOG(LOG_ERR, "Certificate %s is its own ancestor in directory. chain is not valid", current);
      break;
    }
    const auto next = issuers.find(current);
    if (next == issuers.end()) {
      CERT_LOG(LOG_ERR, "Failed to find certificate %s in directory. chain is not valid", current);
      break;
    }
    CopyIssuerText(next->second, current);
    if (MatchesRoot(rootSubject, current)) {
      found = true;
      break;
    }
  }
  CERT_LOG(LOG_DEBUG, "%s root in local crt chain.", found ? "Found" : "Didn't find");
  return found ? 1 : 0;
} DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_ALERTS, CERT_LOG_UNIT, 0)
