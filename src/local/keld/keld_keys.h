// Numbers of the frame-grabber driver that the session uses itself: the
// attribute keys it reads or writes by number, the execution states, the
// size of the driver's path buffers and the driver versions from which a
// call behaves differently.
#pragma once

#include <cstdint>

#include "local/keld/keld_driver_api.h"

namespace keld {

inline constexpr std::uint32_t kPathSize = KELD_DRIVER_PATH_SIZE;

// Execution states of a driver session.
inline constexpr std::uint32_t kStateLoad = 1;
inline constexpr std::uint32_t kStateConfigure = 16;
inline constexpr std::uint32_t kStateReady = 256;

// From this driver version on, interface names carry the unit number.
inline constexpr std::uint32_t kVersionAcquisitionUnits = 0x03500000;

inline constexpr std::uint32_t kBoardTypeKey = 0x3FF60001;
inline constexpr std::uint32_t kAcquiringKey = 0x3FF60074;
inline constexpr std::uint32_t kSerialNumberKey = 0x3FF600C0;
inline constexpr std::uint32_t kRowPixelsKey = 0x3FF600C1;
inline constexpr std::uint32_t kImageTypeKey = 0x3FF600D8;
inline constexpr std::uint32_t kLastBufferKey = 0x3FF60120;
inline constexpr std::uint32_t kWidthKey = 0x3FF601A6;
inline constexpr std::uint32_t kHeightKey = 0x3FF601A7;
inline constexpr std::uint32_t kPortsKey = 0x3FF601AD;
inline constexpr std::uint32_t kAcquisitionModeKey = 0x3FF601C7;
inline constexpr std::uint32_t kAcquisitionModeSettingKey = 0x3FF601C8;
inline constexpr std::uint32_t kBayerPatternKey = 0x3FF601CB;
inline constexpr std::uint32_t kRedGainKey = 0x3FF601CC;
inline constexpr std::uint32_t kGreenGainKey = 0x3FF601CD;
inline constexpr std::uint32_t kBlueGainKey = 0x3FF601CE;
inline constexpr std::uint32_t kBayerAlgorithmKey = 0x3FF601CF;
inline constexpr std::uint32_t kNoBayerDecodingKey = 0x3FF601D0;
inline constexpr std::uint32_t kBitDepthKey = 0x3FF60424;
inline constexpr std::uint32_t kSnapSavedKey = 0x3FF60466;
inline constexpr std::uint32_t kPortCountKey = 0x3FF6046B;
inline constexpr std::uint32_t kInterfaceFileNameKey = 0x3FF604BE;
inline constexpr std::uint32_t kFirstPortCameraFileKey = 0x3FF604C3;
inline constexpr std::uint32_t kInterfaceTypesKey = 0x3FF604DC;
inline constexpr std::uint32_t kListAllKeys = 0x3FF60502;
inline constexpr std::uint32_t kLightHeadInUseKey = 0x3FF6057B;

}  // namespace keld
