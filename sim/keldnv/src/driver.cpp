#include "driver.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "odvissvc/odvissvc.h"

namespace keldnvsim {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr std::uint32_t kHandleIds = 0x50000000;
constexpr const char* kStateName = ".keldnvsim-state";
constexpr const char* kCameraLinkFolder = "CameraLink";
constexpr std::uint32_t kMonitorFlag = 0x1;
// Bits of a camera's state.
constexpr std::uint32_t kStateOpen = 0x1;
constexpr std::uint32_t kStateAcquiring = 0x2;
constexpr std::uint32_t kStateReserved = 0x4;

struct SeedFile {
  const char* name;
  const char* text;
};
constexpr SeedFile kSeedFiles[] = {
    {"OD_CL-4M_12bit.clf", "# KELDnv camera-link camera file\nCamera = OD CL-4M\nMode = 12-bit base, 2 taps\n"
                           "Detail = Free running, 40 MHz pixel clock\n"},
    {"OD_CL-4M_8bit.clf", "# KELDnv camera-link camera file\nCamera = OD CL-4M\nMode = 8-bit base, 2 taps\n"
                          "Detail = Free running, 40 MHz pixel clock\n"},
    {"Generic_8bit.clf", "# KELDnv camera-link camera file\nCamera = *\nMode = 8-bit base, 1 tap\n"
                         "Detail = Any camera-link camera at its default settings\n"},
};

std::string DefaultRoot() {
  if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && data[0] != 0) {
    return std::string(data) + "/keldnvsim";
  }
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] != 0) {
    return std::string(home) + "/.local/share/keldnvsim";
  }
  return "/tmp/keldnvsim-" + std::to_string(getuid());
}

bool ReadWholeFile(const std::string& path, std::string& text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream out;
  out << in.rdbuf();
  text = out.str();
  return !in.bad();
}

bool WriteWholeFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) return false;
  out << text;
  out.close();
  return !out.fail();
}

// Header lines "Key = value" of a camera-link camera file; false where the
// file is not one.
bool ParseCameraLinkFile(const std::string& text, std::string& camera, std::string& mode, std::string& detail) {
  std::istringstream lines(text);
  std::string line;
  camera.clear();
  mode.clear();
  detail.clear();
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    const std::size_t separator = line.find(" = ");
    if (separator == std::string::npos) return false;
    const std::string key = line.substr(0, separator);
    const std::string value = line.substr(separator + 3);
    if (key == "Camera") camera = value;
    if (key == "Mode") mode = value;
    if (key == "Detail") detail = value;
  }
  return !camera.empty();
}

bool ValidName(const char* name) {
  if (name == nullptr || name[0] == 0 || std::strlen(name) >= 512) return false;
  if (std::strstr(name, "::") != nullptr) return false;
  for (const char* c = name; *c != 0; ++c) {
    if (static_cast<unsigned char>(*c) <= ' ') return false;
  }
  return true;
}

std::string Address(const CameraDescription& camera, std::size_t index) {
  switch (camera.interfaceType) {
    case kUsb: return "usb:2-" + std::to_string(index + 1);
    case kCameraLink: return camera.board + " port 0";
    default: return "192.168.10." + std::to_string(100 + index);
  }
}

}  // namespace

Status CopyText(const std::string& text, char* out, std::uint32_t size) {
  if (out == nullptr || size == 0) return st::kInvalidArgument;
  const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
  std::memcpy(out, text.data(), length);
  out[length] = 0;
  return text.size() < size ? st::kOk : st::kBufferTooSmall;
}

Driver& Driver::Get() {
  // Never destroyed: the library may close its sessions from its own static
  // destructors, after this object's would have run.
  static Driver* const instance = new Driver();
  return *instance;
}

// ---- Entering, loading and the controls ----------------------------------------

Status Driver::Enter(const char* function, const std::string& arguments) {
  if (const auto injected = controls_.Enter(function, arguments)) return *injected;
  std::lock_guard lock(mutex_);
  EnsureLoadedLocked();
  return loadStatus_;
}

