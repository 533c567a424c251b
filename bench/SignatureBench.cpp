// Signed-file throughput on a 256 MiB payload: vm_verify_signature (list
// form: the file's digest, then RSA over it) and SignatureVerifier::verify
// (direct form, 512-byte updates) beside the openssl program hashing the same
// file in the same run, as ratios; and the time to split the signature off
// the file, which copies only the signature, never the payload.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/BenchResults.h"
#include "platform/vmLog.h"
#include "platform/vmUtils.h"
#include "security/SignatureVerifier.h"
#include "support/TestPki.h"

extern char** environ;

namespace {

constexpr size_t kPayloadSize = size_t{256} << 20;

std::string g_dir;
std::string g_payload;
std::string g_cert;
std::string g_public_pem;
std::string g_direct_sig;
std::string g_list_sig;
std::string g_signed;
std::string g_openssl;
std::string g_trailer_block;  // base64 signature + 8-byte length, appended to the payload

double SecondsPerCall(const char* name) { return benchresults::NanosPerCall()[name] / 1e9; }

long PeakRssKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

std::string Base64(const std::string& bytes) {
  std::vector<char> text(4 * ((bytes.size() + 2) / 3) + 1);
  const int length = base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                                   static_cast<int>(bytes.size()), text.data());
  return std::string(text.data(), static_cast<size_t>(length));
}

// Writes the payload in 1 MiB blocks and returns its SHA-256 and its RSA
// signature, both computed while writing.
void MakePayload(EVP_PKEY* key, std::string* digest, std::string* signature) {
  EVP_MD_CTX* sign = EVP_MD_CTX_new();
  EVP_MD_CTX* hash = EVP_MD_CTX_new();
  EVP_DigestSignInit(sign, nullptr, EVP_sha256(), nullptr, key);
  EVP_DigestInit_ex(hash, EVP_sha256(), nullptr);
  std::string block(size_t{1} << 20, '\0');
  FILE* out = std::fopen(g_payload.c_str(), "wb");
  for (size_t written = 0, n = 0; written < kPayloadSize; written += block.size(), ++n) {
    for (size_t i = 0; i < block.size(); i += 64) block[i] = static_cast<char>((n * 7919 + i) & 0xff);
    std::fwrite(block.data(), 1, block.size(), out);
    EVP_DigestSignUpdate(sign, block.data(), block.size());
    EVP_DigestUpdate(hash, block.data(), block.size());
  }
  std::fclose(out);
  size_t size = 0;
  EVP_DigestSignFinal(sign, nullptr, &size);
  signature->assign(size, '\0');
  EVP_DigestSignFinal(sign, reinterpret_cast<unsigned char*>(&(*signature)[0]), &size);
  unsigned char md[32];
  unsigned int md_size = 0;
  EVP_DigestFinal_ex(hash, md, &md_size);
  digest->assign(reinterpret_cast<char*>(md), md_size);
  EVP_MD_CTX_free(sign);
  EVP_MD_CTX_free(hash);
}

std::string SignMessage(EVP_PKEY* key, const std::string& message) {
  EVP_MD_CTX* ctx = EVP_MD_CTX_new();
  size_t size = 0;
  EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key);
  EVP_DigestSign(ctx, nullptr, &size, reinterpret_cast<const unsigned char*>(message.data()), message.size());
  std::string signature(size, '\0');
  EVP_DigestSign(ctx, reinterpret_cast<unsigned char*>(&signature[0]), &size,
                 reinterpret_cast<const unsigned char*>(message.data()), message.size());
  EVP_MD_CTX_free(ctx);
  return signature;
}

void BM_VmVerifySignature(benchmark::State& state) {
  for (auto _ : state) {
    if (vm_verify_signature(g_cert.c_str(), g_payload.c_str(), g_list_sig.c_str()) != 0) {
      state.SkipWithError("verification failed");
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kPayloadSize));
}

