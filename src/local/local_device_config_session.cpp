#include "local/local_device_config_session.h"

#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include "attributes/attribute.h"
#include "local/image_blocks.h"
#include "odvissvc/odvissvc.h"

namespace keld {

namespace {

constexpr std::size_t kCopyChunk = 4096;

// Writes all of `size` bytes; false on a failed or short write.
bool WriteAll(int fd, const char* data, std::size_t size) {
  const ssize_t written = write(fd, data, size);
  return written >= 0 && static_cast<std::size_t>(written) == size;
}

// One read that a signal does not break off.
ssize_t ReadSome(int fd, char* buffer, std::size_t size) {
  ssize_t got;
  do {
    got = read(fd, buffer, size);
  } while (got < 0 && errno == EINTR);
  return got;
}

}  // namespace

namespace {
std::atomic<std::uint64_t> largestReply{kDefaultLargestReply};
}  // namespace

std::uint64_t LargestReply() { return largestReply.load(std::memory_order_relaxed); }
void SetLargestReply(std::uint64_t bytes) { largestReply.store(bytes, std::memory_order_relaxed); }

LocalDeviceConfigSession::LocalDeviceConfigSession(const char* name, Status* status)
    : DeviceConfigSession(name, status), imageBlocks_(std::make_shared<ImageBlocks>()) {}

LocalDeviceConfigSession::~LocalDeviceConfigSession() {
  StopImageThread();
  // The last flattened image goes with the session.
  reply_.Reset();
}

Status LocalDeviceConfigSession::CommitAttributes() {
  // Every changed attribute is written; a failure doesn't stop the walk.
  Status result = kSuccess;
  for (const auto& entry : attributes.ByKeyIndex()) {
    if (entry->IsDirty() == 0) continue;
    KeepFirstFailure(&result, WriteAttribute(entry.get()));
  }
  return result;
}

Status LocalDeviceConfigSession::GetImageCompression(std::uint32_t* type, std::uint32_t* quality) {
  *type = CfgImage::compressionType;
  *quality = CfgImage::compressionQuality;
  return kSuccess;
}

Status LocalDeviceConfigSession::SetImageCompression(std::uint32_t type, std::uint32_t quality) {
  // Process-wide: every session of this process flattens with it.
  CfgImage::compressionType = type;
  CfgImage::compressionQuality = quality;
  return kSuccess;
}

Status LocalDeviceConfigSession::CopyFile(const char* source, const char* destination) {
  // A missing name is an empty one, as it arrives on a target where a
  // remote client sent it: the copy then fails as the file cannot be opened.
  if (source == nullptr) source = "";
  if (destination == nullptr) destination = "";
  // Names that differ only in case are taken for the same file.
  if (strcasecmp(source, destination) == 0) return kSuccess;
  const int out = open(destination, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (out < 0) return kOutOfMemory;
  const int in = open(source, O_RDONLY | O_CLOEXEC);
  if (in < 0) {
    close(out);
    return kSessionNotConfigured;
  }
  Status status = kSuccess;
  char buffer[kCopyChunk];
  for (;;) {
    // A failed read ends the copy like the end of the file: what was copied stays.
    const ssize_t got = ReadSome(in, buffer, sizeof buffer);
    if (got <= 0) break;
    if (!WriteAll(out, buffer, static_cast<std::size_t>(got))) {
      status = kSessionNotConfigured;
      break;
    }
  }
  close(in);
  if (close(out) != 0 && status == kSuccess) status = kSessionNotConfigured;
  return status;
}

Status LocalDeviceConfigSession::SetAcquisitionFlags(std::uint32_t flags) {
  acquisitionFlags = flags;
  return kSuccess;
}

bool LocalDeviceConfigSession::GetImageGeometry(std::uint32_t* width, std::uint32_t* height,
                                                std::uint32_t* typeOfImage) {
  *width = 0;
  *height = 0;
  *typeOfImage = 0;
  return false;
}

Status LocalDeviceConfigSession::StartImageThread() {
  if (threadController_ != nullptr || threadRunning_) return kSuccess;
  if ((acquisitionFlags & (acquisition_flags::kFlattenImage | acquisition_flags::kShowImage)) == 0) {
    return kSuccess;  // nothing the thread would be for
  }
  reply_.Reset();
  // An image given by an earlier run is no answer of this one.
  imageBlocks_->Retire();
  replyFresh_ = false;
  replyStatus_ = kSuccess;
  answerReady_ = false;
  threadGeneration_.fetch_add(1);
  threadRunning_ = true;
  threadController_ = ThreadController::Create(this);
  // Without a thread, grabs take their synchronous way.
  threadRunning_ = threadController_ != nullptr;
  return kSuccess;
}

void LocalDeviceConfigSession::StopImageThread() {
  threadRunning_ = false;
  // Taken out under the lock, so that of two commands stopping at once only
  // one waits for the thread, and a grab sees either the thread or none.
  std::unique_ptr<ThreadController> controller;
  {
    std::lock_guard<std::mutex> guard(imageLock_);
    controller = std::move(threadController_);
  }
  roundDone_.notify_all();
  if (controller != nullptr) controller->Wait();
}

std::unique_lock<std::mutex> LocalDeviceConfigSession::LockCarrier() {
  // Counted with the grabs on their way in, so that the thread lets this
  // command in before its next round.
  grabsArriving_.fetch_add(1);
  std::unique_lock<std::mutex> guard(imageLock_);
  roundDone_.wait(guard, [this] { return !threadInRound_; });
  grabsArriving_.fetch_sub(1);
  return guard;
}

void LocalDeviceConfigSession::ThreadBody() {
  SetThreadCore(0);
  // Each round waits for the camera's next image and flattens it without the
  // image lock, into a stream of the thread's own, and takes the lock only to
  // trade that stream for the reply. A grab command answers at once with a
  // finished image no grab has had yet, and otherwise waits for the next one:
  // it neither waits for a flattening while a new image is ready nor gets
  // an image twice from a camera slower than its client. The carrier is the
  // thread's alone while it runs.
  ByteStream pending;
  std::uint32_t number = 0;
  std::uint32_t generation = 0;
  {
    std::lock_guard<std::mutex> guard(imageLock_);
    number = lastBufferNumber;
    generation = threadGeneration_.load();
  }
  while (threadRunning_ && threadGeneration_.load() == generation) {
    if (grabsArriving_.load() != 0 || (grabsAwaitingImage_.load() != 0 && answerReady_.load())) {
      std::this_thread::yield();
      continue;
    }
    std::unique_lock<std::mutex> guard(imageLock_);
    if (!threadRunning_ || threadGeneration_.load() != generation) break;
    const std::uint32_t flags = acquisitionFlags;
    Status status = replyStatus_;
    const bool flatten = (flags & acquisition_flags::kFlattenImage) != 0;
    if (status == kSuccess) {
      threadInRound_ = true;
      guard.unlock();
      status = GrabImage(&number, carrier.GetImage());
      if (status == kSuccess && (flags & acquisition_flags::kShowImage) != 0) status = carrier.Show();
      if (status == kSuccess && flatten) {
        // The buffer number first, then the image, over the block of an
        // earlier image where one has come back.
        imageBlocks_->TakeSpare(&pending);
        if (pending.size < sizeof number) status = pending.Extend(sizeof number - pending.size);
        if (status == kSuccess) {
          pending.Truncate(sizeof number);
          std::memcpy(pending.data, &number, sizeof number);
          status = carrier.Flatten(&pending, (flags & acquisition_flags::kStreamForm) != 0);
        }
      }
      guard.lock();
      threadInRound_ = false;
      if (flatten && status == kSuccess) {
        std::swap(reply_, pending);
        imageBlocks_->Retire();
      }
    }
    lastBufferNumber = number;
    replyStatus_ = status;
    // A failed round ends the thread; the status is what grabs answer until
    // the next stop and start.
    if (status != kSuccess) threadRunning_ = false;
    if (flatten || status != kSuccess) {
      replyFresh_ = true;
      answerReady_ = true;
    }
    roundDone_.notify_all();
  }
  pending.Reset();
}

std::uint32_t DisplayModeWord(std::uint32_t width, std::uint32_t height, std::uint32_t typeOfImage) {
  struct Mode {
    std::uint32_t width;
    std::uint32_t height;
  };
  constexpr Mode kModes[] = {{640, 480}, {800, 600}, {1024, 768}, {1280, 1024}};
  Mode chosen = kModes[std::size(kModes) - 1];
  for (const Mode& mode : kModes) {
    if (width <= mode.width && height <= mode.height) {
      chosen = mode;
      break;
    }
  }
  std::uint32_t bits = 8;
  if (typeOfImage == 4 || typeOfImage == 6) bits = 32;
  if (typeOfImage == 1 || typeOfImage == 7) bits = 16;
  return (chosen.width / 8) << 24 | (chosen.height / 8) << 16 | 0x3C << 8 | bits;
}

}  // namespace keld