std::uint32_t Driver::Version() {
  std::lock_guard lock(mutex_);
  EnsureLoadedLocked();
  return version_;
}

Status Driver::ErrorString(Status status, char* text, std::uint32_t size) {
  if (text == nullptr || size == 0) return st::kInvalidArgument;
  text[0] = 0;
  const char* known = StatusText(status);
  if (known == nullptr) return st::kOk;  // none: the text stays empty
  return CopyText(known, text, size);
}

void Driver::EnsureLoadedLocked() {
  if (!loaded_) (void)LoadLocked(nullptr, nullptr);  // its status stays in loadStatus_
}

Status Driver::LoadLocked(const char* descriptionJson, const char* dataFolder) {
  handles_.clear();
  for (auto& camera : cameras_) camera->removed = true;
  cameras_.clear();
  for (void* memory : lent_) std::free(memory);
  lent_.clear();
  loaded_ = true;
  loadError_.clear();

  std::string text;
  if (descriptionJson != nullptr) {
    text = descriptionJson;
  } else if (const char* path = std::getenv("KELDNVSIM_CONFIG"); path != nullptr && path[0] != 0) {
    if (!ReadWholeFile(path, text)) {
      loadError_ = std::string("cannot read the description ") + path;
      return loadStatus_ = st::kDescription;
    }
  } else {
    text = BuiltInDescription();
  }
  Description description;
  std::string error;
  if (ParseDescription(text, kVariant.defaultVersion, description, error) != st::kOk) {
    loadError_ = "description: " + error;
    return loadStatus_ = st::kDescription;
  }
  if (description.version > kVariant.highestVersion) {
    loadError_ = "description: driver_version is above what " + std::string(kVariant.name) + " can stand for";
    return loadStatus_ = st::kDescription;
  }

  std::string root;
  if (dataFolder != nullptr && dataFolder[0] != 0) {
    root = dataFolder;
  } else if (const char* path = std::getenv("KELDNVSIM_DATA"); path != nullptr && path[0] != 0) {
    root = path;
  } else {
    root = DefaultRoot();
  }
  std::error_code failed;
  folder_ = fs::absolute(root, failed).string();
  if (failed) {
    loadError_ = "the data folder " + root + " cannot be found";
    return loadStatus_ = st::kDescription;
  }
  SeedFolderLocked();
  if (!fs::is_directory(folder_ + "/" + kCameraLinkFolder)) {
    loadError_ = "the data folder " + folder_ + " cannot be created or seeded";
    return loadStatus_ = st::kDescription;
  }

  version_ = description.version;
  for (CameraDescription& camera : description.cameras) cameras_.push_back(std::make_shared<Camera>(std::move(camera)));
  ReadStateLocked();
  return loadStatus_ = st::kOk;
}

void Driver::SeedFolderLocked() {
  std::error_code ignored;
  const bool empty = !fs::exists(folder_, ignored) || fs::is_empty(folder_, ignored);
  fs::create_directories(folder_ + "/" + kCameraLinkFolder, ignored);
  if (!empty) return;
  for (const SeedFile& file : kSeedFiles) {
    (void)WriteWholeFile(folder_ + "/" + kCameraLinkFolder + "/" + file.name, file.text);  // checked by the caller
  }
}

