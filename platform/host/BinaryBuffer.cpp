#include "platform/BinaryBuffer.h"

#include <cstring>

void BinaryBuffer::Append(const void* bytes, size_t length) {
  if (length == 0) return;
  const uint8_t* begin = static_cast<const uint8_t*>(bytes);
  m_bytes.insert(m_bytes.end(), begin, begin + length);
}

void BinaryBuffer::AppendUint32(uint32_t value) { Append(&value, sizeof value); }

bool BinaryReader::ReadView(const uint8_t** view, size_t length) {
  if (length > remaining()) return false;
  *view = m_bytes + m_offset;
  m_offset += length;
  return true;
}

bool BinaryReader::Read(void* out, size_t length) {
  const uint8_t* view = nullptr;
  if (!ReadView(&view, length)) return false;
  if (length != 0) std::memcpy(out, view, length);
  return true;
}
