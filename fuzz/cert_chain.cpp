// The certificate chain walk over a directory built from the input. The
// input is a small text description, one item per line, fields split by '|':
//
//   N|text                  the next name (names are numbered from 0); the
//                           text is the common name, "CN/O" adds an
//                           organisation
//   D|subject|issuer|P      device.crt: name numbers, P (PEM) or D (DER,
//                           which the walk does not load)
//   R|subject|issuer|P      CAROOT.crt
//   I|file|subject|issuer|P an intermediate in CAcerts/
//   X|file|bytes            any bytes as a file in CAcerts/ (the top files'
//                           own bytes are cert_loader's inputs)
//   S|name                  a subdirectory in CAcerts/
//
// Besides "no crash", the result must equal a walk over the names as
// generated (issuer text to the certificate with that subject, until a
// prefix of the root's subject), wherever that walk is unambiguous.
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "state/SCEPEnrollUtility.h"
#include "support/TestPki.h"

namespace {

constexpr size_t kMaxItems = 24;
constexpr size_t kMaxNameLength = 300;

// One key signs every certificate: the walk compares names only, and a
// fresh key per input would cost more than the walk.
EVP_PKEY* SigningKey() {
  static const testpki::Key key = [] {
    testpki::Key made = testpki::NewEcKey();
    if (!made) fuzz::Fail("EC key generation");
    return made;
  }();
  return key.get();
}

std::vector<std::string> Split(const std::string& line, size_t maxFields) {
  std::vector<std::string> fields(1);
  for (const char c : line) {
    if (c == '|' && fields.size() < maxFields) fields.emplace_back();
    else fields.back() += c;
  }
  return fields;
}

// "CN" or "CN/O" as an X509 name. Bytes that are not a valid string for the
// attribute leave it out, as a certificate made elsewhere could.
X509_NAME* MakeName(const std::string& text) {
  X509_NAME* name = X509_NAME_new();
  const size_t slash = text.find('/');
  const std::string commonName = text.substr(0, slash);
  const auto add = [name](const char* field, const std::string& value) {
    if (value.empty()) return;
    X509_NAME_add_entry_by_txt(name, field, MBSTRING_ASC, reinterpret_cast<const unsigned char*>(value.data()),
                               static_cast<int>(value.size()), -1, 0);
  };
  add("CN", commonName);
  if (slash != std::string::npos) add("O", text.substr(slash + 1));
  return name;
}

// The one-line text of a name as the walk sees it.
std::string OneLine(const X509_NAME* name) {
  char text[CERT_TEXT_SIZE];
  return X509_NAME_oneline(name, text, sizeof text) == nullptr ? "" : text;
}

void WriteCert(const std::string& path, X509_NAME* subject, X509_NAME* issuer, bool pem) {
  testpki::CertSpec wanted;
  wanted.subject_name = subject;
  wanted.issuer_name = issuer;
  const testpki::Cert cert = testpki::MakeCert(SigningKey(), wanted);
  FUZZ_CHECK(pem ? testpki::WriteCertPem(path, cert.get()) : testpki::WriteCertDer(path, cert.get()));
}

// A usable single path component: no '/', no NUL, not "." or "..", not
// empty, within NAME_MAX.
std::string FileName(std::string name, size_t item) {
  for (char& c : name) c = c == '/' || c == '\0' ? '_' : c;
  if (name.size() > 255) name.resize(255);
  if (name.empty() || name == "." || name == "..") name = "item" + std::to_string(item);
  return name;
}

// What the walk must conclude, from the names as made.
struct Model {
  std::string device_issuer;  // empty: no readable device.crt
  std::string root_subject;   // empty: no readable CAROOT.crt
  std::map<std::string, std::string> issuers;
  bool ambiguous = false;  // two intermediates with one subject, or a '%'
};

int Expected(const Model& model) {
  if (model.device_issuer.empty() || model.root_subject.empty()) return 0;
  const auto matchesRoot = [&](const std::string& name) { return model.root_subject.rfind(name, 0) == 0; };
  std::string current = model.device_issuer;
  std::set<std::string> seen;
  while (!matchesRoot(current)) {
    if (!seen.insert(current).second) return 0;
    const auto next = model.issuers.find(current);
    if (next == model.issuers.end()) return 0;
    current = next->second;
  }
  return 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string dir = fuzz::Directory() + "/chain", caDir = dir + "/CAcerts/";
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
  std::filesystem::create_directories(caDir, ignored);

  std::vector<X509_NAME*> names;
  Model model;
  std::set<std::string> usedFiles;
  const auto nameAt = [&](const std::string& field) {
    return names.empty() ? nullptr : names[std::strtoul(field.c_str(), nullptr, 10) % names.size()];
  };
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  size_t items = 0;
  for (std::string line; items < kMaxItems && std::getline(lines, line);) {
    if (line.size() < 2 || line[1] != '|') continue;
    ++items;
    const char kind = line[0];
    const std::string rest = line.substr(2);
    if (kind == 'N') {
      if (rest.size() > kMaxNameLength) continue;
      names.push_back(MakeName(rest));
      if (rest.find('%') != std::string::npos) model.ambiguous = true;
    } else if (kind == 'D' || kind == 'R') {
      const auto fields = Split(rest, 3);
      if (fields.size() < 3 || names.empty()) continue;
      X509_NAME *subject = nameAt(fields[0]), *issuer = nameAt(fields[1]);
      const bool device = kind == 'D', pem = fields[2] != "D";
      WriteCert(dir + (device ? "/device.crt" : "/CAROOT.crt"), subject, issuer, pem);
      // The walk loads PEM only: a DER file counts as unreadable.
      (device ? model.device_issuer : model.root_subject) = pem ? OneLine(device ? issuer : subject) : "";
    } else if (kind == 'I') {
      const auto fields = Split(rest, 4);
      if (fields.size() < 4 || names.empty()) continue;
      const std::string file = FileName(fields[0], items);
      if (!usedFiles.insert(file).second) continue;
      X509_NAME *subject = nameAt(fields[1]), *issuer = nameAt(fields[2]);
      const bool pem = fields[3] != "D";
      WriteCert(caDir + file, subject, issuer, pem);
      // DER files, and paths that do not fit the walk's buffer, are skipped.
      if (!pem || (caDir + file).size() >= CERT_TEXT_SIZE) continue;
      const std::string subjectText = OneLine(subject), issuerText = OneLine(issuer);
      if (subjectText.empty() || issuerText.empty()) continue;
      if (!model.issuers.emplace(subjectText, issuerText).second) model.ambiguous = true;
    } else if (kind == 'X') {
      const auto fields = Split(rest, 2);
      const std::string file = FileName(fields[0], items);
      if (fields.size() < 2 || !usedFiles.insert(file).second) continue;
      fuzz::WriteFile("chain/CAcerts/" + file, reinterpret_cast<const uint8_t*>(fields[1].data()), fields[1].size());
      // Bytes that happen to load as a certificate are outside the model.
      if (certificate_openssl* loaded = get_certificate((caDir + file).c_str())) {
        cert_crypto_destroy(loaded);
        model.ambiguous = true;
      }
    } else if (kind == 'S') {
      const std::string file = FileName(rest, items);
      if (usedFiles.insert(file).second) std::filesystem::create_directory(caDir + file, ignored);
    }
  }

  const int result = check_local_cert_chain(dir.c_str());
  FUZZ_CHECK(result == 0 || result == 1);
  // The walk only reads: a second look gives the same answer.
  FUZZ_CHECK(check_local_cert_chain(dir.c_str()) == result);
  if (!model.ambiguous) FUZZ_CHECK(result == Expected(model));

  for (X509_NAME* name : names) X509_NAME_free(name);
  return 0;
}
