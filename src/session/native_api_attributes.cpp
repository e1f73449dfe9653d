// Exported functions over a session's attributes: typed get and set by key,
// get and set by name, the attribute lists, and storing and loading the
// whole configuration. The trailing `cachedOnly` flag chooses between
// immediate access (0: a get reads the device first, a set writes at once)
// and the session's cache (a set stays dirty until the next commit).
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "attributes/attribute.h"
#include "keldcfgc/keldcfgc.h"
#include "session/native_frame.h"
#include "session/native_lookup.h"

using namespace keld;

namespace {

// Bytes that a typed frame moves between its own value record T and the
// attribute's value component: all of T where the component holds a T,
// otherwise as far as both fixed-size records reach (none for the string).
template <typename T>
std::size_t OverlapWith(const SubAttribute& component) {
  if constexpr (std::is_trivially_copyable_v<T>) {
    return std::min(sizeof(T), ValueRecordSize(component.GetType()));
  } else {
    return 0;
  }
}

// The value of an attribute as T. The frames do not look at the attribute's
// type first: where it holds another record, T is read from the first bytes
// of that record (a u32 read of a double gives its first four bytes), and
// what the record does not reach stays zero.
template <typename T>
T ValueOf(Attribute* attribute) {
  if (auto* typed = dynamic_cast<TypedAttribute<T>*>(attribute)) return typed->GetValue();
  T value{};
  const SubAttribute* component = attribute->FindSubAttribute(ComponentKey::Value);
  if (component == nullptr) return value;
  if constexpr (std::is_trivially_copyable_v<T>) {
    std::memcpy(&value, component->GetConstData(), OverlapWith<T>(*component));
  }
  return value;
}

// Sets the cached value, which makes it dirty. Where the attribute holds
// another record, T's bytes go over the first bytes of that record in the
// same way; a value that cannot be placed at all (a text for a number, a
// number for a text) changes nothing, and nothing is reported.
template <typename T>
void SetValueOf(Attribute* attribute, const T& value) {
  if (auto* typed = dynamic_cast<TypedAttribute<T>*>(attribute)) {
    typed->SetValue(value);
    return;
  }
  if constexpr (std::is_trivially_copyable_v<T>) {
    SubAttribute* component = attribute->FindSubAttribute(ComponentKey::Value);
    if (component == nullptr) return;
    const std::size_t size = OverlapWith<T>(*component);
    if (size == 0) return;
    component->SetDirty(1);
    std::memcpy(component->GetMutableData(), &value, size);
  }
}

// Find by key, read from the device unless cachedOnly, then hand the
// attribute to `copyOut`.
template <typename CopyOut>
Status GetAttributeFrame(std::uint32_t id, std::uint32_t key, std::int32_t cachedOnly, CopyOut copyOut) {
  DeviceConfigSession* session = nullptr;
  Status status = GetDeviceSession(&session, id);
  if (status != kSuccess) return status;
  Attribute* attribute = nullptr;
  status = session->FindAttributeByKey(key, &attribute);
  if (cachedOnly == 0) {
    if (status != kSuccess) return status;
    status = session->ReadAttribute(attribute);
  }
  if (status != kSuccess) return status;
  copyOut(attribute);
  return kSuccess;
}

// Find by key, set the cached value, and write it unless cachedOnly.
template <typename T>
Status SetAttributeFrame(std::uint32_t id, std::uint32_t key, const T& value, std::int32_t cachedOnly) {
  DeviceConfigSession* session = nullptr;
  Status status = GetDeviceSession(&session, id);
  Attribute* attribute = nullptr;
  if (status == kSuccess) status = session->FindAttributeByKey(key, &attribute);
  if (status == kSuccess) SetValueOf(attribute, value);
  if (cachedOnly != 0 || status != kSuccess) return status;
  return session->WriteAttribute(attribute);
}

// Find by name and read from the device unless cachedOnly.
Status FindByName(DeviceConfigSession& session, const char* name, std::int32_t cachedOnly, Attribute** attribute) {
  Status status = session.FindAttributeByName(name, attribute);
  if (status == kSuccess && cachedOnly == 0) status = session.ReadAttribute(*attribute);
  return status;
}

// Commit the cached changes, let the driver validate them, read back.
Status ValidateChain(DeviceConfigSession& session) {
  Status status = session.CommitAttributes();
  if (status == kSuccess) status = session.ValidateAttributes();
  if (status == kSuccess) status = session.RefreshAttributes();
  return status;
}

// The attribute listing: refresh first unless cachedOnly; the listing runs
// even after a failed refresh, whose failure is then the result.
Status AttributesInfoFrame(std::uint32_t id, void* array, std::uint32_t* count, std::uint32_t visibility,
                           std::int32_t cachedOnly) {
  return WithDeviceSession(id, [&](DeviceConfigSession& s) {
    const Status refresh = cachedOnly == 0 ? s.RefreshAttributes() : kSuccess;
    NVAttributeInfoList list;
    // An attribute whose flags or name cannot be read is listed all the
    // same, so the list is copied out whatever the listing reported.
    const Status listing = s.GetNVAttributesInfo(&list, visibility);
    const Status copied = list.ToArray(static_cast<KELDcfgAttrInfo*>(array), count);
    if (refresh != kSuccess) return refresh;
    return listing != kSuccess ? listing : copied;
  });
}

}  // namespace

