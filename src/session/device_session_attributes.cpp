// The attribute operations every device session shares. They work on the
// session's own attribute map only: listing attribute information, reading
// and writing one component by type code, listing enumeration choices and
// finding attributes by name or key. What reaches the driver goes through
// the session's ReadAttribute and WriteAttribute, elsewhere.
#include <cstring>

#include "attributes/attribute.h"
#include "session/config_session.h"
#include "foundation/cfg_string.h"

namespace keld {

namespace {

// Visibility of an attribute that has no such component.
constexpr std::int32_t kDefaultVisibility = 0x8000000;

bool FlagOf(Status (Attribute::*read)(bool*) const, const Attribute& attribute) {
  bool value = false;
  return (attribute.*read)(&value) == kSuccess && value;
}

// Whether a component of tag `stored` can be read or written as `requested`:
// the same tag, an enumeration or a signed 64-bit number as a u32, an
// enumeration as a signed 64-bit number, a command as a Bool.
bool Convertible(std::uint32_t stored, std::uint32_t requested) {
  if (stored == requested) return true;
  if (stored == AttrEnum::kTag) return requested == AttrU32::kTag || requested == AttrI64::kTag;
  if (stored == AttrI64::kTag) return requested == AttrU32::kTag;
  if (stored == AttrCommand::kTag) return requested == AttrBool::kTag;
  return false;
}

std::uint32_t FirstWord(const SubAttribute& component) {
  std::uint32_t word = 0;
  std::memcpy(&word, component.GetConstData(), sizeof word);
  return word;
}

// Copies the text of a string component, or leaves `out` as it is.
void TextOf(const Attribute& attribute, std::uint32_t key, char* out, std::uint32_t size) {
  const SubAttribute* component = attribute.FindSubAttribute(key);
  if (component == nullptr || component->GetType() != AttrString::kTag) return;
  // Taken up to the NUL: a driver may have written the text through the buffer.
  const CFGString text(static_cast<const TypedSubAttribute<AttrString>*>(component)->GetValue().c_str());
  CopyText(text, out, size);
}

// Sets the name of an enumeration value to that of the first choice with the
// same number; `bothWords` compares the high word too. Without a match the
// name stays.
Status NameEnumValue(const Attribute& attribute, KELDnvEnumItem_struct* value, bool bothWords) {
  const SubAttribute* component = attribute.FindSubAttribute(ComponentKey::EnumItems);
  if (component == nullptr || component->GetType() != AttrEnumVector::kTag) return kUnknownComponent;
  const std::vector<KELDnvEnumItem_struct> choices =
      static_cast<const TypedSubAttribute<AttrEnumVector>*>(component)->GetValue().items;
  for (const KELDnvEnumItem_struct& choice : choices) {
    if (choice.ValueLow != value->ValueLow) continue;
    if (bothWords && choice.ValueHigh != value->ValueHigh) continue;
    std::memcpy(value->Name, choice.Name, sizeof value->Name);
    break;
  }
  return kSuccess;
}

}  // namespace

Status DeviceConfigSession::GetNVAttributesInfo(NVAttributeInfoList* list, std::uint32_t visibility) {
  if (list == nullptr) return kBadPointer;
  list->clear();
  list->reserve(attributes.size());
  const auto limit = static_cast<std::int32_t>(visibility);
  Status result = kSuccess;
  for (const auto& attribute : attributes.ByKeyIndex()) {
    std::uint32_t level = 0;
    if (attribute->GetVisibility(&level) != kSuccess) level = kDefaultVisibility;
    if (static_cast<std::int32_t>(level) > limit) continue;

    KELDcfgAttrInfo info{};
    info.Type = attribute->GetType();
    info.Id = attribute->GetKey();
    bool readable = false;
    bool writable = false;
    CFGString name;
    CFGString tooltip;
    const Status steps[] = {attribute->IsReadable(&readable), attribute->IsWritable(&writable),
                            attribute->GetName(&name)};
    for (const Status step : steps) {
      if (result == kSuccess) result = step;
    }
    // A missing tooltip leaves the text empty and is not a failure.
    IgnoreStatus(attribute->GetTooltip(&tooltip));
    info.Readable = readable ? 1 : 0;
    info.Writable = writable ? 1 : 0;
    CopyText(name, info.Name, sizeof info.Name);
    CopyText(tooltip, info.Tooltip, sizeof info.Tooltip);
    TextOf(*attribute, ComponentKey::Units, info.Units, sizeof info.Units);
    const SubAttribute* representation = attribute->FindSubAttribute(ComponentKey::Representation);
    if (representation != nullptr) info.Representation = representation->GetValueAsU32();
    list->push_back(info);
  }
  return result;
}

Status DeviceConfigSession::GetNVAttributeValue(Attribute* attribute, std::uint32_t component, std::uint32_t type,
                                                void* value) {
  if (attribute == nullptr || value == nullptr) return kBadPointer;
  if (component == ComponentKey::Value && !FlagOf(&Attribute::IsReadable, *attribute)) return kNotAccessible;
  const SubAttribute* source = attribute->FindSubAttribute(component);
  if (source == nullptr) return kUnknownComponent;
  if (!Convertible(source->GetType(), type)) return kTypeMismatch;
  const void* data = source->GetConstData();
  switch (type) {
    case AttrU32::kTag:
      std::memcpy(value, data, sizeof(std::uint32_t));
      return kSuccess;
    case AttrF64::kTag:
    case AttrI64::kTag:
      std::memcpy(value, data, sizeof(std::uint64_t));
      return kSuccess;
    case AttrString::kTag:
      std::strcpy(static_cast<char*>(value), static_cast<const char*>(data));
      return kSuccess;
    case AttrEnum::kTag:
      std::memcpy(value, data, sizeof(KELDnvEnumItem_struct));
      return kSuccess;
    case AttrBool::kTag:
    case AttrCommand::kTag:
      *static_cast<std::uint8_t*>(value) = FirstWord(*source) != 0 ? 1 : 0;
      return kSuccess;
    default:
      return kTypeMismatch;
  }
}

Status DeviceConfigSession::SetNVAttributeValue(Attribute* attribute, std::uint32_t component, std::uint32_t type,
                                                const void* value) {
  if (attribute == nullptr || value == nullptr) return kBadPointer;
  if (component != ComponentKey::Value) return kUnknownComponent;
  if (!FlagOf(&Attribute::IsWritable, *attribute)) return kNotAccessible;
  SubAttribute* target = attribute->FindSubAttribute(ComponentKey::Value);
  if (target == nullptr) return kUnknownComponent;
  const std::uint32_t stored = target->GetType();
  if (!Convertible(stored, type)) return kTypeMismatch;

  Status status = kSuccess;
  switch (type) {
    case AttrU32::kTag: {
      std::uint32_t word = 0;
      std::memcpy(&word, value, sizeof word);
      if (stored == AttrEnum::kTag) {
        auto* item = static_cast<KELDnvEnumItem_struct*>(target->GetMutableData());
        item->ValueLow = word;
        item->ValueHigh = static_cast<std::int32_t>(word) < 0 ? 0xFFFFFFFFU : 0U;
        status = NameEnumValue(*attribute, item, false);
      } else if (stored == AttrI64::kTag) {
        const auto wide = static_cast<std::int64_t>(static_cast<std::uint64_t>(word));
        std::memcpy(target->GetMutableData(), &wide, sizeof wide);
      } else {
        std::memcpy(target->GetMutableData(), &word, sizeof word);
      }
      break;
    }
    case AttrF64::kTag:
      std::memcpy(target->GetMutableData(), value, sizeof(double));
      break;
    case AttrString::kTag:
      // Through the string class rather than the 512-byte buffer, so that a
      // longer text can't run past it.
      static_cast<TypedSubAttribute<AttrString>*>(target)->SetValue(AttrString(static_cast<const char*>(value)));
      break;
    case AttrEnum::kTag:
      std::memcpy(target->GetMutableData(), value, sizeof(KELDnvEnumItem_struct));
      break;
    case AttrBool::kTag:
    case AttrCommand::kTag: {
      const std::uint32_t word = *static_cast<const std::uint8_t*>(value);
      std::memcpy(target->GetMutableData(), &word, sizeof word);
      break;
    }
    case AttrI64::kTag:
      if (stored == AttrEnum::kTag) {
        auto* item = static_cast<KELDnvEnumItem_struct*>(target->GetMutableData());
        std::memcpy(&item->ValueLow, value, sizeof item->ValueLow);
        std::memcpy(&item->ValueHigh, static_cast<const std::uint8_t*>(value) + sizeof item->ValueLow,
                    sizeof item->ValueHigh);
        status = NameEnumValue(*attribute, item, true);
      } else {
        std::memcpy(target->GetMutableData(), value, sizeof(std::int64_t));
      }
      break;
    default:
      return kTypeMismatch;
  }
  if (status != kSuccess) return status;
  target->SetDirty(1);
  return kSuccess;
}

Status DeviceConfigSession::GetNVAttributeEnumValues(Attribute* attribute, NVAttributeEnumItemList* items) {
  if (attribute == nullptr || items == nullptr) return kBadPointer;
  if (attribute->GetType() != AttrEnum::kTag) return kIncompatibleAttributeTypes;
  const SubAttribute* component = attribute->FindSubAttribute(ComponentKey::EnumItems);
  if (component == nullptr || component->GetType() != AttrEnumVector::kTag) return kUnknownComponent;
  const auto& choices = static_cast<const TypedSubAttribute<AttrEnumVector>*>(component)->GetValue().items;
  items->clear();
  items->insert(items->end(), choices.begin(), choices.end());
  return kSuccess;
}

Status DeviceConfigSession::FindAttributeByName(const char* name, Attribute** attribute) {
  if (name == nullptr || attribute == nullptr) return kBadPointer;
  *attribute = attributes.FindByName(name);
  return *attribute != nullptr ? kSuccess : kUnknownAttributeType;
}

Status DeviceConfigSession::FindAttributeByKey(std::uint32_t attributeKey, Attribute** attribute) {
  if (attribute == nullptr) return kBadPointer;
  *attribute = attributes.FindByKey(attributeKey);
  return *attribute != nullptr ? kSuccess : kUnknownAttributeType;
}

}  // namespace keld
