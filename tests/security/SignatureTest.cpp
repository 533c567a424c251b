// Signed files: the split, and RSA/SHA-256 checks against signatures made
// here with OpenSSL's signing calls or by the openssl program.
#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "platform/vmFile.h"
#include "security/SignatureVerifier.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"
#include "support/TestPki.h"

namespace {

using testpki::ReadFile;
using testpki::WriteFile;
using Bytes = std::vector<unsigned char>;

std::string Trailer(uint64_t length) {
  std::string bytes(8, '\0');
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<char>((length >> (8 * i)) & 0xff);
  return bytes;
}

std::string Sha256(const std::string& bytes) {
  unsigned char digest[32];
  EVP_Digest(bytes.data(), bytes.size(), digest, nullptr, EVP_sha256(), nullptr);
  return std::string(reinterpret_cast<char*>(digest), sizeof digest);
}

// base64 with a line break every 64 characters, as the openssl program writes it.
std::string Base64Lines(const std::string& bytes) {
  BIO* b64 = BIO_push(BIO_new(BIO_f_base64()), BIO_new(BIO_s_mem()));
  BIO_write(b64, bytes.data(), static_cast<int>(bytes.size()));
  BIO_flush(b64);
  char* data = nullptr;
  const long length = BIO_get_mem_data(BIO_next(b64), &data);
  const std::string text(data, static_cast<size_t>(length));
  BIO_free_all(b64);
  return text;
}

class SignatureTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.directory() + "/" + name; }
  std::string Sign(const std::string& message) {  // raw RSA/SHA-256 by the test key
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    size_t size = 512;
    std::string signature(size, '\0');
    EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key_.get());
    EVP_DigestSign(ctx, reinterpret_cast<unsigned char*>(&signature[0]), &size,
                   reinterpret_cast<const unsigned char*>(message.data()), message.size());
    EVP_MD_CTX_free(ctx);
    return signature.substr(0, size);
  }
  std::string WriteSignature(const std::string& name, const std::string& raw) {
    EXPECT_TRUE(WriteFile(Path(name), Base64Lines(raw)));
    return Path(name);
  }
  std::string WriteCert() {
    EXPECT_TRUE(testpki::WriteCertPem(Path("signer.crt"), testpki::MakeCert(key_.get(), testpki::CertSpec()).get()));
    return Path("signer.crt");
  }
  std::string Fifo(const std::string& name) {
    EXPECT_EQ(0, mkfifo(Path(name).c_str(), 0600));
    return Path(name);
  }
  // Each {level, function, text} was logged by this unit under the signature module.
  void ExpectLogged(const std::vector<std::tuple<int, const char*, std::string>>& lines) {
    for (const auto& l : lines) {
      EXPECT_TRUE(log_.Logged(25, std::get<0>(l), "SignatureVerifier", std::get<1>(l), std::get<2>(l)));
    }
  }
  TempDatabase dir_;
  LogCapture log_;
  testpki::Key key_ = testpki::NewRsaKey();
};

TEST_F(SignatureTest, SplitFollowsTheTrailerOrLeavesTheFileAlone) {
  const std::string pay("pay\0load", 8), p40(40, 'p');
  const struct {
    std::string bytes;
    int result;
    const char* signature;  // null: no signature file is made
    std::string left;
    int level;
    std::string log;
  } cases[] = {
      {pay + "SIGNATURE-TEXT" + Trailer(14), 0, "SIGNATURE-TEXT", pay, LOG_NOTICE, "Signature size: 14"},
      {"SIG" + Trailer(3), 0, "SIG", "", LOG_NOTICE, "Signature size: 3"},
      {"abcdefghij" + Trailer(0), 0, "", "abcdefghij", LOG_NOTICE, "Signature size: 0"},
      {"a" + Trailer(0), 0, "", "a", LOG_NOTICE, "Signature size: 0"},
      {"12345", -1, nullptr, "12345", LOG_NOTICE, "No signature found."},
      {"", -1, nullptr, "", LOG_NOTICE, "No signature found."},
      {Trailer(0), -1, nullptr, Trailer(0), LOG_NOTICE, "No signature found."},
      {p40 + Trailer(41), 0, nullptr, p40 + Trailer(41), LOG_ERR, "Failed to split"},
      {p40 + Trailer((uint64_t{1} << 32) + 5), 0, nullptr, p40 + Trailer((uint64_t{1} << 32) + 5), LOG_NOTICE,
       "Signature size: 4294967301"},
      {p40 + Trailer(~uint64_t{0}), 0, nullptr, p40 + Trailer(~uint64_t{0}), LOG_NOTICE,
       "Signature size: 18446744073709551615"},
  };
  for (const auto& c : cases) {
    log_.Clear();
    unlink(Path("fw.sig").c_str());
    ASSERT_TRUE(WriteFile(Path("fw.bin"), c.bytes));
    EXPECT_EQ(c.result, extract_signature(Path("fw.bin").c_str(), Path("fw.sig").c_str())) << c.log;
    EXPECT_EQ(c.left, ReadFile(Path("fw.bin"))) << c.log;
    EXPECT_EQ(c.signature != nullptr, access(Path("fw.sig").c_str(), F_OK) == 0) << c.log;
    // A split that ran made the signature file and logged no error.
    EXPECT_EQ(c.signature ? c.signature : "", c.signature ? ReadFile(Path("fw.sig")) : "");
    EXPECT_TRUE(!c.signature || !log_.Find(LOG_ERR, "")) << c.log;
    ExpectLogged({{c.level, "extract_signature", c.log}});
  }
}

