// The frame-grabber's triggers, pulse generators, encoder, block access and
// serial errors, handed on to the driver; the board self tests, which come
// as a library of their own per board family; the light heads: their limits
// handed to the driver, their data files beside the camera files.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "attributes/attribute.h"
#include "datafile/light_head_data.h"
#include "datafile/light_head_record.h"
#include "foundation/string_list.h"
#include "local/keld/keld_driver.h"
#include "local/keld/keld_keys.h"
#include "local/keld/local_keld_config_session.h"

namespace keld {

namespace {

constexpr std::size_t kMessageSize = 1024;
// Execution states in which the driver acquires: no light head can be asked then.
constexpr std::uint32_t kStateAcquiring = 0x100000;
constexpr std::uint32_t kStateAcquiringContinuously = 0x1000000;
constexpr Status kBusyAcquiring = 0xBFF60021;

// The test library of each board family, in the diagnostics folder.
struct TestLibrary {
  std::uint32_t boardType;
  const char* file;
};
constexpr TestLibrary kTestLibraries[] = {
    {0x7101, "\\Test7105.dll"}, {0x7105, "\\Test7105.dll"}, {0x7102, "\\Test7102.dll"}, {0x7103, "\\Test7103.dll"},
    {0x7104, "\\Test7103.dll"}, {0x7106, "\\Test7107.dll"}, {0x7107, "\\Test7107.dll"}, {0x7108, "\\Test7107.dll"},
    {0x7110, "\\Test7107.dll"},
};

// Suffixes of a test's name by its result.
const char* ResultSuffix(std::uint32_t result) {
  switch (result) {
    case 1: return ": Passed";
    case 2: return ": Failed";
    case 3: return ": Failed Critical";
    case 4: return ": Skipped";
    default: return "";
  }
}

bool Named(const KeldBoardTest* entry, const char* name) {
  return entry->name != nullptr && std::strcmp(entry->name, name) == 0;
}

}  // namespace

// ---- Handed on to the driver -------------------------------------------------

Status LocalKELDConfigSession::ConfigureTrigger(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                                std::uint32_t fourth) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldSessionTriggerConfigure, SessionId(), first, second, third, fourth); });
}

Status LocalKELDConfigSession::KELDSessionTriggerDrive2(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                                        std::uint32_t fourth) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldSessionTriggerDrive2, SessionId(), first, second, third, fourth); });
}

Status LocalKELDConfigSession::KELDSessionTriggerRead2(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                                       std::uint32_t* value) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldSessionTriggerRead2, SessionId(), first, second, third, value); });
}

Status LocalKELDConfigSession::KELDSessionTriggerRoute2(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                                        std::uint32_t fourth) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldSessionTriggerRoute2, SessionId(), first, second, third, fourth); });
}

Status LocalKELDConfigSession::KELDSessionTriggerClear() {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldSessionTriggerClear, SessionId()); });
}

Status LocalKELDConfigSession::KELDSessionTriggerConfigure2(std::uint32_t first, std::uint32_t second,
                                                            std::uint32_t third, std::uint32_t fourth,
                                                            std::uint32_t fifth) {
  return DriverGuard(
      [&] { return KELD_DRIVER_CALL(kldSessionTriggerConfigure2, SessionId(), first, second, third, fourth, fifth); });
}

Status LocalKELDConfigSession::KELDSessionLineTrigSource2(std::uint32_t first, std::uint32_t second,
                                                          std::uint32_t third, std::uint32_t fourth) {
  return DriverGuard(
      [&] { return KELD_DRIVER_CALL(kldSessionLineTrigSource2, SessionId(), first, second, third, fourth); });
}

Status LocalKELDConfigSession::KELDEncoderResetPosition() {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldEncoderResetPosition, SessionId()); });
}

Status LocalKELDConfigSession::KELDSessionTriggerConfigure3(std::uint32_t first, std::uint32_t second,
                                                            std::uint32_t third, std::uint32_t fourth,
                                                            std::uint32_t fifth, double time, std::uint32_t sixth) {
  return DriverGuard([&] {
    return KELD_DRIVER_CALL(kldSessionTriggerConfigure3, SessionId(), first, second, third, fourth, fifth, time, sixth);
  });
}

Status LocalKELDConfigSession::KELDSessionTriggerGet(std::uint32_t trigger, std::uint32_t* first,
                                                     std::uint32_t* second, std::uint32_t* third,
                                                     std::uint32_t* fourth, std::uint32_t* fifth, double* time,
                                                     std::uint32_t* sixth) {
  return DriverGuard([&] {
    return KELD_DRIVER_CALL(kldSessionTriggerGet, SessionId(), trigger, first, second, third, fourth, fifth, time,
                            sixth);
  });
}

