// LocalDeviceConfigSession: what the three local driver sessions share. It
// serves the session interface in this process and is also the target's
// half of the command protocol: ExecuteCommand runs one numbered command
// against the session's own operations through the handlers below.
//
// A session on a target can run a background image thread that grabs image
// after image and keeps the newest one flattened in `reply`, so that a
// remote client watching a live image pays one copy per request instead of
// one acquisition. `imageLock` guards the carrier, the reply and the start
// of the thread; the thread is stopped around the commands that could clash
// with it (see the step column of the operation table).
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "foundation/byte_stream.h"
#include "image/cfg_image.h"
#include "platform/thread.h"
#include "session/config_session.h"

namespace keld {

// Bits of a session's acquisition flags.
namespace acquisition_flags {
inline constexpr std::uint32_t kFlattenImage = 1u << 0;  // a reply to an image command holds the image
inline constexpr std::uint32_t kShowImage = 1u << 1;     // show each image on the target
inline constexpr std::uint32_t kNoSyncGrab = 1u << 2;    // a grab without the thread fetches no image
inline constexpr std::uint32_t kStreamForm = 1u << 3;    // images travel in the stream form
inline constexpr std::uint32_t kBayerDecode = 1u << 4;   // decode raw Bayer frames to colour
}  // namespace acquisition_flags

// Where the blocks of a target's grab replies come back to.
class ImageBlocks;

class LocalDeviceConfigSession : public DeviceConfigSession, public iThread {
 public:
  LocalDeviceConfigSession(const char* interfaceName, Status* status);
  ~LocalDeviceConfigSession() override;

  // A driver session that is not bound to its driver yet opens nothing.
  Status Open() override { return kNotSupported; }
  Status Close() override { return kNotSupported; }
  bool IsRemote() override { return false; }
  // Runs command `command`: the input is read from its start, the output
  // starts empty and belongs to the caller afterwards (released with free).
  // 59 and numbers above 74 answer 0xBFFF8003.
  Status ExecuteCommand(std::uint32_t command, ByteStream* input, ByteStream* output) override;

  // First-group operations: "not supported" unless the driver session
  // overrides them; the local base serves the LOCAL ones itself.
#define KELD_LOCAL_DEFAULT(group, name, command, handle, step, target, client, ...) \
  KELD_LOCAL_DEFAULT_##group(name, __VA_ARGS__)
#define KELD_LOCAL_DEFAULT_ROOT(name, ...)
#define KELD_LOCAL_DEFAULT_FIRST(name, ...) \
  Status name(KELD_PARAM_TYPES(__VA_ARGS__)) override { return kNotSupported; }
#define KELD_LOCAL_DEFAULT_LOCAL(name, ...) Status name(KELD_PARAMS(__VA_ARGS__)) override;
#define KELD_LOCAL_DEFAULT_BASE(name, ...)
#define KELD_LOCAL_DEFAULT_OPTIONAL(name, ...)
  KELD_DEVICE_OPERATIONS(KELD_LOCAL_DEFAULT)
#undef KELD_LOCAL_DEFAULT
#undef KELD_LOCAL_DEFAULT_ROOT
#undef KELD_LOCAL_DEFAULT_FIRST
#undef KELD_LOCAL_DEFAULT_LOCAL
#undef KELD_LOCAL_DEFAULT_BASE
#undef KELD_LOCAL_DEFAULT_OPTIONAL

  // The command handlers, in the order of the operation table. Each reads
  // its inputs, calls its operation and writes its outputs; the frame-grabber
  // and the network and USB handlers answer 0xBFFF8011 here and are served
  // by those sessions.
#define KELD_LOCAL_HANDLER(group, name, command, handle, step, target, client, ...) \
  KELD_LOCAL_HANDLER_##target(name)
#define KELD_LOCAL_HANDLER_Handler(name) virtual Status Handle##name(ByteStream* input, ByteStream* output);
#define KELD_LOCAL_HANDLER_HandlerCustom(name) virtual Status Handle##name(ByteStream* input, ByteStream* output);
#define KELD_LOCAL_HANDLER_HandlerWithFlags(name) virtual Status Handle##name(ByteStream* input, bool hasFlags);
#define KELD_LOCAL_HANDLER_Direct(name)
#define KELD_LOCAL_HANDLER_KeldHandler(name) \
  virtual Status Handle##name(ByteStream* /*input*/, ByteStream* /*output*/) { return kNotSupported; }
#define KELD_LOCAL_HANDLER_KeldHandlerCustom(name) KELD_LOCAL_HANDLER_KeldHandler(name)
#define KELD_LOCAL_HANDLER_NvHandlerCustom(name) KELD_LOCAL_HANDLER_KeldHandler(name)
#define KELD_LOCAL_HANDLER_NoTarget(name)
  KELD_DEVICE_OPERATIONS(KELD_LOCAL_HANDLER)
#undef KELD_LOCAL_HANDLER

