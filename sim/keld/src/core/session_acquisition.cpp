// Acquisition: snaps, continuous grabs, buffer lists, rings and sequences,
// and the copies out of their buffers.
//
// The camera's clock runs at the session's frame rate from the start of an
// acquisition. Buffer n of it holds camera frame frameBase + Offset(n) and is
// complete one frame period after that frame began. A call on the session
// fills every buffer whose time has come (only the newest round of a ring
// is drawn; older rounds would be overwritten anyway); a wait for a buffer
// sleeps until its time, or until the session's time-out (0x3FF60070).
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/attribute_table.h"
#include "core/session.h"
#include "odvissvc/odvissvc.h"

namespace keldsim {
namespace {

constexpr std::uint64_t kEndless = ~std::uint64_t{0};

std::uint64_t Nanoseconds(std::chrono::steady_clock::time_point time) {
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count());
}

}  // namespace

std::uint64_t Session::Acquisition::Total() const {
  if (continuous) return kEndless;
  return kind == Kind::kSequence ? offsets.size() : order.size();
}

std::uint64_t Session::Acquisition::Offset(std::uint64_t n) const {
  if (kind == Kind::kSequence) return startSkip + offsets[n];
  return startSkip + n * (std::uint64_t{skip} + 1);
}

std::uint64_t Session::Acquisition::CompleteAfter(std::uint64_t frames) const {
  if (frames == 0) return 0;
  if (kind == Kind::kSequence) {
    if (frames - 1 < startSkip) return 0;
    const std::uint64_t last = frames - 1 - startSkip;
    return static_cast<std::uint64_t>(std::upper_bound(offsets.begin(), offsets.end(), last) - offsets.begin());
  }
  if (frames < std::uint64_t{startSkip} + 1) return 0;
  return std::min(Total(), (frames - 1 - startSkip) / (std::uint64_t{skip} + 1) + 1);
}

Status Session::ReadyForImages() const { return state_ == state::kReady ? st::kOk : st::kNotInThisState; }

Status Session::IdleCameraLocked() {
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (board->desc.phantom) return st::kNotSupported;  // no camera behind a phantom board
  CatchUpLocked(Clock::now());
  if (acquisition_.running) return st::kAcquiring;
  return ReadyForImages();
}

Session::Clock::time_point Session::Deadline() const {
  return Clock::now() + std::chrono::milliseconds(U32(key::kTimeout));
}

Status Session::BufferSize(std::uint32_t& bytes) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  const FrameGeometry geometry = Geometry();
  const std::uint64_t size = std::uint64_t{RowPixels()} * geometry.height * geometry.PixelBytes();
  if (size > 0xFFFFFFFFu) return st::kConfigurationInvalid;
  bytes = static_cast<std::uint32_t>(size);
  return st::kOk;
}

Status Session::CheckArea(std::uint32_t top, std::uint32_t left, std::uint32_t height, std::uint32_t width,
                          std::uint32_t rowPixels, const FrameGeometry& geometry) const {
  if (height == 0 || width == 0) return st::kInvalidArgument;
  if (std::uint64_t{top} + height > geometry.height || std::uint64_t{left} + width > geometry.width) {
    return st::kInvalidArgument;
  }
  if (rowPixels != 0 && rowPixels < width) return st::kInvalidArgument;
  return st::kOk;
}

// ---- The clock of a running acquisition

void Session::FinishLocked() {
  Acquisition& a = acquisition_;
  a.running = false;
  frameCounter_ = a.frameBase + static_cast<std::uint32_t>(a.done > 0 ? a.Offset(a.done - 1) + 1 : a.startSkip);
  changed_.notify_all();
}

Session::Clock::time_point Session::CameraTime(Clock::time_point now) const {
  return stalledSince_ ? std::min(now, *stalledSince_) : now;
}

void Session::AssignFaultsLocked(std::uint64_t from, std::uint64_t to) {
  Acquisition& a = acquisition_;
  for (std::uint64_t n = from; n < to && (pendingLost_ != 0 || pendingFailed_ != 0); ++n) {
    if (pendingLost_ != 0) {
      --pendingLost_;
      a.lost.insert(n);
    } else {
      --pendingFailed_;
      a.failed.insert(n);
    }
  }
}

