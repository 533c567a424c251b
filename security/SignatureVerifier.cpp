#include "security/SignatureVerifier.h"

#include <fcntl.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/DmBoundary.h"
#include "platform/vmFile.h"
#include "platform/vmLog.h"
#include "platform/vmUtils.h"

#define SIG_LOG(level, ...) DM_LOG(VM_LOG_MODULE_EMS, level, __VA_ARGS__)

namespace {

constexpr size_t kVerifyChunk = 512;    // direct check: read size per update
constexpr size_t kDigestChunk = 8192;   // per-file digests
constexpr size_t kStreamBuffer = 1 << 16;  // stdio buffer under the small reads
constexpr size_t kCopyChunk = 1 << 16;  // signature copy in the split

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

struct DigestCtxFree {
  void operator()(EVP_MD_CTX* ctx) const { EVP_MD_CTX_free(ctx); }
};
using DigestCtx = std::unique_ptr<EVP_MD_CTX, DigestCtxFree>;

void PrintOpenSslErrors() { ERR_print_errors_cb(log_error_cb, nullptr); }

// Opens an input file for streaming reads (a regular file only, so a FIFO
// or device never blocks the caller) with a buffer large enough that the
// small chunked reads cost a copy, not a system call.
File OpenForStreaming(const std::string& path) {
  vmFileStatus status = VM_FILE_OK;
  const int fd = vmFileOpenInput(path.c_str(), 0, 0, &status);
  const int error = errno;
  if (status == VM_FILE_NOT_REGULAR) SIG_LOG(LOG_ERR, "%s: %s", path.c_str(), vmFileStatusText(status));
  File file(fd >= 0 ? fdopen(fd, "rb") : nullptr);
  if (file) {
    setvbuf(file.get(), nullptr, _IOFBF, kStreamBuffer);
  } else {
    if (fd >= 0) close(fd);
    // The reason goes where OpenSSL's own file opening puts it: the error
    // queue, which the caller prints.
    ERR_raise_data(ERR_LIB_SYS, error != 0 ? error : EINVAL, "calling open(%s)", path.c_str());
  }
  return file;
}

// True when both paths name the same existing file.
bool SameFile(const char* a, const char* b) {
  struct stat sa;
  struct stat sb;
  return stat(a, &sa) == 0 && stat(b, &sb) == 0 && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

// Copies `count` bytes from `offset` of `from` into `to`, created or
// replaced through a fresh file beside it (mode 0644: a signature is public;
// not flushed to disk, so the split stays a matter of microseconds).
// Only the signature is copied, never the payload.
bool CopyRange(int from, off_t offset, uint64_t count, const char* to) {
  std::string temporary;
  const int out = vmFileCreateTemporary(to, &temporary);
  if (out < 0) return false;
  std::unique_ptr<char[]> chunk(new char[kCopyChunk]);
  bool ok = true;
  while (ok && count > 0) {
    const size_t want = count < kCopyChunk ? static_cast<size_t>(count) : kCopyChunk;
    const ssize_t got = pread(from, chunk.get(), want, offset);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      ok = got == 0;  // end of file: the copy stops there, as a copy tool's would
      break;
    }
    for (ssize_t done = 0; ok && done < got;) {
      const ssize_t put = write(out, chunk.get() + done, static_cast<size_t>(got - done));
      if (put < 0 && errno == EINTR) continue;
      ok = put > 0;
      if (ok) done += put;
    }
    offset += got;
    count -= static_cast<uint64_t>(got);
  }
  if (!ok) {
    vmFileAbandon(out, temporary);
    return false;
  }
  return vmFileCommit(out, temporary, to, 0644, 0) == 0;
}

// Cuts the signed file at `length`, through a descriptor of the very file
// that was read (opened again without following a link, and compared).
bool CutAt(const char* path, const struct stat& opened, off_t length) {
  const int fd = open(path, O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) return false;
  struct stat info;
  const bool ok = fstat(fd, &info) == 0 && info.st_dev == opened.st_dev && info.st_ino == opened.st_ino &&
                  ftruncate(fd, length) == 0;
  close(fd);
  return ok;
}

}  // namespace

