// Frames over a session's attributes: typed get and set by key, get and set
// by name, the attribute lists, and storing and loading the configuration.
// The trailing `cachedOnly` flag chooses between immediate access (0: a get
// reads the device first, a set writes at once) and the session's cache (a
// set stays dirty until the next commit).
#include <algorithm>
#include <cstring>
#include <type_traits>

#include "attributes/attribute.h"
#include "capi/frames.h"

namespace keld::frames {

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
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    Attribute* attribute = nullptr;
    Status status = session.FindAttributeByKey(key, &attribute);
    if (cachedOnly == 0) {
      if (status != kSuccess) return status;
      status = session.ReadAttribute(attribute);
    }
    if (status != kSuccess) return status;
    copyOut(attribute);
    return kSuccess;
  });
}

// Find by key, set the cached value, and write it unless cachedOnly. A
// failed look-up of the session is kept and returned.
template <typename T>
Status SetAttributeFrame(std::uint32_t id, std::uint32_t key, const T& value, std::int32_t cachedOnly) {
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    Attribute* attribute = nullptr;
    const Status status = session.FindAttributeByKey(key, &attribute);
    if (status == kSuccess) SetValueOf(attribute, value);
    if (cachedOnly != 0 || status != kSuccess) return status;
    return session.WriteAttribute(attribute);
  });
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

}  // namespace

Status GetAttributeU32(std::uint32_t id, std::uint32_t key, std::uint32_t* value, std::int32_t cachedOnly) {
  if (value == nullptr) return kBadPointer;
  return GetAttributeFrame(id, key, cachedOnly,
                           [&](Attribute* attribute) { *value = ValueOf<AttrU32>(attribute).value; });
}

Status SetAttributeU32(std::uint32_t id, std::uint32_t key, std::uint32_t value, std::int32_t cachedOnly) {
  return SetAttributeFrame(id, key, AttrU32{value}, cachedOnly);
}

Status GetAttributeDouble(std::uint32_t id, std::uint32_t key, double* value, std::int32_t cachedOnly) {
  if (value == nullptr) return kBadPointer;
  return GetAttributeFrame(id, key, cachedOnly,
                           [&](Attribute* attribute) { *value = ValueOf<AttrF64>(attribute).value; });
}

Status SetAttributeDouble(std::uint32_t id, std::uint32_t key, double value, std::int32_t cachedOnly) {
  return SetAttributeFrame(id, key, AttrF64{value}, cachedOnly);
}

// No pointer test: a null text only drops the result.
Status GetAttributeString(std::uint32_t id, std::uint32_t key, CFGString* value, std::int32_t cachedOnly) {
  return GetAttributeFrame(id, key, cachedOnly, [&](Attribute* attribute) {
    if (value != nullptr) *value = ValueOf<AttrString>(attribute);
  });
}

Status SetAttributeString(std::uint32_t id, std::uint32_t key, const char* value, std::int32_t cachedOnly) {
  return SetAttributeFrame(id, key, AttrString(value), cachedOnly);
}

Status GetAttributeRect(std::uint32_t id, std::uint32_t key, std::uint32_t* rect, std::int32_t cachedOnly) {
  return GetAttributeFrame(id, key, cachedOnly, [&](Attribute* attribute) {
    const AttrRect value = ValueOf<AttrRect>(attribute);
    if (rect == nullptr) return;
    const std::uint32_t words[6] = {value.Origin1, value.Extent1, value.Origin2, value.Extent2, value.End1, value.End2};
    std::memcpy(rect, words, sizeof words);
  });
}

// The ends are computed here from origin and extent; the caller's words 4
// and 5 are not taken. Without a rectangle there is nothing to write, and
// writing zeros in its place would be a guess.
Status SetAttributeRect(std::uint32_t id, std::uint32_t key, const std::uint32_t* rect, std::int32_t cachedOnly) {
  if (rect == nullptr) return kBadPointer;
  const AttrRect value{rect[0], rect[1], rect[2], rect[3], rect[0] + rect[1], rect[2] + rect[3]};
  return SetAttributeFrame(id, key, value, cachedOnly);
}

Status ValidateAttributes(std::uint32_t id) { return OnDeviceSession(id, ValidateChain); }

Status ReadAttributes(std::uint32_t id, const char* path) {
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    const Status status = session.ReadAttributes(path);
    return status != kSuccess ? status : session.RefreshAttributes();
  });
}

Status WriteAttributes(std::uint32_t id, const char* path) {
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    const Status status = ValidateChain(session);
    return status != kSuccess ? status : session.WriteAttributes(path);
  });
}

Status ReadAttributesFromString(std::uint32_t id, const char* text) {
  if (text == nullptr) return kBadPointer;
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    const Status status = session.ReadAttributesFromString(text);
    return status != kSuccess ? status : session.RefreshAttributes();
  });
}

Status WriteAttributesToString(std::uint32_t id, CFGString* text) {
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    const Status status = ValidateChain(session);
    return status != kSuccess ? status : session.WriteAttributesToString(text);
  });
}

Status GetNVAttributesInfo2(std::uint32_t id, NVAttributeInfoList* list, std::uint32_t visibility,
                            std::int32_t cachedOnly, bool* listed) {
  *listed = false;
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    const Status refresh = cachedOnly == 0 ? session.RefreshAttributes() : kSuccess;
    const Status listing = session.GetNVAttributesInfo(list, visibility);
    *listed = true;
    return refresh != kSuccess ? refresh : listing;
  });
}

Status GetNVAttributeValue(std::uint32_t id, const char* name, std::uint32_t component, std::uint32_t type,
                           void* value, std::int32_t cachedOnly) {
  if (name == nullptr || value == nullptr) return kBadPointer;
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    Attribute* attribute = nullptr;
    const Status status = FindByName(session, name, cachedOnly, &attribute);
    return status != kSuccess ? status : session.GetNVAttributeValue(attribute, component, type, value);
  });
}

Status SetNVAttributeValue(std::uint32_t id, const char* name, std::uint32_t component, std::uint32_t type,
                           const void* value, std::int32_t cachedOnly) {
  if (name == nullptr || value == nullptr) return kBadPointer;
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    Attribute* attribute = nullptr;
    const Status status = session.FindAttributeByName(name, &attribute);
    if (status != kSuccess) return status;
    // As with the typed setters, a value the attribute refuses is not reported.
    IgnoreStatus(session.SetNVAttributeValue(attribute, component, type, value));
    return cachedOnly != 0 ? kSuccess : session.WriteAttribute(attribute);
  });
}

Status GetNVAttributeEnumValues(std::uint32_t id, const char* name, NVAttributeEnumItemList* items,
                                std::int32_t cachedOnly) {
  if (name == nullptr) return kBadPointer;
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    Attribute* attribute = nullptr;
    const Status status = FindByName(session, name, cachedOnly, &attribute);
    return status != kSuccess ? status : session.GetNVAttributeEnumValues(attribute, items);
  });
}

Status GetCameraVideoModes(std::uint32_t id, CameraVideoModeList* modes) {
  return Run(id, &DeviceConfigSession::GetCameraVideoModes, modes);
}

Status GetCameraFeatures(std::uint32_t id, CameraFeatureList* features) {
  return Run(id, &DeviceConfigSession::GetCameraFeatures, features);
}

}  // namespace keld::frames