// The pulse generators take a pulse and no session, or the pulse before the
// session, as the driver wants them.
Status LocalKELDConfigSession::KELDPulseCreate2(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                                std::uint32_t fourth, std::uint32_t fifth, std::uint32_t sixth,
                                                std::uint32_t seventh, std::uint32_t eighth, std::uint32_t ninth,
                                                std::uint32_t tenth, std::uint32_t* pulse) {
  return DriverGuard([&] {
    return KELD_DRIVER_CALL(kldPulseCreate2, first, second, third, fourth, fifth, sixth, seventh, eighth, ninth, tenth,
                            pulse);
  });
}

Status LocalKELDConfigSession::KELDPulseDispose(std::uint32_t pulse) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldPulseDispose, pulse); });
}

Status LocalKELDConfigSession::KELDPulseRate(double delay, double width, std::uint32_t* first,
                                             std::uint32_t* second, std::uint32_t* third) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldPulseRate, delay, width, first, second, third); });
}

Status LocalKELDConfigSession::KELDPulseStart(std::uint32_t pulse) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldPulseStart, pulse, SessionId()); });
}

Status LocalKELDConfigSession::KELDPulseStop(std::uint32_t pulse) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldPulseStop, pulse); });
}

Status LocalKELDConfigSession::KELDPulseSetDutyCycle(std::uint32_t pulse, std::uint32_t first, std::uint32_t second) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(kldPulseSetDutyCycle, pulse, SessionId(), first, second); });
}

// The block's first argument is the caller's, not the session's.
Status LocalKELDConfigSession::WriteBlock(std::uint64_t block, std::uint32_t first, std::uint32_t second,
                                          std::uint32_t width, std::uint32_t height, const void* data) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(odkelduWriteBlock, block, first, second, width, height, data); });
}

Status LocalKELDConfigSession::ReadBlock(std::uint64_t block, std::uint32_t first, std::uint32_t second,
                                         std::uint32_t width, std::uint32_t height, void* data) {
  return DriverGuard([&] { return KELD_DRIVER_CALL(odkelduReadBlock, block, first, second, width, height, data); });
}

Status LocalKELDConfigSession::IsFPGAClassNumSupported(std::uint32_t classNumber, std::uint32_t* supported) {
  return DriverGuard(
      [&] { return KELD_DRIVER_CALL(odkelduIsFPGAClassNumberSupported, SessionId(), classNumber, supported); });
}

// ---- Serial errors and lighting ---------------------------------------------------

Status LocalKELDConfigSession::GetSerialErrorText(CFGString* text) {
  return DriverGuard([&]() -> Status {
    std::uint32_t size = 0;
    IgnoreStatus(KELD_DRIVER_CALL(odkelduShowSerialError, SessionId(), nullptr, &size));  // only the size is asked
    std::vector<char> buffer;
    try {
      buffer.assign(std::size_t{size} + 1, 0);
    } catch (const std::bad_alloc&) {
      return kOutOfMemory;
    }
    IgnoreStatus(KELD_DRIVER_CALL(odkelduShowSerialError, SessionId(), buffer.data(), &size));  // the text is the answer
    buffer.back() = 0;
    *text = buffer.data();
    return kSuccess;
  });
}

// The light heads of the files in the driver's data folder. A session that
// acquires cannot be asked.
Status LocalKELDConfigSession::KELDEnumerateLightHeads(LightHeadList* heads) {
  return DriverGuard([&]() -> Status {
    heads->clear();
    std::uint32_t state = 1;
    Status status = KELD_DRIVER_CALL(odkelduGetExecutionState, SessionId(), &state);
    if ((state == kStateAcquiring || state == kStateAcquiringContinuously) && status == kSuccess) {
      status = kBusyAcquiring;
    }
    std::string folder;
    if (status == kSuccess) status = KeldDataFolder(&folder);
    if (status == kSuccess) {
      // The head in use is asked of the driver as well; what it names plays
      // no part in the list, but a session that cannot answer fails here.
      char inUse[kPathSize] = {};
      status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kLightHeadInUseKey, static_cast<void*>(inUse));
    }
    if (status != kSuccess) return status;
    LightHeadList found;
    LoadLightHeadDirectory(folder.c_str(), &found, nullptr);
    for (const LightHeadRecord& record : found) {
      heads->emplace_back();
      heads->back().entry = record.entry;
    }
    return status;
  });
}

