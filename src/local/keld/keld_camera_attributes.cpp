// The tree of camera attributes of a camera file, flattened into a list in
// display order with a depth for each row: an attribute, the values of a
// string attribute one deeper, then the sub-tree of its current value two
// deeper. The driver addresses values by name and the tree by identifier.
#include <cstdio>
#include <cstring>
#include <vector>

#include "local/keld/keld_driver.h"
#include "local/keld/local_keld_config_session.h"

namespace keld {

namespace {

constexpr std::uint32_t kNameSize = 256;
constexpr std::uint32_t kNumeric = 0;
constexpr std::uint32_t kString = 1;
constexpr std::uint32_t kVersionIncrementEx = 0x03500000;

// `count` identifiers, zeroed; 0xBFFF8005 where they cannot be had.
Status Identifiers(std::uint32_t count, std::vector<std::uint32_t>* ids) {
  try {
    ids->assign(count, 0);
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }
  return kSuccess;
}

}  // namespace

Status LocalKELDConfigSession::QueryCameraAttributeList(CameraAttributeList* list) {
  return DriverGuard([&]() -> Status {
    list->clear();
    std::uint32_t count = 0;
    Status status = KELD_DRIVER_CALL(odkelduCameraAttributeGetNumRoots, SessionId(), &count);
    std::vector<std::uint32_t> roots;
    const Status allocated = Identifiers(count, &roots);
    if (allocated != kSuccess) return allocated;
    if (status == kSuccess && count != 0) status = KELD_DRIVER_CALL(odkelduCameraAttributeGetRootIds, SessionId(), roots.data());
    for (std::uint32_t i = 0; i < count && status == kSuccess; ++i) status = AddCameraAttribute(list, roots[i], 0);
    return status;
  });
}

// Rows are appended with what they have also after a failed call; the first
// failure is the result, and a reader must not trust the list after one.
Status LocalKELDConfigSession::AddCameraAttribute(CameraAttributeList* list, std::uint32_t attributeId, std::uint32_t depth) {
  CameraAttribute row{};
  std::uint32_t size = kNameSize;
  Status status = KELD_DRIVER_CALL(odkelduCameraAttributeGetInfo, SessionId(), attributeId, &size, row.Name, &row.Kind);
  row.Name[sizeof row.Name - 1] = 0;
  row.Id = attributeId;
  row.Depth = depth;
  if (row.Kind != kNumeric && row.Kind != kString) return status != kSuccess ? status : kWrongCameraAttributeType;

  if (row.Kind == kString) {
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduCameraAttributeGetNumValues, SessionId(), attributeId, &row.ValueCount);
    std::vector<std::uint32_t> values;
    const Status allocated = Identifiers(row.ValueCount, &values);
    if (allocated != kSuccess) return allocated;
    if (status == kSuccess && row.ValueCount != 0) {
      status = KELD_DRIVER_CALL(odkelduCameraAttributeGetValueIds, SessionId(), attributeId, values.data());
    }
    if (status == kSuccess) {
      status = KELD_DRIVER_CALL(kldGetCameraAttributeString, SessionId(), static_cast<const char*>(row.Name),
                                row.CurrentValue, kNameSize);
    }
    row.CurrentValue[sizeof row.CurrentValue - 1] = 0;
    list->push_back(row);
    for (const std::uint32_t valueId : values) {
      CameraAttribute value{};
      std::uint32_t valueSize = kNameSize;
      if (status == kSuccess) {
        status = KELD_DRIVER_CALL(odkelduCameraAttributeGetInfo, SessionId(), valueId, &valueSize, value.Name,
                                  &value.Kind);
      }
      value.Name[sizeof value.Name - 1] = 0;
      value.ParentId = attributeId;
      value.Id = valueId;
      value.Depth = depth + 1;
      list->push_back(value);
    }
    // Only the children of the value now chosen.
    std::uint32_t children = 0;
    if (status == kSuccess) {
      status = KELD_DRIVER_CALL(odkelduCameraAttributeGetNumChildren, SessionId(), attributeId,
                                static_cast<const char*>(row.CurrentValue), &children);
    }
    if (status == kSuccess && children != 0) {
      std::vector<std::uint32_t> childIds;
      const Status made = Identifiers(children, &childIds);
      if (made != kSuccess) return made;
      status = KELD_DRIVER_CALL(odkelduCameraAttributeGetChildrenIds, SessionId(), attributeId,
                                static_cast<const char*>(row.CurrentValue), childIds.data());
      for (const std::uint32_t child : childIds) KeepFirstFailure(&status, AddCameraAttribute(list, child, depth + 2));
    }
    return status;
  }

