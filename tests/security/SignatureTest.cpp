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
#include "support/RunProgram.h"
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
  // Writes the base64 RSA/SHA-256 signature of `message` by the test key.
  std::string WriteSignature(const std::string& name, const std::string& message) {
    unsigned char raw[512], text[1024];
    size_t size = sizeof raw;
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key_.get());
    EVP_DigestSign(ctx, raw, &size, reinterpret_cast<const unsigned char*>(message.data()), message.size());
    EVP_MD_CTX_free(ctx);
    EXPECT_TRUE(WriteFile(Path(name), std::string(reinterpret_cast<char*>(text), EVP_EncodeBlock(text, raw, size))));
    return Path(name);
  }
  std::string WriteCert(const char* name = "signer.crt") {
    EXPECT_TRUE(testpki::WriteCertPem(Path(name), testpki::MakeCert(key_.get(), {}).get()));
    return Path(name);
  }
  std::string Fifo(const std::string& name) { return mkfifo(Path(name).c_str(), 0600) == 0 ? Path(name) : "fifo?"; }
  // Each {level, function, text} was logged by this unit under the signature module.
  void ExpectLogged(const std::vector<std::tuple<int, const char*, std::string>>& lines) {
    for (const auto& [lv, fn, tx] : lines) EXPECT_TRUE(log_.Logged(VM_LOG_MODULE_EMS, lv, "SignatureVerifier", fn, tx));
  }
  TempDatabase dir_;
  LogCapture log_;
  testpki::Key key_ = testpki::NewRsaKey();
};

TEST_F(SignatureTest, SplitFollowsTheTrailerOrLeavesTheFileAloneAndRefusesHostileFiles) {
  const std::string same = "=";
  // Bytes, result, signature file made ("-": none), bytes left ("=": as they were), a line logged.
  const std::tuple<std::string, int, std::string, std::string, std::string> cases[] = {
      {"SIG" + Trailer(3), 0, "SIG", "", "Signature size: 3"},
      {"aX" + Trailer(1), 0, "X", "a", "Signature size: 1"},
      {"a" + Trailer(0), 0, "", "a", "Signature size: 0"},  // zeros split too
      {"12345", -1, "-", same, "No signature found."},
      {Trailer(0), -1, "-", same, "No signature found."},
      {"ab" + Trailer(3), 0, "-", same, "Signature size: 3"},  // longer than the file: nothing changes
      {"ab" + Trailer(~uint64_t{0}), 0, "-", same, "Signature size: 18446744073709551615"},
  };
  ASSERT_TRUE(WriteFile(Path("fw.sig"), std::string(100, 'x')));  // replaced by the first split
  for (const auto& c : cases) {
    const std::string& log = std::get<4>(c);
    log_.Clear();
    ASSERT_TRUE(WriteFile(Path("fw.bin"), std::get<0>(c)));
    EXPECT_EQ(std::get<1>(c), extract_signature(Path("fw.bin").c_str(), Path("fw.sig").c_str())) << log;
    EXPECT_EQ(std::get<3>(c) == same ? std::get<0>(c) : std::get<3>(c), ReadFile(Path("fw.bin"))) << log;
    EXPECT_EQ(std::get<2>(c), access(Path("fw.sig").c_str(), F_OK) ? "-" : ReadFile(Path("fw.sig"))) << log;
    ExpectLogged({{log[0] == 'F' ? LOG_ERR : LOG_NOTICE, "extract_signature", log}});
    EXPECT_TRUE(std::get<2>(c) == "-" || !log_.Find(LOG_ERR, "")) << log;  // a split that ran logs no error
    unlink(Path("fw.sig").c_str());
  }
  // Hostile or missing files and unwritable targets.
  const std::string bin = Path("fw.bin"), bytes = "payloadSIG" + Trailer(3), out = Path("out.sig");
  ASSERT_TRUE(WriteFile(bin, bytes) && symlink(bin.c_str(), Path("link.bin").c_str()) == 0);
  for (const std::string& in : {Path("missing.bin"), Fifo("fifo.bin"), Path("link.bin")}) {
    EXPECT_EQ(-1, extract_signature(in.c_str(), out.c_str())) << in;
  }
  EXPECT_TRUE(extract_signature(nullptr, out.c_str()) == -1 && extract_signature(bin.c_str(), nullptr) == -1);
  for (const std::string& to : {Path("no/dir/fw.sig"), bin}) EXPECT_EQ(0, extract_signature(bin.c_str(), to.c_str()));
  EXPECT_TRUE(bytes == ReadFile(bin) && access(out.c_str(), F_OK) != 0);
  ExpectLogged({{LOG_ERR, "extract_signature", "Failed to open file: " + Path("missing.bin")},
                {LOG_ERR, "extract_signature", Path("fifo.bin") + ": not a regular file"},
                {LOG_ERR, "extract_signature", Path("link.bin") + ": a symbolic link"},
                {LOG_ERR, "extract_signature", "Failed to open file: (null)"},
                {LOG_ERR, "extract_signature", "Failed to open file: " + bin},
                {LOG_ERR, "extract_signature", bin + " is both the signed file and the signature file; not split"}});
}