// What cameras remember, by serial number: their names, user sets and the
// set they start with, and a camera-link camera's file and board.
void Driver::ReadStateLocked() {
  std::string text;
  json state;
  if (ReadWholeFile(folder_ + "/" + kStateName, text)) {
    try {
      state = json::parse(text);
    } catch (const json::exception&) {
      state = json::object();  // a damaged memory is no memory
    }
  }
  for (auto& camera : cameras_) {
    const std::string serial = Hex64(camera->Desc().serial);
    if (state.is_object() && state.contains(serial) && state[serial].is_object()) {
      const json& memory = state[serial];
      try {
        if (memory.contains("name")) {
          const std::string name = memory["name"].get<std::string>();
          if (!FindCameraLocked(name)) camera->Rename(name);
        }
        if (memory.contains("board")) camera->SetBoard(memory["board"].get<std::string>());
        if (memory.contains("camera_file")) camera->cameraFile = memory["camera_file"].get<std::string>();
        std::map<std::int64_t, std::string> sets;
        if (memory.contains("user_sets")) {
          for (const auto& [set, settings] : memory["user_sets"].items()) {
            sets[std::stoll(set)] = settings.get<std::string>();
          }
        }
        camera->SetUserSets(std::move(sets));
        if (memory.contains("user_set_default")) camera->SetUserSetDefault(memory["user_set_default"].get<std::int64_t>());
      } catch (const std::exception&) {
        // What cannot be read of it is forgotten.
      }
    }
    // A camera starts with its default user set.
    const std::int64_t start = camera->UserSetDefault();
    if (start != 0 && camera->UserSets().count(start) != 0) (void)camera->ReadText(camera->UserSets().at(start), false);
    if (camera->Desc().interfaceType == kCameraLink && camera->cameraFile.empty()) {
      const auto files = CameraLinkFilesLocked(*camera);
      if (!files.empty()) camera->cameraFile = files.front().name;
    }
  }
}

void Driver::WriteStateLocked() const {
  json state = json::object();
  for (const auto& camera : cameras_) {
    json memory = json::object();
    memory["name"] = camera->InterfaceName();
    if (camera->Desc().interfaceType == kCameraLink) {
      memory["board"] = camera->Desc().board;
      memory["camera_file"] = camera->cameraFile;
    }
    json sets = json::object();
    for (const auto& [set, settings] : camera->UserSets()) sets[std::to_string(set)] = settings;
    memory["user_sets"] = sets;
    memory["user_set_default"] = const_cast<Camera&>(*camera).UserSetDefault();
    state[Hex64(camera->Desc().serial)] = memory;
  }
  (void)WriteWholeFile(folder_ + "/" + kStateName, state.dump(2));  // a memory that cannot be kept is lost
}

Status Driver::Reset(const char* descriptionJson, const char* dataFolder) {
  controls_.ClearControls();
  std::lock_guard lock(mutex_);
  return LoadLocked(descriptionJson, dataFolder);
}

std::string Driver::LastError() {
  std::lock_guard lock(mutex_);
  return loadError_;
}

Status Driver::AddCamera(const char* text) {
  if (text == nullptr) return st::kInvalidArgument;
  CameraDescription description;
  std::string error;
  if (ParseCamera(text, description, error) != st::kOk) {
    std::lock_guard lock(mutex_);
    loadError_ = "camera: " + error;
    return st::kInvalidArgument;
  }
  std::lock_guard lock(mutex_);
  EnsureLoadedLocked();
  for (const auto& camera : cameras_) {
    if (camera->InterfaceName() == description.interfaceName || camera->Desc().serial == description.serial) {
      loadError_ = "camera: the name or serial number is taken";
      return st::kNameInUse;
    }
  }
  cameras_.push_back(std::make_shared<Camera>(std::move(description)));
  return st::kOk;
}

Status Driver::RemoveCamera(const char* name) {
  if (name == nullptr) return st::kInvalidArgument;
  std::lock_guard lock(mutex_);
  EnsureLoadedLocked();
  for (auto it = cameras_.begin(); it != cameras_.end(); ++it) {
    if ((*it)->InterfaceName() == name) {
      (*it)->removed = true;
      cameras_.erase(it);
      return st::kOk;
    }
  }
  return st::kCameraNotFound;
}

Status Driver::SetVersion(std::uint32_t version) {
  std::lock_guard lock(mutex_);
  EnsureLoadedLocked();
  if (version > kVariant.highestVersion) return st::kInvalidArgument;
  version_ = version;
  return st::kOk;
}

