#include "attributes/record_lists.h"

#include <algorithm>
#include <cstring>

#include "foundation/byte_stream.h"

namespace keld {

namespace {

// Copies min(*count, size) records to `out`, or reports the size when `out`
// is null; `current` receives the list's word where both exist.
template <typename Record>
Status CopyToArray(const std::vector<Record>& list, Record* out, std::uint32_t* count, const std::uint32_t* word,
                   std::uint32_t* current) {
  if (count == nullptr) return kBadPointer;
  const auto size = static_cast<std::uint32_t>(list.size());
  if (out == nullptr) {
    *count = size;
  } else {
    const std::uint32_t copied = std::min(*count, size);
    if (copied > 0) std::memcpy(out, list.data(), sizeof(Record) * copied);
    *count = copied;
  }
  if (current != nullptr && word != nullptr) *current = *word;
  return kSuccess;
}

// u32 size, then each record as its raw bytes, then the word if there is one.
template <typename Record>
Status FlattenRecords(const std::vector<Record>& list, const std::uint32_t* word, ByteStream* out) {
  Status status = out->AppendU32(static_cast<std::uint32_t>(list.size()));
  for (const Record& record : list) {
    if (status != kSuccess) return status;
    status = out->AppendRecord(record);
  }
  if (status == kSuccess && word != nullptr) status = out->AppendU32(*word);
  return status;
}

// Empties the list, then reads what FlattenRecords wrote; records read before
// a failure stay. A peer's count allocates nothing by itself: each record is
// read, and so checked against the bytes left, before it is added.
template <typename Record>
Status UnflattenRecords(std::vector<Record>* list, std::uint32_t* word, ByteStream* in) {
  list->clear();
  std::uint32_t count = 0;
  Status status = in->ReadU32(&count);
  for (std::uint32_t i = 0; i < count && status == kSuccess; ++i) {
    Record record{};
    status = in->ReadRecord(&record);
    if (status == kSuccess) list->push_back(record);
  }
  if (status == kSuccess && word != nullptr) status = in->ReadU32(word);
  return status;
}

// The conversion to the runtime's arrays belongs to the front end, which
// isn't part of the library yet.
Status RuntimeArrayNotServed(const void* handle) {
  if (handle == nullptr) return kBadPointer;
  return kInternalError;
}

}  // namespace

Status CameraVideoModeList::ToRuntimeArray(void* handle, std::uint32_t* /*current*/) const {
  return RuntimeArrayNotServed(handle);
}
Status CameraVideoModeList::ToArray(VideoMode_struct* out, std::uint32_t* count, std::uint32_t* current) const {
  return CopyToArray(*this, out, count, &Current, current);
}
Status CameraVideoModeList::Flatten(ByteStream* out) const { return FlattenRecords(*this, &Current, out); }
Status CameraVideoModeList::Unflatten(ByteStream* in) { return UnflattenRecords(this, &Current, in); }

Status CameraFeatureList::ToRuntimeArray(void* handle) const { return RuntimeArrayNotServed(handle); }
Status CameraFeatureList::ToArray(Feature2_struct* out, std::uint32_t* count) const {
  return CopyToArray(*this, out, count, nullptr, nullptr);
}
Status CameraFeatureList::Flatten(ByteStream* out) const { return FlattenRecords(*this, nullptr, out); }
Status CameraFeatureList::Unflatten(ByteStream* in) { return UnflattenRecords(this, nullptr, in); }

Status NVAttributeInfoList::ToRuntimeArray(void* handle) const { return RuntimeArrayNotServed(handle); }
Status NVAttributeInfoList::ToArray(KELDcfgAttrInfo* out, std::uint32_t* count) const {
  return CopyToArray(*this, out, count, nullptr, nullptr);
}

Status NVAttributeEnumItemList::ToRuntimeArray(void* handle) const { return RuntimeArrayNotServed(handle); }
Status NVAttributeEnumItemList::ToArray(KELDnvEnumItem_struct* out, std::uint32_t* count) const {
  return CopyToArray(*this, out, count, nullptr, nullptr);
}

Status CameraAttributeList::ToArray(CameraAttribute* out, std::uint32_t* count, std::uint32_t* current) const {
  return CopyToArray(*this, out, count, &Current, current);
}
Status CameraAttributeList::Flatten(ByteStream* out) const { return FlattenRecords(*this, &Current, out); }
Status CameraAttributeList::Unflatten(ByteStream* in) { return UnflattenRecords(this, &Current, in); }

Status CameraFileDataList::ToArray(CameraFileData* out, std::uint32_t* count, std::uint32_t* current) const {
  return CopyToArray(*this, out, count, &Current, current);
}
Status CameraFileDataList::Flatten(ByteStream* out) const { return FlattenRecords(*this, &Current, out); }
Status CameraFileDataList::Unflatten(ByteStream* in) { return UnflattenRecords(this, &Current, in); }

Status InterfaceFileDataList::ToArray(InterfaceFileData* out, std::uint32_t* count, std::uint32_t* current) const {
  return CopyToArray(*this, out, count, &Current, current);
}
Status InterfaceFileDataList::Flatten(ByteStream* out) const { return FlattenRecords(*this, &Current, out); }
Status InterfaceFileDataList::Unflatten(ByteStream* in) { return UnflattenRecords(this, &Current, in); }

}  // namespace keld
