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
  testpki::Cert der = testpki::MakeCert(key_.get(), spec);
  ASSERT_TRUE(testpki::WriteCertDer(Path("valid.der"), der.get()));
  // The same answers from a DER file with --inform der.
  for (const std::vector<std::string>& form : {std::vector<std::string>{valid},
                                               std::vector<std::string>{Path("valid.der"), "--inform", "der"}}) {
    std::vector<std::string> args = {"--json", "cert", "info"};
    args.insert(args.end(), form.begin(), form.end());
    ProgramResult result = Run(args);
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ("{subject:str,issuer:str,notBefore:str,notAfter:str,serial:str}", Shape(result.out));
    rapidjson::Document info = Json(result.out);
    EXPECT_NE(std::string::npos, std::string(info["subject"].GetString()).find("CN=desk-phone-42"));
    EXPECT_STREQ("1A2B3C", info["serial"].GetString());
    args[2] = "check";
    EXPECT_EQ("{file:str,valid:bool,notYetValid:bool}", Shape(Run(args).out));
  }
  ProgramResult result = Run({"cert", "info", Path("valid.der")});
  EXPECT_EQ(1, result.status);
  EXPECT_NE(std::string::npos, result.err.find("use --inform der"));

  spec.not_before_offset = -7200;
  spec.not_after_offset = -600;
  result = Run({"--json", "cert", "check", WriteCert("expired.crt", spec)});
  EXPECT_EQ(1, result.status);
  EXPECT_FALSE(Json(result.out.substr(0, result.out.find('\n')))["valid"].GetBool());
  // Not yet valid passes, as on the device, and says so.
  spec.not_before_offset = 7200;
  spec.not_after_offset = 14400;
  result = Run({"--json", "cert", "check", WriteCert("future.crt", spec)});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_TRUE(Json(result.out)["notYetValid"].GetBool());

  spec.not_after = "20500101000000Z";
  result = Run({"--json", "cert", "renew-time", WriteCert("long.crt", spec)});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ(2147483647, Json(result.out)["seconds"].GetInt64());
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
  EXPECT_FALSE(Json(result.out.substr(0, result.out.find('\n')))["chained"].GetBool());
  ASSERT_TRUE(testpki::WriteCertPem(Path("certs/CAcerts/issuing.pem"), issuing.get()));
  result = Run({"--json", "cert", "chain", Path("certs/")});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_TRUE(Json(result.out)["chained"].GetBool());
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

TEST_F(DmctlSecurity, SignedFilesAreMadeSplitAndVerified) {
  const std::string certificate = WriteCert("signer.crt", testpki::CertSpec());
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("signer.key"), key_.get()));
  ASSERT_TRUE(testpki::WriteFile(Path("signer.pub"), testpki::PublicKeyPem(key_.get())));
  const std::string payload = "firmware image bytes\n";
  const std::string made = WriteSignedFile("expected.bin", payload);
  ASSERT_TRUE(testpki::WriteFile(Path("fw.bin"), payload));
  ProgramResult result = Run({"--json", "sig", "sign", Path("signer.key"), Path("fw.bin")});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("{file:str,payloadBytes:int,signatureBytes:int}", Shape(result.out));
  EXPECT_EQ(testpki::ReadFile(made), testpki::ReadFile(Path("fw.bin")));  // the device's layout, byte for byte

  result = Run({"--json", "sig", "split", Path("fw.bin"), Path("fw.sig")});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ(static_cast<int>(payload.size()), Json(result.out)["payloadBytes"].GetInt());
  EXPECT_EQ(payload, testpki::ReadFile(Path("fw.bin")));
  for (const std::vector<std::string>& key : {std::vector<std::string>{certificate},
                                              std::vector<std::string>{"--pubkey", Path("signer.pub")}}) {
    std::vector<std::string> args = {"--json", "sig", "verify"};
    args.insert(args.end(), key.begin(), key.end());
    args.insert(args.end(), {Path("fw.bin"), Path("fw.sig")});
    result = Run(args);
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ("{file:str,valid:bool}", Shape(result.out));
    ASSERT_TRUE(testpki::WriteFile(Path("fw.bin"), "firmware image bytes!"));
    result = Run(args);
    EXPECT_EQ(1, result.status);
    EXPECT_FALSE(Json(result.out)["valid"].GetBool());
    EXPECT_NE(std::string::npos, result.err.find("does not verify: "));  // and the library's reason
    ASSERT_TRUE(testpki::WriteFile(Path("fw.bin"), payload));
  }

  // A split that cannot be done fails, whatever the library answers.
  ASSERT_TRUE(testpki::WriteFile(Path("short.bin"), "12345"));
  EXPECT_EQ(1, Run({"sig", "split", Path("short.bin"), Path("short.sig")}).status);
  ASSERT_TRUE(testpki::WriteFile(Path("long.bin"), std::string("abc") + std::string("\xff\0\0\0\0\0\0\0", 8)));
  ASSERT_TRUE(testpki::WriteFile(Path("long.sig"), "old signature"));
  result = Run({"sig", "split", Path("long.bin"), Path("long.sig")});
  EXPECT_EQ(1, result.status);
  EXPECT_EQ(0u, result.err.find("dmctl: could not split"));
  EXPECT_EQ(2, Run({"sig", "split", Path("fw.bin"), Path("fw.bin")}).status);
  EXPECT_EQ(payload, testpki::ReadFile(Path("fw.bin")));
}

}  // namespace
