// One simulated camera: its attribute tree with values, limits, flags and
// texts; the state that changes what may be written (an acquisition in
// progress locks the image format); its acquisition into buffers of the
// driver or into a ring of the caller's images; its registers, user sets
// and, for a camera-link camera, its camera file and board.
//
// A camera sends an image when one is asked for, no sooner than its frame
// clock allows (AcquisitionFrameRate, where AcquisitionFrameRateEnable is
// set): the images an application sees are the same whatever the timing,
// which keeps tests of it repeatable. Each image shows the image library's
// test pattern at the sensor's size, moved by the camera's frame counter,
// cut to the window (OffsetX, OffsetY, Width, Height), mirrored where
// ReverseX is set, brightened by exposure and gain; and its first pixels
// carry the frame counter: for U8 and U16 the four bytes of the counter
// (least significant first) in pixels 0 to 3 of the first line, shifted to
// the top of the bit depth; for RGB32 the four bytes of pixel 0.
//
// Not thread-safe: the driver calls it under its lock.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "description.h"
#include "status.h"

struct Image;

namespace keldnvsim {

// What an attribute does beyond holding its value.
enum class Role {
  None,
  Vendor,
  Model,
  Serial,
  Temperature,
  SensorWidth,
  SensorHeight,
  Width,
  Height,
  OffsetX,
  OffsetY,
  PixelFormat,
  ReverseX,
  Exposure,
  FrameRate,
  FrameRateEnable,
  AcquisitionStatus,
  Gain,
  FrameCounter,
  FrameCounterReset,
  UserSetSelector,
  UserSetLoad,
  UserSetSave,
  UserSetDefault,
  DeviceReset,
  PayloadSize,
  TypeOfImageInUse,
  Timeout,
  LastBufferNumber,
  GrabBuffers,
};

// Visibility levels of this driver.
inline constexpr std::uint32_t kBeginner = 0x1000;
inline constexpr std::uint32_t kExpert = 0x2000;
inline constexpr std::uint32_t kGuru = 0x4000;
inline constexpr std::uint32_t kInvisible = 0x8000000;

// Representations of a number.
inline constexpr std::uint32_t kLinear = 0;
inline constexpr std::uint32_t kLogarithmic = 1;
inline constexpr std::uint32_t kPureNumber = 3;
inline constexpr std::uint32_t kHexNumber = 4;

struct CameraAttribute {
  AttributeDescription d;  // properties, and the present value
  Role role = Role::None;
  bool lockedWhileAcquiring = false;
  Status readStatus = st::kOk;  // injected by a test
  // The factory value, for user set Default and a device reset.
  std::int64_t factoryInt = 0;
  double factoryFloat = 0;
  std::string factoryText;
};

// How one image is made: the window and format at the time it was taken.
struct FrameSettings {
  std::uint32_t counter = 0;  // the camera's frame counter, stamped into the pixels
  std::uint32_t width = 0, height = 0, offsetX = 0, offsetY = 0;
  std::uint32_t imageType = 0, bitDepth = 8;
  double brightness = 1;
  bool reverseX = false;
};

class Camera {
 public:
  explicit Camera(CameraDescription description);
  ~Camera();
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  const CameraDescription& Desc() const { return desc_; }
  const std::string& InterfaceName() const { return desc_.interfaceName; }
  void Rename(const std::string& name) { desc_.interfaceName = name; }
  void SetBoard(const std::string& board) { desc_.board = board; }
  std::string DriverName() const;

  // ---- Attributes (by full name, by short name, or by a tail of the path
  // after "::", without regard to case)
  CameraAttribute* Find(const std::string& name);
  const std::vector<CameraAttribute>& Attributes() const { return attributes_; }
  bool Readable(const CameraAttribute& attribute) const;
  bool Writable(const CameraAttribute& attribute, bool monitor) const;
  Status Get(const std::string& name, std::uint32_t type, void* value);
  Status Set(const std::string& name, std::uint32_t type, const void* value, bool monitor);
  // which: 0 minimum, 1 maximum, 2 increment.
  Status Limit(const std::string& name, std::uint32_t type, int which, void* value);
  // The value as the attribute files write it, and back.
  std::string ValueText(const CameraAttribute& attribute);
  Status SetFromText(CameraAttribute& attribute, const std::string& text, bool monitor);
  // Attributes worth keeping in a file or a user set: readable and
  // writable values of no role of their own, and the image format.
  bool Persistent(const CameraAttribute& attribute) const;
  Status SetAttributeStatus(const std::string& name, Status status);

