// Signed files: the split, and RSA/SHA-256 checks against signatures made
// here with OpenSSL's signing call or by the openssl program.
#include <gtest/gtest.h>
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

std::string Trailer(uint64_t length) {  // little-endian
  std::string bytes(8, '\0');
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<char>(length >> (8 * i));
  return bytes;
}

std::string Sha256(const std::string& bytes) {
  unsigned char digest[32];
  EVP_Digest(bytes.data(), bytes.size(), digest, nullptr, EVP_sha256(), nullptr);
  return std::string(reinterpret_cast<char*>(digest), sizeof digest);
}

class SignatureTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.directory() + "/" + name; }
  // Writes the base64 RSA/SHA-256 signature of `message` by the test key (raw in raw_).
  std::string WriteSignature(const std::string& name, const std::string& message) {
    unsigned char raw[512];
    size_t size = sizeof raw;
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key_.get());
    EVP_DigestSign(ctx, raw, &size, reinterpret_cast<const unsigned char*>(message.data()), message.size());
    EVP_MD_CTX_free(ctx);
    raw_.assign(raw, raw + size);
    unsigned char text[1024];
    EXPECT_TRUE(WriteFile(Path(name), std::string(reinterpret_cast<char*>(text), EVP_EncodeBlock(text, raw, size))));
    return Path(name);
  }
  std::string WriteCert(const char* name = "signer.crt", EVP_PKEY* key = nullptr) {
    testpki::Cert cert = testpki::MakeCert(key ? key : key_.get(), testpki::CertSpec());
    EXPECT_TRUE(testpki::WriteCertPem(Path(name), cert.get()));
    return Path(name);
  }
  std::string Fifo(const std::string& name) {
    EXPECT_EQ(0, mkfifo(Path(name).c_str(), 0600));
    return Path(name);
  }
  // Each {level, function, text} was logged by this unit under the signature module.
  void ExpectLogged(const std::vector<std::tuple<int, const char*, std::string>>& lines) {
    for (const auto& l : lines) {
      EXPECT_TRUE(log_.Logged(VM_LOG_MODULE_EMS, std::get<0>(l), "SignatureVerifier", std::get<1>(l), std::get<2>(l)));
    }
  }
  TempDatabase dir_;
  LogCapture log_;
  testpki::Key key_ = testpki::NewRsaKey();
  Bytes raw_;
};

TEST_F(SignatureTest, SplitFollowsTheTrailerOrLeavesTheFileAlone) {
  const std::string pay("pay\0load", 8), p40(40, 'p'), same = "=";
  // Bytes, result, signature file made ("-": none), bytes left ("=": as they were), a line logged.
  const std::tuple<std::string, int, std::string, std::string, std::string> cases[] = {
      {pay + "SIGNATURE-TEXT" + Trailer(14), 0, "SIGNATURE-TEXT", pay, "Signature size: 14"},
      {"SIG" + Trailer(3), 0, "SIG", "", "Signature size: 3"},
      {"aX" + Trailer(1), 0, "X", "a", "Signature size: 1"},
      {"abcdefghij" + Trailer(0), 0, "", "abcdefghij", "Signature size: 0"},  // zeros split too
      {"a" + Trailer(0), 0, "", "a", "Signature size: 0"},
      {"12345", -1, "-", same, "No signature found."},
      {"", -1, "-", same, "No signature found."},
      {Trailer(0), -1, "-", same, "No signature found."},
      {p40 + Trailer(41), 0, "-", same, "Failed to split " + Path("fw.bin") + " at -1"},
      {p40 + Trailer(~uint64_t{0}), 0, "-", same, "Signature size: 18446744073709551615"},
  };
  ASSERT_TRUE(WriteFile(Path("fw.sig"), std::string(100, 'x')));  // replaced by the first split
  for (const auto& c : cases) {
    const std::string& log = std::get<4>(c);
    log_.Clear();
    ASSERT_TRUE(WriteFile(Path("fw.bin"), std::get<0>(c)));
    EXPECT_EQ(std::get<1>(c), extract_signature(Path("fw.bin").c_str(), Path("fw.sig").c_str())) << log;
    EXPECT_EQ(std::get<3>(c) == same ? std::get<0>(c) : std::get<3>(c), ReadFile(Path("fw.bin"))) << log;
    EXPECT_EQ(std::get<2>(c), access(Path("fw.sig").c_str(), F_OK) ? "-" : ReadFile(Path("fw.sig"))) << log;
    EXPECT_TRUE(std::get<2>(c) == "-" || !log_.Find(LOG_ERR, "")) << log;  // a split that ran logs no error
    ExpectLogged({{log[0] == 'F' ? LOG_ERR : LOG_NOTICE, "extract_signature", log}});
    unlink(Path("fw.sig").c_str());
  }
}

