// Byte buffers for the binary form of records (IPC payloads).
//
// BinaryBuffer grows as a record is written; BinaryReader walks a received
// message and refuses every read that would go past its end.
#ifndef DEVMGMT_PLATFORM_BINARYBUFFER_H_
#define DEVMGMT_PLATFORM_BINARYBUFFER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "DmExport.h"

class DM_EXPORT BinaryBuffer {
 public:
  void Append(const void* bytes, size_t length);
  void AppendUint32(uint32_t value);  // machine byte order
  void AppendByte(uint8_t value) { m_bytes.push_back(value); }
  void Clear() { m_bytes.clear(); }

  const uint8_t* data() const { return m_bytes.data(); }
  size_t size() const { return m_bytes.size(); }

 private:
  std::vector<uint8_t> m_bytes;
};

class DM_EXPORT BinaryReader {
 public:
  BinaryReader(const void* bytes, size_t length)
      : m_bytes(static_cast<const uint8_t*>(bytes)), m_length(bytes ? length : 0) {}

  // Each read returns false, and consumes nothing, when too few bytes remain.
  bool Read(void* out, size_t length);
  bool ReadUint32(uint32_t* value) { return Read(value, sizeof *value); }
  bool ReadByte(uint8_t* value) { return Read(value, 1); }
  // Hands out a view of the next `length` bytes and consumes them.
  bool ReadView(const uint8_t** view, size_t length);

  size_t remaining() const { return m_length - m_offset; }
  size_t consumed() const { return m_offset; }

 private:
  const uint8_t* m_bytes;
  size_t m_length;
  size_t m_offset = 0;
};

#endif  // DEVMGMT_PLATFORM_BINARYBUFFER_H_
