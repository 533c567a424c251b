// JSON text to and from serialisable trees.
//
// Writing: the root record becomes the top-level object (its own name is not
// written), child records nested objects, lists arrays, leaves scalars, keys
// in registration order; an unset string is written as "".
// Reading: keys match children by name in any order (children that share a
// name are filled in registration order), unknown keys are skipped, absent
// keys leave their leaves untouched, "" sets an empty string and null makes a
// string unset. Scalars go through the leaf's text parse. An object or array
// where a leaf is expected, a value a leaf refuses, or malformed text fails
// the whole call; the tree may then be partly filled.
#ifndef DEVMGMT_PLATFORM_UJSON_H_
#define DEVMGMT_PLATFORM_UJSON_H_

#include <cstddef>
#include <string>

#include "ISerializable.h"

namespace uJson {

class DM_EXPORT Serializer {
 public:
  // Writes the NUL-terminated text of `root` into `buffer`. Returns 0 on
  // success; -1 when the text (with its NUL) does not fit `size` bytes or the
  // arguments are invalid, leaving "" in a non-empty buffer.
  static int Serialize(const ISerializable& root, char* buffer, size_t size);
  // Convenience for callers without a fixed buffer: returns 0 on success.
  static int Serialize(const ISerializable& root, std::string& out);
};

class DM_EXPORT DeSerializer {
 public:
  // Fills `root` from `length` bytes of JSON text. Non-zero on success.
  static int DeSerialize(ISerializable& root, const char* text, size_t length);
  static int DeSerialize(ISerializable& root, const std::string& text) {
    return DeSerialize(root, text.data(), text.size());
  }
};

}  // namespace uJson

#endif  // DEVMGMT_PLATFORM_UJSON_H_