TEST_F(SignatureTest, OneFileVerifiesOverEveryByteWithKeyOrCertificate) {
  // The last chunk is partial, and its last byte counts.
  const std::string payload(512 * 40 + 7, 'p'), flipped = payload.substr(1) + "q", data = Path("data.bin");
  ASSERT_TRUE(WriteFile(data, payload) && WriteFile(Path("flipped.bin"), flipped));
  ASSERT_EQ(0, symlink(data.c_str(), Path("link.bin").c_str()));  // links are followed
  const std::string sig = WriteSignature("data.sig", payload);
  SignatureVerifier verifier;
  ASSERT_TRUE(verifier.init(testpki::PublicKeyPem(key_.get())));
  EXPECT_TRUE(verifier.verify(data, sig));
  ExpectLogged({{LOG_NOTICE, "verify", "OK"}, {LOG_NOTICE, "verify", "file: " + data}});
  ASSERT_TRUE(verifier.initCertificate(WriteCert()));
  EXPECT_TRUE(verifier.verify(Path("link.bin"), sig));
  EXPECT_FALSE(verifier.verify(Path("flipped.bin"), sig));
  ExpectLogged({{LOG_NOTICE, "verify", "FAILED"}, {LOG_ERR, "log_error_cb", ""}});  // with OpenSSL's reasons
  const std::pair<std::string, std::string> refused[] = {
      {data, WriteSignature("other.sig", flipped)}, {data, Path("no.sig")}, {Path("none"), sig}, {Fifo("fifo"), sig}};
  for (const auto& r : refused) EXPECT_FALSE(verifier.verify(r.first, r.second)) << r.first << " " << r.second;
}

TEST_F(SignatureTest, SignatureTextDecodesAsBase64AndHostileFilesAreRefused) {
  SignatureVerifier verifier;
  // Text that is not base64 is read, and nothing decoded.
  const std::pair<const char*, Bytes> texts[] = {
      {"QQ==", {'A'}}, {"aGVs\nbG8=\n", {'h', 'e', 'l', 'l', 'o'}}, {"%s%n not base64 !!", {}}};
  for (const auto& t : texts) {
    ASSERT_TRUE(WriteFile(Path("s.sig"), t.first) && verifier.initSignature(Path("s.sig")));
    EXPECT_EQ(t.second, verifier.signature()) << t.first;
  }
  ASSERT_TRUE(WriteFile(Path("big.sig"), std::string(VM_FILE_CAP_SIGNATURE + 1, 'A')) && Fifo("fifo.sig") != "fifo?");
  for (const char* name : {"missing.sig", "fifo.sig", "big.sig"}) EXPECT_FALSE(verifier.initSignature(Path(name)));
  ExpectLogged({{LOG_NOTICE, "initSignature", "encoded signature (10)\naGVs\nbG8=\n"},
                {LOG_NOTICE, "initSignature", "decoded signature (5)"},
                {LOG_ERR, "initSignature", "Failed to open file: " + Path("missing.sig")},
                {LOG_ERR, "initSignature", "Signature file " + Path("fifo.sig") + " is refused: not a regular file"},
                {LOG_ERR, "initSignature", "Signature file " + Path("big.sig") + " is refused: too large"}});
}

