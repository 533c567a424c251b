#include <openssl/evp.h>
#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "platform/vmUtils.h"
#include "state/SCEPEnrollUtility.h"
#include "support/TestPki.h"
#include "tools/DmctlFixture.h"

namespace {

class DmctlSecurity : public Dmctl {
 protected:
  std::string Path(const std::string& name) const { return db_.directory() + "/" + name; }

  std::string WriteCert(const std::string& name, const testpki::CertSpec& spec) {
    testpki::Cert cert = testpki::MakeCert(key_.get(), spec);
    EXPECT_TRUE(testpki::WriteCertPem(Path(name), cert.get()));
    return Path(name);
  }

  // payload | base64 of the signature over SHA-256(payload) | length (8 bytes LE)
  std::string WriteSignedFile(const std::string& name, const std::string& payload) {
    unsigned char digest[32];
    unsigned int digest_length = 0;
    EVP_Digest(payload.data(), payload.size(), digest, &digest_length, EVP_sha256(), nullptr);
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    size_t size = 0;
    EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key_.get());
    EVP_DigestSign(ctx, nullptr, &size, digest, digest_length);
    std::string raw(size, '\0');
    EVP_DigestSign(ctx, reinterpret_cast<unsigned char*>(&raw[0]), &size, digest, digest_length);
    EVP_MD_CTX_free(ctx);
    std::string text(4 * ((size + 2) / 3) + 1, '\0');
    text.resize(static_cast<size_t>(
        base64_encode(reinterpret_cast<const unsigned char*>(raw.data()), static_cast<int>(size), &text[0])));
    std::string file = payload + text;
    const uint64_t length = text.size();
    for (int i = 0; i < 8; ++i) file.push_back(static_cast<char>((length >> (8 * i)) & 0xFF));
    EXPECT_TRUE(testpki::WriteFile(Path(name), file));
    return Path(name);
  }

  testpki::Key key_ = testpki::NewRsaKey();
};

TEST_F(DmctlSecurity, CertificateChecksInfoAndRenewalTime) {
  testpki::CertSpec spec;
  spec.common_name = "desk-phone-42";
  const std::string valid = WriteCert("valid.crt", spec);
  ProgramResult result = Run({"--json", "cert", "info", valid});
  ASSERT_EQ(0, result.status) << result.err;
  rapidjson::Document info = Json(result.out);
  EXPECT_NE(std::string::npos, std::string(info["subject"].GetString()).find("CN=desk-phone-42"));
  EXPECT_STREQ("1A2B3C", info["serial"].GetString());
  EXPECT_EQ(0, Run({"cert", "check", valid}).status);

  spec.not_before_offset = -7200;
  spec.not_after_offset = -600;
  const std::string expired = WriteCert("expired.crt", spec);
  result = Run({"--json", "cert", "check", expired});
  EXPECT_EQ(1, result.status);
  EXPECT_STREQ("false", Json(result.out.substr(0, result.out.find('\n')))["valid"].GetString());

  spec.not_after = "20500101000000Z";
  result = Run({"--json", "cert", "renew-time", WriteCert("long.crt", spec)});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_STREQ("2147483647", Json(result.out)["seconds"].GetString());
  EXPECT_EQ(1, Run({"cert", "info", Path("missing.crt")}).status);
}

TEST_F(DmctlSecurity, CertificateChainThroughAnIntermediate) {
  testpki::CertSpec spec;
  spec.common_name = "Root CA";
  testpki::Cert root = testpki::MakeCert(key_.get(), spec);
  spec.common_name = "Issuing CA";
  spec.issuer = root.get();
  spec.issuer_key = key_.get();
  testpki::Cert issuing = testpki::MakeCert(key_.get(), spec);
  spec.common_name = "device";
  spec.issuer = issuing.get();
  testpki::Cert device = testpki::MakeCert(key_.get(), spec);
  ASSERT_EQ(0, mkdir(Path("certs").c_str(), 0700));
  ASSERT_EQ(0, mkdir(Path("certs/CAcerts").c_str(), 0700));
  ASSERT_TRUE(testpki::WriteCertPem(Path("certs/CAROOT.crt"), root.get()));
  ASSERT_TRUE(testpki::WriteCertPem(Path("certs/device.crt"), device.get()));

  ProgramResult result = Run({"--json", "cert", "chain", Path("certs")});
  EXPECT_EQ(1, result.status);
  EXPECT_STREQ("false", Json(result.out.substr(0, result.out.find('\n')))["valid"].GetString());
  ASSERT_TRUE(testpki::WriteCertPem(Path("certs/CAcerts/issuing.pem"), issuing.get()));
  result = Run({"--json", "cert", "chain", Path("certs/")});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_STREQ("true", Json(result.out)["valid"].GetString());
  EXPECT_EQ(Path("certs"), Json(result.out)["dir"].GetString());
  EXPECT_EQ(1, Run({"cert", "chain", Path("missing")}).status);
}

TEST_F(DmctlSecurity, DerCertificatesBecomePem) {
  testpki::Cert cert = testpki::MakeCert(key_.get(), testpki::CertSpec());
  ASSERT_TRUE(testpki::WriteCertDer(Path("device.der"), cert.get()));
  ASSERT_EQ(0, IsPemFile(Path("device.der").c_str()));
  ASSERT_EQ(0, Run({"cert", "to-pem", Path("device.der")}).status);
  EXPECT_EQ(1, IsPemFile(Path("device.der").c_str()));
  ASSERT_TRUE(testpki::WriteFile(Path("garbage"), "not a certificate"));
  EXPECT_EQ(1, Run({"cert", "to-pem", Path("garbage")}).status);
  EXPECT_EQ("not a certificate", testpki::ReadFile(Path("garbage")));
}

TEST_F(DmctlSecurity, SignedFilesSplitAndVerify) {
  const std::string certificate = WriteCert("signer.crt", testpki::CertSpec());
  const std::string payload = "firmware image bytes\n";
  const std::string signed_file = WriteSignedFile("fw.bin", payload);
  ASSERT_EQ(0, Run({"sig", "split", signed_file, Path("fw.sig")}).status);
  EXPECT_EQ(payload, testpki::ReadFile(signed_file));
  ProgramResult result = Run({"--json", "sig", "verify", certificate, signed_file, Path("fw.sig")});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_STREQ("true", Json(result.out)["valid"].GetString());

  ASSERT_TRUE(testpki::WriteFile(signed_file, "firmware image bytes!"));
  EXPECT_EQ(1, Run({"sig", "verify", certificate, signed_file, Path("fw.sig")}).status);
  EXPECT_EQ(1, Run({"sig", "split", Path("missing.bin"), Path("x.sig")}).status);
  ASSERT_TRUE(testpki::WriteFile(Path("short.bin"), "12345"));
  EXPECT_EQ(1, Run({"sig", "split", Path("short.bin"), Path("short.sig")}).status);
}

}  // namespace