Status Driver::Inject(const char* function, Status status, std::uint32_t calls) {
  if (function == nullptr || !IsEntryPoint(function)) return st::kInvalidArgument;
  controls_.Inject(function, status, calls);
  return st::kOk;
}

Status Driver::SetDelay(const char* function, std::uint32_t milliseconds) {
  if (function == nullptr || !IsEntryPoint(function)) return st::kInvalidArgument;
  controls_.SetDelay(function, milliseconds);
  return st::kOk;
}

Status Driver::SetAttributeStatus(const char* camera, const char* attribute, Status status) {
  if (camera == nullptr || attribute == nullptr) return st::kInvalidArgument;
  std::lock_guard lock(mutex_);
  EnsureLoadedLocked();
  const auto found = FindCameraLocked(camera);
  if (!found) return st::kCameraNotFound;
  return found->SetAttributeStatus(attribute, status);
}

Status Driver::Stall(const char* camera, bool stalled) {
  if (camera == nullptr) return st::kInvalidArgument;
  std::lock_guard lock(mutex_);
  EnsureLoadedLocked();
  const auto found = FindCameraLocked(camera);
  if (!found) return st::kCameraNotFound;
  found->stalled = stalled;
  return st::kOk;
}

std::string Driver::CallLog() { return controls_.CallLog(); }

std::uint32_t Driver::CallCount(std::string_view function) { return controls_.CallCount(function); }

void Driver::ClearCallLog() { controls_.ClearCallLog(); }

// ---- Cameras and handles -----------------------------------------------------------

std::shared_ptr<Camera> Driver::FindCameraLocked(const std::string& name) {
  for (const auto& camera : cameras_) {
    if (camera->InterfaceName() == name) return camera;
  }
  // "uuid:" and the serial number in sixteen hexadecimal digits.
  if (name.size() == 21 && name.compare(0, 5, "uuid:") == 0) {
    const auto serial = ParseU64("0x" + name.substr(5));
    if (serial) {
      for (const auto& camera : cameras_) {
        if (camera->Desc().serial == *serial) return camera;
      }
    }
  }
  return nullptr;
}

Status Driver::FindHandleLocked(std::uint32_t handle, Camera*& camera, bool& monitor) {
  const auto found = handles_.find(handle);
  if (found == handles_.end()) return st::kInvalidHandle;
  if (found->second.camera->removed) return st::kCameraRemoved;
  camera = found->second.camera.get();
  monitor = found->second.monitor;
  return st::kOk;
}

Status Driver::EnumerateCameras(KELDnvCameraInformation* cameras, std::uint32_t* count) {
  if (count == nullptr) return st::kInvalidArgument;
  std::lock_guard lock(mutex_);
  if (cameras == nullptr) {
    *count = static_cast<std::uint32_t>(cameras_.size());
    return st::kOk;
  }
  const auto filled = static_cast<std::uint32_t>(std::min<std::size_t>(*count, cameras_.size()));
  for (std::uint32_t i = 0; i < filled; ++i) {
    const CameraDescription& camera = cameras_[i]->Desc();
    KELDnvCameraInformation record{};
    record.StructureSize = sizeof record;
    record.Index = i;
    record.Flags = camera.flags;
    record.SerialNumberHigh = static_cast<std::uint32_t>(camera.serial >> 32);
    record.SerialNumberLow = static_cast<std::uint32_t>(camera.serial);
    record.InterfaceType = camera.interfaceType;
    (void)CopyText(camera.interfaceName, record.InterfaceName, sizeof record.InterfaceName);  // all below 512
    (void)CopyText(camera.vendor, record.Vendor, sizeof record.Vendor);
    (void)CopyText(camera.model, record.Model, sizeof record.Model);
    (void)CopyText(Address(camera, i), record.Address, sizeof record.Address);
    std::memcpy(&cameras[i], &record, sizeof record);
  }
  *count = filled;
  return st::kOk;
}

