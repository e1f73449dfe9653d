// A session on one acquisition unit of a board: its execution state, its
// configuration (the interface file's part and the camera file's part), its
// attributes, its acquisitions, the camera's attribute tree, its trigger
// lines and its serial link to the camera.
//
// Execution states: 1 released, 16 configuring (the only state in which
// configuration attributes may be written), 256 ready (configuration
// checked and applied; images may be acquired). While an acquisition runs
// the state reads 0x100000 (buffer lists, rings, sequences) or 0x1000000
// (a continuous grab), and changes of state are refused with 0xBFF60021.
//
// Acquisitions follow the camera's frame clock. The buffers of an
// acquisition are filled when the driver is next asked about the session
// (any call on it), with every frame whose time has come; waiting for an
// image waits until its time. Nothing runs in the background. At a frame
// rate of 0 the camera is as fast as its user: a buffer completes when it is
// waited for, a grab or snap takes the next frame at once.
//
// Faults a test can cause: frames that are lost (their buffer numbers are
// passed over), transfers that fail (the buffer is reported failed), and a
// camera that stalls (no frame comes until it goes on; waits end in their
// time-out).
//
// Thread safety: every operation takes the session's own lock; waits
// release it. A session never takes the driver's global lock.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/board.h"
#include "core/camera_file.h"
#include "core/data_folder.h"
#include "core/frames.h"
#include "core/memory.h"
#include "core/status.h"

namespace keldsim {

using AttributeValue = std::variant<std::uint32_t, double, std::uint64_t, std::string, std::vector<std::uint32_t>>;

// The driver's type codes of attributes.
namespace type {
inline constexpr std::uint32_t kU32 = 1;
inline constexpr std::uint32_t kF64 = 2;
inline constexpr std::uint32_t kLines = 3;     // 64 u32
inline constexpr std::uint32_t kRect = 4;      // 6 u32
inline constexpr std::uint32_t kString = 5;    // 512 characters
inline constexpr std::uint32_t kWaveform = 6;  // 32 u32
inline constexpr std::uint32_t kU64 = 7;
}  // namespace type
inline constexpr std::size_t kStringBytes = 512;

namespace state {
inline constexpr std::uint32_t kReleased = 1;
inline constexpr std::uint32_t kConfiguring = 16;
inline constexpr std::uint32_t kReady = 256;
inline constexpr std::uint32_t kAcquiringBuffers = 0x100000;
inline constexpr std::uint32_t kGrabbing = 0x1000000;
}  // namespace state

// Items of a buffer list element.
namespace item {
inline constexpr std::uint32_t kAddress = 0x3FF6007E;
inline constexpr std::uint32_t kCommand = 0x3FF6007F;
inline constexpr std::uint32_t kSize = 0x3FF60082;
inline constexpr std::uint32_t kNext = 1;  // command: go on to the next element
inline constexpr std::uint32_t kLoop = 2;  // command: loop back to the first
}  // namespace item

// One element of a buffer list, resolved when the list is bound to a session.
struct ListedBuffer {
  std::uint8_t* address = nullptr;
  std::size_t size = 0;
  std::uint32_t command = 0;
  std::shared_ptr<DriverMemory> owner;  // set where the driver made the buffer
};

// One trigger line's setting: the five words of kldSessionTriggerConfigure3
// (line, polarity, action, signal type, time-out), its delay and its flags.
struct TriggerSetting {
  std::uint32_t words[5] = {0, 0, 0, 0, 0};
  double delay = 0;
  std::uint32_t flags = 0;
};

class Session {
 public:
  Session(std::uint32_t id, std::shared_ptr<Board> board, std::uint32_t unit, DataFolder folder);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  const std::uint32_t id;
  const std::shared_ptr<Board> board;
  const std::uint32_t unit;
  const DataFolder folder;

  // Loads the configuration of a new session: from `interfaceFile` (a
  // session opened by interface name), else from the board's active file
  // `activeFile`, else the default camera file on every port.
  Status Open(const std::string& interfaceFile, const std::string& activeFile);
  // Ends every acquisition and frees what the session holds.
  void Close();