void Session::CatchUpLocked(Clock::time_point now) {
  Acquisition& a = acquisition_;
  if (!a.running || a.kind == Kind::kGrab) return;
  if (!a.unlimited) {
    const Clock::time_point cameraTime = CameraTime(now);
    const std::uint64_t frames =
        cameraTime > a.start ? static_cast<std::uint64_t>((cameraTime - a.start) / a.period) : 0;
    AdvanceLocked(a.CompleteAfter(frames), now);
  }
  if (a.done == a.Total()) FinishLocked();
}

void Session::AdvanceLocked(std::uint64_t complete, Clock::time_point now) {
  Acquisition& a = acquisition_;
  if (complete <= a.done) return;
  auto stamp = [&a, now](std::uint64_t n) {
    return a.unlimited ? Nanoseconds(now)
                       : Nanoseconds(a.start + a.period * static_cast<std::int64_t>(a.Offset(n) + 1));
  };
  AssignFaultsLocked(a.done, complete);
  const std::uint64_t round = a.order.size();
  const std::uint64_t from = std::max(a.done, complete > round ? complete - round : 0);
  for (std::uint64_t n = from; n < complete; ++n) {
    if (a.lost.count(n) != 0) continue;  // nothing came: the buffer keeps what it had
    Slot& slot = a.SlotOf(n);
    // A failure to draw (memory for the scene) leaves the buffer as it was;
    // it still counts as acquired, as a frame with lost pixels would.
    (void)renderer_.Render(a.geometry, a.frameBase + static_cast<std::uint32_t>(a.Offset(n)), slot.memory, a.stride);
    slot.holds = true;
    slot.failed = a.failed.count(n) != 0;
    slot.number = static_cast<std::uint32_t>(n);
    slot.timestamp = stamp(n);
  }
  framesAcquired_ += complete - a.done;
  a.done = complete;
  // The last buffer acquired: a lost one was not.
  for (std::uint64_t n = complete; n > 0; --n) {
    if (a.lost.count(n - 1) == 0) {
      lastNumber_ = static_cast<std::uint32_t>(n - 1);
      lastTimestamp_ = stamp(n - 1);
      break;
    }
  }
  changed_.notify_all();
}

void Session::StopLocked(Clock::time_point now) {
  CatchUpLocked(now);
  if (acquisition_.running) FinishLocked();
}

void Session::StopAcquisitionLocked() { StopLocked(Clock::now()); }

Status Session::StartLocked(Kind kind) {
  if (const Status status = ReadyForImages(); status != st::kOk) return status;
  Acquisition& a = acquisition_;
  const FrameGeometry geometry = Geometry();
  const std::size_t stride = std::size_t{RowPixels()} * geometry.PixelBytes();
  if (kind != Kind::kGrab) {
    const std::size_t need = stride * geometry.height;
    for (const std::uint32_t slot : a.order) {
      if (a.slots[slot].size < need) return st::kBufferTooSmall;
    }
  }
  a.kind = kind;
  a.geometry = geometry;
  a.stride = stride;
  const double rate = F64(key::kFrameRate);
  a.unlimited = rate <= 0;
  a.period = a.unlimited ? Clock::duration(1)
                         : std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / rate));
  if (a.period.count() <= 0) a.period = Clock::duration(1);
  a.frameBase = frameCounter_;
  a.startSkip = U32(key::kSkipFrames);
  values_[key::kSkipFrames] = std::uint32_t{0};
  a.done = 0;
  a.delivered = -1;
  a.lost.clear();
  a.failed.clear();
  ++a.generation;
  for (Slot& slot : a.slots) {
    slot.holds = false;
    slot.failed = false;
  }
  lastNumber_.reset();
  // A stalled camera starts when it goes on.
  a.start = CameraTime(Clock::now());
  a.running = true;
  changed_.notify_all();
  return st::kOk;
}