Status Driver::DriverName(std::uint64_t serial, char* name, std::uint32_t size, bool second) {
  if (name == nullptr) return st::kInvalidArgument;
  std::lock_guard lock(mutex_);
  if (second && version_ < kDriverName2From) return st::kNotInThisVersion;
  for (const auto& camera : cameras_) {
    if (camera->Desc().serial == serial) return CopyText(second ? camera->DriverName() : "odkeldnv", name, size);
  }
  return st::kCameraNotFound;
}

Status Driver::CameraStatus(const char* name, std::uint8_t* present, std::uint32_t* state) {
  if (name == nullptr || present == nullptr || state == nullptr) return st::kInvalidArgument;
  std::lock_guard lock(mutex_);
  const auto camera = FindCameraLocked(name);
  *present = camera ? 1 : 0;
  *state = 0;
  if (camera) {
    if (camera->handles != 0) *state |= kStateOpen;
    if (camera->Running()) *state |= kStateAcquiring;
    if (camera->Desc().reserved) *state |= kStateReserved;
  }
  return st::kOk;
}

Status Driver::Open(const char* name, std::uint32_t flags, std::uint32_t* handle) {
  if (name == nullptr || handle == nullptr) return st::kInvalidArgument;
  std::lock_guard lock(mutex_);
  const auto camera = FindCameraLocked(name);
  if (!camera) return st::kCameraNotFound;
  const bool monitor = (flags & kMonitorFlag) != 0;
  if (!monitor && (camera->Desc().reserved || camera->controlHandles != 0)) return st::kCameraInUse;
  const std::uint32_t id = kHandleIds + ++nextHandle_;
  handles_[id] = Handle{camera, monitor};
  ++camera->handles;
  if (!monitor) ++camera->controlHandles;
  *handle = id;
  return st::kOk;
}

// Closing the last handle with control access takes the camera's
// acquisition down.
void Driver::CloseHandleLocked(std::uint32_t handle) {
  const auto found = handles_.find(handle);
  Camera& camera = *found->second.camera;
  --camera.handles;
  if (!found->second.monitor && --camera.controlHandles == 0) (void)camera.Unconfigure();  // cannot fail
  handles_.erase(found);
}

Status Driver::Close(std::uint32_t handle) {
  std::lock_guard lock(mutex_);
  if (handles_.count(handle) == 0) return st::kInvalidHandle;
  CloseHandleLocked(handle);
  return st::kOk;
}

Status Driver::Rename(std::uint32_t handle, const char* name) {
  std::lock_guard lock(mutex_);
  Camera* camera = nullptr;
  bool monitor = false;
  if (const Status status = FindHandleLocked(handle, camera, monitor); status != st::kOk) return status;
  if (monitor) return st::kMonitorAccess;
  if (!ValidName(name)) return st::kInvalidName;
  const auto other = FindCameraLocked(name);
  if (other && other.get() != camera) return st::kNameInUse;
  camera->Rename(name);
  WriteStateLocked();
  return st::kOk;
}

// ---- Attributes ----------------------------------------------------------------------

