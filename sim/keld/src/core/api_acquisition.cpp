// Entry points of acquisition: buffers and buffer lists, snaps, grabs,
// rings, sequences and copies.
#include "core/entry.h"

using keldsim::Guarded;
using keldsim::OnSession;
using keldsim::Session;
using keldsim::Simulator;
using keldsim::Status;
namespace st = keldsim::st;

extern "C" {

KeldDriverStatus kldGrabSetup(uint32_t sid, uint32_t flags) {
  return OnSession(__func__, sid, [&](Session& session) { return session.GrabSetup(flags); });
}

KeldDriverStatus kldSessionGetBufferSize(uint32_t sid, uint32_t* bytes) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (bytes == nullptr) return st::kInvalidArgument;
    return session.BufferSize(*bytes);
  });
}

KeldDriverStatus kldCreateBufList(uint32_t count, uint32_t* list) {
  return Guarded(__func__, [&] { return Simulator::Get().CreateBufferList(count, list); });
}

KeldDriverStatus kldCreateBuffer(uint32_t sid, uint32_t flags, uint32_t bytes, void** buffer) {
  return Guarded(__func__, [&] { return Simulator::Get().CreateBuffer(sid, flags, bytes, buffer); });
}

KeldDriverStatus kldSetBufferElement2(uint32_t list, uint32_t index, uint32_t item, void* pointer) {
  return Guarded(__func__, [&] { return Simulator::Get().SetBufferPointer(list, index, item, pointer); });
}

KeldDriverStatus kldSetBufferElement(uint32_t list, uint32_t index, uint32_t item, uint32_t value) {
  return Guarded(__func__, [&] { return Simulator::Get().SetBufferItem(list, index, item, value); });
}

KeldDriverStatus kldMemLock(uint32_t list) {
  return Guarded(__func__, [&] { return Simulator::Get().LockBufferList(list, true); });
}

KeldDriverStatus kldMemUnlock(uint32_t list) {
  return Guarded(__func__, [&] { return Simulator::Get().LockBufferList(list, false); });
}

KeldDriverStatus kldDisposeBufList(uint32_t list, uint32_t flags) {
  (void)flags;  // 0 from the library; the buffers are disposed of one by one
  return Guarded(__func__, [&] { return Simulator::Get().DisposeBufferList(list); });
}

KeldDriverStatus kldSessionConfigure(uint32_t sid, uint32_t list) {
  return Guarded(__func__, [&] { return Simulator::Get().ConfigureSession(sid, list); });
}

// `async` 1 returns at once; 0 returns when the last buffer of a one-shot
// list is full. Flags must be 0.
KeldDriverStatus kldSessionAcquire(uint32_t sid, uint32_t async, uint32_t flags) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (flags != 0 || async > 1) return st::kInvalidArgument;
    return session.Acquire(async);
  });
}

KeldDriverStatus kldSessionStartAcquisition(uint32_t sid) {
  return OnSession(__func__, sid, [&](Session& session) { return session.StartAcquisition(); });
}

KeldDriverStatus kldSessionStopAcquisition(uint32_t sid) {
  return OnSession(__func__, sid, [&](Session& session) { return session.StopAcquisition(); });
}

// `first` non-zero starts the ring at once; `second` frames are skipped
// between two buffers.
KeldDriverStatus kldRingSetup(uint32_t sid, uint32_t count, void** buffers, uint32_t first, uint32_t second) {
  return OnSession(__func__, sid, [&](Session& session) { return session.RingSetup(count, buffers, first, second); });
}

// `table`, where not null, holds for each buffer the frames skipped before
// it; `first` non-zero starts at once; `second` frames are skipped before
// the first buffer.
KeldDriverStatus kldSequenceSetup(uint32_t sid, uint32_t count, void** buffers, const void* table, uint32_t first,
                                  uint32_t second) {
  return OnSession(__func__, sid, [&](Session& session) {
    return session.SequenceSetup(count, buffers, static_cast<const uint32_t*>(table), first, second);
  });
}

KeldDriverStatus kldSnapArea(uint32_t sid, void** pixels, uint32_t top, uint32_t left, uint32_t height, uint32_t width,
                             uint32_t rowPixels) {
  return OnSession(__func__, sid,
                   [&](Session& session) { return session.Snap(pixels, top, left, height, width, rowPixels); });
}

KeldDriverStatus kldGrabArea(uint32_t sid, void** pixels, uint32_t wait, uint32_t top, uint32_t left, uint32_t height,
                             uint32_t width, uint32_t rowPixels) {
  return OnSession(__func__, sid,
                   [&](Session& session) { return session.Grab(pixels, wait, top, left, height, width, rowPixels); });
}

// Mode 0 copies what the buffer holds; mode 1 first waits for its first
// image.
KeldDriverStatus kldSessionCopyArea(uint32_t sid, uint32_t buffer, uint32_t top, uint32_t left, uint32_t height,
                                    uint32_t width, void* pixels, uint32_t rowPixels, uint32_t mode) {
  return OnSession(__func__, sid, [&](Session& session) {
    return session.CopyArea(buffer, top, left, height, width, pixels, rowPixels, mode);
  });
}

// Fills *first with the exposure it set (in the units of the camera's
// "Exposure Time") and *second with the level it expects, in percent of the
// full scale.
KeldDriverStatus odkelduAutoExposureNonSamsung(uint32_t sid, double* second, double* first) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (second == nullptr || first == nullptr) return st::kInvalidArgument;
    return session.AutoExposure(*second, *first);
  });
}

}  // extern "C"