Status Session::WaitForBufferLocked(Lock& lock, std::uint64_t n, Clock::time_point deadline) {
  const std::uint64_t generation = acquisition_.generation;
  while (true) {
    if (const Status status = LiveLocked(); status != st::kOk) return status;
    if (acquisition_.generation != generation) return st::kAcquisitionEnded;
    const Clock::time_point now = Clock::now();
    CatchUpLocked(now);
    Acquisition& a = acquisition_;
    if (a.unlimited && a.running && !stalledSince_ && n >= a.done && n < a.Total()) {
      AdvanceLocked(n + 1, now);  // as fast as it is asked for
      if (a.done == a.Total()) FinishLocked();
    }
    if (n < a.done) {
      if (a.lost.count(n) != 0) return st::kFrameLost;
      const Slot& slot = a.SlotOf(n);
      return slot.holds && slot.number == static_cast<std::uint32_t>(n) ? st::kOk : st::kBufferOverwritten;
    }
    if (!a.running || n >= a.Total()) return st::kAcquisitionEnded;
    if (now >= deadline) return st::kTimeout;
    // While the camera stalls nothing is due; going on wakes the wait.
    const Clock::time_point due =
        stalledSince_ ? deadline : a.start + a.period * static_cast<std::int64_t>(a.Offset(n) + 1);
    changed_.wait_until(lock, std::min(due, deadline));
  }
}

// ---- Snap and grab

Status Session::Snap(void** pixels, std::uint32_t top, std::uint32_t left, std::uint32_t height, std::uint32_t width,
                     std::uint32_t rowPixels) {
  Lock lock(mutex_);
  if (const Status status = IdleCameraLocked(); status != st::kOk) return status;
  if (pixels == nullptr) return st::kInvalidArgument;
  const FrameGeometry geometry = Geometry();
  if (const Status status = CheckArea(top, left, height, width, rowPixels, geometry); status != st::kOk) return status;
  if (rowPixels == 0) rowPixels = width;
  std::uint32_t frame = frameCounter_ + U32(key::kSkipFrames);
  values_[key::kSkipFrames] = std::uint32_t{0};
  // The snap lasts one frame, exposure and read-out; a stalled camera sends
  // nothing until it goes on or the time-out ends the wait.
  const Clock::time_point deadline = Deadline();
  const double rate = F64(key::kFrameRate);
  if (rate > 0) {
    const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / rate));
    changed_.wait_for(lock, period, [this] { return closed_; });
  }
  while (stalledSince_ && !closed_) {
    if (Clock::now() >= deadline) return st::kTimeout;
    changed_.wait_until(lock, deadline);
  }
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (acquisition_.running) return st::kAcquiring;
  // Lost frames pass; the snap takes the next one that comes.
  frame += pendingLost_;
  pendingLost_ = 0;
  if (pendingFailed_ != 0) {
    --pendingFailed_;
    frameCounter_ = frame + 1;
    ++framesAcquired_;
    return st::kTransferFailed;
  }

  const std::size_t pixelBytes = geometry.PixelBytes();
  const std::size_t targetStride = std::size_t{rowPixels} * pixelBytes;
  if (*pixels == nullptr) {
    const std::size_t need = std::max(std::size_t{RowPixels()} * geometry.height * pixelBytes, targetStride * height);
    if (!snapMemory_ || snapMemory_->size() < need) {
      snapMemory_.reset();
      snapMemory_ = AllocateDriverMemory(need);
      if (!snapMemory_) return st::kNoMemory;
    }
    *pixels = snapMemory_->data();
  }
  const Status status = RenderArea(geometry, frame, top, left, height, width, static_cast<std::uint8_t*>(*pixels),
                                   targetStride);
  if (status != st::kOk) return status;
  frameCounter_ = frame + 1;
  ++framesAcquired_;
  return st::kOk;
}

Status Session::RenderArea(const FrameGeometry& geometry, std::uint32_t frame, std::uint32_t top, std::uint32_t left,
                           std::uint32_t height, std::uint32_t width, std::uint8_t* target, std::size_t targetStride) {
  if (top == 0 && left == 0 && height == geometry.height && width == geometry.width) {
    return renderer_.Render(geometry, frame, target, targetStride);
  }
  // A part of the frame: drawn whole, then cut out.
  const std::size_t pixelBytes = geometry.PixelBytes();
  const std::size_t stride = std::size_t{geometry.width} * pixelBytes;
  std::vector<std::uint8_t> frameBytes(stride * geometry.height);
  if (const Status status = renderer_.Render(geometry, frame, frameBytes.data(), stride); status != st::kOk) {
    return status;
  }
  CopyRows(frameBytes.data() + top * stride + left * pixelBytes, stride, target, targetStride, width * pixelBytes,
           height);
  return st::kOk;
}

