// Attributes of the network and USB camera session: each is read property
// by property through the driver's calls by name, written by name, and the
// session's map is rebuilt from the driver's list of all attributes. Also
// the attribute files and texts, and the camera's registers.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "attributes/attribute.h"
#include "local/keldnv/keldnv_driver.h"
#include "local/keldnv/local_keldnv_config_session.h"

namespace keld {

namespace {

// A flag of the driver: preset 0, and 0 again where the call fails.
template <typename Query>
Status ReadFlag(Query query, bool* flag) {
  std::uint32_t word = 0;
  const Status status = query(&word);
  *flag = status == kSuccess && word != 0;
  return status;
}

}  // namespace

// Every step runs; the first failure is the result. Only a type the driver
// cannot read ends the read early.
Status LocalKELDNVConfigSession::ReadAttribute(Attribute* attribute) {
  return DriverGuard([&]() -> Status {
    const std::string name(attribute->GetNameView());
    const char* const text = name.c_str();
    const std::uint32_t handle = CameraHandle();
    Status result = kSuccess;

    std::uint32_t visibility = kKeldnvDefaultVisibility;
    const Status visible = KELDNV_DRIVER_CALL(KELDnvGetAttributeVisibility, handle, text, &visibility);
    KeepFirstFailure(&result, visible);
    KeepFirstFailure(&result, attribute->SetVisibility(visible == kSuccess ? visibility : kKeldnvDefaultVisibility));

    bool readable = false;
    KeepFirstFailure(&result, ReadFlag([&](std::uint32_t* word) {
      return KELDNV_DRIVER_CALL(KELDnvIsAttributeReadable, handle, text, word);
    }, &readable));
    KeepFirstFailure(&result, attribute->SetReadable(readable));
    bool writable = false;
    KeepFirstFailure(&result, ReadFlag([&](std::uint32_t* word) {
      return KELDNV_DRIVER_CALL(KELDnvIsAttributeWritable, handle, text, word);
    }, &writable));
    KeepFirstFailure(&result, attribute->SetWritable(writable));
    bool dynamic = false;
    KeepFirstFailure(&result, ReadFlag([&](std::uint32_t* word) {
      return KELDNV_DRIVER_CALL(KELDnvIsAttributeDynamic, handle, text, word);
    }, &dynamic));
    KeepFirstFailure(&result, attribute->SetDynamic(dynamic));

    std::vector<char> tooltip(KELDNV_TOOLTIP_SIZE, 0);
    KeepFirstFailure(&result, KELDNV_DRIVER_CALL(KELDnvGetAttributeTooltip, handle, text, tooltip.data(),
                                                 std::uint32_t{KELDNV_TOOLTIP_SIZE}));
    tooltip.back() = 0;
    KeepFirstFailure(&result, attribute->SetTooltip(CFGString(tooltip.data())));

    const std::uint32_t driverType = DriverTypeCodeFromTag(DriverTypeCodeColumn::kNVAccess, attribute->GetType());
    // The value, as far as the attribute can be read now: an attribute whose
    // read fails is unreadable from then on.
    if (readable) {
      if (driverType == kNoDriverTypeCode) return kTypeMismatch;
      const Status read =
          KELDNV_DRIVER_CALL(KELDnvGetAttribute, handle, text, driverType, attribute->GetMutableValueData());
      if (read != kSuccess) {
        KeepFirstFailure(&result, read);
        IgnoreStatus(attribute->SetReadable(false));  // the component exists: it was set above
      }
    }

    // The limits in the attribute's own type, where it has them.
    const struct {
      std::uint32_t key;
      const char* function;
    } limits[] = {{ComponentKey::Minimum, "KELDnvGetAttributeMinimum"},
                  {ComponentKey::Maximum, "KELDnvGetAttributeMaximum"},
                  {ComponentKey::Increment, "KELDnvGetAttributeIncrement"}};
    for (const auto& limit : limits) {
      SubAttribute* component = attribute->FindSubAttribute(limit.key);
      if (component == nullptr) continue;
      KeepFirstFailure(&result, CallDriver<decltype(KELDnvGetAttributeMinimum)>(
                                    NetworkCameraDriver(), limit.function, handle, text, driverType,
                                    component->GetMutableData()));
    }

    if (SubAttribute* units = attribute->FindSubAttribute(ComponentKey::Units)) {
      KeepFirstFailure(&result, KELDNV_DRIVER_CALL(KELDnvGetAttributeUnits, handle, text,
                                                   static_cast<char*>(units->GetMutableData()),
                                                   std::uint32_t{KELDNV_TEXT_SIZE}));
    }
    const std::uint32_t version = KeldnvDriverVersion();
    if (version >= kKeldnvVersionRepresentation) {
      if (SubAttribute* representation = attribute->FindSubAttribute(ComponentKey::Representation)) {
        KeepFirstFailure(&result, KELDNV_DRIVER_CALL(KELDnvGetAttributeRepresentation, handle, text,
                                                     static_cast<std::uint32_t*>(representation->GetMutableData())));
      }
    }
    if (version >= kKeldnvVersionDescriptions) {
      if (SubAttribute* description = attribute->FindSubAttribute(ComponentKey::Description)) {
        KeepFirstFailure(&result, KELDNV_DRIVER_CALL(KELDnvGetAttributeDescription, handle, text,
                                                     static_cast<char*>(description->GetMutableData()),
                                                     std::uint32_t{KELDNV_TEXT_SIZE}));
      }
      if (SubAttribute* displayName = attribute->FindSubAttribute(ComponentKey::DisplayName)) {
        KeepFirstFailure(&result, KELDNV_DRIVER_CALL(KELDnvGetAttributeDisplayName, handle, text,
                                                     static_cast<char*>(displayName->GetMutableData()),
                                                     std::uint32_t{KELDNV_TEXT_SIZE}));
      }
    }

    SubAttribute* items = attribute->FindSubAttribute(ComponentKey::EnumItems);
    if (items == nullptr || items->GetType() != AttrEnumVector::kTag) return result;
    std::uint32_t count = 0;
    KeepFirstFailure(&result, KELDNV_DRIVER_CALL(KELDnvEnumerateAttributeValues, handle, text,
                                                 static_cast<KELDnvEnumItem_struct*>(nullptr), &count));
    if (result != kSuccess || count == 0) return result;
    auto& choices = static_cast<AttrEnumVector*>(items->GetMutableData())->items;
    choices.assign(count, KELDnvEnumItem_struct{});
    const Status listed = KELDNV_DRIVER_CALL(KELDnvEnumerateAttributeValues, handle, text, choices.data(), &count);
    // The driver may have found fewer choices the second time.
    if (listed == kSuccess && count < choices.size()) choices.resize(count);
    return listed;
  });
}

// A command goes to the driver as a bool. The attribute is clean again only
// where the driver took the value.
Status LocalKELDNVConfigSession::WriteAttribute(Attribute* attribute) {
  return DriverGuard([&]() -> Status {
    const std::string name(attribute->GetNameView());
    const std::uint32_t driverType = DriverTypeCodeFromTag(DriverTypeCodeColumn::kNVAccess, attribute->GetType());
    const Status status = KELDNV_DRIVER_CALL(KELDnvSetAttributeFromVoidPtr, CameraHandle(), name.c_str(), driverType,
                                             attribute->GetConstValueData());
    if (status == kSuccess) attribute->SetDirty(0);
    return status;
  });
}

Status LocalKELDNVConfigSession::RefreshAttributes() {
  return DriverGuard([&]() -> Status {
    attributes.Clear();
    // One version word decides both calls.
    const bool third = KeldnvDriverVersion() >= kKeldnvVersionEnumerateAttributes3;
    const auto enumerate = [&](KELDnvAttributeInformation* list, std::uint32_t* count) {
      return third ? KELDNV_DRIVER_CALL(KELDnvEnumerateAttributes3, CameraHandle(), list, count,
                                        static_cast<const char*>(nullptr), kKeldnvListAllVisibility)
                   : KELDNV_DRIVER_CALL(KELDnvEnumerateAttributes2, CameraHandle(), list, count,
                                        static_cast<const char*>(nullptr), kKeldnvListAllVisibility);
    };
    std::uint32_t count = 0;
    Status status = enumerate(nullptr, &count);
    if (status != kSuccess || count == 0) return status;
    std::vector<KELDnvAttributeInformation> list;
    try {
      list.assign(count, KELDnvAttributeInformation{});
    } catch (const std::bad_alloc&) {
      return kOutOfMemory;
    }
    Status result = enumerate(list.data(), &count);
    const std::uint32_t listed = std::min<std::uint32_t>(count, static_cast<std::uint32_t>(list.size()));
    for (std::uint32_t i = 0; i < listed; ++i) {
      const std::uint32_t tag = TagFromDriverTypeCode(DriverTypeCodeColumn::kNVReported, list[i].Type);
      if (tag == 0) continue;
      Attribute* created = nullptr;
      const Status made = CreateAttribute(tag, true, &created);
      KeepFirstFailure(&result, made);
      if (made != kSuccess) continue;
      std::unique_ptr<Attribute> attribute(created);
      attribute->SetKey(i);
      CFGString name;
      name.Assign(list[i].Name, strnlen(list[i].Name, sizeof list[i].Name - 1));
      const Status named = attribute->SetName(name);
      KeepFirstFailure(&result, named);
      if (named == kSuccess) KeepFirstFailure(&result, ReadAttribute(attribute.get()));
      // In the map whatever could be read of it.
      attributes.Insert(attribute.release());
    }
    return result;
  });
}

Status LocalKELDNVConfigSession::ValidateAttributes() {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvValidateAcquisition, CameraHandle()); });
}