  // Geometry of the session's images for the target's display: true where
  // the session knows all three. The base knows none and gives zeros.
  virtual bool GetImageGeometry(std::uint32_t* width, std::uint32_t* height, std::uint32_t* typeOfImage);

  // The background image thread. Start runs with imageLock held and the
  // carrier owning an image; it starts a thread only where none exists and
  // the flags ask for a flattened or shown image. Stop waits for the thread.
  Status StartImageThread();
  void StopImageThread();
  void ThreadBody() override;
  bool ImageThreadExists() const { return threadController_ != nullptr; }

  // Read by the background thread while commands may set it.
  std::atomic<std::uint32_t> acquisitionFlags{0};
  CfgImage carrier;
  std::uint32_t lastBufferNumber = 0;

 protected:
  // Held while the reply, its buffer number, the thread's controller and
  // the thread's status are used. The thread grabs and flattens without it
  // and takes it to hand over each finished reply.
  std::mutex imageLock_;
  std::unique_ptr<ThreadController> threadController_;
  // Status of the thread's last round; what a grab answers while it exists.
  Status replyStatus_ = kSuccess;
  // True from the start of the thread until its stop or its first failure;
  // cleared by the stop without the lock, which the thread may hold.
  std::atomic<bool> threadRunning_{false};
  // The newest image in flattened form behind the number of its buffer, and
  // whether no grab command has answered with it yet.
  ByteStream reply_;
  bool replyFresh_ = false;
  // Blocks of replies that grab commands answered with: a fresh image of a
  // thread at work is lent to the grab's reply rather than copied into it,
  // and its block comes back here once it is sent, for the thread to flatten
  // into again (or for a grab after the thread's failure, which answers with
  // the last image).
  std::shared_ptr<ImageBlocks> imageBlocks_;
  // Grab commands (and others that use the carrier) on their way into the
  // lock, and grab commands inside it waiting for an image; and whether the
  // thread has an answer for them (an image not given yet, or a failure).
  // The thread lets such commands in before its next round: a mutex makes
  // no promise of fairness, and a thread whose rounds follow each other at
  // once would otherwise keep a command out for many rounds instead of at
  // most the one in progress.
  std::atomic<std::uint32_t> grabsArriving_{0};
  std::atomic<std::uint32_t> grabsAwaitingImage_{0};
  std::atomic<bool> answerReady_{false};
  // Set while the thread grabs into or flattens the carrier without the
  // lock: a command that would use the carrier itself, after the thread's
  // stop, waits for the end of that round (roundDone_ tells it).
  bool threadInRound_ = false;
  // Counts the starts of the thread: a thread that was stopped by one
  // command while another started the next ends at its next round even
  // though threadRunning_ is set again.
  std::atomic<std::uint32_t> threadGeneration_{0};
  // The image lock, taken between two of the thread's rounds: a command that
  // uses the carrier while the thread may run holds it for as long.
  std::unique_lock<std::mutex> LockCarrier();
  // Told at the end of each of the thread's rounds and when it is stopped:
  // a grab that comes before the thread's first image waits for it, as a
  // successful reply must carry an image.
  std::condition_variable roundDone_;
};

// The most a command's reply may grow to for registers, blocks and tables
// that a peer asks for: more is refused as a reply that cannot grow
// (0xBFFF8005) before anything is allocated. A server may set it lower (or
// higher) for the whole process; 256 MiB lets a firmware image be read back
// whole.
inline constexpr std::uint64_t kDefaultLargestReply = 256u * 1024 * 1024;
std::uint64_t LargestReply();
void SetLargestReply(std::uint64_t bytes);

// Word of the target's display mode for an image: width/8, height/8, 0x3C,
// then the bits per pixel, highest byte first. The size is that of the first
// standard mode that holds the image, else of the largest.
std::uint32_t DisplayModeWord(std::uint32_t width, std::uint32_t height, std::uint32_t typeOfImage);

}  // namespace keld
