// Exported functions over a session's attributes and the attribute lists.
#include <cstdlib>
#include <cstring>

#include "capi/frames.h"
#include "capi/native_call.h"
#include "keldcfgc/keldcfgc.h"

using namespace keld;
using keld::capi::kFixedTextSize;
using keld::capi::NativeCall;

namespace {

// An attribute whose flags or name cannot be read is listed all the same, so
// the list is copied out whatever the listing reported, once it ran.
Status AttributesInfoCopy(std::uint32_t session, void* array, std::uint32_t* count, std::uint32_t visibility,
                          std::int32_t cachedOnly) {
  NVAttributeInfoList list;
  bool listed = false;
  const Status status = frames::GetNVAttributesInfo2(session, &list, visibility, cachedOnly, &listed);
  if (!listed) return status;
  const Status copied = list.ToArray(static_cast<KELDcfgAttrInfo*>(array), count);
  return status != kSuccess ? status : copied;
}

}  // namespace

extern "C" {

KELDCFGC_API int32_t cfgGetAttributeU32(uint32_t session, uint32_t key, uint32_t* value, int32_t cachedOnly) {
  return NativeCall([&] { return frames::GetAttributeU32(session, key, value, cachedOnly); });
}

KELDCFGC_API int32_t cfgSetAttributeU32(uint32_t session, uint32_t key, uint32_t value, int32_t cachedOnly) {
  return NativeCall([&] { return frames::SetAttributeU32(session, key, value, cachedOnly); });
}

KELDCFGC_API int32_t cfgGetAttributeDouble(uint32_t session, uint32_t key, double* value, int32_t cachedOnly) {
  return NativeCall([&] { return frames::GetAttributeDouble(session, key, value, cachedOnly); });
}

KELDCFGC_API int32_t cfgSetAttributeDouble(uint32_t session, uint32_t key, double value, int32_t cachedOnly) {
  return NativeCall([&] { return frames::SetAttributeDouble(session, key, value, cachedOnly); });
}

KELDCFGC_API int32_t cfgGetAttributeString(uint32_t session, uint32_t key, char* value, int32_t cachedOnly) {
  return NativeCall([&] {
    CFGString text;
    const Status status = frames::GetAttributeString(session, key, &text, cachedOnly);
    if (status == kSuccess) CopyText(text, value, kFixedTextSize);
    return status;
  });
}

KELDCFGC_API int32_t cfgSetAttributeString(uint32_t session, uint32_t key, const char* value, int32_t cachedOnly) {
  return NativeCall([&] { return frames::SetAttributeString(session, key, value, cachedOnly); });
}

KELDCFGC_API int32_t cfgGetAttributeRect(uint32_t session, uint32_t key, uint32_t* rect, int32_t cachedOnly) {
  return NativeCall([&] { return frames::GetAttributeRect(session, key, rect, cachedOnly); });
}

KELDCFGC_API int32_t cfgSetAttributeRect(uint32_t session, uint32_t key, const uint32_t* rect, int32_t cachedOnly) {
  return NativeCall([&] { return frames::SetAttributeRect(session, key, rect, cachedOnly); });
}

KELDCFGC_API int32_t cfgValidateAttributes(uint32_t session) {
  return NativeCall([&] { return frames::ValidateAttributes(session); });
}

KELDCFGC_API int32_t cfgReadAttributes(uint32_t session, const char* path) {
  return NativeCall([&] { return frames::ReadAttributes(session, path); });
}

KELDCFGC_API int32_t cfgWriteAttributes(uint32_t session, const char* path) {
  return NativeCall([&] { return frames::WriteAttributes(session, path); });
}

KELDCFGC_API int32_t cfgReadAttributesFromString(uint32_t session, const char* text) {
  return NativeCall([&] { return frames::ReadAttributesFromString(session, text); });
}

KELDCFGC_API int32_t cfgWriteAttributesToString(uint32_t session, char** text) {
  return NativeCall([&] {
    CFGString stored;
    const Status status = frames::WriteAttributesToString(session, &stored);
    if (status != kSuccess || text == nullptr) return status;
    // The block comes from the library's own allocator; cfgDispose frees it.
    auto* block = static_cast<char*>(std::malloc(stored.size() + 1));
    if (block == nullptr) return kOutOfMemory;
    std::memcpy(block, stored.c_str(), stored.size() + 1);
    *text = block;
    return kSuccess;
  });
}

KELDCFGC_API int32_t cfgGetNVAttributesInfo(uint32_t session, void* array, uint32_t* count, int32_t cachedOnly) {
  return NativeCall([&] { return AttributesInfoCopy(session, array, count, 16384, cachedOnly); });
}

KELDCFGC_API int32_t cfgGetNVAttributesInfo2(uint32_t session, void* array, uint32_t* count, uint32_t visibility,
                                             int32_t cachedOnly) {
  return NativeCall([&] { return AttributesInfoCopy(session, array, count, visibility, cachedOnly); });
}

KELDCFGC_API int32_t cfgGetNVAttributeValue(uint32_t session, const char* name, uint32_t component, uint32_t type,
                                            void* value, int32_t cachedOnly) {
  return NativeCall([&] { return frames::GetNVAttributeValue(session, name, component, type, value, cachedOnly); });
}

KELDCFGC_API int32_t cfgSetNVAttributeValue(uint32_t session, const char* name, uint32_t component, uint32_t type,
                                            const void* value, int32_t cachedOnly) {
  return NativeCall([&] { return frames::SetNVAttributeValue(session, name, component, type, value, cachedOnly); });
}

KELDCFGC_API int32_t cfgGetNVAttributeEnumValues(uint32_t session, const char* name, void* array, uint32_t* count,
                                                 int32_t cachedOnly) {
  return NativeCall([&] {
    if (name == nullptr || count == nullptr) return kBadPointer;
    NVAttributeEnumItemList items;
    const Status status = frames::GetNVAttributeEnumValues(session, name, &items, cachedOnly);
    return status != kSuccess ? status : items.ToArray(static_cast<KELDnvEnumItem_struct*>(array), count);
  });
}

KELDCFGC_API int32_t cfgGetCameraVideoModes(uint32_t session, void* array, uint32_t* count, uint32_t* current) {
  return NativeCall([&] {
    CameraVideoModeList modes;
    const Status status = frames::GetCameraVideoModes(session, &modes);
    return status != kSuccess ? status : modes.ToArray(static_cast<VideoMode_struct*>(array), count, current);
  });
}

KELDCFGC_API int32_t cfgGetCameraFeatures(uint32_t session, void* array, uint32_t* count, uint64_t /*extra*/) {
  return NativeCall([&] {
    CameraFeatureList features;
    const Status status = frames::GetCameraFeatures(session, &features);
    return status != kSuccess ? status : features.ToArray(static_cast<Feature2_struct*>(array), count);
  });
}

}  // extern "C"
