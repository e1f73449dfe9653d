// Selector of the driver stack behind a session or a device list; also what
// a session's GetDriverType answers.
#pragma once

#include <cstdint>

namespace keld {

enum DriverType : std::uint32_t {
  kDriverKELD = 0,      // frame-grabber driver
  kDriverKELD1394 = 1,  // legacy IEEE 1394 driver
  kDriverKELDnv = 2,    // network and USB camera driver
};

}  // namespace keld
