#include <openssl/evp.h>
#include <sys/stat.h>

#include "platform/vmUtils.h"
#include "state/SCEPEnrollUtility.h"
#include "support/TestPki.h"
#include "tools/DmctlFixture.h"

namespace {

class DmctlSecurity : public Dmctl {
 protected:
  std::string Path(const std::string& name) const { return db_.directory() + "/" + name; }

  std::string WriteCert(const std::string& name, const testpki::CertSpec& spec) {
    EXPECT_TRUE(testpki::WriteCertPem(Path(name), testpki::MakeCert(key_.get(), spec).get()));
    return Path(name);
  }

  // The device's layout, made here with OpenSSL: payload | base64 of the
  // signature over SHA-256(payload) | its length (8 bytes LE).
  std::string SignedFile(const std::string& payload) {
    unsigned char digest[32];
    unsigned int digest_length = 0;
    EVP_Digest(payload.data(), payload.size(), digest, &digest_length, EVP_sha256(), nullptr);
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    size_t size = 0;
    EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key_.get());
    EVP_DigestSign(ctx, nullptr, &size, digest, digest_length);
    std::string raw(size, '\0'), text(4 * ((size + 2) / 3) + 1, '\0');
    EVP_DigestSign(ctx, reinterpret_cast<unsigned char*>(&raw[0]), &size, digest, digest_length);
    EVP_MD_CTX_free(ctx);
    text.resize(static_cast<size_t>(
        base64_encode(reinterpret_cast<const unsigned char*>(raw.data()), static_cast<int>(size), &text[0])));
    std::string file = payload + text;
    for (int i = 0; i < 8; ++i) file.push_back(static_cast<char>((text.size() >> (8 * i)) & 0xFF));
    return file;
  }

  testpki::Key key_ = testpki::NewRsaKey();
};

TEST_F(DmctlSecurity, CertificateInfoChecksRenewalTimeAndPem) {
  testpki::CertSpec spec;
  spec.common_name = "desk-phone-42";
  testpki::Cert cert = testpki::MakeCert(key_.get(), spec);
  ASSERT_TRUE(testpki::WriteCertDer(Path("valid.der"), cert.get()));
  ASSERT_EQ(0, mkdir(Path("tmp").c_str(), 0700));
  setenv("TMPDIR", Path("tmp").c_str(), 1);  // where the PEM copy of a DER file is made
  // The same answers from a DER file with --inform der.
  for (const std::vector<std::string>& form : {std::vector<std::string>{WriteCert("valid.crt", spec)},
                                               std::vector<std::string>{Path("valid.der"), "--inform", "der"}}) {
    std::vector<std::string> args = {"--json", "cert", "info"};
    args.insert(args.end(), form.begin(), form.end());
    const rapidjson::Document info =
        Json(Expect(0, args, "{subject:str,issuer:str,notBefore:str,notAfter:str,serial:str}").out);
    EXPECT_NE(std::string::npos, std::string(info["subject"].GetString()).find("CN=desk-phone-42"));
    EXPECT_STREQ("1A2B3C", info["serial"].GetString());
    args[2] = "check";
    Expect(0, args, "{file:str,valid:bool,notYetValid:bool}");
  }
  EXPECT_EQ(0, rmdir(Path("tmp").c_str())) << "the PEM copy is removed";
  EXPECT_NE(std::string::npos, Expect(1, {"cert", "info", Path("valid.der")}).err.find("use --inform der"));
  spec.not_before_offset = -7200;
  spec.not_after_offset = -600;
  EXPECT_FALSE(Json(Expect(1, {"--json", "cert", "check", WriteCert("expired.crt", spec)}).out)["valid"].GetBool());
  spec.not_before_offset = 7200;  // not yet valid passes, as on the device, and says so
  spec.not_after_offset = 14400;
  EXPECT_TRUE(Json(Expect(0, {"--json", "cert", "check", WriteCert("future.crt", spec)}).out)["notYetValid"].GetBool());
  spec.not_after = "20500101000000Z";
  EXPECT_EQ(2147483647, Json(Expect(0, {"--json", "cert", "renew-time", WriteCert("long.crt", spec)}).out)["seconds"]);

  Expect(0, {"cert", "to-pem", Path("valid.der")});
  EXPECT_EQ(1, IsPemFile(Path("valid.der").c_str()));
  ASSERT_TRUE(testpki::WriteFile(Path("garbage"), "not a certificate"));
  Expect(1, {"cert", "to-pem", Path("garbage")});
  EXPECT_EQ("not a certificate", testpki::ReadFile(Path("garbage")));
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
  ASSERT_EQ(0, mkdir(Path("certs").c_str(), 0700));
  ASSERT_EQ(0, mkdir(Path("certs/CAcerts").c_str(), 0700));
  ASSERT_TRUE(testpki::WriteCertPem(Path("certs/CAROOT.crt"), root.get()));
  WriteCert("certs/device.crt", spec);
  EXPECT_FALSE(Json(Expect(1, {"--json", "cert", "chain", Path("certs")}).out)["chained"].GetBool());
  ASSERT_TRUE(testpki::WriteCertPem(Path("certs/CAcerts/issuing.pem"), issuing.get()));
  const rapidjson::Document chain = Json(Expect(0, {"--json", "cert", "chain", Path("certs/")}).out);
  EXPECT_TRUE(chain["chained"].GetBool());
  EXPECT_EQ(Path("certs"), chain["dir"].GetString());
  Expect(1, {"cert", "chain", Path("missing")});
}

