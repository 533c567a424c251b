// dmctl cert / sig: inspect certificates, split and verify signed files.
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "security/SignatureVerifier.h"
#include "state/SCEPEnrollUtility.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Files.h"
#include "tools/dmctl/Output.h"

namespace dmctl {
namespace {

void RequireFile(const std::string& path) {
  if (access(path.c_str(), R_OK) != 0) throw Failure("cannot read " + path + ": " + std::strerror(errno));
}

// UTC text of seconds since 1970, without going through a 32-bit time_t
// where the value is the clamp.
std::string UtcText(unsigned seconds) {
  if (seconds >= 2147483647u) return "2038-01-19T03:14:07Z or later";
  const time_t when = static_cast<time_t>(seconds);
  struct tm utc;
  char text[32];
  if (gmtime_r(&when, &utc) == nullptr || strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc) == 0) return "";
  return text;
}

// The certificate the library functions read (they take PEM files): the file
// itself, or for DER a private PEM copy that lives as long as this object.
class PemFile {
 public:
  PemFile(const std::string& file, const std::string& form) : m_path(file) {
    RequireFile(file);
    if (form != "der") return;
    BIO* in = BIO_new_file(file.c_str(), "rb");
    X509* cert = in ? d2i_X509_bio(in, nullptr) : nullptr;
    BIO_free(in);
    if (cert == nullptr) throw Failure("no DER certificate in " + file);
    const char* dir = getenv("TMPDIR");
    std::string name = std::string(dir && *dir ? dir : "/tmp") + "/dmctl-cert-XXXXXX";
    const int fd = mkstemp(&name[0]);
    FILE* out = fd >= 0 ? fdopen(fd, "w") : nullptr;
    bool written = out != nullptr && PEM_write_X509(out, cert) == 1;
    if (out != nullptr) {
      written = std::fclose(out) == 0 && written;
    } else if (fd >= 0) {
      close(fd);
    }
    X509_free(cert);
    if (fd >= 0) m_copy = name;
    if (!written) throw Failure("cannot make a PEM copy of " + file);
    m_path = m_copy;
  }
  ~PemFile() {
    if (!m_copy.empty()) unlink(m_copy.c_str());
  }
  PemFile(const PemFile&) = delete;
  PemFile& operator=(const PemFile&) = delete;
  const char* path() const { return m_path.c_str(); }

 private:
  std::string m_path;
  std::string m_copy;
};

// Whether the certificate's not-before lies ahead (the check tolerates it).
bool NotYetValid(const char* pem) {
  BIO* in = BIO_new_file(pem, "r");
  X509* cert = in ? PEM_read_bio_X509(in, nullptr, nullptr, nullptr) : nullptr;
  BIO_free(in);
  const bool ahead = cert != nullptr && X509_cmp_current_time(X509_get0_notBefore(cert)) > 0;
  X509_free(cert);
  return ahead;
}

uint64_t FileSize(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 ? static_cast<uint64_t>(info.st_size) : UINT64_MAX;
}

// The signature length a signed file's trailer announces; false when the
// file is shorter than the trailer.
bool TrailerLength(const std::string& path, uint64_t* length) {
  std::ifstream in(path, std::ios::binary);
  unsigned char bytes[8];
  if (!in.seekg(-8, std::ios::end) || !in.read(reinterpret_cast<char*>(bytes), 8)) return false;
  *length = 0;
  for (int i = 7; i >= 0; --i) *length = (*length << 8) | bytes[i];
  return true;
}

}  // namespace

