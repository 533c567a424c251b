#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "security/SignatureVerifier.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"
#include "support/TestPki.h"

namespace {

using testpki::ReadFile;
using testpki::WriteFile;

std::string Trailer(uint64_t length) {
  std::string bytes(8, '\0');
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<char>((length >> (8 * i)) & 0xff);
  return bytes;
}

std::string Sha256(const std::string& bytes) {
  unsigned char digest[32];
  unsigned int size = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha256(), nullptr);
  return std::string(reinterpret_cast<char*>(digest), size);
}

// base64 with a line break every 64 characters and '=' padding, as the
// openssl program writes it.
std::string Base64Lines(const std::string& bytes) {
  BIO* b64 = BIO_new(BIO_f_base64());
  BIO* mem = BIO_new(BIO_s_mem());
  BIO_push(b64, mem);
  BIO_write(b64, bytes.data(), static_cast<int>(bytes.size()));
  BIO_flush(b64);
  char* data = nullptr;
  const long length = BIO_get_mem_data(mem, &data);
  std::string text(data, static_cast<size_t>(length));
  BIO_free_all(b64);
  return text;
}

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

class SignatureTest : public ::testing::Test {
 protected:
  TempDatabase dir_;
  LogCapture log_;
  testpki::Key key_ = testpki::NewRsaKey();

  std::string Path(const std::string& name) const { return dir_.directory() + "/" + name; }

  // The raw RSA/SHA-256 signature of `message` by the test key.
  std::string Sign(const std::string& message) {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    size_t size = 0;
    EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key_.get());
    EVP_DigestSign(ctx, nullptr, &size, reinterpret_cast<const unsigned char*>(message.data()), message.size());
    std::string signature(size, '\0');
    EVP_DigestSign(ctx, reinterpret_cast<unsigned char*>(&signature[0]), &size,
                   reinterpret_cast<const unsigned char*>(message.data()), message.size());
    EVP_MD_CTX_free(ctx);
    signature.resize(size);
    return signature;
  }

  std::string WriteSignature(const std::string& name, const std::string& raw) {
    EXPECT_TRUE(WriteFile(Path(name), Base64Lines(raw)));
    return Path(name);
  }

  std::string WriteCert() {
    testpki::Cert cert = testpki::MakeCert(key_.get(), testpki::CertSpec());
    EXPECT_TRUE(testpki::WriteCertPem(Path("signer.crt"), cert.get()));
    return Path("signer.crt");
  }
};

// --- splitting -------------------------------------------------------------

TEST_F(SignatureTest, SplitMovesTheSignatureOutAndCutsTheFile) {
  const std::string payload("payload\0with\0zeros\n", 19);
  ASSERT_TRUE(WriteFile(Path("fw.bin"), payload + "SIGNATURE-TEXT" + Trailer(14)));
  ASSERT_TRUE(WriteFile(Path("fw.sig"), std::string(100, 'x')));  // replaced, not kept
  EXPECT_EQ(0, extract_signature(Path("fw.bin").c_str(), Path("fw.sig").c_str()));
  EXPECT_EQ("SIGNATURE-TEXT", ReadFile(Path("fw.sig")));
  EXPECT_EQ(payload, ReadFile(Path("fw.bin")));
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "Signature size: 14"));
  EXPECT_EQ("SignatureVerifier", log_.lines().back().unit);
  EXPECT_EQ(25, log_.lines().back().module);

  // An empty payload is fine too.
  ASSERT_TRUE(WriteFile(Path("only.bin"), "SIG" + Trailer(3)));
  EXPECT_EQ(0, extract_signature(Path("only.bin").c_str(), Path("only.sig").c_str()));
  EXPECT_EQ("SIG", ReadFile(Path("only.sig")));
  EXPECT_EQ("", ReadFile(Path("only.bin")));
}

TEST_F(SignatureTest, ZeroTrailerSplitsAnEmptySignature) {
  ASSERT_TRUE(WriteFile(Path("a.bin"), "abcdefghij" + Trailer(0)));
  EXPECT_EQ(0, extract_signature(Path("a.bin").c_str(), Path("a.sig").c_str()));
  EXPECT_TRUE(Exists(Path("a.sig")));
  EXPECT_EQ("", ReadFile(Path("a.sig")));
  EXPECT_EQ("abcdefghij", ReadFile(Path("a.bin")));
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "Signature size: 0"));
}

