#include "core/simulator.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "core/attribute_table.h"
#include "core/camera_file.h"
#include "core/interface_file.h"
#include "core/text_file.h"

namespace keldsim {
namespace fs = std::filesystem;
namespace {

constexpr std::uint32_t kInterfaceIds = 0x10000000;
constexpr std::uint32_t kSessionIds = 0x20000000;
constexpr std::uint32_t kListIds = 0x30000000;
constexpr std::uint32_t kPulseIds = 0x40000000;
constexpr const char* kActiveFilesName = ".keldsim-active";
constexpr std::uint32_t kUnitNamesFrom = 0x03500000;
constexpr const char* kDescriptionName = "boards.json";

// Copies a text into one of the driver's 520-byte path buffers.
Status CopyPath(const std::string& text, char* out) {
  if (out == nullptr) return st::kInvalidArgument;
  if (text.size() >= 520) return st::kBufferTooSmall;
  std::memcpy(out, text.c_str(), text.size() + 1);
  return st::kOk;
}

// The description installed with the driver, in its data folder beside the
// driver's own file; empty where there is none.
std::string InstalledDescriptionPath() {
  if (kVariant.dataSubdir == nullptr) return {};
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&InstalledDescriptionPath), &info) == 0 || info.dli_fname == nullptr) return {};
  std::error_code failure;
  const fs::path library = fs::canonical(info.dli_fname, failure);
  if (failure) return {};
  const fs::path description = library.parent_path() / kVariant.dataSubdir / kDescriptionName;
  return fs::is_regular_file(description, failure) ? description.string() : std::string();
}

}  // namespace

std::uint32_t DriverVersion() { return Simulator::Get().Version(); }

Simulator& Simulator::Get() {
  // Never destroyed: the library may close sessions from its own static
  // destructors, after this object's would have run.
  static Simulator* const instance = new Simulator();
  return *instance;
}

// ---- Loading and the controls

Status Simulator::Enter(const char* function) {
  if (const auto injected = controls_.Enter(function)) return *injected;
  Lock lock(mutex_);
  EnsureLoadedLocked();
  return loadStatus_;
}

Status Simulator::Loaded() {
  Lock lock(mutex_);
  EnsureLoadedLocked();
  return loadStatus_;
}

void Simulator::EnsureLoadedLocked() {
  if (!loaded_) (void)LoadLocked(nullptr, nullptr);  // its status stays in loadStatus_
}

Status Simulator::LoadLocked(const char* descriptionJson, const char* dataFolder) {
  // Everything of the previous life goes: sessions are closed, identifiers
  // and lent memory forgotten.
  for (auto& [sid, session] : sessions_) session->Close();
  for (auto& board : boards_) board->removed = true;
  sessions_.clear();
  sessionInterface_.clear();
  interfaces_.clear();
  buffers_.clear();
  texts_.clear();
  bufferLists_.clear();
  pulses_.clear();
  boards_.clear();
  failedBoards_.clear();
  activeFiles_.clear();
  boardTests_.clear();
  loaded_ = true;
  loadError_.clear();

  std::string text;
  std::uint32_t defaultVersion = kVariant.defaultVersion;
  if (descriptionJson != nullptr) {
    text = descriptionJson;
  } else if (const char* path = std::getenv("KELDSIM_CONFIG"); path != nullptr && path[0] != '\0') {
    if (!ReadWholeFile(path, text)) {
      loadError_ = std::string("cannot read the description ") + path;
      return loadStatus_ = st::kDescription;
    }
  } else if (const std::string installed = InstalledDescriptionPath(); !installed.empty()) {
    if (!ReadWholeFile(installed, text)) {
      loadError_ = "cannot read the description " + installed;
      return loadStatus_ = st::kDescription;
    }
  } else {
    text = BuiltInDescription();
  }
  Description description;
  std::string error;
  if (ParseDescription(text, defaultVersion, description, error) != st::kOk) {
    loadError_ = "description: " + error;
    return loadStatus_ = st::kDescription;
  }
  if (description.version < kVariant.lowestVersion || description.version > kVariant.highestVersion) {
    loadError_ = "description: driver_version " + Hex32(description.version) + " is outside what " + kVariant.name +
                 " can stand for (" + Hex32(kVariant.lowestVersion) + " to " + Hex32(kVariant.highestVersion) + ")";
    return loadStatus_ = st::kDescription;
  }

  std::string root;
  if (dataFolder != nullptr && dataFolder[0] != '\0') {
    root = dataFolder;
  } else if (const char* path = std::getenv("KELDSIM_DATA"); path != nullptr && path[0] != '\0') {
    root = path;
  } else {
    root = DataFolder::DefaultRoot();
  }
  folder_ = DataFolder(fs::absolute(root).string());
  if (folder_.Prepare() != st::kOk) {
    loadError_ = "the data folder " + folder_.Root() + " cannot be created or seeded";
    return loadStatus_ = st::kDataFolder;
  }

  version_ = description.version;
  for (auto& board : description.boards) {
    for (const auto& [test, setting] : board.boardTests) boardTests_[{board.serial, test}] = setting;
    boards_.push_back(std::make_shared<Board>(std::move(board)));
  }
  failedBoards_ = std::move(description.failedBoards);
  ReadActiveFilesLocked();
  return loadStatus_ = st::kOk;
}

