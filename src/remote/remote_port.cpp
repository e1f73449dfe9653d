#include "remote/remote_port.h"

#include <cstdlib>

#include "platform/registry.h"

namespace keld {

std::uint32_t ReadRemotePort() {
  const std::optional<std::string> subKey = CurrentConfigurationKey();
  if (!subKey) return kDefaultRemotePort;
  if (const std::optional<std::uint32_t> number = ReadRegistryDword(*subKey, "RemotePort")) return *number;
  if (const std::optional<std::string> text = ReadRegistryString(*subKey, "RemotePort")) {
    if (text->size() < 256) return static_cast<std::uint32_t>(std::atoi(text->c_str()));
  }
  return kDefaultRemotePort;
}

}  // namespace keld