TEST_F(DmctlSecurity, SignedFilesAreMadeSplitAndVerified) {
  const std::string certificate = WriteCert("signer.crt", testpki::CertSpec());
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("signer.key"), key_.get()));
  // Text after the key is allowed, up to a file of 64 KiB.
  ASSERT_TRUE(testpki::WriteFile(Path("signer.pub"), testpki::PublicKeyPem(key_.get()) + std::string(60000, '\n')));
  const std::string payload = "firmware image bytes\n";
  ASSERT_TRUE(testpki::WriteFile(Path("fw.bin"), payload));
  Expect(0, {"--json", "sig", "sign", Path("signer.key"), Path("fw.bin")}, "{file:str,payloadBytes:int,signatureBytes:int}");
  EXPECT_EQ(SignedFile(payload), testpki::ReadFile(Path("fw.bin")));  // byte for byte
  EXPECT_EQ(21, Json(Expect(0, {"--json", "sig", "split", Path("fw.bin"), Path("fw.sig")}).out)["payloadBytes"]);
  EXPECT_EQ(payload, testpki::ReadFile(Path("fw.bin")));
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"--json", "sig", "verify", certificate, Path("fw.bin"), Path("fw.sig")},
        std::vector<std::string>{"--json", "sig", "verify", "--pubkey", Path("signer.pub"), Path("fw.bin"), Path("fw.sig")}}) {
    Expect(0, args, "{file:str,valid:bool}");
    ASSERT_TRUE(testpki::WriteFile(Path("fw.bin"), "firmware image bytes!"));
    const ProgramResult result = Expect(1, args);
    EXPECT_FALSE(Json(result.out)["valid"].GetBool());
    EXPECT_NE(std::string::npos, result.err.find("does not verify: "));  // and the library's reason
    ASSERT_TRUE(testpki::WriteFile(Path("fw.bin"), payload));
  }
  // A split that cannot be done fails, whatever the library answers.
  ASSERT_TRUE(testpki::WriteFile(Path("short.bin"), "12345"));
  Expect(1, {"sig", "split", Path("short.bin"), Path("short.sig")});
  ASSERT_TRUE(testpki::WriteFile(Path("long.bin"), std::string("abc") + std::string("\xff\0\0\0\0\0\0\0", 8)));
  EXPECT_EQ(0u, Expect(1, {"sig", "split", Path("long.bin"), Path("long.sig")}).err.find("dmctl: could not split"));
  Expect(2, {"sig", "split", Path("fw.bin"), Path("fw.bin")});
  EXPECT_EQ(payload, testpki::ReadFile(Path("fw.bin")));
}

}  // namespace