Status Driver::EnumerateAttributes(std::uint32_t handle, KELDnvAttributeInformation* list, std::uint32_t* count,
                                   const char* root, std::uint32_t visibility, bool third) {
  if (count == nullptr) return st::kInvalidArgument;
  return OnCamera(handle, [&](Camera& camera, bool monitor) -> Status {
    const std::string prefix = root == nullptr ? std::string() : std::string(root) + "::";
    std::vector<const CameraAttribute*> listed;
    for (const CameraAttribute& attribute : camera.Attributes()) {
      if (attribute.d.visibility > visibility) continue;
      if (!prefix.empty() && attribute.d.name.compare(0, prefix.size(), prefix) != 0) continue;
      listed.push_back(&attribute);
    }
    if (list == nullptr) {
      *count = static_cast<std::uint32_t>(listed.size());
      return st::kOk;
    }
    const auto filled = static_cast<std::uint32_t>(std::min<std::size_t>(*count, listed.size()));
    for (std::uint32_t i = 0; i < filled; ++i) {
      const CameraAttribute& attribute = *listed[i];
      KELDnvAttributeInformation record{};
      record.Type = static_cast<std::uint32_t>(attribute.d.kind);
      // The older listing knew no commands: they were flags to set.
      if (!third && attribute.d.kind == Kind::Command) record.Type = KELDNV_TYPE_BOOL;
      record.Visibility = attribute.d.visibility;
      record.Access = (camera.Readable(attribute) ? 1u : 0u) | (camera.Writable(attribute, monitor) ? 2u : 0u);
      (void)CopyText(attribute.d.name, record.Name, sizeof record.Name);  // names are below 512
      std::memcpy(&list[i], &record, sizeof record);
    }
    *count = filled;
    return st::kOk;
  });
}

Status Driver::SetAttribute(std::uint32_t handle, const char* name, std::uint32_t type, const void* value) {
  if (name == nullptr) return st::kInvalidArgument;
  std::lock_guard lock(mutex_);
  Camera* camera = nullptr;
  bool monitor = false;
  if (const Status status = FindHandleLocked(handle, camera, monitor); status != st::kOk) return status;
  const Status status = camera->Set(name, type, value, monitor);
  const CameraAttribute* attribute = camera->Find(name);
  if (status == st::kOk && attribute != nullptr &&
      (attribute->role == Role::UserSetSave || attribute->role == Role::UserSetDefault)) {
    WriteStateLocked();
  }
  return status;
}

std::string Driver::PathInFolder(const std::string& path) const {
  return fs::path(path).is_absolute() ? path : folder_ + "/" + path;
}

Status Driver::ReadFile(std::uint32_t handle, const char* path) {
  if (path == nullptr || path[0] == 0) return st::kInvalidArgument;
  return OnCamera(handle, [&](Camera& camera, bool monitor) -> Status {
    std::string text;
    if (!ReadWholeFile(PathInFolder(path), text)) return st::kFileOpen;
    return camera.ReadText(text, monitor);
  });
}

Status Driver::WriteFile(std::uint32_t handle, const char* path) {
  if (path == nullptr || path[0] == 0) return st::kInvalidArgument;
  return OnCamera(handle, [&](Camera& camera, bool /*monitor*/) -> Status {
    return WriteWholeFile(PathInFolder(path), camera.WriteText()) ? st::kOk : st::kFileOpen;
  });
}

Status Driver::ReadString(std::uint32_t handle, const char* text) {
  if (text == nullptr) return st::kInvalidArgument;
  return OnCamera(handle, [&](Camera& camera, bool monitor) -> Status { return camera.ReadText(text, monitor); });
}

Status Driver::WriteString(std::uint32_t handle, char** text) {
  if (text == nullptr) return st::kInvalidArgument;
  return OnCamera(handle, [&](Camera& camera, bool /*monitor*/) -> Status {
    const std::string written = camera.WriteText();
    auto* memory = static_cast<char*>(std::malloc(written.size() + 1));
    if (memory == nullptr) return st::kNoMemory;
    std::memcpy(memory, written.c_str(), written.size() + 1);
    lent_.insert(memory);
    *text = memory;
    return st::kOk;
  });
}

Status Driver::Dispose(void* memory) {
  if (memory == nullptr) return st::kOk;
  std::lock_guard lock(mutex_);
  if (lent_.erase(memory) == 0) return st::kInvalidArgument;
  std::free(memory);
  return st::kOk;
}

