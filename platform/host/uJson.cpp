// uJson over RapidJSON's SAX writer and reader: no DOM is built either way.
#include "platform/uJson.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "platform/vmLog.h"

namespace {

// Deep enough for every record of the library; stops hostile nesting.
constexpr size_t kMaxDepth = 64;

// RapidJSON output stream over the caller's fixed buffer. It keeps one byte
// for the NUL and remembers that text was lost instead of writing past it.
class FixedBufferStream {
 public:
  typedef char Ch;
  FixedBufferStream(char* buffer, size_t size) : m_buffer(buffer), m_size(size) {}
  void Put(char c) {
    if (m_length + 1 < m_size) {
      m_buffer[m_length++] = c;
    } else {
      m_overflow = true;
    }
  }
  void Flush() {}
  bool Finish() {
    if (m_overflow) {
      m_buffer[0] = '\0';
      return false;
    }
    m_buffer[m_length] = '\0';
    return true;
  }

 private:
  char* m_buffer;
  size_t m_size;
  size_t m_length = 0;
  bool m_overflow = false;
};

template <typename Writer>
bool WriteNode(const ISerializable& node, Writer& writer, size_t depth);

template <typename Writer>
bool WriteLeaf(const ISerializable& leaf, int type, Writer& writer) {
  const std::string text = leaf.getValueAsString();
  switch (type) {
    case kElementBool:
      return writer.Bool(text == "true");
    case kElementInteger:
      return writer.RawValue(text.data(), text.size(), rapidjson::kNumberType);
    default:
      return writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  }
}

template <typename Writer>
bool WriteChildren(const ISerializable& node, Writer& writer, size_t depth, bool with_keys) {
  const size_t count = node.GetChildCount();
  for (size_t i = 0; i < count; ++i) {
    const ISerializable* child = node.GetChild(i);
    if (child == nullptr) return false;
    if (with_keys) {
      const char* name = child->GetName() ? child->GetName() : "";
      if (!writer.Key(name, static_cast<rapidjson::SizeType>(std::strlen(name)))) return false;
    }
    if (!WriteNode(*child, writer, depth + 1)) return false;
  }
  return true;
}

template <typename Writer>
bool WriteNode(const ISerializable& node, Writer& writer, size_t depth) {
  if (depth > kMaxDepth) return false;
  // One virtual call for the kind, not one per question (IsLeaf, IsList).
  const int type = node.getElementType();
  if (type < kElementRecord) return WriteLeaf(node, type, writer);
  if (type == kElementList || type == kElementOwnedList) {
    return writer.StartArray() && WriteChildren(node, writer, depth, false) && writer.EndArray();
  }
  return writer.StartObject() && WriteChildren(node, writer, depth, true) && writer.EndObject();
}

template <typename Stream>
bool WriteDocument(const ISerializable& root, Stream& stream) {
  if (root.IsLeaf() || root.IsList()) return false;  // the document is an object
  rapidjson::Writer<Stream> writer(stream);
  return WriteNode(root, writer, 0) && writer.IsComplete();
}

// SAX handler that drives the tree. Each open object or array is a frame; a
// frame over an unknown key (or inside one) only counts depth.
class TreeFiller : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TreeFiller> {
 public:
  explicit TreeFiller(ISerializable& root) : m_root(root) { m_frames.reserve(8); }

  bool Null() {
    ISerializable* target = nullptr;
    if (!Target(&target)) return false;
    if (target != nullptr && target->IsLeaf()) target->SetUnset();
    return true;
  }
  bool Bool(bool value) { return Scalar(value ? "true" : "false", value ? 4 : 5); }
  bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
    return Scalar(text, length);
  }
  bool String(const char* text, rapidjson::SizeType length, bool) { return Scalar(text, length); }

  bool StartObject() {
    if (m_frames.empty()) {
      if (m_root.IsLeaf() || m_root.IsList()) return Fail("the root is not a record");
      return Push(&m_root);
    }
    ISerializable* target = nullptr;
    if (!Target(&target)) return false;
    if (target == nullptr) return Push(nullptr);
    if (target->IsLeaf() || target->IsList()) return Fail("an object where a value is expected");
    return Push(target);
  }

  bool Key(const char* name, rapidjson::SizeType length, bool) {
    Frame& frame = m_frames.back();
    frame.pending = nullptr;
    if (frame.node == nullptr) return true;
    // First a child of that name not yet filled, so that children sharing a
    // name are taken in order; then any child of that name. Every child below
    // `unfilled` is filled, so when the keys come in the record's own order
    // (as this writer puts them) the child there is the one, and the search
    // costs one comparison.
    const size_t count = frame.node->GetChildCount();
    if (frame.unfilled < count) {
      ISerializable* child = frame.node->GetChild(frame.unfilled);
      if (NameIs(child, name, length)) {
        Fill(frame, frame.unfilled, count);
        frame.pending = child;
        return true;
      }
    }
    ISerializable* fallback = nullptr;
    for (size_t i = 0; i < count; ++i) {
      ISerializable* child = frame.node->GetChild(i);
      if (!NameIs(child, name, length)) continue;
      if (!frame.IsFilled(i)) {
        Fill(frame, i, count);
        frame.pending = child;
        return true;
      }
      if (fallback == nullptr) fallback = child;
    }
    frame.pending = fallback;
    return true;
  }