  // ---- Attribute files and user sets
  std::string WriteText();
  Status ReadText(const std::string& text, bool monitor);
  const std::map<std::int64_t, std::string>& UserSets() const { return userSets_; }
  void SetUserSets(std::map<std::int64_t, std::string> sets) { userSets_ = std::move(sets); }
  std::int64_t UserSetDefault();
  void SetUserSetDefault(std::int64_t set);

  // ---- Images
  std::uint32_t ImageType() const;
  std::uint32_t BitDepth() const;
  FrameSettings NextFrame();  // takes the next frame counter
  Status Render(const FrameSettings& frame, Image* target);
  Status Snap(Image* image);
  Status WhiteBalance(double& red, double& green, double& blue);

  // ---- Acquisition
  bool Configured() const { return acquisition_.mode != Mode::None; }
  bool Running() const { return acquisition_.running; }
  std::uint64_t Generation() const { return acquisition_.generation; }
  Status ConfigureBuffers(bool continuous, std::uint32_t count);
  Status ConfigureRing(Image** images, std::uint32_t count);
  Status Start();
  Status Stop();
  Status Unconfigure();
  // The time at which buffer `number` may be taken (now where the frame
  // clock is off), or a failure where it never comes.
  Status FrameTime(std::uint32_t number, std::chrono::steady_clock::time_point& when) const;
  // Buffer numbers up to `number` are taken.
  Status ProduceUpTo(std::uint32_t number);
  // Which buffer a copy of `mode` and `number` takes, or that it must wait
  // for buffer *wanted to come first.
  Status Choose(std::uint32_t mode, std::uint32_t number, std::uint32_t& chosen, bool& wait,
                std::uint32_t& wanted) const;
  Status CopyBuffer(std::uint32_t number, Image* image);
  std::uint32_t Produced() const { return acquisition_.produced; }
  std::uint32_t TimeoutMs();

  // ---- Registers
  Status ReadRegister(std::uint32_t address, std::uint32_t& value);
  Status WriteRegister(std::uint32_t address, std::uint32_t value);

  // ---- Camera link
  std::string cameraFile;  // the camera-link camera file in use

  bool removed = false;
  bool stalled = false;
  std::uint32_t handles = 0;         // open handles
  std::uint32_t controlHandles = 0;  // of them with control access

 private:
  enum class Mode { None, Buffers, Ring };
  struct Slot {
    bool filled = false;
    std::uint32_t number = 0;
    FrameSettings frame;
  };
  struct Acquisition {
    Mode mode = Mode::None;
    bool continuous = true;
    bool running = false;
    std::vector<Slot> slots;
    std::vector<Image*> ring;  // the caller's images
    std::uint32_t produced = 0;
    std::int64_t lastCopied = -1;
    std::chrono::steady_clock::time_point start;
    std::uint64_t generation = 0;
  };

  void Add(CameraAttribute attribute);
  void BuildTree();
  void AddExtraAttributes();
  void ResetToFactory();
  CameraAttribute* ByRole(Role role);
  std::int64_t IntOf(Role role);
  double FloatOf(Role role);
  // The bounds that hold now, for attributes whose range moves.
  void IntRange(const CameraAttribute& attribute, std::int64_t& minimum, std::int64_t& maximum);
  Status CheckInt(const CameraAttribute& attribute, std::int64_t value);
  Status Execute(CameraAttribute& attribute);
  void Computed(CameraAttribute& attribute);
  Status RenderScene(const FrameSettings& frame);

  CameraDescription desc_;
  std::vector<CameraAttribute> attributes_;
  std::unordered_map<std::string, std::size_t> byName_;
  std::unordered_multimap<std::string, std::size_t> byShortName_;
  std::map<std::int64_t, std::string> userSets_;  // set number: attribute text
  std::uint32_t frameCounter_ = 0;
  std::map<std::uint32_t, std::uint32_t> registers_;
  Acquisition acquisition_;
  Image* scene_ = nullptr;
  bool sceneValid_ = false;
  std::uint32_t sceneCounter_ = 0, sceneType_ = 0, sceneDepth_ = 0;
};

}  // namespace keldnvsim
