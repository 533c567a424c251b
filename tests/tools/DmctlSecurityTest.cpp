#include <sys/stat.h>

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

  testpki::Key key_ = testpki::NewRsaKey();
};

TEST_F(DmctlSecurity, CertificateInfoCheckAndPem) {
  const testpki::CertSpec spec{"desk-phone-42"};
  ASSERT_TRUE(testpki::WriteCertDer(Path("valid.der"), testpki::MakeCert(key_.get(), spec).get()));
  ASSERT_EQ(0, mkdir(Path("tmp").c_str(), 0700));
  setenv("TMPDIR", Path("tmp").c_str(), 1);  // where the PEM copy of a DER file is made
  const rapidjson::Document info = Json(Expect(0, {"--json", "cert", "info", WriteCert("valid.crt", spec)},
                                               "{subject:str,issuer:str,notBefore:str,notAfter:str,serial:str}").out);
  EXPECT_NE(std::string::npos, std::string(info["subject"].GetString()).find("CN=desk-phone-42"));
  Expect(0, {"--json", "cert", "check", Path("valid.der"), "--inform", "der"}, "{file:str,valid:bool,notYetValid:bool}");
  EXPECT_EQ(0, rmdir(Path("tmp").c_str())) << "the PEM copy is removed";
  EXPECT_NE(std::string::npos, Expect(1, {"cert", "info", Path("valid.der")}).err.find("use --inform der"));
  EXPECT_FALSE(Json(Expect(1, {"--json", "cert", "check", WriteCert("expired.crt", {"x", -7200, -600})}).out)
                   ["valid"].GetBool());
  // Not yet valid passes, as on the device, and says so.
  EXPECT_TRUE(Json(Expect(0, {"--json", "cert", "check", WriteCert("future.crt", {"x", 7200, 14400})}).out)
                  ["notYetValid"].GetBool());
  EXPECT_TRUE(Json(Expect(0, {"--json", "cert", "to-pem", Path("valid.der")}).out)["converted"].GetBool());
  EXPECT_EQ(1, IsPemFile(Path("valid.der").c_str()));
  ASSERT_TRUE(testpki::WriteFile(Path("garbage"), "not a certificate"));
  Expect(1, {"cert", "to-pem", Path("garbage")});
}

TEST_F(DmctlSecurity, CertificateChainToTheRootCertificate) {
  const testpki::Cert root = testpki::MakeCert(key_.get(), {"Root CA"});
  ASSERT_EQ(0, mkdir(Path("certs").c_str(), 0700));
  WriteCert("certs/device.crt", {"device", -3600, 86400, nullptr, 1, root.get(), key_.get()});
  EXPECT_FALSE(Json(Expect(1, {"--json", "cert", "chain", Path("certs")}).out)["chained"].GetBool());
  ASSERT_TRUE(testpki::WriteCertPem(Path("certs/CAROOT.crt"), root.get()));
  EXPECT_EQ(Path("certs"), Json(Expect(0, {"--json", "cert", "chain", Path("certs/")}).out)["dir"].GetString());
}

TEST_F(DmctlSecurity, SignedFilesAreMadeSplitAndVerified) {
  const std::string certificate = WriteCert("signer.crt", testpki::CertSpec());
  ASSERT_TRUE(testpki::WritePrivateKeyPem(Path("signer.key"), key_.get()));
  // Text after the key is allowed, up to a file of 64 KiB.
  ASSERT_TRUE(testpki::WriteFile(Path("signer.pub"), testpki::PublicKeyPem(key_.get()) + std::string(60000, '\n')));
  const std::string payload = "firmware image bytes\n";
  ASSERT_TRUE(testpki::WriteFile(Path("fw.bin"), payload));
  Expect(0, {"--json", "sig", "sign", Path("signer.key"), Path("fw.bin")}, "{file:str,payloadBytes:int,signatureBytes:int}");
  EXPECT_EQ(21, Json(Expect(0, {"--json", "sig", "split", Path("fw.bin"), Path("fw.sig")}).out)["payloadBytes"]);
  for (const std::string& signer : {std::string("--pubkey=") + Path("signer.pub"), certificate}) {
    Expect(0, {"--json", "sig", "verify", signer, Path("fw.bin"), Path("fw.sig")}, "{file:str,valid:bool}");
    ASSERT_TRUE(testpki::WriteFile(Path("fw.bin"), "firmware image bytes!"));
    const ProgramResult result = Expect(1, {"--json", "sig", "verify", signer, Path("fw.bin"), Path("fw.sig")});
    EXPECT_FALSE(Json(result.out)["valid"].GetBool());
    EXPECT_NE(std::string::npos, result.err.find("does not verify: "));  // and the library's reason
    ASSERT_TRUE(testpki::WriteFile(Path("fw.bin"), payload));
  }
  // A split that cannot be done fails, whatever the library answers.
  ASSERT_TRUE(testpki::WriteFile(Path("long.bin"), std::string("abc") + std::string("\xff\0\0\0\0\0\0\0", 8)));
  EXPECT_EQ(0u, Expect(1, {"sig", "split", Path("long.bin"), Path("long.sig")}).err.find("dmctl: could not split"));
  Expect(2, {"sig", "split", Path("fw.bin"), Path("fw.bin")});
}

}  // namespace