Status Session::GrabSetup(std::uint32_t flags) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (board->desc.phantom) return st::kNotSupported;  // no camera behind a phantom board
  CatchUpLocked(Clock::now());
  if (flags != 1) return st::kInvalidArgument;
  if (acquisition_.running && acquisition_.kind != Kind::kGrab) return st::kAcquiring;
  if (const Status status = ReadyForImages(); status != st::kOk) return status;
  StopLocked(Clock::now());
  const std::uint64_t generation = acquisition_.generation;
  acquisition_ = Acquisition{};
  acquisition_.generation = generation;
  acquisition_.continuous = true;
  return StartLocked(Kind::kGrab);
}

Status Session::Grab(void** pixels, std::uint32_t wait, std::uint32_t top, std::uint32_t left, std::uint32_t height,
                     std::uint32_t width, std::uint32_t rowPixels) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  if (acquisition_.kind != Kind::kGrab || !acquisition_.running) return st::kNotConfigured;
  if (pixels == nullptr || *pixels == nullptr || wait > 1) return st::kInvalidArgument;
  const FrameGeometry geometry = acquisition_.geometry;
  if (const Status status = CheckArea(top, left, height, width, rowPixels, geometry); status != st::kOk) return status;
  if (rowPixels == 0) rowPixels = width;

  const std::uint64_t generation = acquisition_.generation;
  const Clock::time_point deadline = Deadline();
  std::uint64_t target = 0;
  {
    const Acquisition& a = acquisition_;
    const Clock::time_point cameraTime = CameraTime(Clock::now());
    const std::uint64_t complete =
        a.CompleteAfter(cameraTime > a.start ? static_cast<std::uint64_t>((cameraTime - a.start) / a.period) : 0);
    if (a.unlimited) {
      target = static_cast<std::uint64_t>(a.delivered + 1);  // the next frame, at once
    } else if (wait == 0) {
      if (complete == 0) return st::kNoImageYet;
      target = complete - 1;
    } else {
      // The newest image, but never one already delivered.
      target = std::max<std::uint64_t>(static_cast<std::uint64_t>(a.delivered + 1), complete == 0 ? 0 : complete - 1);
    }
  }
  while (true) {
    if (const Status status = LiveLocked(); status != st::kOk) return status;
    if (acquisition_.generation != generation || !acquisition_.running) return st::kAcquisitionEnded;
    Acquisition& a = acquisition_;
    const Clock::time_point now = Clock::now();
    const Clock::time_point due =
        a.unlimited ? now : a.start + a.period * static_cast<std::int64_t>(a.Offset(target) + 1);
    if (!stalledSince_ && now >= due) {
      if (pendingLost_ == 0) break;
      // This frame is lost: its number passes, and the next one is awaited.
      --pendingLost_;
      a.lost.insert(target);
      ++target;
      continue;
    }
    if (now >= deadline) return st::kTimeout;
    changed_.wait_until(lock, stalledSince_ ? deadline : std::min(due, deadline));
  }
  if (pendingFailed_ != 0) {
    --pendingFailed_;
    Acquisition& a = acquisition_;
    a.failed.insert(target);
    framesAcquired_ += target + 1 - a.done;
    a.delivered = static_cast<std::int64_t>(target);
    a.done = target + 1;
    return st::kTransferFailed;
  }

  Acquisition& a = acquisition_;
  const std::uint32_t frame = a.frameBase + static_cast<std::uint32_t>(a.Offset(target));
  const std::size_t pixelBytes = geometry.PixelBytes();
  const std::size_t targetStride = std::size_t{rowPixels} * pixelBytes;
  const Status status = RenderArea(geometry, frame, top, left, height, width, static_cast<std::uint8_t*>(*pixels),
                                   targetStride);
  if (status != st::kOk) return status;
  framesAcquired_ += target + 1 - a.done;
  a.delivered = static_cast<std::int64_t>(target);
  a.done = target + 1;
  lastNumber_ = static_cast<std::uint32_t>(target);
  lastTimestamp_ = a.unlimited ? Nanoseconds(Clock::now())
                               : Nanoseconds(a.start + a.period * static_cast<std::int64_t>(a.Offset(target) + 1));
  return st::kOk;
}