TEST_F(SignatureTest, SplitRefusesHostileOrMissingFilesAndUnwritableTargets) {
  const std::string bytes = "payloadSIG" + Trailer(3);
  ASSERT_TRUE(WriteFile(Path("fw.bin"), bytes));
  ASSERT_EQ(0, symlink(Path("fw.bin").c_str(), Path("link.bin").c_str()));
  for (const std::string& in : {Path("missing.bin"), Fifo("fifo.bin"), Path("link.bin")}) {
    EXPECT_EQ(-1, extract_signature(in.c_str(), Path("out.sig").c_str())) << in;
  }
  EXPECT_EQ(-1, extract_signature(nullptr, Path("out.sig").c_str()));
  EXPECT_EQ(-1, extract_signature(Path("fw.bin").c_str(), nullptr));
  for (const std::string& out : {Path("no/such/dir/fw.sig"), Path("fw.bin")}) {
    EXPECT_EQ(0, extract_signature(Path("fw.bin").c_str(), out.c_str()));
  }
  EXPECT_EQ(bytes, ReadFile(Path("fw.bin")));
  EXPECT_NE(0, access(Path("out.sig").c_str(), F_OK));
  ExpectLogged({{LOG_ERR, "extract_signature", "Failed to open file: " + Path("missing.bin")},
                {LOG_ERR, "extract_signature", Path("fifo.bin") + ": not a regular file"},
                {LOG_ERR, "extract_signature", Path("link.bin") + ": a symbolic link"},
                {LOG_ERR, "extract_signature", "Failed to open file: (null)"},
                {LOG_ERR, "extract_signature", "Failed to open file: " + Path("fw.bin")},
                {LOG_ERR, "extract_signature", "Failed to split " + Path("fw.bin") + " at 7"}});
}

TEST_F(SignatureTest, OneFileVerifiesOverEveryByteWithKeyOrCertificate) {
  std::string payload;  // an odd size, so the last chunk is partial
  for (int i = 0; i < 512 * 40 + 7; ++i) payload.push_back(static_cast<char>(i * 131 % 251));
  std::string flipped = payload;
  flipped[payload.size() - 3] ^= 0x01;
  ASSERT_TRUE(WriteFile(Path("data.bin"), payload) && WriteFile(Path("flipped.bin"), flipped));
  ASSERT_EQ(0, symlink(Path("data.bin").c_str(), Path("link.bin").c_str()));  // links are followed
  const std::string sig = WriteSignature("data.sig", payload);
  SignatureVerifier verifier;
  EXPECT_FALSE(verifier.verify(Path("data.bin"), sig));  // no key yet
  ASSERT_TRUE(verifier.init(testpki::PublicKeyPem(key_.get())));
  EXPECT_TRUE(verifier.verify(Path("data.bin"), sig));
  EXPECT_EQ(raw_, verifier.signature());
  ExpectLogged({{LOG_NOTICE, "verify", "OK"}, {LOG_NOTICE, "verify", "file: " + Path("data.bin")}});
  ASSERT_TRUE(verifier.initCertificate(WriteCert()));
  EXPECT_TRUE(verifier.verify(Path("link.bin"), sig));
  EXPECT_FALSE(verifier.verify(Path("flipped.bin"), sig));
  ExpectLogged({{LOG_NOTICE, "verify", "FAILED"}, {LOG_ERR, "log_error_cb", ""}});  // with OpenSSL's reasons
  for (const std::string& other : {WriteSignature("other.sig", flipped), Path("no.sig")}) {
    EXPECT_FALSE(verifier.verify(Path("data.bin"), other)) << other;
  }
  for (const std::string& file : {Path("missing.bin"), Fifo("fifo.bin")}) EXPECT_FALSE(verifier.verify(file, sig));
}

