#include "platform/uBinary.h"

#include "platform/vmLog.h"

namespace {

// Deep enough for any record of the library; stops hostile nesting.
constexpr int kMaxDepth = 64;

bool Write(const ISerializable& node, BinaryBuffer& out, int depth) {
  if (depth > kMaxDepth) return false;
  if (node.IsLeaf()) {
    node.getValueAsBinary(out);
    return true;
  }
  const size_t count = node.GetChildCount();
  if (node.IsList()) out.AppendUint32(static_cast<uint32_t>(count));
  for (size_t i = 0; i < count; ++i) {
    const ISerializable* child = node.GetChild(i);
    if (child == nullptr || !Write(*child, out, depth + 1)) return false;
  }
  return true;
}

bool Read(ISerializable& node, BinaryReader& in, int depth) {
  if (depth > kMaxDepth) return false;
  if (node.IsLeaf()) return node.SetBinaryValue(in);
  if (node.IsList()) {
    uint32_t count = 0;
    if (!in.ReadUint32(&count) || count > in.remaining()) return false;
    node.ClearChildren();
    for (uint32_t i = 0; i < count; ++i) {
      ISerializable* item = node.CreateChildByIndex(static_cast<int>(i));
      if (item == nullptr || !Read(*item, in, depth + 1)) return false;
    }
    return true;
  }
  for (size_t i = 0; i < node.GetChildCount(); ++i) {
    ISerializable* child = node.GetChild(i);
    if (child == nullptr || !Read(*child, in, depth + 1)) return false;
  }
  return true;
}

}  // namespace

namespace uBinary {

int Serializer::Serialize(const ISerializable& root, BinaryBuffer& out) {
  if (!Write(root, out, 0)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Failed to write %s", root.GetName());
    return -1;
  }
  return 0;
}

int DeSerializer::DeSerialize(ISerializable& root, BinaryReader& in) {
  if (!Read(root, in, 0)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Truncated or malformed %s at byte %zu",
           root.GetName(), in.consumed());
    return 0;
  }
  return 1;
}

int DeSerializer::DeSerialize(ISerializable& root, const void* bytes, size_t length,
                              size_t* consumed) {
  BinaryReader in(bytes, length);
  const int ok = DeSerialize(root, in);
  if (consumed != nullptr) *consumed = in.consumed();
  return ok;
}

}  // namespace uBinary
