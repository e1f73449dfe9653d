// The simulated driver's statuses. 0 is success; errors lie in the driver's
// range 0xBFF60000 to 0xBFF60FFF. A few numbers are fixed by what the
// library expects of the driver (state refusals, attributes that cannot be
// read in a state, a unit in use, an acquisition in progress, a file for
// another type of board); the rest are this driver's own. kldShowError
// gives the text of each.
#pragma once

#include <cstdint>

namespace keldsim {

using Status = std::uint32_t;

namespace st {
inline constexpr Status kOk = 0;
inline constexpr Status kNoMemory = 0xBFF60001;
inline constexpr Status kInvalidArgument = 0xBFF60002;
inline constexpr Status kInvalidId = 0xBFF60003;
inline constexpr Status kAttributeNotSupported = 0xBFF60004;
inline constexpr Status kAttributeOutOfRange = 0xBFF60005;
inline constexpr Status kAttributeReadOnly = 0xBFF60006;
inline constexpr Status kTimeout = 0xBFF60007;
inline constexpr Status kInterfaceNotFound = 0xBFF60008;
inline constexpr Status kBoardNotFound = 0xBFF60009;
inline constexpr Status kUnitNotFound = 0xBFF6000A;
inline constexpr Status kFileFormat = 0xBFF6000B;
inline constexpr Status kFileWrite = 0xBFF6000C;
inline constexpr Status kCameraFileNotFound = 0xBFF6000D;
inline constexpr Status kCameraNotSuited = 0xBFF6000E;
inline constexpr Status kInvalidBufferList = 0xBFF6000F;
inline constexpr Status kNotConfigured = 0xBFF60010;
inline constexpr Status kBufferOverwritten = 0xBFF60011;
inline constexpr Status kInvalidState = 0xBFF60012;
inline constexpr Status kConfigurationInvalid = 0xBFF60013;
inline constexpr Status kNoActiveInterfaceFile = 0xBFF60014;
inline constexpr Status kWrongInterfaceType = 0xBFF60015;
inline constexpr Status kOtherBoard = 0xBFF60016;
inline constexpr Status kBoardInitFailed = 0xBFF60017;
inline constexpr Status kAddressOutOfRange = 0xBFF60018;
inline constexpr Status kBufferTooSmall = 0xBFF60019;
inline constexpr Status kNoImageYet = 0xBFF6001A;
inline constexpr Status kBoardRemoved = 0xBFF6001B;
inline constexpr Status kInvalidName = 0xBFF6001C;
inline constexpr Status kNoMoreInterfaces = 0xBFF6001D;
inline constexpr Status kPortNotFound = 0xBFF6001E;
inline constexpr Status kNotSupported = 0xBFF6001F;
inline constexpr Status kDataFolder = 0xBFF60020;
inline constexpr Status kAcquiring = 0xBFF60021;
inline constexpr Status kInvalidBuffer = 0xBFF60022;
inline constexpr Status kAcquisitionEnded = 0xBFF60024;
inline constexpr Status kFrameLost = 0xBFF60025;
inline constexpr Status kTransferFailed = 0xBFF60026;
inline constexpr Status kCameraAttributeNotFound = 0xBFF60030;
inline constexpr Status kCameraAttributeValue = 0xBFF60031;
inline constexpr Status kCameraAttributeKind = 0xBFF60032;
inline constexpr Status kInvalidTrigger = 0xBFF60038;
inline constexpr Status kInvalidPulse = 0xBFF60039;
inline constexpr Status kLightingData = 0xBFF6003A;
inline constexpr Status kDescription = 0xBFF6003F;
inline constexpr Status kInternal = 0xBFF60040;
inline constexpr Status kNotInThisState = 0xBFF60044;
inline constexpr Status kNotAvailableNow = 0xBFF60053;
inline constexpr Status kUnitInUse = 0xBFF600BD;
inline constexpr Status kUpdateFileOpen = 0xBFF60140;
inline constexpr Status kUpdateFileCheck = 0xBFF60141;
}  // namespace st

// Text of one of the driver's statuses, null for a status it does not know.
const char* StatusText(Status status);

}  // namespace keldsim