  bool EndObject(rapidjson::SizeType) { return Pop(); }

  bool StartArray() {
    ISerializable* target = nullptr;
    if (!Target(&target)) return false;
    if (target == nullptr) return Push(nullptr);
    if (!target->IsList()) return Fail("an array where no list is expected");
    target->ClearChildren();
    return Push(target);
  }

  bool EndArray(rapidjson::SizeType) { return Pop(); }

  const std::string& error() const { return m_error; }

 private:
  struct Frame {
    ISerializable* node;  // null inside a skipped value
    ISerializable* pending = nullptr;
    bool list = false;     // asked once, not for every value
    size_t unfilled = 0;   // the lowest child index not yet filled
    uint64_t filled = 0;   // children 0-63 filled; the rest in `more`
    std::vector<bool> more;

    bool IsFilled(size_t i) const {
      if (i < 64) return (filled >> i) & 1u;
      return i - 64 < more.size() && more[i - 64];
    }
  };

  static bool NameIs(const ISerializable* child, const char* name, size_t length) {
    const char* child_name = child ? child->GetName() : nullptr;
    return child_name != nullptr && std::strlen(child_name) == length &&
           std::memcmp(child_name, name, length) == 0;
  }

  static void Fill(Frame& frame, size_t i, size_t count) {
    if (i < 64) {
      frame.filled |= uint64_t{1} << i;
    } else {
      if (frame.more.size() <= i - 64) frame.more.resize(count - 64, false);
      frame.more[i - 64] = true;
    }
    while (frame.unfilled < count && frame.IsFilled(frame.unfilled)) ++frame.unfilled;
  }

  // The node that the next value goes to: the child named by the last key, a
  // new item of a list, or null for a value to skip.
  bool Target(ISerializable** target) {
    if (m_frames.empty()) return Fail("the document is not an object");
    Frame& frame = m_frames.back();
    if (frame.node == nullptr) {
      *target = nullptr;
      return true;
    }
    if (frame.list) {
      *target = frame.node->CreateChildByIndex(static_cast<int>(frame.node->GetChildCount()));
      if (*target == nullptr) return Fail("the list cannot create an item");
      return true;
    }
    *target = frame.pending;
    frame.pending = nullptr;
    return true;
  }

  bool Scalar(const char* text, size_t length) {
    ISerializable* target = nullptr;
    if (!Target(&target)) return false;
    if (target == nullptr) return true;
    if (!target->IsLeaf()) return Fail("a value where an object or array is expected");
    if (!target->SetValue(text, static_cast<int>(length))) return Fail("a value the leaf refuses");
    return true;
  }

  bool Push(ISerializable* node) {
    if (m_frames.size() >= kMaxDepth) return Fail("nesting too deep");
    m_frames.emplace_back();
    m_frames.back().node = node;
    m_frames.back().list = node != nullptr && node->IsList();
    return true;
  }
  bool Pop() {
    m_frames.pop_back();
    return true;
  }
  bool Fail(const char* why) {
    m_error = why;
    return false;
  }

  ISerializable& m_root;
  std::vector<Frame> m_frames;
  std::string m_error;
};

}  // namespace

namespace uJson {

int Serializer::Serialize(const ISerializable& root, char* buffer, size_t size) {
  if (buffer == nullptr || size == 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "No buffer to serialize %s into", root.GetName());
    return -1;
  }
  FixedBufferStream stream(buffer, size);
  const bool written = WriteDocument(root, stream);
  if (!stream.Finish() || !written) {
    buffer[0] = '\0';
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Failed to serialize %s into %zu bytes",
           root.GetName(), size);
    return -1;
  }
  return 0;
}

int Serializer::Serialize(const ISerializable& root, std::string& out) {
  rapidjson::StringBuffer text;
  if (!WriteDocument(root, text)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Failed to serialize %s", root.GetName());
    return -1;
  }
  out.assign(text.GetString(), text.GetSize());
  return 0;
}

int DeSerializer::DeSerialize(ISerializable& root, const char* text, size_t length) {
  if (text == nullptr) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "No text to deserialize %s from", root.GetName());
    return 0;
  }
  rapidjson::MemoryStream stream(text, length);
  TreeFiller filler(root);
  rapidjson::Reader reader;
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
  const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, filler);
  if (result.IsError()) {
    const char* why = filler.error().empty() ? rapidjson::GetParseError_En(result.Code())
                                             : filler.error().c_str();
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Failed to deserialize %s at offset %zu: %s",
           root.GetName(), result.Offset(), why);
    return 0;
  }
  return 1;
}

}  // namespace uJson
