// LocalKELDConfigSession: a session on a board of the frame-grabber driver,
// served in this process. It binds the session interface to the driver's
// functions, which it resolves by name at each call: enumeration of the
// boards (with their interface files, phantom boards and failed boards),
// opening by interface name or serial number, attributes with the driver's
// execution states, configuration files and texts, registers. It alone
// serves the frame-grabber commands on a target (rings, sequences, triggers,
// pulses, lighting).
//
// The driver's session identifier is kept in `driverHandle`, its interface
// identifier here; both are 0 while closed. No operation but Open and Close
// checks for a closed session: it hands identifier 0 to the driver, which
// answers.
#pragma once

#include <memory>
#include <vector>

#include "local/local_device_config_session.h"
#include "platform/dynamic_library.h"

namespace keld {

// The driver's version word where the driver does not tell it.
inline constexpr std::uint32_t kDefaultDriverVersion = 0x03000000;
// Bus word of every device of the frame-grabber driver.
inline constexpr std::uint32_t kKeldBusType = 0x31333934;

class LocalKELDConfigSession : public LocalDeviceConfigSession {
 public:
  LocalKELDConfigSession(const char* interfaceName, Status* status);
  ~LocalKELDConfigSession() override;

  std::uint32_t GetDriverType() override { return kDriverKELD; }
  Status Open() override;
  Status Close() override;

  // ---- Enumeration ------------------------------------------------------
  Status EnumerateDevices(DeviceList* devices) override;
  // Finds or makes the board's interface file, tests that each of its
  // acquisition units opens with it (storing a default one where it does
  // not), and records it as the board's. `path` (520 bytes) receives the
  // file's path without ".iid": the board's interface name.
  Status ClaimInterfaceFile(std::uint32_t serial, char* path);
  // The model name of a board through its PCI identity, for old drivers.
  Status GetBoardNameFromPCIID(std::uint32_t serial, char* name);
  // Fills a new interface file with a default camera file on every port;
  // runs on the session just opened.
  Status StoreDefaultInterfaceFile(const char* path);
  // The first camera file of the data folder that the driver accepts for
  // the open interface; its name without the folder goes to `name`.
  Status FindDefaultCameraFile(char* name);

  // ---- Session and attributes -------------------------------------------
  Status ReadAttribute(Attribute* attribute) override;
  Status WriteAttribute(Attribute* attribute) override;
  Status RefreshAttributes() override;
  Status ValidateAttributes() override;
  Status ReadAttributes(const char* path) override;
  Status WriteAttributes(const char* path) override;
  Status ReadAttributesFromString(const char* text) override;
  Status WriteAttributesToString(CFGString* text) override;
  Status ReadU32(std::uint32_t space, std::uint32_t address, std::uint32_t count, std::uint32_t* values) override;
  Status WriteU32(std::uint32_t space, std::uint32_t address, std::uint32_t count,
                  const std::uint32_t* values) override;

  // The frame-grabber commands on a target.
#define KELD_LOCAL_KELD_HANDLER(group, name, command, handle, step, target, client, ...) \
  KELD_LOCAL_KELD_HANDLER_##target(name)
#define KELD_LOCAL_KELD_HANDLER_OVERRIDE(name) Status Handle##name(ByteStream* input, ByteStream* output) override;
#define KELD_LOCAL_KELD_HANDLER_Handler(name)
#define KELD_LOCAL_KELD_HANDLER_HandlerCustom(name)
#define KELD_LOCAL_KELD_HANDLER_HandlerWithFlags(name)
#define KELD_LOCAL_KELD_HANDLER_Direct(name)
#define KELD_LOCAL_KELD_HANDLER_KeldHandler(name) KELD_LOCAL_KELD_HANDLER_OVERRIDE(name)
#define KELD_LOCAL_KELD_HANDLER_KeldHandlerCustom(name) KELD_LOCAL_KELD_HANDLER_OVERRIDE(name)
#define KELD_LOCAL_KELD_HANDLER_NvHandlerCustom(name)
#define KELD_LOCAL_KELD_HANDLER_NoTarget(name)
  KELD_DEVICE_OPERATIONS(KELD_LOCAL_KELD_HANDLER)

  // The driver's identifiers of the open session and interface.
  std::uint32_t SessionId() const { return static_cast<std::uint32_t>(driverHandle); }
  std::uint32_t interfaceId = 0;
  // Buffers of a configured acquisition.
  std::uint32_t bufferListId = 0;
  std::vector<void*> buffers;
  bool buffersAllocated = false;
  std::uint32_t bufferCount = 0;
  // The board test library and its two tables.
  std::unique_ptr<DynamicLibrary> diagnosticsLibrary;
  const void* firstTestTable = nullptr;
  const void* secondTestTable = nullptr;
  // From the registry: list the phantom boards, and load no interface file.
  std::uint32_t showAllPhantomBoards = 0;

 private:
  // Opens an interface and a session on it by name, into the session's
  // identifiers.
  Status OpenByName(const char* name);
};

// The driver's version word: 0x03000000 where the driver does not tell it.
std::uint32_t KeldDriverVersion();

// The frame-grabber driver's text of one of its statuses, for statuses of
// its range only: `found` is true where the driver has a text. The first
// provider of the chain of error texts.
void KeldDriverErrorText(Status status, CFGString* text, bool* found);

}  // namespace keld
