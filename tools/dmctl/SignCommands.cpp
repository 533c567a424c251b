// dmctl sig sign: makes a signed file in the layout the device splits and
// checks (payload, base64 signature, its length as 8 bytes little-endian).
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Files.h"
#include "tools/dmctl/Output.h"

namespace dmctl {
namespace {

constexpr int64_t kMaxPayloadBytes = int64_t(1) << 30;

struct KeyFree {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct ContextFree {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

// The raw RSA/SHA-256 signature over SHA-256(payload): the one-file list form
// that the device's check (vm_verify_signature) verifies.
std::string Sign(EVP_PKEY* key, const std::string& payload) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digest_length = 0;
  std::unique_ptr<EVP_MD_CTX, ContextFree> context(EVP_MD_CTX_new());
  size_t size = 0;
  if (!context || EVP_Digest(payload.data(), payload.size(), digest, &digest_length, EVP_sha256(), nullptr) != 1 ||
      EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key) != 1 ||
      EVP_DigestSign(context.get(), nullptr, &size, digest, digest_length) != 1) {
    throw Failure("cannot sign with this key (an RSA private key is needed)");
  }
  std::string signature(size, '\0');
  if (EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(&signature[0]), &size, digest,
                     digest_length) != 1) {
    throw Failure("cannot sign with this key (an RSA private key is needed)");
  }
  signature.resize(size);
  return signature;
}

}  // namespace

void AddSigSignCommand(CLI::App& sig, Context& context) {
  static std::string key_file;
  static std::string payload_file;
  static std::string output;
  CLI::App* sign = sig.add_subcommand(
      "sign", "Append an RSA/SHA-256 signature to a file, in the layout 'sig split' and the device read "
              "(payload, base64 signature, its length as 8 bytes little-endian)");
  sign->add_option("key", key_file, "Signer's RSA private key (PEM)")->required();
  sign->add_option("payload", payload_file, "File to sign")->required();
  sign->add_option("-o,--output", output, "Signed file to write (default: the payload file, in place)");
  sign->callback([&context] {
    FILE* pem = std::fopen(key_file.c_str(), "r");
    if (pem == nullptr) throw Failure("cannot read " + key_file + ": " + std::strerror(errno));
    std::unique_ptr<EVP_PKEY, KeyFree> key(PEM_read_PrivateKey(pem, nullptr, nullptr, nullptr));
    std::fclose(pem);
    if (!key) throw Failure("no PEM private key in " + key_file);
    std::string data = ReadInputFile(payload_file, kMaxPayloadBytes);
    const size_t payload_size = data.size();
    const std::string raw = Sign(key.get(), data);
    std::string text(4 * ((raw.size() + 2) / 3) + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&text[0]),
                        reinterpret_cast<const unsigned char*>(raw.data()), static_cast<int>(raw.size()));
    text.resize(static_cast<size_t>(length));
    data += text;
    const uint64_t trailer = text.size();
    for (int i = 0; i < 8; ++i) data.push_back(static_cast<char>((trailer >> (8 * i)) & 0xFF));
    const std::string target = output.empty() ? payload_file : output;
    WriteOutputFile(target, data);
    PrintObject({{"file", target}, {"payloadBytes", payload_size}, {"signatureBytes", text.size()}}, context.json);
  });
}

}  // namespace dmctl
