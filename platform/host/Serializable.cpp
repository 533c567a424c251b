// The serialisable tree: default node operations, records and leaves.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/IBoolElement.h"
#include "platform/IElementSerializable.h"
#include "platform/IIntegerElement.h"
#include "platform/IListSerializable.h"
#include "platform/IStringElement.h"
#include "platform/KeyValueStringElement.h"

namespace {

// A length of -1 means "up to the NUL", as in the text-parse convention.
size_t TextLength(const char* text, int length) {
  return length < 0 ? std::strlen(text) : static_cast<size_t>(length);
}

}  // namespace

ISerializable::~ISerializable() = default;
std::string ISerializable::getValueAsString() const { return std::string(); }
bool ISerializable::SetValue(const char*, int) { return false; }
bool ISerializable::IsSet() const { return true; }
void ISerializable::SetUnset() {}
void ISerializable::getValueAsBinary(BinaryBuffer&) const {}
bool ISerializable::SetBinaryValue(BinaryReader&) { return false; }
size_t ISerializable::GetChildCount() const { return 0; }
ISerializable* ISerializable::GetChild(size_t) { return nullptr; }
ISerializable* ISerializable::CreateChildByIndex(int) { return nullptr; }
ISerializable* ISerializable::CreateChildByName(const char*) { return nullptr; }
void ISerializable::ClearChildren() {}

IElementSerializable::~IElementSerializable() = default;

ISerializable* IElementSerializable::GetChild(size_t index) {
  return index < m_children.size() ? m_children[index] : nullptr;
}

void IElementSerializable::AddChildToElementInConstructor(ISerializable* child) {
  if (child != nullptr) m_children.push_back(child);
}

IListSerializableBase::~IListSerializableBase() = default;

IBoolElement::~IBoolElement() = default;

std::string IBoolElement::getValueAsString() const { return m_value ? "true" : "false"; }

bool IBoolElement::SetValue(const char* text, int length) {
  if (text == nullptr) return false;
  const char first = TextLength(text, length) > 0 ? text[0] : '\0';
  m_value = first == '1' || first == 'T' || first == 't';
  return true;
}

void IBoolElement::getValueAsBinary(BinaryBuffer& out) const {
  out.AppendByte(m_value ? 't' : 'f');
}

bool IBoolElement::SetBinaryValue(BinaryReader& in) {
  uint8_t byte = 0;
  if (!in.ReadByte(&byte)) return false;
  const char text = static_cast<char>(byte);
  return SetValue(&text, 1);
}

IIntegerElement::~IIntegerElement() = default;
IInteger::~IInteger() = default;

std::string IIntegerElement::getValueAsString() const { return std::to_string(m_value); }

bool IIntegerElement::SetValue(const char* text, int length) {
  if (text == nullptr) return false;
  // strtol needs a terminated copy; the text may be a slice of a larger buffer.
  const std::string copy(text, TextLength(text, length));
  if (copy.empty()) return false;
  const char* begin = copy.c_str();
  if (!(begin[0] == '-' || begin[0] == '+' || (begin[0] >= '0' && begin[0] <= '9'))) return false;
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(begin, &end, 10);
  if (errno != 0 || end == begin || *end != '\0' || value < INT32_MIN || value > INT32_MAX) {
    return false;
  }
  m_value = static_cast<int32_t>(value);
  return true;
}

void IIntegerElement::getValueAsBinary(BinaryBuffer& out) const { out.Append(&m_value, sizeof m_value); }

bool IIntegerElement::SetBinaryValue(BinaryReader& in) {
  int32_t value = 0;
  if (!in.Read(&value, sizeof value)) return false;
  m_value = value;
  return true;
}

IStringElement::~IStringElement() = default;
IString::~IString() = default;

bool IStringElement::SetValue(const char* text, int length) {
  if (text == nullptr) {
    m_value.Reset();
    return true;
  }
  m_value.Assign(text, TextLength(text, length));
  return true;
}

namespace {
constexpr uint32_t kUnsetLength = 0xFFFFFFFFu;
}  // namespace

void IStringElement::getValueAsBinary(BinaryBuffer& out) const {
  if (!m_value.IsSet()) {
    out.AppendUint32(kUnsetLength);
    return;
  }
  out.AppendUint32(static_cast<uint32_t>(m_value.size()));
  out.Append(m_value.str().data(), m_value.size());
}

bool IStringElement::SetBinaryValue(BinaryReader& in) {
  uint32_t length = 0;
  if (!in.ReadUint32(&length)) return false;
  if (length == kUnsetLength) {
    m_value.Reset();
    return true;
  }
  const uint8_t* bytes = nullptr;
  if (!in.ReadView(&bytes, length)) return false;
  m_value.Assign(reinterpret_cast<const char*>(bytes), length);
  return true;
}

KeyValueStringElement::~KeyValueStringElement() = default;

void KeyValueStringElement::SetName(const char* name) {
  if (name == nullptr) {
    m_name.reset();
    return;
  }
  const size_t length = std::strlen(name);
  m_name.reset(new char[length + 1]);
  std::memcpy(m_name.get(), name, length + 1);
}