TEST_F(SignatureTest, FilesWithoutASignatureAreRefused) {
  struct Case {
    const char* name;
    std::string bytes;
  };
  const Case cases[] = {{"five.bin", "12345"}, {"empty.bin", ""}, {"zeros.bin", Trailer(0)}};
  for (const Case& c : cases) {
    ASSERT_TRUE(WriteFile(Path(c.name), c.bytes));
    EXPECT_EQ(-1, extract_signature(Path(c.name).c_str(), Path("out.sig").c_str())) << c.name;
    EXPECT_EQ(c.bytes, ReadFile(Path(c.name))) << c.name;
  }
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "No signature found."));
  EXPECT_FALSE(Exists(Path("out.sig")));

  EXPECT_EQ(-1, extract_signature(Path("missing.bin").c_str(), Path("out.sig").c_str()));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "Failed to open file: " + Path("missing.bin")));
  EXPECT_EQ(-1, extract_signature(nullptr, Path("out.sig").c_str()));
}

TEST_F(SignatureTest, ImpossibleSplitsLeaveTheFileUntouched) {
  const std::string payload(40, 'p');
  // Lengths beyond the file, one that wraps a 32-bit offset, and the largest.
  for (uint64_t length : {uint64_t{41}, uint64_t{1000}, (uint64_t{1} << 32) + 5, ~uint64_t{0}}) {
    const std::string bytes = payload + Trailer(length);
    ASSERT_TRUE(WriteFile(Path("big.bin"), bytes));
    EXPECT_EQ(0, extract_signature(Path("big.bin").c_str(), Path("big.sig").c_str())) << length;
    EXPECT_EQ(bytes, ReadFile(Path("big.bin"))) << length;
    EXPECT_FALSE(Exists(Path("big.sig"))) << length;
  }
  // A signature file that can't be written, and a signature file that is
  // the signed file itself.
  const std::string bytes = payload + "SIG" + Trailer(3);
  ASSERT_TRUE(WriteFile(Path("fw.bin"), bytes));
  EXPECT_EQ(0, extract_signature(Path("fw.bin").c_str(), Path("no/such/dir/fw.sig").c_str()));
  EXPECT_EQ(bytes, ReadFile(Path("fw.bin")));
  EXPECT_EQ(0, extract_signature(Path("fw.bin").c_str(), Path("fw.bin").c_str()));
  EXPECT_EQ(bytes, ReadFile(Path("fw.bin")));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "Failed to split"));
}

// --- checking --------------------------------------------------------------

TEST_F(SignatureTest, OneFileVerifiesWithKeyOrCertificate) {
  // An odd size, so the last chunk is partial.
  std::string payload;
  for (int i = 0; i < 512 * 40 + 7; ++i) payload.push_back(static_cast<char>(i * 131 % 251));
  ASSERT_TRUE(WriteFile(Path("data.bin"), payload));
  const std::string raw = Sign(payload);
  const std::string sig = WriteSignature("data.sig", raw);

  SignatureVerifier verifier;
  EXPECT_FALSE(verifier.verify(Path("data.bin"), sig));  // no key yet
  ASSERT_TRUE(verifier.initPublicKey(testpki::PublicKeyPem(key_.get())));
  EXPECT_TRUE(verifier.verify(Path("data.bin"), sig));
  EXPECT_EQ(std::vector<unsigned char>(raw.begin(), raw.end()), verifier.signature());
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "OK"));

  ASSERT_TRUE(verifier.initCertificate(WriteCert()));
  EXPECT_TRUE(verifier.verify(Path("data.bin"), sig));

  std::string flipped = payload;
  flipped[payload.size() - 3] ^= 0x01;
  ASSERT_TRUE(WriteFile(Path("flipped.bin"), flipped));
  EXPECT_FALSE(verifier.verify(Path("flipped.bin"), sig));
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "FAILED"));

  std::string bad = raw;
  bad[10] ^= 0x40;
  EXPECT_FALSE(verifier.verify(Path("data.bin"), WriteSignature("bad.sig", bad)));
  EXPECT_FALSE(verifier.verify(Path("data.bin"), WriteSignature("short.sig", raw.substr(0, raw.size() - 1))));
  EXPECT_FALSE(verifier.verify(Path("missing.bin"), sig));
  EXPECT_FALSE(verifier.verify(Path("data.bin"), Path("missing.sig")));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "Failed to open file: " + Path("missing.sig")));
}

TEST_F(SignatureTest, SignatureTextDecodesWithLineBreaksAndPadding) {
  SignatureVerifier verifier;
  ASSERT_TRUE(WriteFile(Path("pad.sig"), "aGVs\nbG8=\n"));
  ASSERT_TRUE(verifier.initSignature(Path("pad.sig")));
  EXPECT_EQ(std::vector<unsigned char>({'h', 'e', 'l', 'l', 'o'}), verifier.signature());
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "decoded signature (5)"));
  const std::string raw = Sign("x");
  ASSERT_TRUE(verifier.initSignature(WriteSignature("long.sig", raw)));
  EXPECT_EQ(raw.size(), verifier.signature().size());
  // Not base64: read, but nothing decoded, so no check can pass.
  ASSERT_TRUE(WriteFile(Path("junk.sig"), "%s%n not base64 !!"));
  EXPECT_TRUE(verifier.initSignature(Path("junk.sig")));
  EXPECT_TRUE(verifier.signature().empty());
  EXPECT_FALSE(verifier.initSignature(Path("missing.sig")));
}

