// Status words of the library. 0 is success; the library's own errors start
// at 0xBFFF8000. Driver statuses pass through every layer unchanged.
//
// Status is a value type that a caller cannot drop by accident: every
// function returning one is [[nodiscard]] through the type. Where a result is
// deliberately not looked at, IgnoreStatus says so at the call site. It
// converts to and from the plain u32 word, so statuses compare and travel as
// the numbers they are.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace keld {

class [[nodiscard]] Status {
 public:
  constexpr Status() = default;
  constexpr Status(std::uint32_t word) : word_(word) {}  // NOLINT: a status is its word
  constexpr operator std::uint32_t() const { return word_; }  // NOLINT: and reads as it
  constexpr bool ok() const { return word_ == 0; }

 private:
  std::uint32_t word_ = 0;
};

// Says that a status is dropped on purpose; the call site's comment says why.
constexpr void IgnoreStatus(Status /*status*/) {}

// Keeps the first failure of a run of steps that all run regardless: the
// later steps' statuses count only while everything before succeeded.
constexpr void KeepFirstFailure(Status* result, Status next) {
  if (result->ok()) *result = next;
}

// Prints the word in hexadecimal, as statuses are written everywhere.
std::ostream& operator<<(std::ostream& out, Status status);

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
