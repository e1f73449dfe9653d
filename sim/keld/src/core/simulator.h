// The driver as a whole: its description, boards, data folder, the
// identifiers it hands out (interfaces, sessions, buffer lists, pulses), the
// memory it lends, and the test controls (injected statuses, delays, the
// call log). One instance per loaded driver, made at the first call and
// never destroyed, so that calls during the process's exit still find it.
//
// Locking: `mutex_` guards the driver's tables; a session's own lock is
// taken after it, never before; the control lock stands alone.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "call_controls.h"
#include "core/board.h"
#include "core/data_folder.h"
#include "core/description.h"
#include "core/memory.h"
#include "core/session.h"
#include "core/status.h"

namespace keldsim {

// What sets the driver variants apart; variant.cpp defines it.
struct Variant {
  const char* name;
  std::uint32_t defaultVersion;
  std::uint32_t lowestVersion;   // the lowest word the variant can stand for
  std::uint32_t highestVersion;  // the highest
  const char* const* missing;    // entry points this variant does not have
  std::size_t missingCount;
  // Folder of the driver's installed data, relative to the folder of the
  // driver itself, or null for a variant that is not installed.
  const char* dataSubdir;
};
extern const Variant kVariant;

// Is `name` an entry point of this driver variant.
bool IsEntryPoint(std::string_view name);

struct PulseParameters {
  std::uint32_t words[10];
};

class Simulator {
 public:
  static Simulator& Get();

  // At the start of every entry point: notes the call, waits a delay set for
  // the function, answers a status injected into it, and reads the
  // description at the first call. A non-zero status ends the call.
  Status Enter(const char* function);

  std::uint32_t Version() const { return version_.load(std::memory_order_relaxed); }
  // Reads the description if that has not happened yet; its status.
  Status Loaded();

  // ---- Boards, interface files, the data folder
  Status SerialNumbers(std::uint32_t* serials, std::uint32_t* count);
  Status BoardName(std::uint32_t serial, char* name);
  Status PciId(std::uint32_t serial, std::uint32_t* id);
  Status FailedBoards(std::uint32_t* count, std::uint32_t* serials, Status* statuses);
  Status AcquisitionUnits(std::uint32_t serial, std::uint32_t* count);
  // The session holding a unit of a board, 0 where none does.
  Status UnitSession(std::uint32_t serial, std::uint32_t unit, std::uint32_t* sid);
  Status DeployInterfaceFiles(std::uint32_t flags);
  Status ActiveInterfaceFile(std::uint32_t serial, char* path);
  Status ClaimNewInterfaceFile(std::uint32_t serial, char* path);
  Status SetActiveInterfaceFile(std::uint32_t serial, const char* path);
  Status DataFolderPath(char* path);
  Status InterfaceName(std::uint32_t index, char* name);
  Status SerialOfInterfaceFile(const char* path, std::uint32_t* serial);
  Status SetSerialOfInterfaceFile(const char* path, std::uint32_t serial);
  Status TypesOfInterfaceFile(const char* path, std::uint32_t* mask);
  Status CameraFileOfPort(const char* path, std::uint32_t port, char* name, std::uint32_t* size);

  // ---- Interfaces and sessions
  Status InterfaceOpen(const char* name, std::uint32_t* iid);
  Status SessionOpen(std::uint32_t iid, std::uint32_t* sid);
  Status Close(std::uint32_t id);
  Status LiftPhysicalMemoryLimit(std::uint32_t iid);
  // The session, or null with the status why not.
  std::shared_ptr<Session> FindSession(std::uint32_t sid, Status& status);
  // Every session open now, in the order of their ids.
  std::vector<std::shared_ptr<Session>> OpenSessions();

  // ---- Memory and buffer lists
  Status CreateBuffer(std::uint32_t sid, std::uint32_t flags, std::uint32_t bytes, void** buffer);
  Status DisposeBuffer(void* buffer);
  // Lends a copy of the text, to be given back by kldDisposeBuffer.
  Status LendText(const std::string& text, char** out);
  Status CreateBufferList(std::uint32_t count, std::uint32_t* list);
  Status SetBufferItem(std::uint32_t list, std::uint32_t index, std::uint32_t item, std::uint32_t value);
  Status SetBufferPointer(std::uint32_t list, std::uint32_t index, std::uint32_t item, void* pointer);
  Status LockBufferList(std::uint32_t list, bool locked);
  Status DisposeBufferList(std::uint32_t list);
  Status ConfigureSession(std::uint32_t sid, std::uint32_t list);