// ---- Buffer lists, rings and sequences

Status Session::ConfigureList(std::uint32_t list, std::vector<ListedBuffer> listed) {
  Lock lock(mutex_);
  if (const Status status = IdleCameraLocked(); status != st::kOk) return status;
  if (listed.empty()) return st::kInvalidBufferList;
  // The order of one round: from the first element on, until an element
  // that loops back or the end of the list.
  std::vector<std::uint32_t> order;
  bool continuous = false;
  for (std::uint32_t i = 0; i < listed.size(); ++i) {
    const ListedBuffer& buffer = listed[i];
    const bool knownCommand = buffer.command == item::kNext || buffer.command == item::kLoop;
    if (buffer.address == nullptr || buffer.size == 0 || !knownCommand) {
      return st::kInvalidBufferList;
    }
    order.push_back(i);
    if (buffer.command == item::kLoop) {
      continuous = true;
      break;
    }
  }
  const FrameGeometry geometry = Geometry();
  const std::size_t need = std::size_t{RowPixels()} * geometry.height * geometry.PixelBytes();
  for (const std::uint32_t i : order) {
    if (listed[i].size < need) return st::kBufferTooSmall;
  }
  const std::uint64_t generation = acquisition_.generation + 1;
  acquisition_ = Acquisition{};
  acquisition_.generation = generation;
  acquisition_.kind = Kind::kList;
  acquisition_.list = list;
  acquisition_.continuous = continuous;
  acquisition_.order = std::move(order);
  acquisition_.geometry = geometry;
  acquisition_.stride = std::size_t{RowPixels()} * geometry.PixelBytes();
  for (ListedBuffer& buffer : listed) {
    Slot slot;
    slot.memory = buffer.address;
    slot.size = buffer.size;
    slot.owner = std::move(buffer.owner);
    acquisition_.slots.push_back(std::move(slot));
  }
  changed_.notify_all();
  return st::kOk;
}

Status Session::Acquire(std::uint32_t async) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  if (acquisition_.kind != Kind::kList) return st::kNotConfigured;
  if (acquisition_.running) return st::kAcquiring;
  if (async == 0 && acquisition_.continuous) return st::kInvalidArgument;
  if (const Status status = StartLocked(Kind::kList); status != st::kOk) return status;
  if (async != 0) return st::kOk;
  // Synchronous: back when the last buffer is full.
  return WaitForBufferLocked(lock, acquisition_.Total() - 1, Clock::time_point::max());
}

Status Session::StartAcquisition() {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  if (acquisition_.kind == Kind::kNone || acquisition_.kind == Kind::kGrab) return st::kNotConfigured;
  if (acquisition_.running) return st::kAcquiring;
  return StartLocked(acquisition_.kind);
}

Status Session::StopAcquisition() {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  StopLocked(Clock::now());
  return st::kOk;
}

Status Session::RingSetup(std::uint32_t count, void** buffers, std::uint32_t startNow, std::uint32_t skip) {
  Lock lock(mutex_);
  if (const Status status = IdleCameraLocked(); status != st::kOk) return status;
  if (count == 0 || count > 4096 || buffers == nullptr || skip > 1000) return st::kInvalidArgument;
  Acquisition ring;
  ring.continuous = true;
  ring.skip = skip;
  if (const Status status = BufferAcquisitionLocked(Kind::kRing, count, buffers, &ring); status != st::kOk) {
    return status;
  }
  acquisition_ = std::move(ring);
  changed_.notify_all();
  return startNow != 0 ? StartLocked(Kind::kRing) : st::kOk;
}

