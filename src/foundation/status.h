// Status words of the library. 0 is success; the library's own errors start
// at 0xBFFF8000. Driver statuses pass through every layer unchanged.
#pragma once

#include <cstdint>

namespace keld {

using Status = std::uint32_t;

inline constexpr Status kSuccess = 0;
inline constexpr Status kByteStreamSaveFailed = 0xBFFF8000;
inline constexpr Status kByteStreamLoadFailed = 0xBFFF8001;
inline constexpr Status kRemoteTimedOut = 0xBFFF8002;
inline constexpr Status kRemoteProcedureUnknown = 0xBFFF8003;
inline constexpr Status kRemoteException = 0xBFFF8004;
inline constexpr Status kOutOfMemory = 0xBFFF8005;
inline constexpr Status kUnknownAttributeType = 0xBFFF8006;
inline constexpr Status kBadPointer = 0xBFFF8007;
inline constexpr Status kUnknownSessionType = 0xBFFF8008;
inline constexpr Status kInvalidSession = 0xBFFF8009;
inline constexpr Status kIncompatibleAttributeTypes = 0xBFFF800A;
inline constexpr Status kSessionNotConfigured = 0xBFFF800B;
inline constexpr Status kIndexBeyondRange = 0xBFFF800C;
inline constexpr Status kNotEnoughOccurrences = 0xBFFF800D;
inline constexpr Status kOccurrenceFailed = 0xBFFF800E;
inline constexpr Status kWrongCameraAttributeType = 0xBFFF800F;
inline constexpr Status kNotSupported = 0xBFFF8011;
inline constexpr Status kDllNotFound = 0xBFFF8012;
inline constexpr Status kNoCameraFile = 0xBFFF8013;
inline constexpr Status kImageSaveFailed = 0xBFFF8014;
inline constexpr Status kDeviceNotAssociated = 0xBFFF8016;
inline constexpr Status kInternalError = 0xBFFF8017;
inline constexpr Status kUnknownComponent = 0xBFFF8018;
inline constexpr Status kTypeMismatch = 0xBFFF8019;
inline constexpr Status kNotAccessible = 0xBFFF801A;
inline constexpr Status kJumboPacketLoss = 0xBFFF801B;
inline constexpr Status kInvalidUpdateFile = 0xBFFF801C;
inline constexpr Status kDeviceNotKeldnv = 0xBFFF801D;
inline constexpr Status kNoDeviceNames = 0xBFFF801E;

}  // namespace keld
