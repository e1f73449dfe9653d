// Feeds a peer's bytes to the readers of the flat forms a command carries:
// strings and string lists, device lists, the record lists, light-head
// records and lists, single attributes in both forms and single components.
// The first byte chooses the reader. Whatever was read must flatten again.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "attributes/attribute.h"
#include "attributes/record_lists.h"
#include "datafile/light_head_record.h"
#include "foundation/byte_stream.h"
#include "foundation/string_list.h"
#include "inventory/device_list.h"

using namespace keld;

namespace {

template <typename Flat>
void ReadAndWriteBack(ByteStream* in) {
  Flat value;
  IgnoreStatus(value.Unflatten(in));  // any status; what was read must hold
  ByteStream out;
  // A plain light head with an unknown algorithm is refused on writing.
  IgnoreStatus(value.Flatten(&out));
  out.Reset();
}

void ReadAttribute(ByteStream* in, bool full) {
  std::uint32_t tag = 0;
  if (in->ReadU32(&tag) != kSuccess) return;
  Attribute* created = nullptr;
  if (CreateAttribute(tag, true, &created) != kSuccess) return;
  std::unique_ptr<Attribute> attribute(created);
  IgnoreStatus(attribute->Unflatten(in, full));
  ByteStream out;
  if (attribute->Flatten(&out, true) != kSuccess) std::abort();
  out.Reset();
}

void ReadComponent(ByteStream* in) {
  if (in->Remaining() < 8) return;
  std::uint32_t head[2];
  std::memcpy(head, in->cursor, sizeof head);
  SubAttribute* created = nullptr;
  if (CreateSubAttribute(head[0], head[1], &created) != kSuccess) return;
  std::unique_ptr<SubAttribute> component(created);
  IgnoreStatus(component->Unflatten(in));
  ByteStream out;
  if (component->Flatten(&out) != kSuccess) std::abort();
  out.Reset();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  ByteStream in;
  if (in.AppendBytes(data + 1, size - 1) != kSuccess) return 0;
  in.Rewind();
  switch (data[0] % 13) {
    case 0: ReadAndWriteBack<CFGString>(&in); break;
    case 1: ReadAndWriteBack<StringList>(&in); break;
    case 2: ReadAndWriteBack<DeviceList>(&in); break;
    case 3: ReadAndWriteBack<CameraVideoModeList>(&in); break;
    case 4: ReadAndWriteBack<CameraFeatureList>(&in); break;
    case 5: ReadAndWriteBack<CameraAttributeList>(&in); break;
    case 6: ReadAndWriteBack<CameraFileDataList>(&in); break;
    case 7: ReadAndWriteBack<InterfaceFileDataList>(&in); break;
    case 8: ReadAndWriteBack<keld::LightHeadRecord>(&in); break;
    case 9: ReadAndWriteBack<LightHeadList>(&in); break;
    case 10: ReadAttribute(&in, true); break;
    case 11: ReadAttribute(&in, false); break;
    default: ReadComponent(&in); break;
  }
  in.Reset();
  return 0;
}