extern "C" {

KELDCFGC_API int32_t cfgGetAttributeU32(uint32_t session, uint32_t key, uint32_t* value, int32_t cachedOnly) {
  EnterNativeFrame();
  if (value == nullptr) return ToResult(kBadPointer);
  return ToResult(GetAttributeFrame(session, key, cachedOnly,
                                    [&](Attribute* attribute) { *value = ValueOf<AttrU32>(attribute).value; }));
}

KELDCFGC_API int32_t cfgSetAttributeU32(uint32_t session, uint32_t key, uint32_t value, int32_t cachedOnly) {
  EnterNativeFrame();
  return ToResult(SetAttributeFrame(session, key, AttrU32{value}, cachedOnly));
}

KELDCFGC_API int32_t cfgGetAttributeDouble(uint32_t session, uint32_t key, double* value, int32_t cachedOnly) {
  EnterNativeFrame();
  if (value == nullptr) return ToResult(kBadPointer);
  return ToResult(GetAttributeFrame(session, key, cachedOnly,
                                    [&](Attribute* attribute) { *value = ValueOf<AttrF64>(attribute).value; }));
}

KELDCFGC_API int32_t cfgSetAttributeDouble(uint32_t session, uint32_t key, double value, int32_t cachedOnly) {
  EnterNativeFrame();
  return ToResult(SetAttributeFrame(session, key, AttrF64{value}, cachedOnly));
}

KELDCFGC_API int32_t cfgGetAttributeString(uint32_t session, uint32_t key, char* value, int32_t cachedOnly) {
  EnterNativeFrame();
  // No pointer test: a null buffer only drops the text at the end.
  return ToResult(GetAttributeFrame(session, key, cachedOnly, [&](Attribute* attribute) {
    CopyText(ValueOf<AttrString>(attribute), value, kFixedTextSize);
  }));
}

KELDCFGC_API int32_t cfgSetAttributeString(uint32_t session, uint32_t key, const char* value, int32_t cachedOnly) {
  EnterNativeFrame();
  return ToResult(SetAttributeFrame(session, key, AttrString(value), cachedOnly));
}

KELDCFGC_API int32_t cfgGetAttributeRect(uint32_t session, uint32_t key, uint32_t* rect, int32_t cachedOnly) {
  EnterNativeFrame();
  return ToResult(GetAttributeFrame(session, key, cachedOnly, [&](Attribute* attribute) {
    const AttrRect value = ValueOf<AttrRect>(attribute);
    if (rect == nullptr) return;
    const std::uint32_t words[6] = {value.Origin1, value.Extent1, value.Origin2, value.Extent2, value.End1, value.End2};
    std::memcpy(rect, words, sizeof words);
  }));
}

KELDCFGC_API int32_t cfgSetAttributeRect(uint32_t session, uint32_t key, const uint32_t* rect, int32_t cachedOnly) {
  EnterNativeFrame();
  // The ends are computed here from origin and extent; the caller's words 4
  // and 5 are not taken.
  AttrRect value;
  if (rect != nullptr) value = AttrRect{rect[0], rect[1], rect[2], rect[3], rect[0] + rect[1], rect[2] + rect[3]};
  return ToResult(SetAttributeFrame(session, key, value, cachedOnly));
}

KELDCFGC_API int32_t cfgValidateAttributes(uint32_t session) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, ValidateChain));
}

KELDCFGC_API int32_t cfgReadAttributes(uint32_t session, const char* path) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) {
    const Status status = s.ReadAttributes(path);
    return status != kSuccess ? status : s.RefreshAttributes();
  }));
}

KELDCFGC_API int32_t cfgWriteAttributes(uint32_t session, const char* path) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) {
    const Status status = ValidateChain(s);
    return status != kSuccess ? status : s.WriteAttributes(path);
  }));
}