  // ---- Board memory
  Status Register(std::uint32_t serial, std::uint32_t region, std::uint32_t offset, std::uint32_t width, void* value,
                  bool write);
  Status Block(std::uint64_t block, std::uint32_t bankNumber, std::uint32_t address, std::uint32_t width,
               std::uint32_t height, void* data, bool write);

  // ---- Pulse generators
  Status PulseCreate(const PulseParameters& parameters, std::uint32_t* pulse);
  Status PulseDispose(std::uint32_t pulse);
  Status PulseStart(std::uint32_t pulse, std::uint32_t sid);
  Status PulseStop(std::uint32_t pulse);
  Status PulseDutyCycle(std::uint32_t pulse, std::uint32_t sid, std::uint32_t high, std::uint32_t low);

  // ---- Controls for tests
  Status Reset(const char* descriptionJson, const char* dataFolder);
  std::string LastError();
  Status AddBoard(const char* json);
  Status RemoveBoard(std::uint32_t serial);
  Status AddFailedBoard(std::uint32_t serial, Status status);
  Status SetVersion(std::uint32_t version);
  Status Inject(const char* function, Status status, std::uint32_t calls);
  Status SetDelay(const char* function, std::uint32_t milliseconds);
  std::string CallLog();
  std::uint32_t CallCount(std::string_view function);
  void ClearCallLog();
  Status PulseState(std::uint32_t pulse, std::uint32_t words[10], std::uint32_t& running, std::uint32_t& session);
  Status SetBoardTestResult(std::uint32_t serial, const char* test, std::uint32_t result, const char* message);
  Status BoardTestResult(std::uint32_t serial, const char* test, std::uint32_t& result, std::string& message);

 private:
  Simulator() = default;

  using Lock = std::unique_lock<std::mutex>;

  struct Interface {
    std::shared_ptr<Board> board;
    std::uint32_t unit = 0;
    std::string interfaceFile;  // normalized, with ".iid"; empty when opened by serial number
    bool physicalMemoryLimitLifted = false;
  };
  struct BufferElement {
    void* address = nullptr;
    std::uint32_t size = 0;
    std::uint32_t command = 0;
  };
  struct BufferList {
    std::vector<BufferElement> elements;
    bool locked = false;
  };
  struct Pulse {
    PulseParameters parameters{};
    bool running = false;
    std::uint32_t session = 0;
  };
  void EnsureLoadedLocked();
  Status LoadLocked(const char* descriptionJson, const char* dataFolder);
  std::shared_ptr<Board> FindBoardLocked(std::uint32_t serial) const;
  bool SerialTakenLocked(std::uint32_t serial) const;
  void ReadActiveFilesLocked();
  void WriteActiveFilesLocked() const;
  // The board's active file where it exists and names the board, else empty.
  std::string ValidActiveFileLocked(const Board& board) const;
  std::string DefaultCameraFileLocked(std::uint32_t interfaceTypes) const;
  void CloseSessionLocked(std::uint32_t sid);
  void SetPulseLineLocked(const Pulse& pulse, bool running);

  std::mutex mutex_;
  bool loaded_ = false;
  Status loadStatus_ = st::kOk;
  std::string loadError_;
  std::atomic<std::uint32_t> version_{0};
  DataFolder folder_;
  std::vector<std::shared_ptr<Board>> boards_;
  std::vector<FailedBoard> failedBoards_;
  std::map<std::uint32_t, std::string> activeFiles_;  // serial: normalized interface file
  std::map<std::uint32_t, Interface> interfaces_;
  std::map<std::uint32_t, std::shared_ptr<Session>> sessions_;
  std::map<std::uint32_t, std::uint32_t> sessionInterface_;
  std::map<const void*, std::shared_ptr<DriverMemory>> buffers_;
  std::map<const void*, std::shared_ptr<DriverMemory>> texts_;
  std::map<std::uint32_t, BufferList> bufferLists_;
  std::map<std::uint32_t, Pulse> pulses_;
  std::map<std::pair<std::uint32_t, std::string>, BoardTestSetting> boardTests_;
  std::uint32_t nextInterface_ = 0, nextSession_ = 0, nextList_ = 0, nextPulse_ = 0;

  keldsim_support::CallControls controls_;
};

}  // namespace keldsim