TEST_F(SignatureTest, ListChecksTheConcatenatedDigestsOfReadableFiles) {
  const std::vector<std::string> contents = {"first file", std::string(20000, 'b'), ""};
  std::vector<std::string> files;
  std::string digests;
  for (size_t i = 0; i < contents.size(); ++i) {
    files.push_back(Path("f" + std::to_string(i)));
    ASSERT_TRUE(WriteFile(files.back(), contents[i]));
    digests += Sha256(contents[i]);
  }
  SignatureVerifier verifier;
  ASSERT_TRUE(verifier.initPublicKey(testpki::PublicKeyPem(key_.get())));
  const std::string sig = WriteSignature("list.sig", Sign(digests));
  EXPECT_TRUE(verifier.verify(files, sig));
  EXPECT_EQ(std::vector<unsigned char>(digests.begin(), digests.end()), verifier.digest());
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "digest size: 96"));

  // Order matters, and so does every byte of every file.
  EXPECT_FALSE(verifier.verify({files[1], files[0], files[2]}, sig));
  ASSERT_TRUE(WriteFile(files[1], std::string(19999, 'b') + "c"));
  EXPECT_FALSE(verifier.verify(files, sig));
  ASSERT_TRUE(WriteFile(files[1], contents[1]));

  // An unreadable file is skipped: the digest holds the others only.
  const std::vector<std::string> with_missing = {files[0], Path("missing"), files[1]};
  const std::string shorter = Sha256(contents[0]) + Sha256(contents[1]);
  EXPECT_FALSE(verifier.verify(with_missing, sig));
  EXPECT_TRUE(verifier.verify(with_missing, WriteSignature("short.sig", Sign(shorter))));
  EXPECT_EQ(std::vector<unsigned char>(shorter.begin(), shorter.end()), verifier.digest());

  EXPECT_FALSE(verifier.generateDigest({Path("missing"), Path("gone")}));
  EXPECT_TRUE(verifier.digest().empty());
  EXPECT_FALSE(verifier.verify({Path("missing")}, sig));
  EXPECT_FALSE(verifier.generateDigest({}));
}

TEST_F(SignatureTest, ExportedCheckUsesTheListFormWithACertificate) {
  ASSERT_TRUE(WriteFile(Path("app.bin"), "application image"));
  const std::string cert = WriteCert();
  const std::string list_sig = WriteSignature("list.sig", Sign(Sha256("application image")));
  const std::string direct_sig = WriteSignature("direct.sig", Sign("application image"));
  EXPECT_EQ(0, vm_verify_signature(cert.c_str(), Path("app.bin").c_str(), list_sig.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(cert.c_str(), Path("app.bin").c_str(), direct_sig.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(Path("missing.crt").c_str(), Path("app.bin").c_str(), list_sig.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(cert.c_str(), Path("missing.bin").c_str(), list_sig.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(nullptr, Path("app.bin").c_str(), list_sig.c_str()));

  // A certificate of another key, and a DER certificate, both fail.
  testpki::Key other = testpki::NewRsaKey();
  testpki::Cert other_cert = testpki::MakeCert(other.get(), testpki::CertSpec());
  ASSERT_TRUE(testpki::WriteCertPem(Path("other.crt"), other_cert.get()));
  EXPECT_EQ(-1, vm_verify_signature(Path("other.crt").c_str(), Path("app.bin").c_str(), list_sig.c_str()));
  testpki::Cert own = testpki::MakeCert(key_.get(), testpki::CertSpec());
  ASSERT_TRUE(testpki::WriteCertDer(Path("der.crt"), own.get()));
  EXPECT_EQ(-1, vm_verify_signature(Path("der.crt").c_str(), Path("app.bin").c_str(), list_sig.c_str()));
}

TEST_F(SignatureTest, KeysThatCannotServeAreRefused) {
  SignatureVerifier verifier;
  EXPECT_FALSE(verifier.initPublicKey("-----BEGIN PUBLIC KEY-----\nnot a key\n-----END PUBLIC KEY-----\n"));
  EXPECT_FALSE(verifier.hasPublicKey());
  // OpenSSL's reasons reach the log through the error callback.
  bool openssl_error_logged = false;
  for (const CapturedLine& line : log_.lines()) {
    if (line.level == LOG_ERR && line.function == "log_error_cb") openssl_error_logged = true;
  }
  EXPECT_TRUE(openssl_error_logged);

  testpki::Key ec = testpki::NewEcKey();
  EXPECT_FALSE(verifier.initPublicKey(testpki::PublicKeyPem(ec.get())));

  // A private key is not a public key, and its text is not logged.
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("key.pem"), key_.get()));
  const std::string private_pem = ReadFile(Path("key.pem"));
  EXPECT_FALSE(verifier.initPublicKey(private_pem));
  std::istringstream body(private_pem);
  std::string line;
  while (std::getline(body, line)) {
    if (line.empty() || line[0] == '-') continue;
    for (const CapturedLine& logged : log_.lines()) ASSERT_EQ(std::string::npos, logged.text.find(line));
  }

  EXPECT_FALSE(verifier.initCertificate(Path("missing.crt")));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "Failed to open file: " + Path("missing.crt")));
  EXPECT_FALSE(verifier.initCertificate(Path("key.pem")));
  EXPECT_FALSE(verifier.hasPublicKey());

  // A good key replaces nothing-or-something cleanly, and is dropped on request.
  ASSERT_TRUE(verifier.initCertificate(WriteCert()));
  ASSERT_TRUE(verifier.initPublicKey(testpki::PublicKeyPem(key_.get())));
  verifier.freeCertAndPublicKey();
  EXPECT_FALSE(verifier.hasPublicKey());
}

