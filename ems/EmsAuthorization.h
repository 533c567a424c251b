// Session identifiers, the authorization hash and the EMS credentials.
//
// Every request to the EMS carries a fresh random session identifier and,
// when credentials are configured, the user name and a hash that proves
// knowledge of the password without sending it:
//   inner = MD5(password | "Q7rTz2KdLm9XwB4nHs6VpYc3Ja8EuF1G")
//   hash  = MD5(inner | the 4 session-id bytes in memory order | user name)
// The identifier is sent as EncodeHex of the same 4 bytes, so the server
// hashes exactly the bytes it reads. None of these functions logs a secret.
#ifndef DEVMGMT_EMS_EMSAUTHORIZATION_H_
#define DEVMGMT_EMS_EMSAUTHORIZATION_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/DmExport.h"

// One hex digit ('0'-'9', 'a'-'f', 'A'-'F'); any other character returns
// false and leaves `out` unchanged.
DM_EXPORT bool DecodeHex(char c, unsigned char& out);

// Decodes digit pairs, high nibble first, into at most `size` bytes. True
// only when exactly `size` bytes were written and `text` ends right there; a
// short or odd text, a bad digit or a longer text is false (the bytes decoded
// before the fault stay written).
DM_EXPORT bool DecodeHex(const char* text, unsigned char* out, size_t size);

// Two lower-case digits per byte, in memory order.
DM_EXPORT std::string EncodeHex(const void* data, size_t size);

// Four random bytes from OpenSSL, read as one word.
DM_EXPORT uint32_t GenerateSessionId();

// Writes the 16-byte hash into `out` and returns `out`, so that it composes
// with EncodeHex.
DM_EXPORT const unsigned char* AuthorizationHash(uint32_t sessionId, const std::string& user,
                                                 const std::string& password, unsigned char out[16]);

// Reads the configured EMS credentials: the primary pair, or the fallback
// pair when the primary user name is empty and the application server is not
// the one that always uses the primary pair. The stored password is
// decrypted into a 64-byte buffer (at most 63 characters). True when both the
// user name and the password are non-empty.
DM_EXPORT bool GetUserPassword(std::string& user, std::string& password);

#endif  // DEVMGMT_EMS_EMSAUTHORIZATION_H_