Status Session::SequenceSetup(std::uint32_t count, void** buffers, const std::uint32_t* skips, std::uint32_t startNow,
                              std::uint32_t firstSkip) {
  Lock lock(mutex_);
  if (const Status status = IdleCameraLocked(); status != st::kOk) return status;
  if (count == 0 || count > 4096 || buffers == nullptr || firstSkip > 1000) return st::kInvalidArgument;
  Acquisition sequence;
  std::uint64_t offset = firstSkip;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (skips != nullptr) {
      if (skips[i] > 1000) return st::kInvalidArgument;
      offset += skips[i];
    }
    sequence.offsets.push_back(offset++);
  }
  if (const Status status = BufferAcquisitionLocked(Kind::kSequence, count, buffers, &sequence); status != st::kOk) {
    return status;
  }
  acquisition_ = std::move(sequence);
  changed_.notify_all();
  return startNow != 0 ? StartLocked(Kind::kSequence) : st::kOk;
}

Status Session::BufferAcquisitionLocked(Kind kind, std::uint32_t count, void** buffers, Acquisition* acquisition) {
  const FrameGeometry geometry = Geometry();
  const std::size_t need = std::size_t{RowPixels()} * geometry.height * geometry.PixelBytes();
  acquisition->generation = acquisition_.generation + 1;
  acquisition->kind = kind;
  acquisition->geometry = geometry;
  acquisition->stride = std::size_t{RowPixels()} * geometry.PixelBytes();
  for (std::uint32_t i = 0; i < count; ++i) {
    Slot slot;
    slot.size = need;
    if (buffers[i] == nullptr) {
      slot.owner = AllocateDriverMemory(need);
      if (!slot.owner) return st::kNoMemory;
      slot.memory = slot.owner->data();
    } else {
      slot.memory = static_cast<std::uint8_t*>(buffers[i]);
    }
    acquisition->slots.push_back(std::move(slot));
    acquisition->order.push_back(i);
  }
  for (std::uint32_t i = 0; i < count; ++i) buffers[i] = acquisition->slots[i].memory;
  return st::kOk;
}

Status Session::CopyOut(const Slot& slot, const FrameGeometry& geometry, std::size_t stride, std::uint32_t top,
                        std::uint32_t left, std::uint32_t height, std::uint32_t width, void* pixels,
                        std::uint32_t rowPixels, bool imageObject) {
  const std::size_t pixelBytes = geometry.PixelBytes();
  if (!imageObject) {
    if (rowPixels == 0) rowPixels = width;
    CopyRows(slot.memory + top * stride + left * pixelBytes, stride, static_cast<std::uint8_t*>(pixels),
             std::size_t{rowPixels} * pixelBytes, width * pixelBytes, height);
    return st::kOk;
  }
  // The whole image into an image object, which takes the size and type of
  // the acquisition.
  auto* image = static_cast<Image*>(pixels);
  if (ResizeAndCastImage(image, geometry.width, geometry.height, geometry.OutputType()) != ODV_SUCCESS ||
      SetBitDepth(image, geometry.OutputDepth()) != ODV_SUCCESS) {
    return st::kNoMemory;
  }
  for (std::uint32_t y = 0; y < geometry.height; ++y) {
    void* row = nullptr;
    if (GetImagePixel(image, 0, y, &row) != ODV_SUCCESS) return st::kInternal;
    std::memcpy(row, slot.memory + y * stride, std::size_t{geometry.width} * pixelBytes);
  }
  return st::kOk;
}

Status Session::CopyArea(std::uint32_t buffer, std::uint32_t top, std::uint32_t left, std::uint32_t height,
                         std::uint32_t width, void* pixels, std::uint32_t rowPixels, std::uint32_t mode) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  Acquisition& a = acquisition_;
  if (a.kind == Kind::kNone || a.kind == Kind::kGrab) return st::kNotConfigured;
  if (buffer >= a.slots.size() || pixels == nullptr || mode > 1) return st::kInvalidArgument;
  if (const Status status = CheckArea(top, left, height, width, rowPixels, a.geometry); status != st::kOk)
    return status;
  if (!a.slots[buffer].holds) {
    if (mode == 0 || !a.running) return st::kNoImageYet;
    // Mode 1 waits for the buffer's first image.
    std::uint64_t n = a.done;
    const std::uint64_t last = std::min(a.Total(), a.done + a.order.size());
    while (n < last && a.order[n % a.order.size()] != buffer) ++n;
    if (n == last) return st::kNoImageYet;
    if (const Status status = WaitForBufferLocked(lock, n, Deadline()); status != st::kOk) return status;
  }
  const Acquisition& now = acquisition_;
  if (now.slots[buffer].failed) return st::kTransferFailed;
  return CopyOut(now.slots[buffer], now.geometry, now.stride, top, left, height, width, pixels, rowPixels, false);
}