  // A numeric attribute: its value, units, range as the driver formats it,
  // precision and step.
  if (status == kSuccess) {
    status = KELD_DRIVER_CALL(kldGetCameraAttributeNumeric, SessionId(), static_cast<const char*>(row.Name), &row.Value);
  }
  std::uint32_t unitsSize = 0;  // fetched, not used: the record has room enough
  if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetUnitsSize, SessionId(), attributeId, &unitsSize);
  if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetUnits, SessionId(), attributeId, row.Units);
  row.Units[sizeof row.Units - 1] = 0;
  std::uint32_t raw = 0;
  if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetMin, SessionId(), attributeId, &raw);
  if (status == kSuccess) {
    status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetFormattedValue, SessionId(), attributeId, raw, &row.Minimum);
  }
  if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetMax, SessionId(), attributeId, &raw);
  if (status == kSuccess) {
    status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetFormattedValue, SessionId(), attributeId, raw, &row.Maximum);
  }
  if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetPrecision, SessionId(), attributeId, &row.Precision);
  if (KeldDriverVersion() < kVersionIncrementEx) {
    // The raw step, as a number, without formatting.
    std::uint32_t step = 0;
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetIncrement, SessionId(), attributeId, &step);
    row.Increment = step;
  } else if (status == kSuccess) {
    status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetIncrementEx, SessionId(), attributeId, 0u, &row.Increment);
  }
  list->push_back(row);
  return status;
}

// Each set begins with the look-up of the attribute's name, by which the
// driver addresses values.
Status LocalKELDConfigSession::SetCameraAttribute(std::uint32_t attributeId, const char* text, double number,
                                                  std::uint8_t useDefault) {
  return DriverGuard([&]() -> Status {
    char name[kNameSize] = {};
    std::uint32_t size = kNameSize;
    std::uint32_t type = 0;
    Status status = KELD_DRIVER_CALL(odkelduCameraAttributeGetInfo, SessionId(), attributeId, &size, name, &type);
    name[kNameSize - 1] = 0;
    if (type == kString) {
      char fallback[kNameSize] = {};
      if (useDefault != 0) {
        std::uint32_t defaultSize = kNameSize;
        if (status == kSuccess) {
          status = KELD_DRIVER_CALL(odkelduCameraAttributeStringGetDefault, SessionId(), attributeId, &defaultSize, fallback);
        }
        fallback[kNameSize - 1] = 0;
        text = fallback;
      } else if (text == nullptr) {
        return kBadPointer;
      }
      if (status != kSuccess) return status;
      return KELD_DRIVER_CALL(kldSetCameraAttributeString, SessionId(), static_cast<const char*>(name), text);
    }
    if (type == kNumeric) {
      if (useDefault != 0) {
        std::uint32_t raw = 0;
        if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetDefault, SessionId(), attributeId, &raw);
        if (status == kSuccess) {
          status = KELD_DRIVER_CALL(odkelduCameraAttributeNumericGetFormattedValue, SessionId(), attributeId, raw, &number);
        }
      }
      if (status != kSuccess) return status;
      return KELD_DRIVER_CALL(kldSetCameraAttributeNumeric, SessionId(), static_cast<const char*>(name), number);
    }
    return status != kSuccess ? status : kWrongCameraAttributeType;
  });
}

}  // namespace keld