extern "C" int log_error_cb(const char* text, size_t length, void* /*user*/) {
  const int shown = length > INT_MAX ? INT_MAX : static_cast<int>(length);
  SIG_LOG(LOG_ERR, "%.*s", shown, text != nullptr ? text : "");
  return 1;
}

extern "C" int extract_signature(const char* signedFile, const char* signatureFile) try {
  if (signedFile == nullptr || signatureFile == nullptr) {
    SIG_LOG(LOG_ERR, "Failed to open file: %s", signedFile != nullptr ? signedFile : "(null)");
    return -1;
  }
  // Not through a link: the file is cut in place afterwards.
  File file;
  vmFileStatus status = VM_FILE_OK;
  const int fd = vmFileOpenInput(signedFile, VM_FILE_NOFOLLOW, 0, &status);
  if (fd >= 0) file.reset(fdopen(fd, "rb"));
  if (!file) {
    if (fd >= 0) close(fd);
    if (status == VM_FILE_NOT_REGULAR || status == VM_FILE_LINK) {
      SIG_LOG(LOG_ERR, "%s: %s", signedFile, vmFileStatusText(status));
    }
    SIG_LOG(LOG_ERR, "Failed to open file: %s", signedFile);
    return -1;
  }
  struct stat opened;
  if (fstat(fileno(file.get()), &opened) != 0) {
    SIG_LOG(LOG_ERR, "Failed to open file: %s", signedFile);
    return -1;
  }
  // P: where the 8-byte length starts, -1 when the file is shorter than it.
  int64_t position = -1;
  if (fseeko(file.get(), -8, SEEK_END) == 0) position = ftello(file.get());
  // N: the signature length, little-endian; 0 unless all 8 bytes were read.
  uint64_t length = 0;
  unsigned char trailer[8];
  if (position >= 0 && std::fread(trailer, 1, sizeof trailer, file.get()) == sizeof trailer) {
    for (int i = 7; i >= 0; --i) length = (length << 8) | trailer[i];
  }
  if (length == 0 && static_cast<int32_t>(position) <= 0) {
    SIG_LOG(LOG_NOTICE, "No signature found.");
    return -1;
  }
  SIG_LOG(LOG_NOTICE, "Signature size: %llu", static_cast<unsigned long long>(length));

  // The split: copy the N bytes before the trailer into signatureFile, then
  // cut signedFile at S = P - N. A trailer of zeros splits too (an empty
  // signature, the file loses its 8-byte trailer). When the signature would
  // start before the file (N > P), the start does not fit the 32-bit offset
  // of the format, the signature file can't be written, or both paths name
  // one file, nothing is changed.
  // Like a copy that fails, a split that cannot be done changes nothing and
  // logs nothing: the result is 0 either way, and the files' sizes tell.
  const bool fits = length <= static_cast<uint64_t>(position) &&
                    static_cast<uint64_t>(position) - length <= static_cast<uint64_t>(INT32_MAX);
  if (!fits) return 0;
  if (SameFile(signedFile, signatureFile)) {
    // Copying a file onto itself would empty it before it is read.
    SIG_LOG(LOG_ERR, "%s is both the signed file and the signature file; not split", signedFile);
    return 0;
  }
  const off_t start = static_cast<off_t>(position - static_cast<int64_t>(length));
  if (CopyRange(fileno(file.get()), start, length, signatureFile)) CutAt(signedFile, opened, start);
  return 0;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_EMS, -1)

SignatureVerifier::SignatureVerifier() : m_publicKey(nullptr), m_certificate(nullptr) {}

SignatureVerifier::~SignatureVerifier() { freeCertAndPublicKey(); }

void SignatureVerifier::freeCertAndPublicKey() {
  EVP_PKEY_free(m_publicKey);
  m_publicKey = nullptr;
  X509_free(m_certificate);
  m_certificate = nullptr;
}

