// The frame-grabber session: opening and closing, attributes with the
// driver's execution states, configuration files and texts, registers.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "attributes/attribute.h"
#include "local/keld/keld_driver.h"
#include "local/keld/keld_keys.h"
#include "local/keld/local_keld_config_session.h"

namespace keld {

namespace {


// Execution states of the driver.

// The driver refuses a write in its present state.
constexpr Status kWrongState = 0xBFF60044;
// Reads that fail with these still leave a usable attribute.
constexpr Status kReadNotNow = 0xBFF60053;
constexpr Status kReadNotHere = 0xBFF6001A;

constexpr std::uint32_t kStoreInterfaceToo = 0x3FF604C0;

// The interface file's base name from the driver, with ".iid" behind it.
Status InterfaceFileName(std::uint32_t sid, char* text) {
  const Status status = KELD_DRIVER_CALL(kldGetAttribute, sid, kInterfaceFileNameKey, static_cast<void*>(text));
  text[kPathSize - 5] = 0;
  std::strcat(text, ".iid");
  return status;
}

}  // namespace

LocalKELDConfigSession::LocalKELDConfigSession(const char* name, Status* status)
    : LocalDeviceConfigSession(name, status) {}

// The driver is not closed here: that is Close's task, which the registry
// runs before it destroys a session.
LocalKELDConfigSession::~LocalKELDConfigSession() = default;

Status LocalKELDConfigSession::Open() {
  return DriverGuard([&]() -> Status {
    Status status = kSuccess;
    const char* name = interfaceName.c_str();
    if (std::strstr(name, "serial:") != nullptr) {
      unsigned int serial = 0;
      int unit = 0;
      std::sscanf(std::strstr(name, "serial:"), "serial:%08x::%d", &serial, &unit);
      char path[kPathSize] = {};
      status = ClaimInterfaceFile(serial, path);
      if (status != kSuccess) return status;
      // From now on the session goes by its interface name.
      interfaceName = KeldDriverVersion() >= kVersionAcquisitionUnits ? FormatString("%s::%d", path, unit)
                                                                       : CFGString(path);
    }
    std::uint32_t iid = 0;
    status = KELD_DRIVER_CALL(kldInterfaceOpen, interfaceName.c_str(), &iid);
    interfaceId = iid;
    // Not optional: a driver that cannot lift the limit cannot be opened.
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduDisable32bitPhysMemLimitEnforcement, interfaceId);
    if (status != kSuccess) return status;
    std::uint32_t sid = 0;
    status = KELD_DRIVER_CALL(kldSessionOpen, interfaceId, &sid);
    driverHandle = sid;
    return status;
  });
}

Status LocalKELDConfigSession::Close() {
  return DriverGuard([&]() -> Status {
    Status status = kSuccess;
    if (SessionId() != 0) {
      status = KELD_DRIVER_CALL(kldClose, SessionId(), 1u);
      driverHandle = 0;
    }
    if (interfaceId == 0) return status;
    status = KELD_DRIVER_CALL(kldClose, interfaceId, 1u);
    interfaceId = 0;
    return status;
  });
}

Status LocalKELDConfigSession::ReadAttribute(Attribute* attribute) {
  return DriverGuard([&]() -> Status {
    return KELD_DRIVER_CALL(kldGetAttribute, SessionId(), attribute->GetKey(), attribute->GetMutableValueData());
  });
}

// A write the driver refuses in its present state is tried once more in the
// configuration state, and the session is made ready again after it.
Status LocalKELDConfigSession::WriteAttribute(Attribute* attribute) {
  return DriverGuard([&]() -> Status {
    const void* value = attribute->GetConstValueData();
    Status status = KELD_DRIVER_CALL(kldSetAttributeFromVoidPtr, SessionId(), attribute->GetKey(), value);
    if (status == kWrongState) {
      // Whether the state could change shows in the second write.
      IgnoreStatus(KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), kStateConfigure));
      status = KELD_DRIVER_CALL(kldSetAttributeFromVoidPtr, SessionId(), attribute->GetKey(), value);
      if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), kStateReady);
    }
    if (status == kSuccess) attribute->SetDirty(0);
    return status;
  });
}

Status LocalKELDConfigSession::RefreshAttributes() {
  return DriverGuard([&]() -> Status {
    attributes.Clear();
    const std::uint32_t all = 1;
    // Asks the driver to list every key; a driver that will not still lists.
    IgnoreStatus(KELD_DRIVER_CALL(kldSetAttributeFromVoidPtr, SessionId(), kListAllKeys, &all));
    std::uint32_t count = 0;
    Status status = KELD_DRIVER_CALL(odkelduGetAttributeKeys, SessionId(), nullptr, &count);
    if (status != kSuccess || count == 0) return status;
    std::vector<std::uint32_t> records;
    try {
      records.assign(std::size_t{count} * 2, 0);
    } catch (const std::bad_alloc&) {
      return kOutOfMemory;
    }
    status = KELD_DRIVER_CALL(odkelduGetAttributeKeys, SessionId(), records.data(), &count);
    Status result = kSuccess;
    KeepFirstFailure(&result, status);
    const std::uint32_t listed = std::min<std::uint32_t>(count, static_cast<std::uint32_t>(records.size() / 2));
    for (std::uint32_t i = 0; i < listed; ++i) {
      const std::uint32_t tag = TagFromDriverTypeCode(DriverTypeCodeColumn::kKeld, records[2 * i]);
      Attribute* created = nullptr;
      const Status made = CreateAttribute(tag, false, &created);
      if (made != kSuccess) {
        KeepFirstFailure(&result, made);
        continue;
      }
      std::unique_ptr<Attribute> attribute(created);
      attribute->SetKey(records[2 * i + 1]);
      // A read that fails only for now keeps the attribute; its failure
      // does not reach the result either way.
      const Status read = ReadAttribute(attribute.get());
      if (read == kSuccess || read == kReadNotNow || read == kReadNotHere) attributes.Insert(attribute.release());
    }
    return result;
  });
}