KELDCFGC_API int32_t cfgReadAttributesFromString(uint32_t session, const char* text) {
  EnterNativeFrame();
  if (text == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) {
    const Status status = s.ReadAttributesFromString(text);
    return status != kSuccess ? status : s.RefreshAttributes();
  }));
}

KELDCFGC_API int32_t cfgWriteAttributesToString(uint32_t session, char** text) {
  EnterNativeFrame();
  CFGString stored;
  const Status status = WithDeviceSession(session, [&](DeviceConfigSession& s) {
    const Status validated = ValidateChain(s);
    return validated != kSuccess ? validated : s.WriteAttributesToString(&stored);
  });
  if (status != kSuccess || text == nullptr) return ToResult(status);
  // The block comes from the library's own allocator; cfgDispose frees it.
  auto* block = static_cast<char*>(std::malloc(stored.size() + 1));
  if (block == nullptr) return ToResult(kOutOfMemory);
  std::memcpy(block, stored.c_str(), stored.size() + 1);
  *text = block;
  return ToResult(kSuccess);
}

KELDCFGC_API int32_t cfgDispose(void* block) {
  EnterNativeFrame();
  if (block == nullptr) return ToResult(kBadPointer);
  try {
    std::free(block);
  } catch (...) {
    return ToResult(kBadPointer);
  }
  return ToResult(kSuccess);
}

KELDCFGC_API int32_t cfgGetNVAttributesInfo(uint32_t session, void* array, uint32_t* count, int32_t cachedOnly) {
  EnterNativeFrame();
  return ToResult(AttributesInfoFrame(session, array, count, 16384, cachedOnly));
}

KELDCFGC_API int32_t cfgGetNVAttributesInfo2(uint32_t session, void* array, uint32_t* count, uint32_t visibility,
                                             int32_t cachedOnly) {
  EnterNativeFrame();
  return ToResult(AttributesInfoFrame(session, array, count, visibility, cachedOnly));
}

KELDCFGC_API int32_t cfgGetNVAttributeValue(uint32_t session, const char* name, uint32_t component, uint32_t type,
                                            void* value, int32_t cachedOnly) {
  EnterNativeFrame();
  if (name == nullptr || value == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) {
    Attribute* attribute = nullptr;
    const Status status = FindByName(s, name, cachedOnly, &attribute);
    return status != kSuccess ? status : s.GetNVAttributeValue(attribute, component, type, value);
  }));
}

KELDCFGC_API int32_t cfgSetNVAttributeValue(uint32_t session, const char* name, uint32_t component, uint32_t type,
                                            const void* value, int32_t cachedOnly) {
  EnterNativeFrame();
  if (name == nullptr || value == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) {
    Attribute* attribute = nullptr;
    const Status status = s.FindAttributeByName(name, &attribute);
    if (status != kSuccess) return status;
    // As with the typed setters, a value the attribute refuses is not reported.
    IgnoreStatus(s.SetNVAttributeValue(attribute, component, type, value));
    return cachedOnly != 0 ? kSuccess : s.WriteAttribute(attribute);
  }));
}

KELDCFGC_API int32_t cfgGetNVAttributeEnumValues(uint32_t session, const char* name, void* array, uint32_t* count,
                                                 int32_t cachedOnly) {
  EnterNativeFrame();
  if (name == nullptr || count == nullptr) return ToResult(kBadPointer);
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) {
    Attribute* attribute = nullptr;
    Status status = FindByName(s, name, cachedOnly, &attribute);
    NVAttributeEnumItemList items;
    if (status == kSuccess) status = s.GetNVAttributeEnumValues(attribute, &items);
    return status != kSuccess ? status : items.ToArray(static_cast<KELDnvEnumItem_struct*>(array), count);
  }));
}

KELDCFGC_API int32_t cfgGetCameraVideoModes(uint32_t session, void* array, uint32_t* count, uint32_t* current) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) {
    CameraVideoModeList modes;
    const Status status = s.GetCameraVideoModes(&modes);
    return status != kSuccess ? status : modes.ToArray(static_cast<VideoMode_struct*>(array), count, current);
  }));
}

KELDCFGC_API int32_t cfgGetCameraFeatures(uint32_t session, void* array, uint32_t* count, uint64_t /*extra*/) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) {
    CameraFeatureList features;
    const Status status = s.GetCameraFeatures(&features);
    return status != kSuccess ? status : features.ToArray(static_cast<Feature2_struct*>(array), count);
  }));
}

}  // extern "C"