Status Simulator::Reset(const char* descriptionJson, const char* dataFolder) {
  controls_.ClearControls();
  Lock lock(mutex_);
  return LoadLocked(descriptionJson, dataFolder);
}

std::string Simulator::LastError() {
  Lock lock(mutex_);
  return loadError_;
}

bool Simulator::SerialTakenLocked(std::uint32_t serial) const {
  if (FindBoardLocked(serial)) return true;
  return std::any_of(failedBoards_.begin(), failedBoards_.end(),
                     [serial](const FailedBoard& failed) { return failed.serial == serial; });
}

Status Simulator::AddBoard(const char* json) {
  if (json == nullptr) return st::kInvalidArgument;
  BoardDescription description;
  std::string error;
  if (ParseBoard(json, description, error) != st::kOk) {
    Lock lock(mutex_);
    loadError_ = "board: " + error;
    return st::kInvalidArgument;
  }
  Lock lock(mutex_);
  EnsureLoadedLocked();
  if (SerialTakenLocked(description.serial)) return st::kInvalidArgument;
  for (const auto& [test, setting] : description.boardTests) boardTests_[{description.serial, test}] = setting;
  boards_.push_back(std::make_shared<Board>(std::move(description)));
  return st::kOk;
}

Status Simulator::RemoveBoard(std::uint32_t serial) {
  Lock lock(mutex_);
  EnsureLoadedLocked();
  for (auto it = boards_.begin(); it != boards_.end(); ++it) {
    if ((*it)->desc.serial == serial) {
      (*it)->removed = true;
      boards_.erase(it);
      return st::kOk;
    }
  }
  for (auto it = failedBoards_.begin(); it != failedBoards_.end(); ++it) {
    if (it->serial == serial) {
      failedBoards_.erase(it);
      return st::kOk;
    }
  }
  return st::kBoardNotFound;
}

Status Simulator::AddFailedBoard(std::uint32_t serial, Status status) {
  Lock lock(mutex_);
  EnsureLoadedLocked();
  if (status == 0 || serial == 0 || SerialTakenLocked(serial)) return st::kInvalidArgument;
  failedBoards_.push_back(FailedBoard{serial, status});
  return st::kOk;
}

Status Simulator::SetVersion(std::uint32_t version) {
  if (version < kVariant.lowestVersion || version > kVariant.highestVersion) return st::kInvalidArgument;
  Lock lock(mutex_);
  EnsureLoadedLocked();
  version_ = version;
  return st::kOk;
}

Status Simulator::Inject(const char* function, Status status, std::uint32_t calls) {
  if (function == nullptr || !IsEntryPoint(function)) return st::kInvalidArgument;
  controls_.Inject(function, status, calls);
  return st::kOk;
}

Status Simulator::SetDelay(const char* function, std::uint32_t milliseconds) {
  if (function == nullptr || !IsEntryPoint(function)) return st::kInvalidArgument;
  controls_.SetDelay(function, milliseconds);
  return st::kOk;
}

std::string Simulator::CallLog() { return controls_.CallLog(); }

std::uint32_t Simulator::CallCount(std::string_view function) { return controls_.CallCount(function); }

void Simulator::ClearCallLog() { controls_.ClearCallLog(); }

Status Simulator::SetBoardTestResult(std::uint32_t serial, const char* test, std::uint32_t result,
                                     const char* message) {
  if (test == nullptr || result > 4) return st::kInvalidArgument;
  Lock lock(mutex_);
  EnsureLoadedLocked();
  if (result == 0) {
    boardTests_.erase({serial, test});
  } else {
    boardTests_[{serial, test}] = BoardTestSetting{result, message == nullptr ? std::string() : message};
  }
  return st::kOk;
}