TEST_F(SignatureTest, SplitRefusesHostileOrMissingFilesAndUnwritableTargets) {
  const std::string bytes = "payload" + std::string("SIG") + Trailer(3);
  ASSERT_TRUE(WriteFile(Path("fw.bin"), bytes));
  ASSERT_EQ(0, symlink(Path("fw.bin").c_str(), Path("link.bin").c_str()));
  for (const std::string& in : {Path("missing.bin"), Fifo("fifo.bin"), Path("link.bin")}) {
    EXPECT_EQ(-1, extract_signature(in.c_str(), Path("out.sig").c_str())) << in;
  }
  EXPECT_EQ(-1, extract_signature(nullptr, Path("out.sig").c_str()));
  for (const std::string& out : {Path("no/such/dir/fw.sig"), Path("fw.bin")}) {
    EXPECT_EQ(0, extract_signature(Path("fw.bin").c_str(), out.c_str()));
    EXPECT_EQ(bytes, ReadFile(Path("fw.bin")));
  }
  EXPECT_NE(0, access(Path("out.sig").c_str(), F_OK));
  ExpectLogged({{LOG_ERR, "extract_signature", "Failed to open file: " + Path("missing.bin")},
                {LOG_ERR, "extract_signature", Path("fifo.bin") + ": not a regular file"},
                {LOG_ERR, "extract_signature", Path("link.bin") + ": a symbolic link"},
                {LOG_ERR, "extract_signature", "Failed to open file: (null)"},
                {LOG_ERR, "extract_signature", "Failed to split " + Path("fw.bin") + " at 7"}});
}

TEST_F(SignatureTest, OneFileVerifiesOverEveryByteWithKeyOrCertificate) {
  std::string payload;  // an odd size, so the last chunk is partial
  for (int i = 0; i < 512 * 40 + 7; ++i) payload.push_back(static_cast<char>(i * 131 % 251));
  std::string flipped = payload, raw = Sign(payload), bad = raw;
  flipped[payload.size() - 3] ^= 0x01;
  bad[10] ^= 0x40;
  ASSERT_TRUE(WriteFile(Path("data.bin"), payload) && WriteFile(Path("flipped.bin"), flipped));
  const std::string sig = WriteSignature("data.sig", raw);
  SignatureVerifier verifier;
  EXPECT_FALSE(verifier.verify(Path("data.bin"), sig));  // no key yet
  ASSERT_TRUE(verifier.init(testpki::PublicKeyPem(key_.get())));
  EXPECT_TRUE(verifier.verify(Path("data.bin"), sig));
  EXPECT_EQ(Bytes(raw.begin(), raw.end()), verifier.signature());
  ExpectLogged({{LOG_NOTICE, "verify", "OK"}, {LOG_NOTICE, "verify", "file: " + Path("data.bin")}});
  ASSERT_TRUE(verifier.initCertificate(WriteCert()));
  EXPECT_TRUE(verifier.verify(Path("data.bin"), sig));
  EXPECT_FALSE(verifier.verify(Path("flipped.bin"), sig));
  ExpectLogged({{LOG_NOTICE, "verify", "FAILED"}});
  for (const std::string& signature : {WriteSignature("bad.sig", bad), WriteSignature("short.sig", raw.substr(1))}) {
    EXPECT_FALSE(verifier.verify(Path("data.bin"), signature));
  }
  for (const std::string& file : {Path("missing.bin"), Fifo("fifo.bin")}) EXPECT_FALSE(verifier.verify(file, sig));
  EXPECT_FALSE(verifier.verify(Path("data.bin"), Path("missing.sig")));
}