Status Session::CopyAreaByNumber(std::uint32_t number, std::uint32_t top, std::uint32_t left, std::uint32_t height,
                                 std::uint32_t width, void* pixels, std::uint32_t rowPixels, std::uint32_t mode,
                                 bool imageObject, std::uint32_t* found, Status* bufferStatus) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());
  if (acquisition_.kind == Kind::kNone || acquisition_.kind == Kind::kGrab) return st::kNotConfigured;
  if (pixels == nullptr || mode > 3) return st::kInvalidArgument;
  if (imageObject && IsImage(static_cast<const Image*>(pixels)) == 0) return st::kInvalidArgument;
  if (!imageObject) {
    if (const Status status = CheckArea(top, left, height, width, rowPixels, acquisition_.geometry);
        status != st::kOk) {
      return status;
    }
  }
  auto held = [this](std::uint64_t n) {
    Acquisition& a = acquisition_;
    if (n >= a.done) return false;
    const Slot& slot = a.SlotOf(n);
    return slot.holds && slot.number == static_cast<std::uint32_t>(n);
  };
  // Modes: 0 exactly this buffer, 1 the newest, 2 the next to come, 3 this
  // buffer or, where it is gone (overwritten or lost), the first one after
  // it still held.
  std::uint64_t n = number;
  if (mode == 1) {
    bool any = false;
    for (const Slot& slot : acquisition_.slots) {
      if (slot.holds && (!any || slot.number > n)) n = slot.number;
      any = any || slot.holds;
    }
    if (!any && !(acquisition_.unlimited && acquisition_.running)) return st::kNoImageYet;
    if (!any) n = acquisition_.done;  // as fast as asked: the next one is the newest
  } else if (mode == 2) {
    n = acquisition_.done;
  }
  Status given = st::kOk;
  const Clock::time_point deadline = Deadline();
  bool waited = false;
  while (!held(n)) {
    const Acquisition& a = acquisition_;
    if (n < a.done) {
      const bool lost = a.lost.count(n) != 0;
      if (waited && !lost) {
        // It came while we waited for it, and a later one took its place
        // before this thread ran again. A waiting copy happens as the
        // buffer completes: its image is the frame it held then.
        const Status status = CopyFrameOf(n, top, left, height, width, pixels, rowPixels, imageObject);
        if (status != st::kOk && status != st::kTransferFailed) return status;
        if (found != nullptr) *found = static_cast<std::uint32_t>(n);
        if (bufferStatus != nullptr) *bufferStatus = status;
        return status;
      }
      if (mode != 3) return lost ? st::kFrameLost : st::kBufferOverwritten;
      given = lost ? st::kFrameLost : st::kBufferOverwritten;
      std::uint64_t next = ~std::uint64_t{0};
      for (const Slot& slot : a.slots) {
        if (slot.holds && slot.number >= n) next = std::min<std::uint64_t>(next, slot.number);
      }
      // None after it yet: the next one to come.
      n = next != ~std::uint64_t{0} ? next : a.done;
      continue;
    }
    // Back with the buffer held, or gone meanwhile (then the loop decides).
    const Status status = WaitForBufferLocked(lock, n, deadline);
    if (status != st::kOk && status != st::kBufferOverwritten && status != st::kFrameLost) return status;
    waited = true;
  }
  Acquisition& a = acquisition_;
  const Slot& slot = a.SlotOf(n);
  if (slot.failed) {
    if (found != nullptr) *found = static_cast<std::uint32_t>(n);
    if (bufferStatus != nullptr) *bufferStatus = st::kTransferFailed;
    return st::kTransferFailed;
  }
  const Status status = CopyOut(slot, a.geometry, a.stride, top, left, height, width, pixels, rowPixels, imageObject);
  if (status != st::kOk) return status;
  if (found != nullptr) *found = static_cast<std::uint32_t>(n);
  if (bufferStatus != nullptr) *bufferStatus = given;
  return st::kOk;
}