TEST_F(SignatureTest, ErrorCallbackLogsTextVerbatim) {
  EXPECT_EQ(1, log_error_cb("bad %s%n text", 13, nullptr));
  EXPECT_TRUE(log_.Contains(LOG_ERR, "bad %s%n text"));
  EXPECT_EQ(1, log_error_cb("cut here", 3, nullptr));
  EXPECT_EQ("cut", log_.lines().back().text);
}

TEST_F(SignatureTest, SignedFileSplitsThenVerifies) {
  const std::string payload(5000, 'q');
  const std::string signature = Base64Lines(Sign(payload));
  ASSERT_TRUE(WriteFile(Path("pkg.bin"), payload + signature + Trailer(signature.size())));
  ASSERT_EQ(0, extract_signature(Path("pkg.bin").c_str(), Path("pkg.sig").c_str()));
  SignatureVerifier verifier;
  ASSERT_TRUE(verifier.init(testpki::PublicKeyPem(key_.get())));
  EXPECT_TRUE(verifier.verify(Path("pkg.bin"), Path("pkg.sig")));
}

// Signatures made by the openssl program, not by this test's own code.
TEST_F(SignatureTest, SignaturesFromTheOpensslProgramVerify) {
  const std::string program = testpki::OpensslProgram();
  if (program.empty()) GTEST_SKIP() << "no openssl program on PATH to sign with";
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("key.pem"), key_.get()));
  ASSERT_TRUE(WriteFile(Path("one.bin"), std::string(3000, 'o')));
  ASSERT_TRUE(WriteFile(Path("two.bin"), "second"));
  const auto sign = [&](const std::string& input, const std::string& name) {
    EXPECT_TRUE(testpki::RunProgram(
        {program, "dgst", "-sha256", "-sign", Path("key.pem"), "-out", Path(name + ".raw"), input}));
    EXPECT_TRUE(testpki::RunProgram({program, "base64", "-in", Path(name + ".raw"), "-out", Path(name)}));
    return Path(name);
  };
  const std::string direct = sign(Path("one.bin"), "one.sig");
  ASSERT_NE(std::string::npos, ReadFile(direct).find('\n'));
  SignatureVerifier verifier;
  ASSERT_TRUE(verifier.initCertificate(WriteCert()));
  EXPECT_TRUE(verifier.verify(Path("one.bin"), direct));

  // The list form: sign the concatenated binary digests.
  std::string digests;
  for (const char* name : {"one.bin", "two.bin"}) {
    ASSERT_TRUE(testpki::RunProgram(
        {program, "dgst", "-sha256", "-binary", "-out", Path(std::string(name) + ".d"), Path(name)}));
    digests += ReadFile(Path(std::string(name) + ".d"));
  }
  ASSERT_EQ(64u, digests.size());
  ASSERT_TRUE(WriteFile(Path("digests"), digests));
  const std::string listed = sign(Path("digests"), "list.sig");
  EXPECT_TRUE(verifier.verify({Path("one.bin"), Path("two.bin")}, listed));
  EXPECT_FALSE(verifier.verify({Path("one.bin")}, listed));
  const std::string single = sign(Path("one.bin.d"), "single.sig");
  EXPECT_EQ(0, vm_verify_signature(Path("signer.crt").c_str(), Path("one.bin").c_str(), single.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(Path("signer.crt").c_str(), Path("one.bin").c_str(), direct.c_str()));
}

}  // namespace
