// A session's configuration: opening, execution states, loading and storing
// interface and camera files and texts, and the check that comes before the
// ready state.
#include <algorithm>
#include <filesystem>

#include "core/attribute_table.h"
#include "core/interface_file.h"
#include "core/session.h"
#include "core/text_file.h"

namespace keldsim {

Session::Session(std::uint32_t sessionId, std::shared_ptr<Board> sessionBoard, std::uint32_t sessionUnit,
                 DataFolder dataFolder)
    : id(sessionId), board(std::move(sessionBoard)), unit(sessionUnit), folder(std::move(dataFolder)) {
  values_[key::kAcquisitionMode] = std::uint32_t{0};
  values_[key::kRowPixels] = std::uint32_t{0};
  values_[key::kSkipFrames] = std::uint32_t{0};
  values_[key::kTimeout] = std::uint32_t{5000};
  values_[key::kListAll] = std::uint32_t{0};
}

Session::~Session() = default;

Status Session::LiveLocked() const {
  if (closed_) return st::kInvalidId;
  if (board->removed.load()) return st::kBoardRemoved;
  return st::kOk;
}

Status Session::Alive() {
  Lock lock(mutex_);
  return LiveLocked();
}

std::string Session::DefaultCameraFile() const {
  for (const std::string& name : folder.List(".icd")) {
    CameraModel model;
    if (LoadCameraFile(folder.Resolve(name), model) == st::kOk &&
        (model.interfaceTypes & board->desc.interfaceTypes) != 0) {
      return name;
    }
  }
  return {};
}

void Session::ResetInterfaceValues() {
  values_[key::kTriggerTermination] = std::uint32_t{0};
  values_[key::kCameraPower] = std::uint32_t{1};
}

void Session::ResetCameraValues() {
  values_[key::kWindowTop] = std::uint32_t{0};
  values_[key::kWindowLeft] = std::uint32_t{0};
  values_[key::kWindowWidth] = camera_.width;
  values_[key::kWindowHeight] = camera_.height;
  values_[key::kFrameRate] = camera_.frameRate;
  values_[key::kAcquisitionModeSetting] = std::uint32_t{0};
  values_[key::kBayerPattern] = camera_.bayer;
  values_[key::kBayerAlgorithm] = std::uint32_t{0};
  values_[key::kBoardDecodesBayer] = std::uint32_t{0};
  std::vector<std::uint32_t> order(64);
  for (std::uint32_t i = 0; i < 64; ++i) order[i] = i;
  values_[key::kTapOrder] = order;
  values_[key::kStrobeWaveform] = std::vector<std::uint32_t>(32, 0);
  values_[key::kRedGain] = 1.0;
  values_[key::kGreenGain] = 1.0;
  values_[key::kBlueGain] = 1.0;
}

// Values stored in a file replace the defaults where they are good; a value
// that does not fit its attribute is passed over, as the hardware would not
// take it either.
void Session::ApplySettings(const std::vector<std::pair<std::uint32_t, std::string>>& settings, bool cameraFile) {
  const Stored wanted = cameraFile ? Stored::kCameraFile : Stored::kInterfaceFile;
  for (const auto& [settingKey, text] : settings) {
    const AttributeDef* def = FindAttributeDef(settingKey);
    if (def == nullptr || def->stored != wanted || def->key == key::kPortCameraFile) continue;
    AttributeValue value;
    if (!ValueFromText(def->type, text, value) || !InRange(*def, value)) continue;
    if (settingKey == key::kBayerPattern && std::get<std::uint32_t>(value) > 3 &&
        std::get<std::uint32_t>(value) != kNoBayer) {
      continue;
    }
    values_[settingKey] = std::move(value);
  }
}

void Session::RebuildTreeIds() {
  treeIds_.clear();
  attributeIds_.assign(camera_.attributes.size(), 0);
  valueIds_.assign(camera_.attributes.size(), {});
  std::uint32_t next = 0x100;
  for (std::uint32_t i = 0; i < camera_.attributes.size(); ++i) {
    attributeIds_[i] = next;
    treeIds_[next++] = TreeId{i, -1};
    for (std::uint32_t j = 0; j < camera_.attributes[i].values.size(); ++j) {
      valueIds_[i].push_back(next);
      treeIds_[next++] = TreeId{i, static_cast<std::int32_t>(j)};
    }
  }
}

Status Session::LoadInterfaceLocked(const std::string& path) {
  InterfaceFile file;
  const std::string resolved = folder.InterfacePath(path);
  if (const Status status = LoadInterfaceFile(resolved, file); status != st::kOk) return status;
  if (file.serial != board->desc.serial) return st::kOtherBoard;
  if ((file.interfaceTypes & board->desc.interfaceTypes) == 0) return st::kWrongInterfaceType;
  ports_ = file.ports;
  ports_.resize(board->desc.ports);
  ResetInterfaceValues();
  ApplySettings(file.settings, false);
  interfaceFile_ = folder.Normalize(resolved);
  interfaceChanged_ = false;
  return st::kOk;
}

Status Session::LoadCameraLocked(const std::string& name) {
  if (name.empty()) return st::kCameraFileNotFound;
  CameraModel model;
  if (const Status status = LoadCameraFile(folder.Resolve(name), model); status != st::kOk) return status;
  if ((model.interfaceTypes & board->desc.interfaceTypes) == 0) return st::kCameraNotSuited;
  camera_ = std::move(model);
  cameraFile_ = folder.Normalize(name);
  ResetCameraValues();
  ApplySettings(camera_.settings, true);
  RebuildTreeIds();
  return st::kOk;
}

Status Session::Open(const std::string& interfaceFile, const std::string& activeFile) {
  Lock lock(mutex_);
  if (!interfaceFile.empty()) {
    if (const Status status = LoadInterfaceLocked(interfaceFile); status != st::kOk) return status;
    if (const Status status = LoadCameraLocked(ports_[Port()]); status != st::kOk) return status;
  } else {
    bool loaded = false;
    if (!activeFile.empty()) {
      loaded = LoadInterfaceLocked(activeFile) == st::kOk && LoadCameraLocked(ports_[Port()]) == st::kOk;
    }
    if (!loaded) {
      // No usable interface file: every port starts with the first camera
      // file of the data folder that suits the board.
      interfaceFile_.clear();
      ResetInterfaceValues();
      const std::string name = DefaultCameraFile();
      if (name.empty()) return st::kCameraFileNotFound;
      ports_.assign(board->desc.ports, name);
      if (const Status status = LoadCameraLocked(name); status != st::kOk) return status;
    }
  }
  state_ = state::kReady;
  return st::kOk;
}

void Session::Close() {
  Lock lock(mutex_);
  StopAcquisitionLocked();
  acquisition_ = Acquisition{};
  acquisition_.generation = ~std::uint64_t{0};
  snapMemory_.reset();
  closed_ = true;
  changed_.notify_all();
}

Status Session::GetExecutionState(std::uint32_t& value) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  if (acquisition_.running) {
    value = acquisition_.kind == Kind::kGrab ? state::kGrabbing : state::kAcquiringBuffers;
  } else {
    value = state_;
  }
  return st::kOk;
}

