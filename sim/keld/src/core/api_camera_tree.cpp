// Entry points of the camera's attribute tree.
#include "core/entry.h"

using keldsim::OnSession;
using keldsim::Session;
using keldsim::Status;
namespace st = keldsim::st;

extern "C" {

KeldDriverStatus odkelduCameraAttributeGetNumRoots(uint32_t sid, uint32_t* count) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (count == nullptr) return st::kInvalidArgument;
    return session.CameraRoots(count, nullptr);
  });
}

KeldDriverStatus odkelduCameraAttributeGetRootIds(uint32_t sid, uint32_t* ids) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (ids == nullptr) return st::kInvalidArgument;
    return session.CameraRoots(nullptr, ids);
  });
}

KeldDriverStatus odkelduCameraAttributeGetInfo(uint32_t sid, uint32_t id, uint32_t* nameSize, char* name,
                                               uint32_t* type) {
  return OnSession(__func__, sid, [&](Session& session) { return session.CameraInfo(id, nameSize, name, type); });
}

KeldDriverStatus odkelduCameraAttributeGetNumValues(uint32_t sid, uint32_t id, uint32_t* count) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (count == nullptr) return st::kInvalidArgument;
    return session.CameraValues(id, count, nullptr);
  });
}

KeldDriverStatus odkelduCameraAttributeGetValueIds(uint32_t sid, uint32_t id, uint32_t* ids) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (ids == nullptr) return st::kInvalidArgument;
    return session.CameraValues(id, nullptr, ids);
  });
}

KeldDriverStatus odkelduCameraAttributeGetNumChildren(uint32_t sid, uint32_t id, const char* value, uint32_t* count) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (count == nullptr) return st::kInvalidArgument;
    return session.CameraChildren(id, value, count, nullptr);
  });
}

KeldDriverStatus odkelduCameraAttributeGetChildrenIds(uint32_t sid, uint32_t id, const char* value, uint32_t* ids) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (ids == nullptr) return st::kInvalidArgument;
    return session.CameraChildren(id, value, nullptr, ids);
  });
}

KeldDriverStatus odkelduCameraAttributeNumericGetUnitsSize(uint32_t sid, uint32_t id, uint32_t* size) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (size == nullptr) return st::kInvalidArgument;
    return session.CameraUnits(id, size, nullptr);
  });
}

KeldDriverStatus odkelduCameraAttributeNumericGetUnits(uint32_t sid, uint32_t id, char* units) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (units == nullptr) return st::kInvalidArgument;
    return session.CameraUnits(id, nullptr, units);
  });
}

KeldDriverStatus odkelduCameraAttributeNumericGetMin(uint32_t sid, uint32_t id, uint32_t* raw) {
  return OnSession(__func__, sid, [&](Session& session) { return session.CameraNumeric(id, 0, raw); });
}

KeldDriverStatus odkelduCameraAttributeNumericGetMax(uint32_t sid, uint32_t id, uint32_t* raw) {
  return OnSession(__func__, sid, [&](Session& session) { return session.CameraNumeric(id, 1, raw); });
}

KeldDriverStatus odkelduCameraAttributeNumericGetFormattedValue(uint32_t sid, uint32_t id, uint32_t raw,
                                                                double* value) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (value == nullptr) return st::kInvalidArgument;
    return session.CameraFormatted(id, raw, *value);
  });
}

KeldDriverStatus odkelduCameraAttributeNumericGetPrecision(uint32_t sid, uint32_t id, uint32_t* precision) {
  return OnSession(__func__, sid, [&](Session& session) { return session.CameraNumeric(id, 2, precision); });
}

KeldDriverStatus odkelduCameraAttributeNumericGetIncrement(uint32_t sid, uint32_t id, uint32_t* raw) {
  return OnSession(__func__, sid, [&](Session& session) { return session.CameraNumeric(id, 3, raw); });
}

KeldDriverStatus odkelduCameraAttributeNumericGetDefault(uint32_t sid, uint32_t id, uint32_t* raw) {
  return OnSession(__func__, sid, [&](Session& session) { return session.CameraNumeric(id, 4, raw); });
}

KeldDriverStatus odkelduCameraAttributeStringGetDefault(uint32_t sid, uint32_t id, uint32_t* size, char* text) {
  return OnSession(__func__, sid, [&](Session& session) { return session.CameraStringDefault(id, size, text); });
}

KeldDriverStatus kldGetCameraAttributeNumeric(uint32_t sid, const char* name, double* value) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (value == nullptr) return st::kInvalidArgument;
    return session.GetCameraNumeric(name, *value);
  });
}

KeldDriverStatus kldGetCameraAttributeString(uint32_t sid, const char* name, char* text, uint32_t size) {
  return OnSession(__func__, sid, [&](Session& session) { return session.GetCameraString(name, text, size); });
}

KeldDriverStatus kldSetCameraAttributeNumeric(uint32_t sid, const char* name, double value) {
  return OnSession(__func__, sid, [&](Session& session) { return session.SetCameraNumeric(name, value); });
}

KeldDriverStatus kldSetCameraAttributeString(uint32_t sid, const char* name, const char* text) {
  return OnSession(__func__, sid, [&](Session& session) { return session.SetCameraString(name, text); });
}

}  // extern "C"