// Stores the head's data in a file beside the camera file of the first port,
// of the same base name with the extension "ild"; with `checkLimits` the
// driver takes the limits first, and a refusal there stores nothing.
Status LocalKELDConfigSession::KELDDeployLightHeadData(LightHeadRecord* data, std::uint8_t checkLimits) {
  return DriverGuard([&]() -> Status {
    std::string folder;
    Status status = KeldDataFolder(&folder);
    if (checkLimits != 0) {
      if (status != kSuccess) return status;
      status = KELDLoadLightingLimits(data);
    }
    if (status != kSuccess || LightHeadIdentifier(data->entry).empty()) return status;
    Attribute* cameraFile = nullptr;
    status = FindAttributeByKey(kFirstPortCameraFileKey, &cameraFile);
    if (status != kSuccess) return status;
    if (cameraFile->GetType() != AttrString::kTag) return kIncompatibleAttributeTypes;
    std::string base = static_cast<TypedAttribute<AttrString>*>(cameraFile)->GetValue().c_str();
    base = base.substr(0, base.find('.'));
    // The driver's path buffer bounds what the name may grow to.
    std::string path = folder + "/" + base + ".ild";
    if (path.size() > kPathSize - 1) path.resize(kPathSize - 1);
    if (!WriteLightHeadEntry(path.c_str(), data->entry, false)) return kSessionNotConfigured;
    return status;
  });
}

Status LocalKELDConfigSession::KELDLoadLightingLimits(LightHeadRecord* data) {
  return DriverGuard([&] {
    return KELD_DRIVER_CALL(odkelduLoadLightingLimits, SessionId(), static_cast<const void*>(&data->entry));
  });
}

// ---- Board self tests ---------------------------------------------------------------

// Loads the test library of the board's family and takes its two tables.
// A board without a library, a library that is not there and one without
// tables all answer 0xBFFF8012.
Status LocalKELDConfigSession::InitializeDiagnostics(std::uint32_t* first, std::uint32_t* second) {
  return DriverGuard([&]() -> Status {
    char path[kPathSize] = {};
    firstTestTable = nullptr;
    secondTestTable = nullptr;
    Status status = KELD_DRIVER_CALL(odkelduGetDiagnosticsPathA, path);
    path[kPathSize - 1] = 0;
    std::uint32_t boardType = 0;
    if (status == kSuccess) status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kBoardTypeKey, static_cast<void*>(&boardType));
    const char* file = nullptr;
    for (const TestLibrary& row : kTestLibraries) {
      if (row.boardType == boardType) file = row.file;
    }
    if (file != nullptr) {
      std::strncat(path, file, kPathSize - 1 - std::strlen(path));
    } else if (status == kSuccess) {
      status = kDllNotFound;
    }
    // An earlier library goes with its tables; the new one is the session's
    // until it goes, also for an unknown board (then the bare folder).
    diagnosticsLibrary = std::make_unique<DynamicLibrary>(path);
    if (auto* initialize = diagnosticsLibrary->Get<std::remove_pointer_t<KeldTestInitialize>>("_TestInitialize@12")) {
      const KeldBoardTest* firstTable = nullptr;
      const KeldBoardTest* secondTable = nullptr;
      static_cast<void>(initialize(&firstTable, &secondTable, 0));  // the tables say whether it worked
      firstTestTable = firstTable;
      secondTestTable = secondTable;
    }
    if (firstTestTable == nullptr || secondTestTable == nullptr) return kDllNotFound;
    *first = static_cast<const KeldBoardTest*>(firstTestTable)->test != nullptr ? 1 : 0;
    *second = static_cast<const KeldBoardTest*>(secondTestTable)->test != nullptr ? 1 : 0;
    return status;
  });
}

// Runs the tests of one table in order until a critical failure, each with
// its result in the names and its message in the messages. The answer is
// that of reading the board's serial and type: the outcome is in the lists.
Status LocalKELDConfigSession::QueryDiagnosticResults(std::uint32_t which, StringList* names, StringList* messages) {
  return DriverGuard([&]() -> Status {
    names->clear();
    messages->clear();
    std::uint32_t serial = 0;
    std::uint32_t boardType = 0;
    Status status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kSerialNumberKey, static_cast<void*>(&serial));
    if (status == kSuccess) status = KELD_DRIVER_CALL(kldGetAttribute, SessionId(), kBoardTypeKey, static_cast<void*>(&boardType));
    std::vector<char> message;
    try {
      message.assign(kMessageSize, 0);
    } catch (const std::bad_alloc&) {
      return kOutOfMemory;
    }
    const auto* entry = static_cast<const KeldBoardTest*>(which != 0 ? secondTestTable : firstTestTable);
    // Only these boards have the data FPGA; one board lacks the advanced
    // look-up table.
    const auto skip = [&](const KeldBoardTest* at) {
      if (Named(at, "Data FPGA present test") && boardType != 0x7108 && boardType != 0x7110) ++at;
      if (Named(at, "Advanced Look-Up Table architecture test") && boardType == 0x7108) ++at;
      return at;
    };
    bool critical = false;
    while (entry != nullptr && entry->test != nullptr && !critical) {
      char* buffer = message.data();
      const std::uint32_t result = entry->test(serial, &buffer);  // the buffer is not cleared between tests
      critical = result == 3;
      names->push_back(CFGString((std::string(entry->name != nullptr ? entry->name : "") + ResultSuffix(result)).c_str()));
      message.back() = 0;
      messages->push_back(CFGString(message.data()));
      entry = skip(entry + 1);
    }
    return status;
  });
}

}  // namespace keld