// The camera that the configuration names for this unit's port, and whether
// the acquisition window fits its sensor. `camera` points at the loaded
// camera, or at `replacement` where the port names another file.
Status Session::CheckConfigurationLocked(const CameraModel*& camera, CameraModel& replacement) {
  camera = &camera_;
  const std::string& portFile = ports_[Port()];
  if (portFile.empty()) return st::kCameraFileNotFound;
  if (folder.Normalize(portFile) != cameraFile_) {
    if (const Status status = LoadCameraFile(folder.Resolve(portFile), replacement); status != st::kOk) return status;
    if ((replacement.interfaceTypes & board->desc.interfaceTypes) == 0) return st::kCameraNotSuited;
    camera = &replacement;
    return st::kOk;  // its window will be its own default
  }
  const std::uint64_t right = std::uint64_t{U32(key::kWindowLeft)} + U32(key::kWindowWidth);
  const std::uint64_t bottom = std::uint64_t{U32(key::kWindowTop)} + U32(key::kWindowHeight);
  if (right > camera_.width || bottom > camera_.height) return st::kConfigurationInvalid;
  return st::kOk;
}

Status Session::CommitLocked() {
  const CameraModel* camera = nullptr;
  CameraModel replacement;
  if (const Status status = CheckConfigurationLocked(camera, replacement); status != st::kOk) return status;
  if (camera == &replacement) {
    if (const Status status = LoadCameraLocked(ports_[Port()]); status != st::kOk) return status;
  }
  state_ = state::kReady;
  return st::kOk;
}

Status Session::ChangeExecutionState(std::uint32_t value) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  if (value != state::kReleased && value != state::kConfiguring && value != state::kReady) return st::kInvalidState;
  if (acquisition_.running) return st::kAcquiring;
  if (value == state::kReady) return CommitLocked();
  state_ = value;
  return st::kOk;
}

