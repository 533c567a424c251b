// dmctl cert / sig: inspect certificates, split and verify signed files.
#include <unistd.h>

#include <ctime>
#include <string>

#include "security/SignatureVerifier.h"
#include "state/SCEPEnrollUtility.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Output.h"

namespace dmctl {
namespace {

void RequireFile(const std::string& path) {
  if (access(path.c_str(), R_OK) != 0) throw Failure("cannot read " + path);
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

}  // namespace

void AddCertCommands(CLI::App& app, Context& context) {
  CLI::App* cert = app.add_subcommand("cert", "Inspect X.509 certificates");
  cert->require_subcommand(1);
  static std::string file;

  CLI::App* check = cert->add_subcommand("check", "Whether the certificate is within its validity period (exit 1 if not)");
  check->add_option("file", file, "Certificate file (PEM)")->required();
  check->callback([&context] {
    RequireFile(file);
    const bool valid = check_cert_expired(file.c_str()) == 1;
    PrintObject({{"file", file}, {"valid", valid ? "true" : "false"}}, context.json);
    if (!valid) throw Failure(file + " is expired, not yet valid or unreadable");
  });

  CLI::App* info = cert->add_subcommand("info", "Issuer, subject, validity dates and serial number");
  info->add_option("file", file, "Certificate file (PEM)")->required();
  info->callback([&context] {
    RequireFile(file);
    char issuer[CERT_TEXT_SIZE], subject[CERT_TEXT_SIZE], not_before[CERT_TEXT_SIZE], not_after[CERT_TEXT_SIZE],
        serial[CERT_TEXT_SIZE];
    if (get_cert_detail(file.c_str(), issuer, subject, not_before, not_after, serial) != 1) {
      throw Failure("cannot read a certificate from " + file);
    }
    PrintObject({{"subject", subject}, {"issuer", issuer}, {"notBefore", not_before}, {"notAfter", not_after},
                 {"serial", serial}},
                context.json);
  });

  CLI::App* renew = cert->add_subcommand("renew-time", "The expiry as seconds since 1970 (2147483647 past 2038)");
  renew->add_option("file", file, "Certificate file (PEM)")->required();
  renew->callback([&context] {
    RequireFile(file);
    const unsigned seconds = get_cert_renew_timer(file.c_str());
    if (seconds == 0) throw Failure("cannot read a certificate from " + file);
    PrintObject({{"seconds", std::to_string(seconds)}, {"utc", UtcText(seconds)}}, context.json);
  });

  CLI::App* to_pem = cert->add_subcommand("to-pem", "Convert a DER certificate file to PEM in place");
  to_pem->add_option("file", file, "Certificate file")->required();
  to_pem->callback([&context] {
    RequireFile(file);
    if (IsPemFile(file.c_str())) {
      PrintObject({{"file", file}, {"converted", "false"}, {"note", "already PEM"}}, context.json);
      return;
    }
    ConvertCertToPemFile(file.c_str());
    if (!IsPemFile(file.c_str())) throw Failure(file + " is not a DER certificate (left untouched)");
    PrintObject({{"file", file}, {"converted", "true"}}, context.json);
  });

  static std::string dir;
  CLI::App* chain = cert->add_subcommand(
      "chain", "Whether DIR/device.crt chains up to DIR/CAROOT.crt through DIR/CAcerts/ (exit 1 if not)");
  chain->add_option("dir", dir, "Certificate folder")->required();
  chain->callback([&context] {
    // The check takes the folder without a trailing '/'.
    std::string folder = dir;
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    const bool valid = check_local_cert_chain(folder.c_str()) == 1;
    PrintObject({{"dir", folder}, {"valid", valid ? "true" : "false"}}, context.json);
    if (!valid) throw Failure("the certificate chain in " + folder + " does not verify");
  });

  CLI::App* sig = app.add_subcommand("sig", "Split and verify files that carry an appended signature");
  sig->require_subcommand(1);
  static std::string signature;
  static std::string certificate;
  CLI::App* split = sig->add_subcommand("split", "Move the signature of a signed file into its own file");
  split->add_option("file", file, "Signed file (cut back to its payload)")->required();
  split->add_option("signature", signature, "Signature file to write")->required();
  split->callback([&context] {
    RequireFile(file);
    if (extract_signature(file.c_str(), signature.c_str()) != 0) throw Failure(file + " holds no signature");
    if (access(signature.c_str(), R_OK) != 0) throw Failure("could not split " + file + " (left untouched; see the log)");
    PrintObject({{"payload", file}, {"signature", signature}}, context.json);
  });

  CLI::App* verify = sig->add_subcommand("verify", "Check a signature with the public key of a certificate");
  verify->add_option("certificate", certificate, "Signer's certificate (PEM)")->required();
  verify->add_option("file", file, "Signed payload")->required();
  verify->add_option("signature", signature, "Signature file (base64)")->required();
  verify->callback([&context] {
    for (const std::string* path : {&certificate, &file, &signature}) RequireFile(*path);
    const bool valid = vm_verify_signature(certificate.c_str(), file.c_str(), signature.c_str()) == 0;
    PrintObject({{"file", file}, {"valid", valid ? "true" : "false"}}, context.json);
    if (!valid) throw Failure("signature of " + file + " does not verify");
  });
}

}  // namespace dmctl