Status Simulator::BoardTestResult(std::uint32_t serial, const char* test, std::uint32_t& result, std::string& message) {
  if (test == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  EnsureLoadedLocked();
  result = 0;
  message.clear();
  for (const std::uint32_t who : {serial, 0u}) {
    const auto found = boardTests_.find({who, test});
    if (found != boardTests_.end()) {
      result = found->second.result;
      message = found->second.message;
      return st::kOk;
    }
  }
  return st::kOk;
}

// ---- Boards

std::shared_ptr<Board> Simulator::FindBoardLocked(std::uint32_t serial) const {
  for (const auto& board : boards_) {
    if (board->desc.serial == serial) return board;
  }
  return nullptr;
}

Status Simulator::SerialNumbers(std::uint32_t* serials, std::uint32_t* count) {
  if (count == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto total = static_cast<std::uint32_t>(boards_.size());
  if (serials == nullptr) {
    *count = total;
    return st::kOk;
  }
  const std::uint32_t written = std::min(*count, total);
  for (std::uint32_t i = 0; i < written; ++i) serials[i] = boards_[i]->desc.serial;
  *count = written;
  return written < total ? st::kBufferTooSmall : st::kOk;
}

Status Simulator::BoardName(std::uint32_t serial, char* name) {
  if (name == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto board = FindBoardLocked(serial);
  if (!board) return st::kBoardNotFound;
  return CopyPath(board->desc.model, name);
}

Status Simulator::PciId(std::uint32_t serial, std::uint32_t* id) {
  if (id == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto board = FindBoardLocked(serial);
  if (!board) return st::kBoardNotFound;
  *id = board->desc.pciId;
  return st::kOk;
}

Status Simulator::FailedBoards(std::uint32_t* count, std::uint32_t* serials, Status* statuses) {
  if (count == nullptr || ((serials == nullptr) != (statuses == nullptr))) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto total = static_cast<std::uint32_t>(failedBoards_.size());
  if (serials == nullptr) {
    *count = total;
    return st::kOk;
  }
  const std::uint32_t written = std::min(*count, total);
  for (std::uint32_t i = 0; i < written; ++i) {
    serials[i] = failedBoards_[i].serial;
    statuses[i] = failedBoards_[i].status;
  }
  *count = written;
  return written < total ? st::kBufferTooSmall : st::kOk;
}

Status Simulator::AcquisitionUnits(std::uint32_t serial, std::uint32_t* count) {
  if (count == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto board = FindBoardLocked(serial);
  if (!board) return st::kBoardNotFound;
  *count = board->desc.units;
  return st::kOk;
}

Status Simulator::UnitSession(std::uint32_t serial, std::uint32_t unit, std::uint32_t* sid) {
  if (sid == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto board = FindBoardLocked(serial);
  if (!board) return st::kBoardNotFound;
  std::lock_guard boardLock(board->mutex);
  if (unit >= board->unitSession.size()) return st::kInvalidArgument;
  *sid = board->unitSession[unit];
  return st::kOk;
}

// ---- Interface files

void Simulator::ReadActiveFilesLocked() {
  std::string text;
  if (!ReadWholeFile(fs::path(folder_.Root()) / kActiveFilesName, text)) return;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = Trim(rest.substr(0, end));
    rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
    const std::size_t space = line.find(' ');
    if (space == std::string_view::npos) continue;
    const auto serial = ParseU32(line.substr(0, space));
    const std::string_view name = Trim(line.substr(space + 1));
    if (serial && !name.empty()) activeFiles_[*serial] = std::string(name);
  }
}

void Simulator::WriteActiveFilesLocked() const {
  std::string text = "# Active interface file of each board: serial number, file\n";
  for (const auto& [serial, name] : activeFiles_) text += Hex32(serial) + " " + name + "\n";
  // A record that cannot be written costs the board its active file at the
  // next start, which the library repairs by claiming a new one.
  (void)WriteWholeFile(fs::path(folder_.Root()) / kActiveFilesName, text);
}

std::string Simulator::ValidActiveFileLocked(const Board& board) const {
  const auto found = activeFiles_.find(board.desc.serial);
  if (found == activeFiles_.end()) return {};
  InterfaceFile file;
  if (LoadInterfaceFile(folder_.InterfacePath(found->second), file) != st::kOk || file.serial != board.desc.serial) {
    return {};
  }
  return found->second;
}

std::string Simulator::DefaultCameraFileLocked(std::uint32_t interfaceTypes) const {
  for (const std::string& name : folder_.List(".icd")) {
    CameraModel model;
    if (LoadCameraFile(folder_.Resolve(name), model) == st::kOk && (model.interfaceTypes & interfaceTypes) != 0) {
      return name;
    }
  }
  return {};
}

Status Simulator::DeployInterfaceFiles(std::uint32_t flags) {
  if (flags != 0) return st::kInvalidArgument;
  Lock lock(mutex_);
  if (folder_.Prepare() != st::kOk) return st::kDataFolder;
  const std::vector<std::string> files = folder_.List(".iid");
  for (const auto& board : boards_) {
    if (!ValidActiveFileLocked(*board).empty()) continue;
    activeFiles_.erase(board->desc.serial);
    // A board without an active file takes the first file that names it.
    for (const std::string& name : files) {
      InterfaceFile file;
      if (LoadInterfaceFile(folder_.Resolve(name), file) == st::kOk && file.serial == board->desc.serial &&
          (file.interfaceTypes & board->desc.interfaceTypes) != 0) {
        activeFiles_[board->desc.serial] = name;
        break;
      }
    }
  }
  WriteActiveFilesLocked();
  return st::kOk;
}

Status Simulator::ActiveInterfaceFile(std::uint32_t serial, char* path) {
  if (path == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto board = FindBoardLocked(serial);
  if (!board) return st::kBoardNotFound;
  const std::string name = ValidActiveFileLocked(*board);
  if (name.empty()) return st::kNoActiveInterfaceFile;
  return CopyPath(name, path);
}

Status Simulator::ClaimNewInterfaceFile(std::uint32_t serial, char* path) {
  if (path == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto board = FindBoardLocked(serial);
  if (!board) return st::kBoardNotFound;
  std::string name;
  for (std::uint32_t index = 0;; ++index) {
    name = "img" + std::to_string(index) + ".iid";
    std::error_code failure;
    if (!fs::exists(folder_.Resolve(name), failure)) break;
  }
  InterfaceFile file;
  file.serial = serial;
  file.interfaceTypes = board->desc.interfaceTypes;
  file.ports.assign(board->desc.ports, DefaultCameraFileLocked(board->desc.interfaceTypes));
  file.settings = {{key::kTriggerTermination, "0"}, {key::kCameraPower, "1"}};
  if (const Status status = StoreInterfaceFile(folder_.Resolve(name), file); status != st::kOk) return status;
  return CopyPath(name, path);
}

Status Simulator::SetActiveInterfaceFile(std::uint32_t serial, const char* path) {
  if (path == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto board = FindBoardLocked(serial);
  if (!board) return st::kBoardNotFound;
  const std::string resolved = folder_.InterfacePath(path);
  InterfaceFile file;
  if (const Status status = LoadInterfaceFile(resolved, file); status != st::kOk) return status;
  if (file.serial != serial) return st::kOtherBoard;
  activeFiles_[serial] = folder_.Normalize(resolved);
  WriteActiveFilesLocked();
  return st::kOk;
}

Status Simulator::DataFolderPath(char* path) {
  Lock lock(mutex_);
  return CopyPath(folder_.Root(), path);
}

Status Simulator::InterfaceName(std::uint32_t index, char* name) {
  if (name == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const std::vector<std::string> files = folder_.List(".iid");
  if (index >= files.size()) return st::kNoMoreInterfaces;
  return CopyPath(DataFolder::WithoutInterfaceExtension(files[index]), name);
}

Status Simulator::SerialOfInterfaceFile(const char* path, std::uint32_t* serial) {
  if (path == nullptr || serial == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  InterfaceFile file;
  if (const Status status = LoadInterfaceFile(folder_.InterfacePath(path), file); status != st::kOk) return status;
  *serial = file.serial;
  return st::kOk;
}

Status Simulator::SetSerialOfInterfaceFile(const char* path, std::uint32_t serial) {
  if (path == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const std::string resolved = folder_.InterfacePath(path);
  InterfaceFile file;
  if (const Status status = LoadInterfaceFile(resolved, file); status != st::kOk) return status;
  file.serial = serial;
  return StoreInterfaceFile(resolved, file);
}

Status Simulator::TypesOfInterfaceFile(const char* path, std::uint32_t* mask) {
  if (path == nullptr || mask == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  InterfaceFile file;
  if (const Status status = LoadInterfaceFile(folder_.InterfacePath(path), file); status != st::kOk) return status;
  *mask = file.interfaceTypes;
  return st::kOk;
}

Status Simulator::CameraFileOfPort(const char* path, std::uint32_t port, char* name, std::uint32_t* size) {
  if (path == nullptr || size == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  InterfaceFile file;
  if (const Status status = LoadInterfaceFile(folder_.InterfacePath(path), file); status != st::kOk) return status;
  if (port >= file.ports.size()) return st::kPortNotFound;
  const std::string& text = file.ports[port];
  const auto need = static_cast<std::uint32_t>(text.size() + 1);
  if (name == nullptr) {
    *size = need;
    return st::kOk;
  }
  const std::uint32_t room = *size;
  *size = need;
  if (room < need) return st::kBufferTooSmall;
  std::memcpy(name, text.c_str(), need);
  return st::kOk;
}

// ---- Interfaces and sessions

Status Simulator::InterfaceOpen(const char* name, std::uint32_t* iid) {
  if (name == nullptr || iid == nullptr) return st::kInvalidArgument;
  std::string base(name);
  std::uint32_t unit = 0;
  if (const std::size_t colons = base.rfind("::"); colons != std::string::npos) {
    const auto number = ParseU32(std::string_view(base).substr(colons + 2));
    if (!number || base.substr(colons + 2).find_first_not_of("0123456789") != std::string::npos) {
      return st::kInvalidName;
    }
    if (Version() < kUnitNamesFrom) return st::kInvalidName;
    unit = *number;
    base.resize(colons);
  }
  if (base.empty()) return st::kInvalidName;
  Lock lock(mutex_);
  Interface handle;
  constexpr std::string_view kPhantom = "interfaceType:";
  if (base.size() > kPhantom.size() && EqualNoCase(std::string_view(base).substr(0, kPhantom.size()), kPhantom)) {
    // A phantom board: any type of the family, from 7101 to 7116.
    const std::string digits = base.substr(kPhantom.size());
    const auto type = digits.size() == 4 && digits.find_first_not_of("0123456789") == std::string::npos
                          ? ParseU32("0x" + digits)
                          : std::nullopt;
    if (!type || *type < 0x7101 || *type > 0x7116) return st::kInvalidName;
    BoardDescription phantom;
    phantom.serial = 0xFFFFFFFFu - (*type - 0x7101);
    phantom.model = "Phantom " + digits;
    phantom.type = *type;
    phantom.interfaceTypes = 0x7;
    phantom.phantom = true;
    handle.board = std::make_shared<Board>(std::move(phantom));
  } else if (base.size() > 7 && EqualNoCase(std::string_view(base).substr(0, 7), "serial:")) {
    const std::string digits = base.substr(7);
    const auto serial = digits.size() <= 8 && digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos
                            ? ParseU32("0x" + digits)
                            : std::nullopt;
    if (!serial) return st::kInvalidName;
    handle.board = FindBoardLocked(*serial);
    if (!handle.board) return st::kBoardNotFound;
  } else {
    const std::string resolved = folder_.InterfacePath(base);
    InterfaceFile file;
    if (const Status status = LoadInterfaceFile(resolved, file); status != st::kOk) return status;
    handle.board = FindBoardLocked(file.serial);
    if (!handle.board) return st::kBoardNotFound;
    if ((file.interfaceTypes & handle.board->desc.interfaceTypes) == 0) return st::kWrongInterfaceType;
    handle.interfaceFile = folder_.Normalize(resolved);
  }
  if (unit >= handle.board->desc.units) return st::kUnitNotFound;
  handle.unit = unit;
  const std::uint32_t id = kInterfaceIds + ++nextInterface_;
  interfaces_[id] = std::move(handle);
  *iid = id;
  return st::kOk;
}

Status Simulator::SessionOpen(std::uint32_t iid, std::uint32_t* sid) {
  if (sid == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto found = interfaces_.find(iid);
  if (found == interfaces_.end()) return st::kInvalidId;
  const Interface& handle = found->second;
  if (handle.board->removed) return st::kBoardRemoved;
  {
    std::lock_guard boardLock(handle.board->mutex);
    if (handle.board->unitSession[handle.unit] != 0) return st::kUnitInUse;
  }
  const std::string active = handle.interfaceFile.empty() ? ValidActiveFileLocked(*handle.board) : std::string();
  const std::uint32_t id = kSessionIds + ++nextSession_;
  auto session = std::make_shared<Session>(id, handle.board, handle.unit, folder_);
  if (const Status status = session->Open(handle.interfaceFile, active); status != st::kOk) return status;
  {
    std::lock_guard boardLock(handle.board->mutex);
    handle.board->unitSession[handle.unit] = id;
  }
  sessions_[id] = std::move(session);
  sessionInterface_[id] = iid;
  *sid = id;
  return st::kOk;
}

void Simulator::CloseSessionLocked(std::uint32_t sid) {
  const auto found = sessions_.find(sid);
  if (found == sessions_.end()) return;
  const std::shared_ptr<Session> session = found->second;
  sessions_.erase(found);
  sessionInterface_.erase(sid);
  session->Close();
  std::lock_guard boardLock(session->board->mutex);
  if (session->board->unitSession[session->unit] == sid) session->board->unitSession[session->unit] = 0;
}

Status Simulator::Close(std::uint32_t id) {
  Lock lock(mutex_);
  if (sessions_.count(id) != 0) {
    CloseSessionLocked(id);
    return st::kOk;
  }
  const auto found = interfaces_.find(id);
  if (found == interfaces_.end()) return st::kInvalidId;
  // Closing an interface closes the sessions opened on it.
  std::vector<std::uint32_t> dependents;
  for (const auto& [sid, owner] : sessionInterface_) {
    if (owner == id) dependents.push_back(sid);
  }
  for (const std::uint32_t sid : dependents) CloseSessionLocked(sid);
  interfaces_.erase(found);
  return st::kOk;
}

Status Simulator::LiftPhysicalMemoryLimit(std::uint32_t iid) {
  Lock lock(mutex_);
  const auto found = interfaces_.find(iid);
  if (found == interfaces_.end()) return st::kInvalidId;
  if (found->second.board->removed) return st::kBoardRemoved;
  found->second.physicalMemoryLimitLifted = true;
  return st::kOk;
}

std::shared_ptr<Session> Simulator::FindSession(std::uint32_t sid, Status& status) {
  Lock lock(mutex_);
  const auto found = sessions_.find(sid);
  if (found == sessions_.end()) {
    status = st::kInvalidId;
    return nullptr;
  }
  status = st::kOk;
  return found->second;
}

std::vector<std::shared_ptr<Session>> Simulator::OpenSessions() {
  Lock lock(mutex_);
  std::vector<std::shared_ptr<Session>> open;
  for (const auto& entry : sessions_) open.push_back(entry.second);
  return open;
}

// ---- Memory and buffer lists

Status Simulator::CreateBuffer(std::uint32_t sid, std::uint32_t flags, std::uint32_t bytes, void** buffer) {
  if (buffer == nullptr || bytes == 0 || flags != 0) return st::kInvalidArgument;
  Lock lock(mutex_);
  const auto found = sessions_.find(sid);
  if (found == sessions_.end()) return st::kInvalidId;
  if (found->second->board->removed) return st::kBoardRemoved;
  auto memory = AllocateDriverMemory(bytes);
  if (!memory) return st::kNoMemory;
  *buffer = memory->data();
  buffers_[memory->data()] = std::move(memory);
  return st::kOk;
}

Status Simulator::DisposeBuffer(void* buffer) {
  if (buffer == nullptr) return st::kInvalidArgument;
  Lock lock(mutex_);
  if (const auto text = texts_.find(buffer); text != texts_.end()) {
    texts_.erase(text);
    return st::kOk;
  }
  const auto found = buffers_.find(buffer);
  if (found == buffers_.end()) return st::kInvalidBuffer;
  for (const auto& [sid, session] : sessions_) {
    if (session->RunsWithMemory(buffer)) return st::kAcquiring;
  }
  buffers_.erase(found);
  return st::kOk;
}

Status Simulator::LendText(const std::string& text, char** out) {
  auto memory = AllocateDriverMemory(text.size() + 1);
  if (!memory) return st::kNoMemory;
  std::memcpy(memory->data(), text.c_str(), text.size() + 1);
  Lock lock(mutex_);
  *out = reinterpret_cast<char*>(memory->data());
  texts_[memory->data()] = std::move(memory);
  return st::kOk;
}

Status Simulator::CreateBufferList(std::uint32_t count, std::uint32_t* list) {
  if (list == nullptr || count == 0 || count > 65536) return st::kInvalidArgument;
  Lock lock(mutex_);
  const std::uint32_t id = kListIds + ++nextList_;
  bufferLists_[id].elements.resize(count);
  *list = id;
  return st::kOk;
}

Status Simulator::SetBufferItem(std::uint32_t list, std::uint32_t index, std::uint32_t item, std::uint32_t value) {
  Lock lock(mutex_);
  const auto found = bufferLists_.find(list);
  if (found == bufferLists_.end()) return st::kInvalidId;
  if (index >= found->second.elements.size()) return st::kInvalidArgument;
  for (const auto& [sid, session] : sessions_) {
    if (session->RunsWithList(list)) return st::kAcquiring;
  }
  BufferElement& element = found->second.elements[index];
  if (item == item::kSize) {
    element.size = value;
  } else if (item == item::kCommand) {
    if (value != item::kNext && value != item::kLoop) return st::kInvalidArgument;
    element.command = value;
  } else {
    return st::kInvalidArgument;  // the address takes kldSetBufferElement2
  }
  return st::kOk;
}

Status Simulator::SetBufferPointer(std::uint32_t list, std::uint32_t index, std::uint32_t item, void* pointer) {
  Lock lock(mutex_);
  const auto found = bufferLists_.find(list);
  if (found == bufferLists_.end()) return st::kInvalidId;
  if (index >= found->second.elements.size() || item != item::kAddress) return st::kInvalidArgument;
  for (const auto& [sid, session] : sessions_) {
    if (session->RunsWithList(list)) return st::kAcquiring;
  }
  found->second.elements[index].address = pointer;
  return st::kOk;
}

Status Simulator::LockBufferList(std::uint32_t list, bool locked) {
  Lock lock(mutex_);
  const auto found = bufferLists_.find(list);
  if (found == bufferLists_.end()) return st::kInvalidId;
  if (!locked) {
    for (const auto& [sid, session] : sessions_) {
      if (session->RunsWithList(list)) return st::kAcquiring;
    }
  }
  found->second.locked = locked;
  return st::kOk;
}

Status Simulator::DisposeBufferList(std::uint32_t list) {
  Lock lock(mutex_);
  const auto found = bufferLists_.find(list);
  if (found == bufferLists_.end()) return st::kInvalidId;
  for (const auto& [sid, session] : sessions_) {
    if (session->RunsWithList(list)) return st::kAcquiring;
  }
  for (const auto& [sid, session] : sessions_) session->ForgetList(list);
  bufferLists_.erase(found);
  return st::kOk;
}

Status Simulator::ConfigureSession(std::uint32_t sid, std::uint32_t list) {
  Lock lock(mutex_);
  const auto session = sessions_.find(sid);
  if (session == sessions_.end()) return st::kInvalidId;
  const auto found = bufferLists_.find(list);
  if (found == bufferLists_.end()) return st::kInvalidId;
  if (!found->second.locked) return st::kInvalidBufferList;
  std::vector<ListedBuffer> listed;
  for (const BufferElement& element : found->second.elements) {
    ListedBuffer buffer;
    buffer.address = static_cast<std::uint8_t*>(element.address);
    buffer.size = element.size;
    buffer.command = element.command;
    if (const auto memory = buffers_.find(element.address); memory != buffers_.end()) {
      // The driver's own buffer: never more than it holds.
      buffer.owner = memory->second;
      buffer.size = std::min(buffer.size, memory->second->size());
    }
    listed.push_back(std::move(buffer));
  }
  return session->second->ConfigureList(list, std::move(listed));
}

// ---- Board memory

Status Simulator::Register(std::uint32_t serial, std::uint32_t region, std::uint32_t offset, std::uint32_t width,
                           void* value, bool write) {
  if (value == nullptr || width != 4) return st::kInvalidArgument;
  std::shared_ptr<Board> board;
  {
    Lock lock(mutex_);
    board = FindBoardLocked(serial);
  }
  if (!board) return st::kBoardNotFound;
  std::lock_guard boardLock(board->mutex);
  std::uint32_t word = 0;
  if (write) {
    std::memcpy(&word, value, 4);
    return board->WriteRegister(region, offset, word);
  }
  const Status status = board->ReadRegister(region, offset, word);
  if (status == st::kOk) std::memcpy(value, &word, 4);
  return status;
}

Status Simulator::Block(std::uint64_t block, std::uint32_t bankNumber, std::uint32_t address, std::uint32_t width,
                        std::uint32_t height, void* data, bool write) {
  if (width != 1 && width != 2 && width != 4) return st::kInvalidArgument;
  if (address % width != 0) return st::kInvalidArgument;
  const std::uint64_t bytes = std::uint64_t{width} * height;
  if (data == nullptr && bytes != 0) return st::kInvalidArgument;
  if (block > 0xFFFFFFFFu) return st::kBoardNotFound;
  std::shared_ptr<Board> board;
  {
    Lock lock(mutex_);
    board = FindBoardLocked(static_cast<std::uint32_t>(block));
  }
  if (!board) return st::kBoardNotFound;
  std::lock_guard boardLock(board->mutex);
  if (write) return board->WriteBank(bankNumber, address, static_cast<const std::uint8_t*>(data), bytes);
  return board->ReadBank(bankNumber, address, static_cast<std::uint8_t*>(data), bytes);
}

// ---- Pulse generators

void Simulator::SetPulseLineLocked(const Pulse& pulse, bool running) {
  const auto session = sessions_.find(pulse.session);
  if (session != sessions_.end()) session->second->SetPulseLine(pulse.parameters.words[5], running);
}

Status Simulator::PulseCreate(const PulseParameters& parameters, std::uint32_t* pulse) {
  if (pulse == nullptr) return st::kInvalidArgument;
  const std::uint32_t* w = parameters.words;
  // timebase, delay, width, trigger line (0xFFFFFFFF: at once), trigger
  // polarity, output line, output polarity, mode (0 one pulse, 1 a train),
  // pulses of a train (0: until stopped), flags.
  if (w[0] > 2 || w[2] == 0 || (w[3] >= 16 && w[3] != 0xFFFFFFFF) || w[4] > 1 || w[5] >= 16 || w[6] > 1 || w[7] > 1) {
    return st::kInvalidPulse;
  }
  Lock lock(mutex_);
  EnsureLoadedLocked();
  const std::uint32_t id = kPulseIds + ++nextPulse_;
  pulses_[id].parameters = parameters;
  *pulse = id;
  return st::kOk;
}

Status Simulator::PulseDispose(std::uint32_t pulse) {
  Lock lock(mutex_);
  const auto found = pulses_.find(pulse);
  if (found == pulses_.end()) return st::kInvalidId;
  if (found->second.running) SetPulseLineLocked(found->second, false);
  pulses_.erase(found);
  return st::kOk;
}

Status Simulator::PulseStart(std::uint32_t pulse, std::uint32_t sid) {
  Lock lock(mutex_);
  const auto found = pulses_.find(pulse);
  if (found == pulses_.end() || sessions_.count(sid) == 0) return st::kInvalidId;
  if (found->second.running) SetPulseLineLocked(found->second, false);
  found->second.running = true;
  found->second.session = sid;
  SetPulseLineLocked(found->second, true);
  return st::kOk;
}

Status Simulator::PulseStop(std::uint32_t pulse) {
  Lock lock(mutex_);
  const auto found = pulses_.find(pulse);
  if (found == pulses_.end()) return st::kInvalidId;
  if (found->second.running) SetPulseLineLocked(found->second, false);
  found->second.running = false;
  return st::kOk;
}

Status Simulator::PulseDutyCycle(std::uint32_t pulse, std::uint32_t sid, std::uint32_t high, std::uint32_t low) {
  Lock lock(mutex_);
  const auto found = pulses_.find(pulse);
  if (found == pulses_.end() || sessions_.count(sid) == 0) return st::kInvalidId;
  if (high == 0 || low == 0) return st::kInvalidPulse;
  found->second.parameters.words[2] = high;
  found->second.parameters.words[1] = low;
  return st::kOk;
}

Status Simulator::PulseState(std::uint32_t pulse, std::uint32_t words[10], std::uint32_t& running,
                             std::uint32_t& session) {
  Lock lock(mutex_);
  const auto found = pulses_.find(pulse);
  if (found == pulses_.end()) return st::kInvalidId;
  std::copy(found->second.parameters.words, found->second.parameters.words + 10, words);
  running = found->second.running ? 1 : 0;
  session = found->second.session;
  return st::kOk;
}

}  // namespace keldsim
