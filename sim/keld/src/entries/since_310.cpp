// Entry points of drivers from 0x03100000 on: the version query, board
// names, the camera header query with its constant argument, and what came
// later still (the numeric step of camera attributes, copies by buffer
// number), which answer by the version word the driver stands for.
#include "core/entry.h"

using keldsim::Guarded;
using keldsim::OnSession;
using keldsim::Session;
using keldsim::Simulator;
using keldsim::Status;
namespace st = keldsim::st;

namespace {
constexpr uint32_t kIncrementExFrom = 0x03500000;
constexpr uint32_t kCopyByNumberFrom = 0x03800000;
constexpr uint32_t kImageObjectFrom = 0x04100000;
constexpr uint32_t kWhole = 0xFFFFFFFF;
}  // namespace

extern "C" {

KeldDriverStatus odkelduGetDriverVersion(uint32_t* version) {
  return Guarded(__func__, [&]() -> Status {
    if (version == nullptr) return st::kInvalidArgument;
    *version = Simulator::Get().Version();
    return st::kOk;
  });
}

KeldDriverStatus odkelduGetBoardName(uint32_t serial, char* name) {
  return Guarded(__func__, [&] { return Simulator::Get().BoardName(serial, name); });
}

// Bit 0 of `flag` asks for the two texts; no other bit is known.
KeldDriverStatus odkelduGetCameraHeaderInfo(uint32_t sid, const char* file, uint32_t flag, uint32_t* supported,
                                            char* modeName, char* detail) {
  return Guarded(__func__, [&]() -> Status {
    if (flag > 1) return st::kInvalidArgument;
    return keldsim::CameraHeaderInfo(sid, file, flag == 1, supported, modeName, detail);
  });
}

// `flags` must be 0.
KeldDriverStatus odkelduCameraAttributeNumericGetIncrementEx(uint32_t sid, uint32_t id, uint32_t flags, double* value) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (Simulator::Get().Version() < kIncrementExFrom) return st::kNotSupported;
    if (flags != 0 || value == nullptr) return st::kInvalidArgument;
    return session.CameraIncrement(id, *value);
  });
}

// Modes: 0 exactly buffer `number` (0xBFF60011 where it is overwritten,
// 0xBFF60025 where its frame was lost), 1 the newest buffer held, 2 the next
// buffer to come, 3 buffer `number` or, where it is gone, the first one after
// it still held, with the reason in *bufferStatus. A buffer not yet acquired
// is waited for. A buffer whose transfer failed answers 0xBFF60026.
KeldDriverStatus kldSessionCopyAreaByNumber(uint32_t sid, uint32_t number, uint32_t top, uint32_t left, uint32_t height,
                                            uint32_t width, void* pixels, uint32_t rowPixels, uint32_t mode,
                                            uint32_t* foundNumber, KeldDriverStatus* bufferStatus) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    const uint32_t version = Simulator::Get().Version();
    if (version < kCopyByNumberFrom) return st::kNotSupported;
    const bool imageObject = height == kWhole && width == kWhole && rowPixels == kWhole;
    if (imageObject && version < kImageObjectFrom) return st::kInvalidArgument;
    return session.CopyAreaByNumber(number, top, left, height, width, pixels, rowPixels, mode, imageObject, foundNumber,
                                    bufferStatus);
  });
}

}  // extern "C"