// The state is only read: of the two calls it is the one that tells a
// session that has gone.
Status LocalKELDConfigSession::ValidateAttributes() {
  return DriverGuard([&]() -> Status {
    std::uint32_t state = 0;
    const Status status = KELD_DRIVER_CALL(odkelduGetExecutionState, SessionId(), &state);
    if (status != kSuccess) return status;
    return KELD_DRIVER_CALL(odkelduValidate, SessionId());
  });
}

// Loads a camera file, after the board's interface file where phantom
// boards are not shown; a failure leaves the driver in the configuration
// state.
Status LocalKELDConfigSession::ReadAttributes(const char* path) {
  return DriverGuard([&]() -> Status {
    if (path == nullptr || path[0] == 0) return kSuccess;
    char text[kPathSize] = {};
    Status status = InterfaceFileName(SessionId(), text);
    // Back to the first state and on to configuration; the load says whether it worked.
    IgnoreStatus(KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), kStateLoad));
    IgnoreStatus(KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), kStateConfigure));
    if (showAllPhantomBoards == 0 && status == kSuccess && std::strcmp(text, ".iid") != 0) {
      status = KELD_DRIVER_CALL(odkelduLoadInterfaceConfig, SessionId(), text);
    }
    if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduLoadCameraConfig, SessionId(), path);
    if (status != kSuccess) return status;
    return KELD_DRIVER_CALL(odkelduChangeExecutionState, SessionId(), kStateReady);
  });
}

// Stores a camera file, and the interface file first where the driver says
// it has to be stored too.
Status LocalKELDConfigSession::WriteAttributes(const char* path) {
  return DriverGuard([&]() -> Status {
    std::uint32_t storeInterface = 0;
    Status status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kStoreInterfaceToo, &storeInterface);
    if (status == kSuccess && storeInterface != 0) {
      char text[kPathSize] = {};
      status = InterfaceFileName(SessionId(), text);
      if (status == kSuccess) status = KELD_DRIVER_CALL(odkelduStoreInterfaceConfig, SessionId(), text);
    }
    if (status != kSuccess) return status;
    return KELD_DRIVER_CALL(odkelduStoreCameraConfig, SessionId(), path);
  });
}

Status LocalKELDConfigSession::ReadAttributesFromString(const char* text) {
  return DriverGuard([&]() -> Status { return KELD_DRIVER_CALL(kldLoadCameraConfigFromString, SessionId(), text); });
}

// The driver's text is copied and handed back to the driver, also where the
// copy fails.
Status LocalKELDConfigSession::WriteAttributesToString(CFGString* text) {
  return DriverGuard([&]() -> Status {
    char* stored = nullptr;
    const Status status = KELD_DRIVER_CALL(kldStoreCameraConfigToString, SessionId(), &stored);
    if (status != kSuccess) return status;
    *text = stored != nullptr ? stored : "";
    const Status copied = text->error() != 0 ? kOutOfMemory : kSuccess;
    if (auto* dispose = KELD_DRIVER_FIND(kldDisposeBuffer)) {
      IgnoreStatus(dispose(stored));  // the text is ours now; the driver's copy goes
    }
    return copied;
  });
}

// `count` reads of one register, 4 bytes each: how a status register is
// sampled. The board is named by its serial number. Values to read or write
// need somewhere to be: without it nothing is done (a remote session
// answers the same before it sends anything).
Status LocalKELDConfigSession::ReadU32(std::uint32_t space, std::uint32_t address, std::uint32_t count,
                                       std::uint32_t* values) {
  if (values == nullptr && count != 0) return kBadPointer;
  return DriverGuard([&]() -> Status {
    std::uint32_t serial = 0;
    Status status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kSerialNumberKey, &serial);
    for (std::uint32_t i = 0; i < count && status == kSuccess; ++i) {
      status = KELD_DRIVER_CALL(kldRead, serial, space, address, 4u, static_cast<void*>(&values[i]));
    }
    return status;
  });
}

Status LocalKELDConfigSession::WriteU32(std::uint32_t space, std::uint32_t address, std::uint32_t count,
                                        const std::uint32_t* values) {
  if (values == nullptr && count != 0) return kBadPointer;
  return DriverGuard([&]() -> Status {
    std::uint32_t serial = 0;
    Status status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kSerialNumberKey, &serial);
    for (std::uint32_t i = 0; i < count && status == kSuccess; ++i) {
      status = KELD_DRIVER_CALL(kldWrite, serial, space, address, 4u, static_cast<const void*>(&values[i]));
    }
    return status;
  });
}

}  // namespace keld