Status LocalKELDNVConfigSession::ReadAttributes(const char* path) {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvReadAttributes, CameraHandle(), path); });
}

Status LocalKELDNVConfigSession::WriteAttributes(const char* path) {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvWriteAttributes, CameraHandle(), path); });
}

Status LocalKELDNVConfigSession::ReadAttributesFromString(const char* text) {
  return DriverGuard(
      [&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvReadAttributesFromString, CameraHandle(), text); });
}

// The driver's text is copied and handed back to the driver, also where the
// copy fails.
Status LocalKELDNVConfigSession::WriteAttributesToString(CFGString* text) {
  return DriverGuard([&]() -> Status {
    char* stored = nullptr;
    const Status status = KELDNV_DRIVER_CALL(KELDnvWriteAttributesToString, CameraHandle(), &stored);
    if (status != kSuccess) return status;
    *text = stored != nullptr ? stored : "";
    const Status copied = text->error() != 0 ? kOutOfMemory : kSuccess;
    if (auto* dispose = KELDNV_DRIVER_FIND(KELDnvDispose)) {
      IgnoreStatus(dispose(stored));  // the text is ours now; the driver's copy goes
    }
    return copied;
  });
}

Status LocalKELDNVConfigSession::ReadU32(std::uint32_t /*space*/, std::uint32_t address, std::uint32_t count,
                                         std::uint32_t* values) {
  return DriverGuard([&]() -> Status {
    Status status = kSuccess;
    for (std::uint32_t i = 0; i < count && status == kSuccess; ++i) {
      status = KELDNV_DRIVER_CALL(KELDnvReadRegister, CameraHandle(), address + 4 * i, &values[i]);
    }
    return status;
  });
}

Status LocalKELDNVConfigSession::WriteU32(std::uint32_t /*space*/, std::uint32_t address, std::uint32_t count,
                                          const std::uint32_t* values) {
  return DriverGuard([&]() -> Status {
    Status status = kSuccess;
    for (std::uint32_t i = 0; i < count && status == kSuccess; ++i) {
      status = KELDNV_DRIVER_CALL(KELDnvWriteRegister, CameraHandle(), address + 4 * i, values[i]);
    }
    return status;
  });
}

}  // namespace keld