void AddCertCommands(CLI::App& app, Context& context) {
  CLI::App* cert = app.add_subcommand("cert", "Inspect X.509 certificates");
  cert->require_subcommand(1);
  static std::string file;
  static std::string form = "pem";
  const auto add_file = [](CLI::App* command) {
    command->add_option("file", file, "Certificate file")->required();
    command->add_option("--inform", form, "Certificate encoding: pem or der")
        ->check(CLI::IsMember({"pem", "der"}))
        ->capture_default_str();
  };

  CLI::App* check = cert->add_subcommand(
      "check", "Whether the certificate has not expired: its not-after is later than five minutes ago (exit 1 "
               "if not). A not-before in the future is tolerated, as the device does: notYetValid tells");
  add_file(check);
  check->callback([&context] {
    PemFile pem(file, form);
    if (IsPemFile(pem.path()) != 1) throw Failure(file + " is not a PEM certificate (DER? use --inform der)");
    const bool valid = check_cert_expired(pem.path()) == 1;
    PrintObject({{"file", file}, {"valid", valid}, {"notYetValid", NotYetValid(pem.path())}}, context.json);
    if (!valid) throw Failure(file + " is expired or unreadable");
  });

  CLI::App* info = cert->add_subcommand("info", "Issuer, subject, validity dates and serial number");
  add_file(info);
  info->callback([&context] {
    PemFile pem(file, form);
    char issuer[CERT_TEXT_SIZE], subject[CERT_TEXT_SIZE], not_before[CERT_TEXT_SIZE], not_after[CERT_TEXT_SIZE],
        serial[CERT_TEXT_SIZE];
    ForgetLibraryLog();
    if (get_cert_detail(pem.path(), issuer, subject, not_before, not_after, serial) != 1) {
      const std::string hint = form == "pem" ? " (DER? use --inform der)" : "";
      throw Failure(Because("cannot read a certificate from " + file + hint));
    }
    PrintObject({{"subject", subject}, {"issuer", issuer}, {"notBefore", not_before}, {"notAfter", not_after},
                 {"serial", serial}},
                context.json);
  });

  CLI::App* renew = cert->add_subcommand("renew-time", "The expiry as seconds since 1970 (2147483647 past 2038)");
  add_file(renew);
  renew->callback([&context] {
    PemFile pem(file, form);
    ForgetLibraryLog();
    const unsigned seconds = get_cert_renew_timer(pem.path());
    if (seconds == 0) throw Failure(Because("cannot read a certificate from " + file));
    PrintObject({{"seconds", seconds}, {"utc", UtcText(seconds)}}, context.json);
  });

  CLI::App* to_pem = cert->add_subcommand("to-pem", "Convert a DER certificate file to PEM in place");
  to_pem->add_option("file", file, "Certificate file")->required();
  to_pem->callback([&context] {
    RequireFile(file);
    const bool was_pem = IsPemFile(file.c_str()) == 1;
    if (!was_pem) {
      ForgetLibraryLog();
      ConvertCertToPemFile(file.c_str());
      if (IsPemFile(file.c_str()) != 1) throw Failure(Because(file + " is not a DER certificate (left untouched)"));
    }
    PrintObject({{"file", file}, {"converted", !was_pem}}, context.json);
  });

  static std::string dir;
  CLI::App* chain = cert->add_subcommand(
      "chain", "Whether DIR/device.crt links up to DIR/CAROOT.crt through DIR/CAcerts/ by issuer and subject "
               "names only; signatures and dates are not checked (exit 1 if no link)");
  chain->add_option("dir", dir, "Certificate folder")->required();
  chain->callback([&context] {
    // The check takes the folder without a trailing '/'.
    std::string folder = dir;
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    ForgetLibraryLog();
    const bool chained = check_local_cert_chain(folder.c_str()) == 1;
    PrintObject({{"dir", folder}, {"chained", chained}}, context.json);
    if (!chained) throw Failure(Because("the names in " + folder + " do not link device.crt to CAROOT.crt"));
  });

  CLI::App* sig = app.add_subcommand("sig", "Make, split and verify files that carry an appended signature");
  sig->require_subcommand(1);
  static std::string signature;
  CLI::App* split = sig->add_subcommand("split", "Move the signature of a signed file into its own file");
  split->add_option("file", file, "Signed file (cut back to its payload)")->required();
  split->add_option("signature", signature, "Signature file to write")->required();
  split->callback([&context] {
    RequireFile(file);
    char real_file[PATH_MAX];
    char real_signature[PATH_MAX];
    if (realpath(file.c_str(), real_file) != nullptr && realpath(signature.c_str(), real_signature) != nullptr &&
        std::strcmp(real_file, real_signature) == 0) {
      throw UsageError("the signed file and the signature file are the same file");
    }
    const uint64_t size = FileSize(file);
    uint64_t length = 0;
    const bool has_trailer = TrailerLength(file, &length);
    ForgetLibraryLog();
    if (extract_signature(file.c_str(), signature.c_str()) != 0) throw Failure(Because(file + " holds no signature"));
    // The library reports success even when the split could not be done:
    // the sizes tell.
    const bool split_done = has_trailer && length <= size - 8 && FileSize(file) == size - 8 - length &&
                            FileSize(signature) == length;
    if (!split_done) throw Failure(Because("could not split " + file));
    PrintObject({{"payload", file}, {"signature", signature}, {"payloadBytes", size - 8 - length},
                 {"signatureBytes", length}},
                context.json);
  });

  static std::vector<std::string> operands;
  static std::string public_key;
  CLI::App* verify = sig->add_subcommand(
      "verify", "Check a signature over SHA-256(SHA-256(FILE)), as the device does, with the key of a "
                "certificate (CERTIFICATE FILE SIGNATURE) or a public key (--pubkey KEY FILE SIGNATURE)");
  verify->add_option("operands", operands, "[CERTIFICATE] FILE SIGNATURE")->required();
  verify->add_option("--pubkey", public_key, "Signer's RSA public key (PEM) instead of a certificate");
  verify->callback([&context] {
    const size_t expected = public_key.empty() ? 3 : 2;
    if (operands.size() != expected) {
      throw UsageError(public_key.empty() ? "sig verify takes CERTIFICATE FILE SIGNATURE"
                                          : "sig verify --pubkey KEY takes FILE SIGNATURE");
    }
    const std::string& payload = operands[expected - 2];
    const std::string& signature_file = operands[expected - 1];
    for (const std::string& path : operands) RequireFile(path);
    bool valid = false;
    ForgetLibraryLog();
    if (public_key.empty()) {
      valid = vm_verify_signature(operands[0].c_str(), payload.c_str(), signature_file.c_str()) == 0;
    } else {
      RequireFile(public_key);
      const std::string pem = ReadInputFile(public_key, 1 << 16);
      SignatureVerifier verifier;
      if (!verifier.initPublicKey(pem)) throw Failure(Because("no RSA public key (PEM) in " + public_key));
      valid = verifier.verify(std::vector<std::string>{payload}, signature_file);
    }
    PrintObject({{"file", payload}, {"valid", valid}}, context.json);
    if (!valid) throw Failure(Because("signature of " + payload + " does not verify"));
  });

  AddSigSignCommand(*sig, context);
}

}  // namespace dmctl
