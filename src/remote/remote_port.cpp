#include "remote/remote_port.h"

#include <cstdlib>

#include "platform/registry.h"

namespace keld {

std::uint32_t ReadRemotePort() {
  const std::optional<std::string> version = ReadRegistryString(kConfigurationKey, "CurrentVersion");
  if (!version || version->size() >= 256) return kDefaultRemotePort;
  const std::string subKey = std::string(kConfigurationKey) + "\\" + *version;
  if (const std::optional<std::uint32_t> number = ReadRegistryDword(subKey, "RemotePort")) return *number;
  if (const std::optional<std::string> text = ReadRegistryString(subKey, "RemotePort")) {
    if (text->size() < 256) return static_cast<std::uint32_t>(std::atoi(text->c_str()));
  }
  return kDefaultRemotePort;
}

}  // namespace keld