bool SignatureVerifier::init(const std::string& pem) { return initPublicKey(pem); }

bool SignatureVerifier::initPublicKey(const std::string& pem) {
  freeCertAndPublicKey();
  // A key given here is public; a private key handed in by mistake is not
  // written to the log.
  const bool secret = pem.find("PRIVATE KEY") != std::string::npos;
  SIG_LOG(LOG_NOTICE, "\n%s", secret ? "(private key not shown)" : pem.c_str());
  if (pem.size() > INT_MAX) return false;
  BIO* text = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
  EVP_PKEY* key = text != nullptr ? PEM_read_bio_PUBKEY(text, nullptr, nullptr, nullptr) : nullptr;
  BIO_free(text);
  if (key == nullptr || EVP_PKEY_base_id(key) != EVP_PKEY_RSA) {
    // A key of another type read fine: OpenSSL's reason for refusing to use it as RSA.
    if (key != nullptr) ERR_raise(ERR_LIB_EVP, EVP_R_EXPECTING_AN_RSA_KEY);
    EVP_PKEY_free(key);
    PrintOpenSslErrors();
    return false;
  }
  m_publicKey = key;
  return true;
}

bool SignatureVerifier::initCertificate(const std::string& path) {
  freeCertAndPublicKey();
  SIG_LOG(LOG_NOTICE, "%s", path.c_str());
  std::string text;
  const vmFileStatus status = vmFileRead(path.c_str(), VM_FILE_CAP_CERTIFICATE, 0, &text);
  if (status != VM_FILE_OK) {
    if (status != VM_FILE_MISSING && status != VM_FILE_ERROR) {
      SIG_LOG(LOG_ERR, "%s: %s", path.c_str(), vmFileStatusText(status));
    }
    SIG_LOG(LOG_ERR, "Failed to open file: %s", path.c_str());
    return false;
  }
  BIO* file = BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
  X509* cert = file != nullptr ? PEM_read_bio_X509(file, nullptr, nullptr, nullptr) : nullptr;
  BIO_free(file);
  EVP_PKEY* key = cert != nullptr ? X509_get_pubkey(cert) : nullptr;
  if (key == nullptr) {
    PrintOpenSslErrors();
    X509_free(cert);
    return false;
  }
  m_certificate = cert;
  m_publicKey = key;
  return true;
}

bool SignatureVerifier::initSignature(const std::string& path) {
  SIG_LOG(LOG_NOTICE, "signature: %s", path.c_str());
  m_signature.clear();
  std::string text;
  const vmFileStatus status = vmFileRead(path.c_str(), VM_FILE_CAP_SIGNATURE, 0, &text);
  if (status == VM_FILE_MISSING || status == VM_FILE_ERROR) {
    SIG_LOG(LOG_ERR, "Failed to open file: %s", path.c_str());
    return false;
  }
  if (status != VM_FILE_OK) {
    SIG_LOG(LOG_ERR, "Signature file %s is refused: %s", path.c_str(), vmFileStatusText(status));
    return false;
  }
  // The text is logged whole: the cap above bounds the line.
  SIG_LOG(LOG_NOTICE, "encoded signature (%ld)\n%s", static_cast<long>(text.size()), text.c_str());
  const int length = static_cast<int>(text.size());
  m_signature.resize(static_cast<size_t>(length) * 3 / 4);
  const int decoded = base64_decode(text.data(), length, m_signature.data());
  // Text that is not base64 leaves no signature; the check then fails.
  m_signature.resize(decoded > 0 ? static_cast<size_t>(decoded) : 0);
  SIG_LOG(LOG_NOTICE, "decoded signature (%d)", decoded);
  return true;
}