// The user sets: Default always, the others once saved; *current is the
// place of the one the camera starts with.
Status Driver::CameraFiles(std::uint32_t handle, KELDnvEnumItem_struct* items, std::uint32_t* count,
                           std::uint32_t* current) {
  if (count == nullptr) return st::kInvalidArgument;
  return OnCamera(handle, [&](Camera& camera, bool /*monitor*/) -> Status {
    std::vector<std::pair<std::int64_t, std::string>> sets = {{0, "Default"}};
    for (const auto& [set, settings] : camera.UserSets()) sets.emplace_back(set, "UserSet" + std::to_string(set));
    const std::int64_t start = camera.UserSetDefault();
    if (current != nullptr) {
      *current = 0;
      for (std::size_t i = 0; i < sets.size(); ++i) {
        if (sets[i].first == start) *current = static_cast<std::uint32_t>(i);
      }
    }
    if (items == nullptr) {
      *count = static_cast<std::uint32_t>(sets.size());
      return st::kOk;
    }
    const auto filled = static_cast<std::uint32_t>(std::min<std::size_t>(*count, sets.size()));
    for (std::uint32_t i = 0; i < filled; ++i) {
      KELDnvEnumItem_struct item{};
      const auto bits = static_cast<std::uint64_t>(sets[i].first);
      item.ValueLow = static_cast<std::uint32_t>(bits);
      item.ValueHigh = static_cast<std::uint32_t>(bits >> 32);
      (void)CopyText(sets[i].second, item.Name, sizeof item.Name);
      std::memcpy(&items[i], &item, sizeof item);
    }
    *count = filled;
    return st::kOk;
  });
}

// ---- Acquisition ---------------------------------------------------------------------

Status Driver::ConfigureGrab(std::uint32_t handle) {
  return OnCamera(handle, [&](Camera& camera, bool monitor) -> Status {
    if (monitor) return st::kMonitorAccess;
    if (camera.Running()) return st::kAcquiring;
    std::uint32_t buffers = 0;
    if (const Status status = camera.Get("AcquisitionAttributes::GrabBuffers", KELDNV_TYPE_U32, &buffers);
        status != st::kOk) {
      return status;
    }
    if (const Status status = camera.ConfigureBuffers(true, buffers); status != st::kOk) return status;
    return camera.Start();
  });
}

Status Driver::CopyImage(std::uint32_t handle, Image* image, std::uint32_t mode, std::uint32_t number,
                         std::uint32_t* actual) {
  if (actual == nullptr) return st::kInvalidArgument;
  std::unique_lock lock(mutex_);
  for (;;) {
    Camera* camera = nullptr;
    bool monitor = false;
    if (const Status status = FindHandleLocked(handle, camera, monitor); status != st::kOk) return status;
    if (IsImage(image) == 0) return st::kInvalidImage;
    std::uint32_t chosen = 0;
    bool wait = false;
    std::uint32_t wanted = 0;
    if (const Status status = camera->Choose(mode, number, chosen, wait, wanted); status != st::kOk) return status;
    if (wait) {
      std::chrono::steady_clock::time_point when;
      if (const Status status = camera->FrameTime(wanted, when); status != st::kOk) return status;
      const auto timeout = std::chrono::milliseconds(camera->TimeoutMs());
      const auto now = std::chrono::steady_clock::now();
      if (camera->stalled || when - now > timeout) {
        lock.unlock();
        std::this_thread::sleep_for(timeout);
        return st::kTimeout;
      }
      if (now < when) {
        // The frame clock: the lock goes while the camera exposes.
        lock.unlock();
        std::this_thread::sleep_until(when);
        lock.lock();
        continue;
      }
      if (const Status status = camera->ProduceUpTo(wanted); status != st::kOk) return status;
      if (mode == 3 || mode == 0 || mode == 1) {
        chosen = wanted;
      } else if (const Status again = camera->Choose(mode, number, chosen, wait, wanted); again != st::kOk || wait) {
        return again != st::kOk ? again : st::kInternal;
      }
    }
    if (const Status status = camera->CopyBuffer(chosen, image); status != st::kOk) return status;
    *actual = chosen;
    return st::kOk;
  }
}

// ---- Camera-link cameras ---------------------------------------------------------------