Status Session::Validate() {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  const CameraModel* camera = nullptr;
  CameraModel replacement;
  return CheckConfigurationLocked(camera, replacement);
}

namespace {
Status LoadableState(bool running, std::uint32_t state) {
  if (running) return st::kAcquiring;
  if (state != state::kReleased && state != state::kConfiguring) return st::kNotInThisState;
  return st::kOk;
}
}  // namespace

Status Session::LoadInterfaceConfig(const std::string& path) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  if (const Status status = LoadableState(acquisition_.running, state_); status != st::kOk) return status;
  return LoadInterfaceLocked(path);
}

Status Session::LoadCameraConfig(const std::string& path) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  if (const Status status = LoadableState(acquisition_.running, state_); status != st::kOk) return status;
  if (const Status status = LoadCameraLocked(path); status != st::kOk) return status;
  if (ports_[Port()] != cameraFile_) {
    ports_[Port()] = cameraFile_;
    interfaceChanged_ = true;
  }
  return st::kOk;
}

Status Session::LoadConfiguration(const std::string& path) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  if (const Status status = LoadableState(acquisition_.running, state_); status != st::kOk) return status;
  if (const Status status = LoadInterfaceLocked(path); status != st::kOk) return status;
  return LoadCameraLocked(ports_[Port()]);
}

Status Session::StoreInterfaceConfig(const std::string& path) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (DataFolder::WithoutInterfaceExtension(path).empty()) return st::kInvalidArgument;
  InterfaceFile file;
  file.serial = board->desc.serial;
  file.interfaceTypes = board->desc.interfaceTypes;
  file.ports = ports_;
  for (const auto& def : AttributeDefs()) {
    if (def.stored == Stored::kInterfaceFile && def.key != key::kPortCameraFile) {
      file.settings.emplace_back(def.key, ValueToText(values_.at(def.key)));
    }
  }
  const std::string resolved = folder.InterfacePath(path);
  if (const Status status = StoreInterfaceFile(resolved, file); status != st::kOk) return status;
  interfaceFile_ = folder.Normalize(resolved);
  interfaceChanged_ = false;
  return st::kOk;
}

CameraModel Session::CameraWithSettings() const {
  CameraModel model = camera_;
  model.settings.clear();
  const std::uint32_t version = DriverVersion();
  for (const auto& def : AttributeDefs()) {
    if (def.stored == Stored::kCameraFile && version >= def.since) {
      model.settings.emplace_back(def.key, ValueToText(values_.at(def.key)));
    }
  }
  return model;
}

Status Session::StoreCameraConfig(const std::string& path) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (path.empty()) return st::kInvalidArgument;
  if (!WriteWholeFile(folder.Resolve(path), FormatCameraFile(CameraWithSettings()))) return st::kFileWrite;
  // The port now names the file just stored.
  cameraFile_ = folder.Normalize(path);
  if (ports_[Port()] != cameraFile_) {
    ports_[Port()] = cameraFile_;
    interfaceChanged_ = true;
  }
  return st::kOk;
}

Status Session::StoreCameraConfigToText(std::string& text) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  text = FormatCameraFile(CameraWithSettings());
  return st::kOk;
}

// A configuration text takes effect at once: the session goes through the
// configuring state and back to ready, as it would by hand.
Status Session::LoadCameraConfigFromText(std::string_view text) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  if (acquisition_.running) return st::kAcquiring;
  CameraModel model;
  std::string error;
  if (const Status status = ParseCameraFile(text, model, error); status != st::kOk) return status;
  if ((model.interfaceTypes & board->desc.interfaceTypes) == 0) return st::kCameraNotSuited;
  camera_ = std::move(model);
  ResetCameraValues();
  ApplySettings(camera_.settings, true);
  RebuildTreeIds();
  state_ = state::kConfiguring;
  return CommitLocked();
}

Status Session::CameraFileInfo(const std::string& file, std::uint32_t& suits, std::string* modeName,
                               std::string* detail) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CameraModel model;
  if (const Status status = LoadCameraFile(folder.Resolve(file), model); status != st::kOk) return status;
  suits = (model.interfaceTypes & board->desc.interfaceTypes) != 0 ? 1u : 0u;
  if (modeName != nullptr) *modeName = model.modeName;
  if (detail != nullptr) *detail = model.detail;
  return st::kOk;
}

}  // namespace keldsim
