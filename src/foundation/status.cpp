#include "foundation/status.h"

#include <ios>
#include <ostream>

namespace keld {

std::ostream& operator<<(std::ostream& out, Status status) {
  const std::ios_base::fmtflags flags = out.flags();
  out << "0x" << std::hex << std::uppercase << static_cast<std::uint32_t>(status);
  out.flags(flags);
  return out;
}

}  // namespace keld