TEST_F(SignatureTest, ListChecksTheConcatenatedDigestsOfReadableFilesInOrder) {
  const std::vector<std::string> files = {Path("f0"), Path("f1"), Path("f2")};
  const std::string big(20000, 'b'), digests = Sha256("first file") + Sha256(big) + Sha256("");
  ASSERT_TRUE(WriteFile(files[0], "first file") && WriteFile(files[1], big) && WriteFile(files[2], ""));
  SignatureVerifier verifier;
  ASSERT_TRUE(verifier.initPublicKey(testpki::PublicKeyPem(key_.get())));
  const std::string sig = WriteSignature("list.sig", digests);
  EXPECT_TRUE(verifier.verify(files, sig));
  // The list check's verdict is its own line, not its helper's.
  ExpectLogged({{LOG_NOTICE, "generateDigest", "file[2]: " + files[2]},
                {LOG_NOTICE, "generateDigest", "digest size: 96"}, {LOG_NOTICE, "verify", "OK"}});
  EXPECT_FALSE(verifier.verify({files[1], files[0], files[2]}, sig));
  // Unreadable files are skipped: the digest holds the others only.
  const std::string short_sig = WriteSignature("short.sig", digests.substr(0, 64));
  EXPECT_TRUE(verifier.verify({files[0], Path("missing"), Fifo("fifo"), files[1]}, short_sig));
  ExpectLogged({{LOG_ERR, "log_error_cb", "calling open(" + Path("missing") + ")"}});  // OpenSSL's queue
  EXPECT_FALSE(verifier.generateDigest({Path("missing"), Path("gone")}) || !verifier.digest().empty());
}

TEST_F(SignatureTest, KeysThatCannotServeAreRefusedAndDropTheKeyHeldBefore) {
  SignatureVerifier verifier;
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("key.pem"), key_.get()));
  const std::string private_pem = ReadFile(Path("key.pem"));
  for (const std::string& pem : {std::string("-----BEGIN PUBLIC KEY-----\nnot a key\n-----END PUBLIC KEY-----\n"),
                                 testpki::PublicKeyPem(testpki::NewEcKey().get()), private_pem}) {
    ASSERT_TRUE(verifier.initPublicKey(testpki::PublicKeyPem(key_.get())));
    EXPECT_FALSE(verifier.initPublicKey(pem) || verifier.hasPublicKey()) << pem;
  }
  ExpectLogged({{LOG_ERR, "log_error_cb", "expecting an rsa key"}});  // OpenSSL's reasons reach the log
  const std::string body = private_pem.substr(private_pem.find('\n') + 1, 40);  // never logged
  for (const CapturedLine& line : log_.lines()) EXPECT_EQ(std::string::npos, line.text.find(body));
  for (const std::string& path : {Path("missing.crt"), Fifo("fifo.crt"), Path("key.pem")}) {
    ASSERT_TRUE(verifier.initCertificate(WriteCert()));
    EXPECT_FALSE(verifier.initCertificate(path) || verifier.hasPublicKey()) << path;
  }
  ASSERT_EQ(0, symlink(WriteCert().c_str(), Path("link.crt").c_str()));
  EXPECT_TRUE(verifier.initCertificate(Path("link.crt")));
  EXPECT_EQ(1, log_error_cb("bad %s%n text, cut here", 13, nullptr));  // never a format
  ExpectLogged({{LOG_NOTICE, "initPublicKey", "\n-----BEGIN PUBLIC KEY-----\n"},
                {LOG_ERR, "initCertificate", "Failed to open file: " + Path("missing.crt")},
                {LOG_ERR, "initCertificate", Path("fifo.crt") + ": not a regular file"}});
  EXPECT_EQ("bad %s%n text", log_.lines().back().text);
}

// The exported check signs the list form; its signatures here come from the
// openssl program, not from this test's code.
TEST_F(SignatureTest, ExportedCheckTakesTheOpensslProgramsListSignatureWithAPemCertificate) {
  const std::string program = testpki::OpensslProgram(), app = Path("app.bin");
  if (program.empty()) GTEST_SKIP() << "no openssl program on PATH to sign with";
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("key.pem"), key_.get()) && WriteFile(app, std::string(3000, 'o')));
  ASSERT_TRUE(RunHostProgram({program, "dgst", "-sha256", "-binary", "-out", Path("digest"), app}).status == 0 &&
              RunHostProgram({program, "dgst", "-sha256", "-sign", Path("key.pem"), "-out", Path("raw"),
                              Path("digest")}).status == 0 &&
              RunHostProgram({program, "base64", "-in", Path("raw"), "-out", Path("list.sig")}).status == 0);
  const std::string list = Path("list.sig"), cert = WriteCert();
  EXPECT_EQ(0, vm_verify_signature(cert.c_str(), app.c_str(), list.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(Path("missing.crt").c_str(), app.c_str(), list.c_str()));
  EXPECT_EQ(-1, vm_verify_signature(nullptr, app.c_str(), list.c_str()));
  ExpectLogged({{LOG_ERR, "vm_verify_signature", "Missing certificate, file or signature path"}});
}

}  // namespace