  // ---- State and configuration (session_config.cpp)
  Status GetExecutionState(std::uint32_t& value);
  Status ChangeExecutionState(std::uint32_t value);
  Status Validate();
  Status LoadInterfaceConfig(const std::string& path);
  Status LoadCameraConfig(const std::string& path);
  Status StoreInterfaceConfig(const std::string& path);
  Status StoreCameraConfig(const std::string& path);
  Status LoadConfiguration(const std::string& path);
  Status LoadCameraConfigFromText(std::string_view text);
  Status StoreCameraConfigToText(std::string& text);
  // Does the camera file suit this board; its two texts where asked for.
  Status CameraFileInfo(const std::string& file, std::uint32_t& suits, std::string* modeName, std::string* detail);

  // ---- Attributes (session_attributes.cpp)
  Status GetAttribute(std::uint32_t key, void* value);
  Status SetAttribute(std::uint32_t key, const void* value);
  // Records of (type code, key); `count` in: room, out: records written.
  Status ListAttributes(std::uint32_t* records, std::uint32_t& count);

  // ---- Acquisition (session_acquisition.cpp)
  Status BufferSize(std::uint32_t& bytes);
  Status Snap(void** pixels, std::uint32_t top, std::uint32_t left, std::uint32_t height, std::uint32_t width,
              std::uint32_t rowPixels);
  Status GrabSetup(std::uint32_t flags);
  Status Grab(void** pixels, std::uint32_t wait, std::uint32_t top, std::uint32_t left, std::uint32_t height,
              std::uint32_t width, std::uint32_t rowPixels);
  Status ConfigureList(std::uint32_t list, std::vector<ListedBuffer> listed);
  Status Acquire(std::uint32_t async);
  Status StartAcquisition();
  Status StopAcquisition();
  Status RingSetup(std::uint32_t count, void** buffers, std::uint32_t startNow, std::uint32_t skip);
  Status SequenceSetup(std::uint32_t count, void** buffers, const std::uint32_t* skips, std::uint32_t startNow,
                       std::uint32_t firstSkip);
  Status CopyArea(std::uint32_t buffer, std::uint32_t top, std::uint32_t left, std::uint32_t height,
                  std::uint32_t width, void* pixels, std::uint32_t rowPixels, std::uint32_t mode);
  // `pixels` is an image object of the image library where `imageObject`.
  Status CopyAreaByNumber(std::uint32_t number, std::uint32_t top, std::uint32_t left, std::uint32_t height,
                          std::uint32_t width, void* pixels, std::uint32_t rowPixels, std::uint32_t mode,
                          bool imageObject, std::uint32_t* found, Status* bufferStatus);
  Status AutoExposure(double& level, double& exposure);
  // Is the memory, or the buffer list, in use by a running acquisition.
  bool RunsWithMemory(const void* address);
  bool RunsWithList(std::uint32_t list);
  // Forgets a buffer list that is being disposed of.
  void ForgetList(std::uint32_t list);

  // ---- Camera attribute tree (session_camera.cpp)
  Status CameraRoots(std::uint32_t* count, std::uint32_t* ids);
  Status CameraInfo(std::uint32_t id, std::uint32_t* nameSize, char* name, std::uint32_t* kind);
  Status CameraValues(std::uint32_t id, std::uint32_t* count, std::uint32_t* ids);
  Status CameraChildren(std::uint32_t id, const char* value, std::uint32_t* count, std::uint32_t* ids);
  Status CameraUnits(std::uint32_t id, std::uint32_t* size, char* units);
  Status CameraNumeric(std::uint32_t id, int what,
                       std::uint32_t* raw);  // 0 min, 1 max, 2 precision, 3 increment, 4 default
  Status CameraFormatted(std::uint32_t id, std::uint32_t raw, double& value);
  Status CameraIncrement(std::uint32_t id, double& value);
  Status CameraStringDefault(std::uint32_t id, std::uint32_t* size, char* text);
  Status GetCameraNumeric(const char* name, double& value);
  Status GetCameraString(const char* name, char* text, std::uint32_t size);
  Status SetCameraNumeric(const char* name, double value);
  Status SetCameraString(const char* name, const char* text);

