// The simulated camera driver's statuses. 0 is success; errors lie in the
// driver's own range 0xBFF69000 to 0xBFF690FF, apart from the frame-grabber
// driver's, so that the two drivers' texts never answer for each other.
// KELDnvGetErrorString gives the text of each.
#pragma once

#include <cstdint>

namespace keldnvsim {

using Status = std::uint32_t;

namespace st {
inline constexpr Status kOk = 0;
inline constexpr Status kNoMemory = 0xBFF69001;
inline constexpr Status kInvalidArgument = 0xBFF69002;
inline constexpr Status kInvalidHandle = 0xBFF69003;
inline constexpr Status kCameraNotFound = 0xBFF69004;
inline constexpr Status kCameraInUse = 0xBFF69005;
inline constexpr Status kCameraRemoved = 0xBFF69006;
inline constexpr Status kAttributeNotFound = 0xBFF69007;
inline constexpr Status kWrongType = 0xBFF69008;
inline constexpr Status kNotReadable = 0xBFF69009;
inline constexpr Status kNotWritable = 0xBFF6900A;
inline constexpr Status kNotWritableNow = 0xBFF6900B;
inline constexpr Status kOutOfRange = 0xBFF6900C;
inline constexpr Status kOffIncrement = 0xBFF6900D;
inline constexpr Status kNotAChoice = 0xBFF6900E;
inline constexpr Status kNotNumeric = 0xBFF6900F;
inline constexpr Status kNotEnumeration = 0xBFF69010;
inline constexpr Status kNotConfigured = 0xBFF69011;
inline constexpr Status kAcquiring = 0xBFF69012;
inline constexpr Status kNotAcquiring = 0xBFF69013;
inline constexpr Status kAcquisitionEnded = 0xBFF69014;
inline constexpr Status kTimeout = 0xBFF69015;
inline constexpr Status kUnsupportedImageType = 0xBFF69016;
inline constexpr Status kInvalidImage = 0xBFF69017;
inline constexpr Status kFileOpen = 0xBFF69018;
inline constexpr Status kFileFormat = 0xBFF69019;
inline constexpr Status kAddressOutOfRange = 0xBFF6901A;
inline constexpr Status kReadOnlyRegister = 0xBFF6901B;
inline constexpr Status kUnalignedAddress = 0xBFF6901C;
inline constexpr Status kNotCameraLink = 0xBFF6901D;
inline constexpr Status kCameraFileNotFound = 0xBFF6901E;
inline constexpr Status kBoardNotFound = 0xBFF6901F;
inline constexpr Status kInvalidName = 0xBFF69020;
inline constexpr Status kNameInUse = 0xBFF69021;
inline constexpr Status kNotColour = 0xBFF69022;
inline constexpr Status kNotInThisVersion = 0xBFF69023;
inline constexpr Status kMonitorAccess = 0xBFF69024;
inline constexpr Status kBufferTooSmall = 0xBFF69025;
inline constexpr Status kDescription = 0xBFF6903F;
inline constexpr Status kInternal = 0xBFF69040;
}  // namespace st

// Text of one of the driver's statuses, null for a status it does not know.
const char* StatusText(Status status);

}  // namespace keldnvsim
