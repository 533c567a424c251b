// dmdemo: shows the host platform's record forms on a small device record.
//
// It builds a record, prints its JSON and the size and base64 of its binary
// (IPC) form, then reads both back and checks they give the same record.
#include <cstdio>
#include <string>
#include <vector>

#include "platform/IBoolElement.h"
#include "platform/IElementSerializable.h"
#include "platform/IIntegerElement.h"
#include "platform/IListSerializable.h"
#include "platform/IStringElement.h"
#include "platform/uBinary.h"
#include "platform/uJson.h"
#include "platform/vmUtils.h"

namespace {

class Peripheral : public IElementSerializable {
 public:
  struct Name : IStringElement {
    const char* GetName() const override { return "name"; }
  };
  struct Vid : IIntegerElement {
    Vid() : IIntegerElement(-1) {}
    const char* GetName() const override { return "vid"; }
  };
  Peripheral() {
    AddChildToElementInConstructor(&name);
    AddChildToElementInConstructor(&vid);
  }
  const char* GetName() const override { return "peripherals"; }
  Name name;
  Vid vid;
};

class DeviceSnapshot : public IElementSerializable {
 public:
  struct Model : IStringElement {
    const char* GetName() const override { return "model"; }
  };
  struct Registered : IBoolElement {
    const char* GetName() const override { return "registered"; }
  };
  struct Peripherals : IListSerializable<Peripheral> {
    const char* GetName() const override { return "peripherals"; }
  };
  DeviceSnapshot() {
    AddChildToElementInConstructor(&model);
    AddChildToElementInConstructor(&registered);
    AddChildToElementInConstructor(&peripherals);
  }
  const char* GetName() const override { return "DeviceSnapshot"; }
  Model model;
  Registered registered;
  Peripherals peripherals;
};

}  // namespace

int main() {
  DeviceSnapshot snapshot;
  snapshot.model.SetValue(std::string("desk-phone"));
  snapshot.registered.SetValue(true);
  Peripheral* headset = snapshot.peripherals.Append();
  headset->name.SetValue(std::string("USB headset"));
  headset->vid.SetValue(0x0b0e);
  snapshot.peripherals.Append();  // a device that reported nothing yet

  char json[512];
  if (uJson::Serializer::Serialize(snapshot, json, sizeof json) != 0) return 1;
  std::printf("JSON:   %s\n", json);

  BinaryBuffer binary;
  if (uBinary::Serializer::Serialize(snapshot, binary) != 0) return 1;
  std::vector<char> text(4 * ((binary.size() + 2) / 3) + 1);
  base64_encode(binary.data(), static_cast<int>(binary.size()), text.data());
  std::printf("binary: %zu bytes, base64 %s\n", binary.size(), text.data());

  DeviceSnapshot from_json;
  DeviceSnapshot from_binary;
  const bool ok = uJson::DeSerializer::DeSerialize(from_json, json, std::string(json).size()) != 0 &&
                  uBinary::DeSerializer::DeSerialize(from_binary, binary.data(), binary.size()) != 0;
  std::string again;
  uJson::Serializer::Serialize(from_binary, again);
  const bool same = ok && again == json && from_json.peripherals.size() == 2;
  std::printf("read back: %s\n", same ? "identical" : "DIFFERENT");
  return same ? 0 : 1;
}