void BM_SignatureVerifierVerify(benchmark::State& state) {
  SignatureVerifier verifier;
  verifier.initPublicKey(g_public_pem);
  for (auto _ : state) {
    if (!verifier.verify(g_payload, g_direct_sig)) state.SkipWithError("verification failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kPayloadSize));
}

// The baseline: the openssl program hashing the same file (a fixed argument
// vector, no shell), its output thrown away.
void BM_OpensslDgstSha256(benchmark::State& state) {
  if (g_openssl.empty()) {
    state.SkipWithError("no openssl program on PATH");
    return;
  }
  std::vector<char*> argv = {const_cast<char*>(g_openssl.c_str()), const_cast<char*>("dgst"),
                             const_cast<char*>("-sha256"), const_cast<char*>(g_payload.c_str()), nullptr};
  for (auto _ : state) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int rc = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (rc != 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      state.SkipWithError("openssl dgst failed");
      break;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kPayloadSize));
}

// Each round appends the signature block again (untimed: a 352-byte append)
// and times the split of the 256 MiB file.
void BM_ExtractSignature(benchmark::State& state) {
  const std::string sig = g_dir + "/split.sig";
  for (auto _ : state) {
    state.PauseTiming();
    FILE* out = std::fopen(g_signed.c_str(), "ab");
    std::fwrite(g_trailer_block.data(), 1, g_trailer_block.size(), out);
    std::fclose(out);
    state.ResumeTiming();
    if (extract_signature(g_signed.c_str(), sig.c_str()) != 0) state.SkipWithError("split failed");
  }
  if (std::filesystem::file_size(g_signed) != kPayloadSize) state.SkipWithError("split left the wrong size");
}

BENCHMARK(BM_VmVerifySignature)->Unit(benchmark::kMillisecond)->Iterations(4)->UseRealTime();
BENCHMARK(BM_SignatureVerifierVerify)->Unit(benchmark::kMillisecond)->Iterations(4)->UseRealTime();
BENCHMARK(BM_OpensslDgstSha256)->Unit(benchmark::kMillisecond)->Iterations(4)->UseRealTime();
BENCHMARK(BM_ExtractSignature)->Unit(benchmark::kMicrosecond)->Iterations(50)->UseRealTime();

// The library logs each step at notice level; keep the
// console for the figures.
void QuietSink(const vm_log_record*, void*) {}

}  // namespace

int main(int argc, char** argv) {
  char directory[] = "/tmp/devmgmt-sigbench-XXXXXX";
  if (mkdtemp(directory) == nullptr) return 1;
  g_dir = directory;
  g_payload = g_dir + "/payload.bin";
  g_signed = g_dir + "/signed.bin";
  setenv("VM_LOG_LEVEL", "3", 0);
  vm_log_set_sink(QuietSink, nullptr);

  testpki::Key key = testpki::NewRsaKey(2048);
  testpki::Cert cert = testpki::MakeCert(key.get(), testpki::CertSpec());
  g_cert = g_dir + "/signer.crt";
  testpki::WriteCertPem(g_cert, cert.get());
  g_public_pem = testpki::PublicKeyPem(key.get());
  std::string digest;
  std::string direct;
  MakePayload(key.get(), &digest, &direct);
  g_direct_sig = g_dir + "/direct.sig";
  g_list_sig = g_dir + "/list.sig";
  testpki::WriteFile(g_direct_sig, Base64(direct));
  testpki::WriteFile(g_list_sig, Base64(SignMessage(key.get(), digest)));
  const std::string text = Base64(direct);
  g_trailer_block = text;
  for (int i = 0; i < 8; ++i) g_trailer_block.push_back(static_cast<char>((text.size() >> (8 * i)) & 0xff));
  std::filesystem::copy_file(g_payload, g_signed);
  g_openssl = testpki::OpensslProgram();

  const long rss_before = PeakRssKiB();
  benchresults::RunBenchmarks(&argc, argv);

  const double mib = static_cast<double>(kPayloadSize) / (1 << 20);
  const auto line = [&](const char* ours, const char* base) {
    const double a = SecondsPerCall(ours);
    const double b = SecondsPerCall(base);
    if (a > 0 && b > 0) {
      std::printf("%s: %.0f MiB/s, %s: %.0f MiB/s, time ratio %.2f\n", ours, mib / a, base, mib / b, a / b);
    }
  };
  line("BM_VmVerifySignature/iterations:4/real_time", "BM_OpensslDgstSha256/iterations:4/real_time");
  line("BM_SignatureVerifierVerify/iterations:4/real_time", "BM_OpensslDgstSha256/iterations:4/real_time");
  const double split = SecondsPerCall("BM_ExtractSignature/iterations:50/real_time");
  std::printf("extract_signature on a %.0f MiB file: %.1f us per split (copies the signature only)\n", mib,
              split * 1e6);
  std::printf("peak RSS: %ld KiB before the runs, %ld KiB after (payload %.0f MiB, streamed)\n", rss_before,
              PeakRssKiB(), mib);
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
  return 0;
}