bool SignatureVerifier::verify(const std::string& file, const std::string& signaturePath) try {
  if (m_publicKey == nullptr || !initSignature(signaturePath)) return false;
  SIG_LOG(LOG_NOTICE, "file: %s", file.c_str());
  File in = OpenForStreaming(file);
  if (!in) {
    PrintOpenSslErrors();
    return false;
  }
  DigestCtx ctx(EVP_MD_CTX_new());
  bool ok = ctx && EVP_DigestVerifyInit(ctx.get(), nullptr, EVP_sha256(), nullptr, m_publicKey) == 1;
  unsigned char chunk[kVerifyChunk];
  size_t got = 0;
  while (ok && (got = std::fread(chunk, 1, sizeof chunk, in.get())) > 0) {
    ok = EVP_DigestVerifyUpdate(ctx.get(), chunk, got) == 1;
  }
  ok = ok && !std::ferror(in.get()) &&
       EVP_DigestVerifyFinal(ctx.get(), m_signature.data(), m_signature.size()) == 1;
  if (!ok) PrintOpenSslErrors();
  SIG_LOG(LOG_NOTICE, "%s", ok ? "OK" : "FAILED");
  return ok;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_EMS, false)

bool SignatureVerifier::generateDigest(const std::vector<std::string>& files) {
  m_digest.clear();
  DigestCtx ctx(EVP_MD_CTX_new());
  std::unique_ptr<unsigned char[]> chunk(new unsigned char[kDigestChunk]);
  for (size_t i = 0; ctx && i < files.size(); ++i) {
    SIG_LOG(LOG_NOTICE, "file[%d]: %s", static_cast<int>(i), files[i].c_str());
    File in = OpenForStreaming(files[i]);
    if (!in) {
      // An unreadable file is left out of the digest, not an error.
      PrintOpenSslErrors();
      continue;
    }
    bool ok = EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) == 1;
    size_t got = 0;
    while (ok && (got = std::fread(chunk.get(), 1, kDigestChunk, in.get())) > 0) {
      ok = EVP_DigestUpdate(ctx.get(), chunk.get(), got) == 1;
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    ok = ok && !std::ferror(in.get()) && EVP_DigestFinal_ex(ctx.get(), digest, &size) == 1;
    if (!ok) {
      PrintOpenSslErrors();
      continue;
    }
    m_digest.insert(m_digest.end(), digest, digest + size);
  }
  SIG_LOG(LOG_NOTICE, "digest size: %ld", static_cast<long>(m_digest.size()));
  return !m_digest.empty();
}

bool SignatureVerifier::verifyBuffer(const unsigned char* data, size_t length) {
  DigestCtx ctx(EVP_MD_CTX_new());
  const bool ok = ctx && EVP_DigestVerifyInit(ctx.get(), nullptr, EVP_sha256(), nullptr, m_publicKey) == 1 &&
                  EVP_DigestVerifyUpdate(ctx.get(), data, length) == 1 &&
                  EVP_DigestVerifyFinal(ctx.get(), m_signature.data(), m_signature.size()) == 1;
  if (!ok) PrintOpenSslErrors();
  return ok;
}

bool SignatureVerifier::verify(const std::vector<std::string>& files, const std::string& signaturePath) try {
  if (m_publicKey == nullptr || !initSignature(signaturePath) || !generateDigest(files)) return false;
  // The verdict is the list check's own line, as for a single file.
  const bool ok = verifyBuffer(m_digest.data(), m_digest.size());
  SIG_LOG(LOG_NOTICE, "%s", ok ? "OK" : "FAILED");
  return ok;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_EMS, false)

extern "C" int vm_verify_signature(const char* certificatePath, const char* file, const char* signaturePath) try {
  if (certificatePath == nullptr || file == nullptr || signaturePath == nullptr) {
    SIG_LOG(LOG_ERR, "Missing certificate, file or signature path");
    return -1;
  }
  SignatureVerifier verifier;
  // A certificate that can't be read leaves no key, and the check fails.
  verifier.initCertificate(certificatePath);
  const std::vector<std::string> files{file};
  return verifier.verify(files, signaturePath) ? 0 : -1;
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_EMS, -1)