TEST_F(SignatureTest, SignatureTextDecodesAsBase64AndHostileFilesAreRefused) {
  SignatureVerifier verifier;
  ASSERT_TRUE(WriteFile(Path("pad.sig"), "aGVs\nbG8=\n"));
  ASSERT_TRUE(verifier.initSignature(Path("pad.sig")));
  EXPECT_EQ(Bytes({'h', 'e', 'l', 'l', 'o'}), verifier.signature());
  ASSERT_TRUE(WriteFile(Path("junk.sig"), "%s%n not base64 !!"));
  EXPECT_TRUE(verifier.initSignature(Path("junk.sig")));  // read, but nothing decoded
  EXPECT_TRUE(verifier.signature().empty());
  ASSERT_TRUE(WriteFile(Path("big.sig"), std::string(VM_FILE_CAP_SIGNATURE + 1, 'A')));
  for (const std::string& path : {Path("missing.sig"), Fifo("fifo.sig"), Path("big.sig")}) {
    EXPECT_FALSE(verifier.initSignature(path)) << path;
  }
  ExpectLogged({{LOG_NOTICE, "initSignature", "signature: " + Path("pad.sig")},
                {LOG_NOTICE, "initSignature", "encoded signature (10)\naGVs\nbG8=\n"},
                {LOG_NOTICE, "initSignature", "decoded signature (5)"},
                {LOG_ERR, "initSignature", "Failed to open file: " + Path("missing.sig")},
                {LOG_ERR, "initSignature", "Signature file " + Path("fifo.sig") + " is refused: not a regular file"},
                {LOG_ERR, "initSignature", "Signature file " + Path("big.sig") + " is refused: too large"}});
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
  EXPECT_EQ(Bytes(digests.begin(), digests.end()), verifier.digest());
  ExpectLogged({{LOG_NOTICE, "generateDigest", "file[2]: " + files[2]}, {LOG_NOTICE, "generateDigest", "digest size: 96"}});
  EXPECT_FALSE(verifier.verify({files[1], files[0], files[2]}, sig));  // order matters
  // Unreadable files are skipped: the digest holds the others only.
  const std::vector<std::string> holes = {files[0], Path("missing"), Fifo("fifo"), files[1]};
  EXPECT_FALSE(verifier.verify(holes, sig));
  EXPECT_TRUE(verifier.verify(holes, WriteSignature("short.sig", Sign(digests.substr(0, 64)))));
  EXPECT_FALSE(verifier.generateDigest({Path("missing"), Path("gone")}));
  EXPECT_TRUE(verifier.digest().empty());
  EXPECT_FALSE(verifier.verify({Path("missing")}, sig));
}

