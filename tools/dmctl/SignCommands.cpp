// dmctl sig sign: makes a signed file in the layout the device splits and
// checks (payload, base64 signature, its length as 8 bytes little-endian).
#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Output.h"

namespace dmctl {
namespace {

constexpr int64_t kMaxPayloadBytes = int64_t(1) << 30;

// Every file dmctl writes goes through here: a private temporary file beside
// the target, renamed over it once complete, so a failure leaves the old file.
void WriteOutputFile(const std::string& path, const std::string& data) {
  const std::string temporary = path + ".dmctl-tmp";
  const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (fd < 0) throw Failure("cannot create " + temporary + ": " + std::strerror(errno));
  size_t done = 0;
  while (done < data.size()) {
    const ssize_t n = write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  const int saved = errno;
  const bool ok = done == data.size() && fsync(fd) == 0;
  close(fd);
  if (!ok || rename(temporary.c_str(), path.c_str()) != 0) {
    const std::string reason = std::strerror(ok ? errno : saved);
    unlink(temporary.c_str());
    throw Failure("cannot write " + path + ": " + reason);
  }
}

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

std::string ReadInputFile(const std::string& path, int64_t limit) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Failure("cannot read " + path + ": " + std::strerror(errno));
  std::string data;
  char chunk[65536];
  while (in.read(chunk, sizeof chunk) || in.gcount() > 0) {
    data.append(chunk, static_cast<size_t>(in.gcount()));
    if (static_cast<int64_t>(data.size()) > limit) {
      throw Failure(path + " is larger than " + std::to_string(limit) + " bytes");
    }
  }
  return data;
}

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
