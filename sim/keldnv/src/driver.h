// The simulated network and USB camera driver as a whole: its description
// and cameras, the handles it hands out, its data folder (camera-link camera
// files, and what cameras remember), the texts it lends, and the controls
// for tests (injected statuses, delays, attribute faults, stalls, the call
// log). One instance per loaded driver, made at the first call and never
// destroyed, so that calls during the process's exit still find it.
//
// Locking: `mutex_` guards everything of the driver and its cameras; waits
// for a camera's frame clock, a stall or a delay happen outside it. The
// control lock guards the call log, injections and delays alone.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "call_controls.h"
#include "camera.h"
#include "description.h"
#include "local/keldnv/keldnv_driver_api.h"
#include "status.h"

namespace keldnvsim {

// What sets the driver variants apart; variant.cpp defines it.
struct Variant {
  const char* name;
  std::uint32_t defaultVersion;
  std::uint32_t highestVersion;  // the highest word the variant can stand for
  const char* const* missing;    // entry points the variant does not have
  std::size_t missingCount;
};
extern const Variant kVariant;

bool IsEntryPoint(std::string_view name);

// Versions from which the driver has a function.
inline constexpr std::uint32_t kRepresentationFrom = 0x03010000;
inline constexpr std::uint32_t kDescriptionsFrom = 0x03100000;
inline constexpr std::uint32_t kEnumerateAttributes3From = 0x03900008;
inline constexpr std::uint32_t kDriverName2From = 0x04400000;

class Driver {
 public:
  static Driver& Get();

  // At the start of every entry point: notes the call (with `arguments`
  // behind its name where they are given), waits a delay set for it,
  // answers a status injected into it, and reads the description at the
  // first call. A non-zero status ends the call.
  Status Enter(const char* function, const std::string& arguments = {});
  std::uint32_t Version();
  Status ErrorString(Status status, char* text, std::uint32_t size);

  // ---- Cameras
  Status EnumerateCameras(KELDnvCameraInformation* cameras, std::uint32_t* count);
  Status DriverName(std::uint64_t serial, char* name, std::uint32_t size, bool second);
  Status CameraStatus(const char* name, std::uint8_t* present, std::uint32_t* state);
  Status Open(const char* name, std::uint32_t flags, std::uint32_t* handle);
  Status Close(std::uint32_t handle);
  Status Rename(std::uint32_t handle, const char* name);

  // Runs `body(camera, monitor)` under the driver's lock on the camera of
  // an open handle.
  template <typename Body>
  Status OnCamera(std::uint32_t handle, Body&& body) {
    std::unique_lock lock(mutex_);
    Camera* camera = nullptr;
    bool monitor = false;
    if (const Status status = FindHandleLocked(handle, camera, monitor); status != st::kOk) return status;
    return body(*camera, monitor);
  }

  // ---- Attributes
  Status EnumerateAttributes(std::uint32_t handle, KELDnvAttributeInformation* list, std::uint32_t* count,
                             const char* root, std::uint32_t visibility, bool third);
  Status SetAttribute(std::uint32_t handle, const char* name, std::uint32_t type, const void* value);
  Status ReadFile(std::uint32_t handle, const char* path);
  Status WriteFile(std::uint32_t handle, const char* path);
  Status ReadString(std::uint32_t handle, const char* text);
  Status WriteString(std::uint32_t handle, char** text);
  Status Dispose(void* memory);
  Status CameraFiles(std::uint32_t handle, KELDnvEnumItem_struct* items, std::uint32_t* count,
                     std::uint32_t* current);

  // ---- Acquisition
  Status ConfigureGrab(std::uint32_t handle);
  // Copies a buffer chosen by `mode` and `number` into `image`, waiting for
  // it where it has not come yet.
  Status CopyImage(std::uint32_t handle, Image* image, std::uint32_t mode, std::uint32_t number,
                   std::uint32_t* actual);

  // ---- Camera-link cameras
  Status CameraLinkFiles(std::uint32_t handle, KELDnvCameraLinkFile* files, std::uint32_t* count);
  Status ChangeCameraLinkFile(std::uint32_t handle, const char* name);
  Status CopyCameraLinkFile(std::uint32_t handle, const char* path);
  Status RenameBoard(const char* oldName, const char* newName);

  // ---- Controls for tests
  Status Reset(const char* descriptionJson, const char* dataFolder);
  std::string LastError();
  Status AddCamera(const char* text);
  Status RemoveCamera(const char* name);
  Status SetVersion(std::uint32_t version);
  Status Inject(const char* function, Status status, std::uint32_t calls);
  Status SetDelay(const char* function, std::uint32_t milliseconds);
  Status SetAttributeStatus(const char* camera, const char* attribute, Status status);
  Status Stall(const char* camera, bool stalled);
  std::string CallLog();
  std::uint32_t CallCount(std::string_view function);
  void ClearCallLog();

 private:
  Driver() = default;

  struct Handle {
    std::shared_ptr<Camera> camera;
    bool monitor = false;
  };
  // A camera-link camera file of the data folder.
  struct CameraLinkFile {
    std::string name, camera, mode, detail;
  };

  void EnsureLoadedLocked();
  Status LoadLocked(const char* descriptionJson, const char* dataFolder);
  Status FindHandleLocked(std::uint32_t handle, Camera*& camera, bool& monitor);
  std::shared_ptr<Camera> FindCameraLocked(const std::string& name);
  std::string PathInFolder(const std::string& path) const;
  void SeedFolderLocked();
  std::vector<CameraLinkFile> CameraLinkFilesLocked(const Camera& camera) const;
  void ReadStateLocked();
  void WriteStateLocked() const;
  void CloseHandleLocked(std::uint32_t handle);

  std::mutex mutex_;
  bool loaded_ = false;
  Status loadStatus_ = st::kOk;
  std::string loadError_;
  std::uint32_t version_ = 0;
  std::string folder_;
  std::vector<std::shared_ptr<Camera>> cameras_;
  std::map<std::uint32_t, Handle> handles_;
  std::set<void*> lent_;
  std::uint32_t nextHandle_ = 0;

  keldsim_support::CallControls controls_;
};

// Writes a text into a buffer of `size` bytes; a text that does not fit is
// cut and answered with 0xBFF69025.
Status CopyText(const std::string& text, char* out, std::uint32_t size);

}  // namespace keldnvsim