  // ---- Triggers, serial link, lighting (session_io.cpp)
  Status TriggerConfigure(const TriggerSetting& setting);
  Status TriggerGet(std::uint32_t line, TriggerSetting& setting);
  Status TriggerDrive(std::uint32_t line, std::uint32_t signalType, std::uint32_t signal, std::uint32_t polarity);
  Status TriggerRead(std::uint32_t line, std::uint32_t signalType, std::uint32_t polarity, std::uint32_t& level);
  Status TriggerRoute(std::uint32_t line, std::uint32_t signalType, std::uint32_t sourceLine, std::uint32_t sourceType);
  Status TriggerClear();
  Status LineTriggerSource(std::uint32_t line, std::uint32_t signalType, std::uint32_t polarity, std::uint32_t divider);
  Status EncoderReset();
  Status SerialError(char* text, std::uint32_t* size);
  Status SetSerialError(std::string text);
  Status LoadLightingLimits(const void* entry);
  Status FpgaClassSupported(std::uint32_t classNumber, std::uint32_t& supported);
  // ---- Faults (keldsim_control.h)
  // The next `lost` frames are lost, the `failed` frames after them fail.
  Status AddFrameFaults(std::uint32_t lost, std::uint32_t failed);
  Status SetStalled(bool stalled);

  // The levels of the board's pulse outputs, set by the driver's pulses.
  void SetPulseLine(std::uint32_t line, bool running);
  Status Alive();

 private:
  using Clock = std::chrono::steady_clock;
  enum class Kind { kNone, kGrab, kList, kRing, kSequence };

  struct Slot {
    std::uint8_t* memory = nullptr;
    std::size_t size = 0;
    std::shared_ptr<DriverMemory> owner;
    bool holds = false;
    bool failed = false;  // its transfer failed
    std::uint32_t number = 0;
    std::uint64_t timestamp = 0;
  };

  // One acquisition: its buffers, the order they are filled in, and its
  // clock. Buffer n (counted from 0 since the start) shows camera frame
  // frameBase + Offset(n) and is complete at start + (Offset(n) + 1) periods.
  struct Acquisition {
    Kind kind = Kind::kNone;
    bool running = false;
    std::uint64_t generation = 0;
    std::uint32_t list = 0;
    std::vector<Slot> slots;
    std::vector<std::uint32_t> order;  // slot of each step of one round
    bool continuous = false;
    std::uint32_t skip = 0;              // frames skipped between buffers (rings)
    std::vector<std::uint64_t> offsets;  // frame offsets of a sequence
    std::uint32_t startSkip = 0;         // frames skipped before the first buffer
    Clock::time_point start;
    Clock::duration period{};
    bool unlimited = false;  // frame rate 0: a frame whenever one is asked for
    std::uint32_t frameBase = 0;
    std::uint64_t done = 0;          // buffers complete so far
    std::set<std::uint64_t> lost;    // buffers whose frame was lost
    std::set<std::uint64_t> failed;  // buffers whose transfer failed
    std::int64_t delivered = -1;     // last buffer a grab delivered
    FrameGeometry geometry;
    std::size_t stride = 0;  // bytes between lines in the buffers

    std::uint64_t Total() const;
    std::uint64_t Offset(std::uint64_t n) const;
    std::uint64_t CompleteAfter(std::uint64_t frames) const;
    Slot& SlotOf(std::uint64_t n) { return slots[order[n % order.size()]]; }
  };

  using Lock = std::unique_lock<std::mutex>;

  // session_config.cpp
  Status LiveLocked() const;
  Status LoadInterfaceLocked(const std::string& path);
  Status LoadCameraLocked(const std::string& name);
  void ResetInterfaceValues();
  void ResetCameraValues();
  void ApplySettings(const std::vector<std::pair<std::uint32_t, std::string>>& settings, bool cameraFile);
  Status CheckConfigurationLocked(const CameraModel*& camera, CameraModel& replacement);
  Status CommitLocked();
  CameraModel CameraWithSettings() const;
  std::string DefaultCameraFile() const;
  std::uint32_t Port() const { return unit; }
  void RebuildTreeIds();

  // session_attributes.cpp
  FrameGeometry Geometry() const;
  std::uint32_t U32(std::uint32_t key) const;
  double F64(std::uint32_t key) const;
  std::uint32_t RowPixels() const;

