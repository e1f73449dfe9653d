// The session interface: one object stands for a device, whichever driver
// serves it and whether that driver runs in this process or on a remote
// target. The API frames know only this interface. The order of the virtual
// operations is part of the design and must not change.
//
// ConfigSession is the root; DeviceConfigSession declares the operations of
// a device, made from the operation table (session/device_operations.h).
// Operations of the first group (EnumerateDevices through
// SetAcquisitionFlags) are abstract here; every concrete class gives a body,
// which may be the common default. From SetOpenFlags on, the default body of
// this class answers 0xBFFF8011 and touches nothing.
#pragma once

#include <cstdint>

#include "attributes/attribute_map.h"
#include "attributes/record_lists.h"
#include "foundation/cfg_string.h"
#include "foundation/driver_type.h"
#include "foundation/string_list.h"
#include "session/device_operations.h"

struct Image;  // image object of the image library

namespace keld {

struct ByteStream;
class Attribute;
class DeviceList;
class LightHeadList;
class LightHeadRecord;

class ConfigSession {
 public:
  ConfigSession() = default;
  ConfigSession(const ConfigSession&) = delete;
  ConfigSession& operator=(const ConfigSession&) = delete;

  virtual ~ConfigSession() = default;
  virtual Status Open() = 0;
  virtual Status Close() = 0;
  virtual std::uint32_t GetDriverType() = 0;
  virtual bool IsRemote() = 0;
  virtual Status ExecuteCommand(std::uint32_t command, ByteStream* arguments, ByteStream* results) = 0;

  // Set by the registry when it inserts the session; never changed afterwards.
  std::uint32_t id = 0;
  CFGString key;
};

class DeviceConfigSession : public ConfigSession {
 public:
  // `status` is not used here; derived constructors pass it on.
  DeviceConfigSession(const char* interfaceName, Status* status);
  ~DeviceConfigSession() override;

  // The device operations, in the order of the operation table: the first
  // group abstract, the operations over the session's caches and attribute
  // map with bodies of this class, the rest answering 0xBFFF8011.
#define KELD_DECLARE_OPERATION(group, name, command, handle, step, target, client, ...) \
  KELD_DECLARE_##group(name, __VA_ARGS__)
#define KELD_DECLARE_ROOT(name, ...)
#define KELD_DECLARE_FIRST(name, ...) virtual Status name(KELD_PARAMS(__VA_ARGS__)) = 0;
#define KELD_DECLARE_LOCAL(name, ...) virtual Status name(KELD_PARAMS(__VA_ARGS__)) = 0;
#define KELD_DECLARE_BASE(name, ...) virtual Status name(KELD_PARAMS(__VA_ARGS__));
#define KELD_DECLARE_OPTIONAL(name, ...) \
  virtual Status name(KELD_PARAM_TYPES(__VA_ARGS__)) { return kNotSupported; }
  KELD_DEVICE_OPERATIONS(KELD_DECLARE_OPERATION)
#undef KELD_DECLARE_OPERATION
#undef KELD_DECLARE_ROOT
#undef KELD_DECLARE_FIRST
#undef KELD_DECLARE_LOCAL
#undef KELD_DECLARE_BASE
#undef KELD_DECLARE_OPTIONAL

  CFGString interfaceName;
  std::uint64_t driverHandle = 0;
  AttributeMap attributes;
  CameraFileDataList cameraFiles;
  StringList referenceCameraFiles;
  InterfaceFileDataList interfaceFiles;
  CameraAttributeList cameraAttributes;
  StringList diagnosticNames;
  StringList diagnosticResults;
  StringList acqUnitCameraFiles;
};

}  // namespace keld