TEST_F(SignatureTest, SignatureTextDecodesAsBase64AndHostileFilesAreRefused) {
  SignatureVerifier verifier;
  ASSERT_TRUE(WriteFile(Path("pad.sig"), "aGVs\nbG8=\n") && WriteFile(Path("junk.sig"), "%s%n not base64 !!"));
  ASSERT_TRUE(WriteFile(Path("one.sig"), "QQ==") && verifier.initSignature(Path("one.sig")));
  EXPECT_EQ(Bytes{'A'}, verifier.signature());
  ASSERT_TRUE(verifier.initSignature(Path("pad.sig")));
  EXPECT_EQ(Bytes({'h', 'e', 'l', 'l', 'o'}), verifier.signature());
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

TEST_F(SignatureTest, ListChecksTheConcatenatedDigestsOfReadableFilesInOrder) {
  const std::string contents[] = {"first file", std::string(20000, 'b'), ""};
  std::vector<std::string> files;
  std::string digests;
  for (const std::string& content : contents) {
    files.push_back(Path("f" + std::to_string(files.size())));
    ASSERT_TRUE(WriteFile(files.back(), content));
    digests += Sha256(content);
  }
  SignatureVerifier verifier;
  ASSERT_TRUE(verifier.initPublicKey(testpki::PublicKeyPem(key_.get())));
  const std::string sig = WriteSignature("list.sig", digests);
  EXPECT_TRUE(verifier.verify(files, sig));
  EXPECT_EQ(Bytes(digests.begin(), digests.end()), verifier.digest());
  ExpectLogged({{LOG_NOTICE, "generateDigest", "file[2]: " + files[2]},
                {LOG_NOTICE, "generateDigest", "digest size: 96"}});
  EXPECT_FALSE(verifier.verify({files[1], files[0], files[2]}, sig));
  // Unreadable files are skipped: the digest holds the others only.
  const std::vector<std::string> holes = {files[0], Path("missing"), Fifo("fifo"), files[1]};
  EXPECT_FALSE(verifier.verify(holes, sig));
  EXPECT_TRUE(verifier.verify(holes, WriteSignature("short.sig", digests.substr(0, 64))));
  EXPECT_FALSE(verifier.generateDigest({Path("missing"), Path("gone")}) || !verifier.digest().empty());
  EXPECT_FALSE(verifier.verify(std::vector<std::string>{Path("missing")}, sig));
}

// Fault left for the owner: the list check logs its verdict under "verifyBuffer", not "verify".
TEST_F(SignatureTest, DISABLED_ListCheckLogsItsVerdictUnderVerify) {
  ASSERT_TRUE(WriteFile(Path("f"), "x"));
  SignatureVerifier verifier;
  ASSERT_TRUE(verifier.initPublicKey(testpki::PublicKeyPem(key_.get())));
  EXPECT_TRUE(verifier.verify(std::vector<std::string>{Path("f")}, WriteSignature("f.sig", Sha256("x"))));
  ExpectLogged({{LOG_NOTICE, "verify", "OK"}});
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
  ExpectLogged({{LOG_ERR, "log_error_cb", ""}});  // OpenSSL's reasons reach the log
  const std::string body = private_pem.substr(private_pem.find('\n') + 1, 40);  // never logged
  for (const CapturedLine& line : log_.lines()) EXPECT_EQ(std::string::npos, line.text.find(body));
  for (const std::string& path : {Path("missing.crt"), Fifo("fifo.crt"), Path("key.pem")}) {
    ASSERT_TRUE(verifier.initCertificate(WriteCert()));
    EXPECT_FALSE(verifier.initCertificate(path) || verifier.hasPublicKey()) << path;
  }
  ExpectLogged({{LOG_ERR, "log_error_cb", ""}});  // why key.pem is no certificate
  ASSERT_EQ(0, symlink(WriteCert().c_str(), Path("link.crt").c_str()));
  ASSERT_TRUE(verifier.initCertificate(Path("link.crt")));
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

// The exported check signs the list form; its signatures here come from the
// openssl program, not from this test's code.
TEST_F(SignatureTest, ExportedCheckTakesTheOpensslProgramsListSignatureWithAPemCertificate) {
  const std::string program = testpki::OpensslProgram(), app = Path("app.bin");
  if (program.empty()) GTEST_SKIP() << "no openssl program on PATH to sign with";
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("key.pem"), key_.get()) && WriteFile(app, std::string(3000, 'o')));
  const auto sign = [&](const std::string& input, const std::string& name) {
    EXPECT_TRUE(
        testpki::RunProgram({program, "dgst", "-sha256", "-sign", Path("key.pem"), "-out", Path("raw"), input}));
    EXPECT_TRUE(testpki::RunProgram({program, "base64", "-in", Path("raw"), "-out", Path(name)}));
    return Path(name);
  };
  ASSERT_TRUE(testpki::RunProgram({program, "dgst", "-sha256", "-binary", "-out", Path("digest"), app}));
  const std::string list = sign(Path("digest"), "list.sig"), direct = sign(app, "direct.sig"), cert = WriteCert();
  SignatureVerifier verifier;
  ASSERT_TRUE(verifier.initCertificate(cert));
  EXPECT_TRUE(verifier.verify(app, direct));  // base64 in lines
  EXPECT_EQ(0, vm_verify_signature(cert.c_str(), app.c_str(), list.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(cert.c_str(), app.c_str(), direct.c_str()));
  testpki::Key other = testpki::NewRsaKey();
  for (const std::string& c : {Path("missing.crt"), WriteCert("other.crt", other.get())}) {
    EXPECT_EQ(-1, vm_verify_signature(c.c_str(), app.c_str(), list.c_str())) << c;
  }
  EXPECT_EQ(-1, vm_verify_signature(cert.c_str(), Path("missing.bin").c_str(), list.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(nullptr, app.c_str(), list.c_str()));
  ExpectLogged({{LOG_ERR, "vm_verify_signature", "Missing certificate, file or signature path"}});
}

}  // namespace
