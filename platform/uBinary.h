// The binary form of serialisable trees, used for IPC payloads.
//
// A record is its children in order; a bool is 1 byte 't'/'f'; an integer 4
// bytes in machine order; a string a 4-byte length (0xFFFFFFFF for unset) and
// its bytes; a list a 4-byte count and its items. Every list item must take at
// least one byte, which bounds the count a reader accepts by the bytes left.
#ifndef DEVMGMT_PLATFORM_UBINARY_H_
#define DEVMGMT_PLATFORM_UBINARY_H_

#include <cstddef>

#include "BinaryBuffer.h"
#include "ISerializable.h"

namespace uBinary {

class DM_EXPORT Serializer {
 public:
  // Appends the binary form of `root` to `out`. Returns 0 on success.
  static int Serialize(const ISerializable& root, BinaryBuffer& out);
};

class DM_EXPORT DeSerializer {
 public:
  // Fills `root` from the bytes; never reads past `length`. Non-zero on
  // success; `consumed`, when given, receives the bytes used.
  static int DeSerialize(ISerializable& root, const void* bytes, size_t length,
                         size_t* consumed = nullptr);
  // Reads from a reader shared with other fields of a message.
  static int DeSerialize(ISerializable& root, BinaryReader& in);
};

}  // namespace uBinary

#endif  // DEVMGMT_PLATFORM_UBINARY_H_