  // session_acquisition.cpp
  void CatchUpLocked(Clock::time_point now);
  // Completes the buffers up to `complete` (not included).
  void AdvanceLocked(std::uint64_t complete, Clock::time_point now);
  // The camera's time: while it stalls, the moment it stopped.
  Clock::time_point CameraTime(Clock::time_point now) const;
  // Gives the faults still to come to buffers from..to, in order.
  void AssignFaultsLocked(std::uint64_t from, std::uint64_t to);
  Status CopyFrameOf(std::uint64_t n, std::uint32_t top, std::uint32_t left, std::uint32_t height, std::uint32_t width,
                     void* pixels, std::uint32_t rowPixels, bool imageObject);
  void FinishLocked();
  void StopLocked(Clock::time_point now);
  Status StartLocked(Kind kind);
  Status WaitForBufferLocked(Lock& lock, std::uint64_t n, Clock::time_point deadline);
  Status CheckArea(std::uint32_t top, std::uint32_t left, std::uint32_t height, std::uint32_t width,
                   std::uint32_t rowPixels, const FrameGeometry& geometry) const;
  // Draws frame `frame` and writes the area of it at top/left, height by
  // width pixels, to `target`, whose lines are `targetStride` bytes apart.
  Status RenderArea(const FrameGeometry& geometry, std::uint32_t frame, std::uint32_t top, std::uint32_t left,
                    std::uint32_t height, std::uint32_t width, std::uint8_t* target, std::size_t targetStride);
  Status CopyOut(const Slot& slot, const FrameGeometry& geometry, std::size_t stride, std::uint32_t top,
                 std::uint32_t left, std::uint32_t height, std::uint32_t width, void* pixels, std::uint32_t rowPixels,
                 bool imageObject);
  Clock::time_point Deadline() const;
  Status ReadyForImages() const;
  // A live session of a board with a camera, which is not acquiring and is
  // in the state for images (the acquisition brought up to now first).
  Status IdleCameraLocked();
  // A ring's or a sequence's acquisition of `count` buffers in the camera's
  // present geometry: the caller's buffers, or the driver's own where the
  // caller gives none (written back into `buffers` once all are had).
  Status BufferAcquisitionLocked(Kind kind, std::uint32_t count, void** buffers, Acquisition* acquisition);
  void StopAcquisitionLocked();

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool closed_ = false;
  std::uint32_t state_ = state::kReady;

  // Configuration.
  std::string interfaceFile_;  // normalized name with ".iid", empty if none
  std::vector<std::string> ports_;
  CameraModel camera_;
  std::string cameraFile_;  // the camera file loaded, normalized
  std::map<std::uint32_t, AttributeValue> values_;
  bool interfaceChanged_ = false;
  struct TreeId {
    std::uint32_t attribute;
    std::int32_t value;  // -1 for the attribute itself
  };
  std::map<std::uint32_t, TreeId> treeIds_;
  std::vector<std::uint32_t> attributeIds_;
  std::vector<std::vector<std::uint32_t>> valueIds_;

  // Images.
  FrameRenderer renderer_;
  Acquisition acquisition_;
  std::uint32_t frameCounter_ = 0;
  std::optional<std::uint32_t> lastNumber_;
  std::uint64_t lastTimestamp_ = 0;
  std::shared_ptr<DriverMemory> snapMemory_;
  std::uint64_t framesAcquired_ = 0;  // all frames the unit has taken
  std::uint64_t encoderBase_ = 0;
  std::uint32_t pendingLost_ = 0, pendingFailed_ = 0;
  std::optional<Clock::time_point> stalledSince_;

  // Lines and the serial link.
  std::map<std::uint32_t, TriggerSetting> triggers_;
  struct Drive {
    std::uint32_t type = 0, signal = 0, polarity = 0;
  };
  std::map<std::uint32_t, Drive> drives_;
  struct Route {
    std::uint32_t type = 0, sourceLine = 0, sourceType = 0;
  };
  std::map<std::uint32_t, Route> routes_;
  std::map<std::uint32_t, bool> pulseLines_;
  struct LineSource {
    std::uint32_t line = 0, type = 0, polarity = 0, divider = 1;
  };
  std::optional<LineSource> lineSource_;
  std::string serialError_;

  std::uint32_t LineLevelLocked(std::uint32_t line, std::uint32_t depth) const;
};

// The driver's version word now in force (session code reads it at each use).
std::uint32_t DriverVersion();

}  // namespace keldsim