TEST_F(SignatureTest, ExportedCheckUsesTheListFormWithAPemCertificateOfTheKey) {
  ASSERT_TRUE(WriteFile(Path("app.bin"), "application image"));
  const std::string cert = WriteCert(), app = Path("app.bin");
  const std::string sig = WriteSignature("list.sig", Sign(Sha256("application image")));
  testpki::Key other = testpki::NewRsaKey();
  ASSERT_TRUE(testpki::WriteCertPem(Path("other.crt"), testpki::MakeCert(other.get(), testpki::CertSpec()).get()));
  ASSERT_TRUE(testpki::WriteCertDer(Path("der.crt"), testpki::MakeCert(key_.get(), testpki::CertSpec()).get()));
  EXPECT_EQ(0, vm_verify_signature(cert.c_str(), app.c_str(), sig.c_str()));
  const std::string direct = WriteSignature("direct.sig", Sign("application image"));
  EXPECT_EQ(-1, vm_verify_signature(cert.c_str(), app.c_str(), direct.c_str()));
  for (const std::string& c : {Path("missing.crt"), Path("other.crt"), Path("der.crt")}) {
    EXPECT_EQ(-1, vm_verify_signature(c.c_str(), app.c_str(), sig.c_str())) << c;
  }
  EXPECT_EQ(-1, vm_verify_signature(cert.c_str(), Path("missing.bin").c_str(), sig.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(nullptr, app.c_str(), sig.c_str()));
  ExpectLogged({{LOG_ERR, "vm_verify_signature", "Missing certificate, file or signature path"}});
}

TEST_F(SignatureTest, KeysThatCannotServeAreRefusedAndDropTheKeyHeldBefore) {
  SignatureVerifier verifier;
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("key.pem"), key_.get()));
  const std::string private_pem = ReadFile(Path("key.pem"));
  testpki::Key ec = testpki::NewEcKey();
  for (const std::string& pem : {std::string("-----BEGIN PUBLIC KEY-----\nnot a key\n-----END PUBLIC KEY-----\n"),
                                 testpki::PublicKeyPem(ec.get()), private_pem}) {
    ASSERT_TRUE(verifier.initPublicKey(testpki::PublicKeyPem(key_.get())));
    EXPECT_FALSE(verifier.initPublicKey(pem) || verifier.hasPublicKey()) << pem;
  }
  const std::string body = private_pem.substr(private_pem.find('\n') + 1, 40);  // never logged
  for (const CapturedLine& line : log_.lines()) EXPECT_EQ(std::string::npos, line.text.find(body));
  for (const std::string& path : {Path("missing.crt"), Path("key.pem"), Fifo("fifo.crt")}) {
    ASSERT_TRUE(verifier.initCertificate(WriteCert()));
    EXPECT_FALSE(verifier.initCertificate(path) || verifier.hasPublicKey()) << path;
  }
  verifier.freeCertAndPublicKey();
  EXPECT_FALSE(verifier.hasPublicKey());
  EXPECT_EQ(1, log_error_cb("bad %s%n text", 13, nullptr));
  EXPECT_EQ(1, log_error_cb("cut here", 3, nullptr));
  EXPECT_EQ("cut", log_.lines().back().text);
  ExpectLogged({{LOG_NOTICE, "initPublicKey", "\n-----BEGIN PUBLIC KEY-----\n"},
                {LOG_NOTICE, "initCertificate", Path("key.pem")},
                {LOG_ERR, "initCertificate", "Failed to open file: " + Path("missing.crt")},
                {LOG_ERR, "initCertificate", Path("fifo.crt") + ": not a regular file"},
                {LOG_ERR, "log_error_cb", "bad %s%n text"}});
}

// Signatures made by the openssl program, not by this test's own code.
TEST_F(SignatureTest, SignaturesFromTheOpensslProgramVerify) {
  const std::string program = testpki::OpensslProgram();
  if (program.empty()) GTEST_SKIP() << "no openssl program on PATH to sign with";
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("key.pem"), key_.get()));
  ASSERT_TRUE(WriteFile(Path("one.bin"), std::string(3000, 'o')) && WriteFile(Path("two.bin"), "second"));
  const auto sign = [&](const std::string& input, const std::string& name) {
    EXPECT_TRUE(testpki::RunProgram({program, "dgst", "-sha256", "-sign", Path("key.pem"), "-out", Path("raw"), input}));
    EXPECT_TRUE(testpki::RunProgram({program, "base64", "-in", Path("raw"), "-out", Path(name)}));
    return Path(name);
  };
  const auto digest = [&](const char* name) {
    EXPECT_TRUE(testpki::RunProgram({program, "dgst", "-sha256", "-binary", "-out", Path("d"), Path(name)}));
    return ReadFile(Path("d"));
  };
  const std::string direct = sign(Path("one.bin"), "one.sig");
  SignatureVerifier verifier;
  ASSERT_TRUE(verifier.initCertificate(WriteCert()));
  EXPECT_TRUE(verifier.verify(Path("one.bin"), direct));
  ASSERT_TRUE(WriteFile(Path("digests"), digest("one.bin") + digest("two.bin")));
  const std::string listed = sign(Path("digests"), "list.sig");
  EXPECT_TRUE(verifier.verify({Path("one.bin"), Path("two.bin")}, listed));
  EXPECT_FALSE(verifier.verify({Path("one.bin")}, listed));
  ASSERT_TRUE(WriteFile(Path("single"), digest("one.bin")));
  const std::string single = sign(Path("single"), "s.sig");
  EXPECT_EQ(0, vm_verify_signature(Path("signer.crt").c_str(), Path("one.bin").c_str(), single.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(Path("signer.crt").c_str(), Path("one.bin").c_str(), direct.c_str()));
}

}  // namespace