std::vector<Driver::CameraLinkFile> Driver::CameraLinkFilesLocked(const Camera& camera) const {
  std::vector<CameraLinkFile> files;
  std::error_code failed;
  for (const auto& entry : fs::directory_iterator(folder_ + "/" + kCameraLinkFolder, failed)) {
    if (!entry.is_regular_file() || entry.path().extension() != ".clf") continue;
    std::string text;
    CameraLinkFile file;
    if (!ReadWholeFile(entry.path().string(), text) || !ParseCameraLinkFile(text, file.camera, file.mode, file.detail)) {
      continue;
    }
    if (file.camera != "*" && file.camera != camera.Desc().model) continue;
    file.name = entry.path().filename().string();
    files.push_back(std::move(file));
  }
  std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  return files;
}

Status Driver::CameraLinkFiles(std::uint32_t handle, KELDnvCameraLinkFile* files, std::uint32_t* count) {
  if (count == nullptr) return st::kInvalidArgument;
  return OnCamera(handle, [&](Camera& camera, bool /*monitor*/) -> Status {
    if (camera.Desc().interfaceType != kCameraLink) return st::kNotCameraLink;
    const auto found = CameraLinkFilesLocked(camera);
    if (files == nullptr) {
      *count = static_cast<std::uint32_t>(found.size());
      return st::kOk;
    }
    const auto filled = static_cast<std::uint32_t>(std::min<std::size_t>(*count, found.size()));
    for (std::uint32_t i = 0; i < filled; ++i) {
      (void)CopyText(found[i].name, files[i][0], 512);  // cut where too long: the driver's own texts
      (void)CopyText(found[i].mode, files[i][1], 512);
      (void)CopyText(found[i].detail, files[i][2], 512);
    }
    *count = filled;
    return st::kOk;
  });
}

Status Driver::ChangeCameraLinkFile(std::uint32_t handle, const char* name) {
  if (name == nullptr) return st::kInvalidArgument;
  return OnCamera(handle, [&](Camera& camera, bool monitor) -> Status {
    if (camera.Desc().interfaceType != kCameraLink) return st::kNotCameraLink;
    if (monitor) return st::kMonitorAccess;
    if (camera.Running()) return st::kAcquiring;
    for (const CameraLinkFile& file : CameraLinkFilesLocked(camera)) {
      if (file.name != name) continue;
      camera.cameraFile = file.name;
      WriteStateLocked();
      return st::kOk;
    }
    return st::kCameraFileNotFound;
  });
}

Status Driver::CopyCameraLinkFile(std::uint32_t handle, const char* path) {
  if (path == nullptr || path[0] == 0) return st::kInvalidArgument;
  return OnCamera(handle, [&](Camera& camera, bool /*monitor*/) -> Status {
    if (camera.Desc().interfaceType != kCameraLink) return st::kNotCameraLink;
    std::string text;
    if (!ReadWholeFile(path, text)) return st::kFileOpen;
    std::string model;
    std::string mode;
    std::string detail;
    if (!ParseCameraLinkFile(text, model, mode, detail)) return st::kFileFormat;
    const std::string target = folder_ + "/" + kCameraLinkFolder + "/" + fs::path(path).filename().string();
    return WriteWholeFile(target, text) ? st::kOk : st::kFileOpen;
  });
}

Status Driver::RenameBoard(const char* oldName, const char* newName) {
  if (oldName == nullptr || newName == nullptr) return st::kInvalidArgument;
  if (!ValidName(newName)) return st::kInvalidName;
  std::lock_guard lock(mutex_);
  bool found = false;
  for (const auto& camera : cameras_) {
    if (camera->Desc().interfaceType != kCameraLink || camera->Desc().board != oldName) continue;
    camera->SetBoard(newName);
    found = true;
  }
  if (!found) return st::kBoardNotFound;
  WriteStateLocked();
  return st::kOk;
}

}  // namespace keldnvsim