// The image buffer n held when it completed, drawn again; a failed
// transfer answers as such.
Status Session::CopyFrameOf(std::uint64_t n, std::uint32_t top, std::uint32_t left, std::uint32_t height,
                            std::uint32_t width, void* pixels, std::uint32_t rowPixels, bool imageObject) {
  const Acquisition& a = acquisition_;
  if (a.failed.count(n) != 0) return st::kTransferFailed;
  std::vector<std::uint8_t> memory(a.stride * a.geometry.height);
  Slot copy;
  copy.memory = memory.data();
  const std::uint32_t frame = a.frameBase + static_cast<std::uint32_t>(a.Offset(n));
  if (const Status status = renderer_.Render(a.geometry, frame, copy.memory, a.stride); status != st::kOk) {
    return status;
  }
  return CopyOut(copy, a.geometry, a.stride, top, left, height, width, pixels, rowPixels, imageObject);
}

// ---- Faults

Status Session::AddFrameFaults(std::uint32_t lost, std::uint32_t failed) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  CatchUpLocked(Clock::now());  // the faults fall on frames still to come
  pendingLost_ += lost;
  pendingFailed_ += failed;
  return st::kOk;
}

Status Session::SetStalled(bool stalled) {
  Lock lock(mutex_);
  if (const Status status = LiveLocked(); status != st::kOk) return status;
  const Clock::time_point now = Clock::now();
  if (stalled && !stalledSince_) {
    CatchUpLocked(now);
    stalledSince_ = now;
  } else if (!stalled && stalledSince_) {
    // The camera goes on where it stopped: what runs is later by the pause.
    if (acquisition_.running) acquisition_.start += now - *stalledSince_;
    stalledSince_.reset();
  }
  changed_.notify_all();
  return st::kOk;
}

bool Session::RunsWithMemory(const void* address) {
  Lock lock(mutex_);
  CatchUpLocked(Clock::now());
  if (!acquisition_.running) return false;
  for (const Slot& slot : acquisition_.slots) {
    if (slot.memory == address) return true;
  }
  return false;
}

bool Session::RunsWithList(std::uint32_t list) {
  Lock lock(mutex_);
  CatchUpLocked(Clock::now());
  return acquisition_.running && acquisition_.kind == Kind::kList && acquisition_.list == list;
}

void Session::ForgetList(std::uint32_t list) {
  Lock lock(mutex_);
  if (acquisition_.kind != Kind::kList || acquisition_.list != list || acquisition_.running) return;
  const std::uint64_t generation = acquisition_.generation + 1;
  acquisition_ = Acquisition{};
  acquisition_.generation = generation;
  changed_.notify_all();
}

// ---- Automatic exposure

Status Session::AutoExposure(double& level, double& exposure) {
  Lock lock(mutex_);
  if (const Status status = IdleCameraLocked(); status != st::kOk) return status;
  CameraAttributeNode* node = camera_.FindAttribute("Exposure Time");
  if (node == nullptr || node->isString) return st::kNotSupported;
  double mean = 0;
  if (const Status status = renderer_.MeanLevel(Geometry(), frameCounter_, mean); status != st::kOk) return status;
  ++frameCounter_;
  ++framesAcquired_;
  // The scene is drawn at the camera's default exposure; the level a frame
  // would show grows in proportion to the exposure (images are not drawn
  // darker or brighter). The exposure is set to bring that level to the
  // middle of the scale, within the camera's range and steps.
  const double current = node->Formatted(node->raw);
  const double reference = node->Formatted(node->defaultRaw);
  const double measured = reference > 0 ? mean * current / reference : mean;
  const double aim = 127.5;
  const double wanted = measured > 0 ? current * aim / measured : node->Formatted(node->maximum);
  double raw = std::round((wanted - node->offset) / node->scale);
  raw = std::clamp(raw, static_cast<double>(node->minimum), static_cast<double>(node->maximum));
  const double steps = std::round((raw - node->minimum) / node->increment);
  raw = std::min(static_cast<double>(node->maximum), node->minimum + steps * node->increment);
  node->raw = static_cast<std::uint32_t>(raw);
  exposure = node->Formatted(node->raw);
  level = current > 0 ? std::min(100.0, measured * (exposure / current) / 255.0 * 100.0) : 0.0;
  return st::kOk;
}

}  // namespace keldsim
