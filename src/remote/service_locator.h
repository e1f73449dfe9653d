// LocateService: asks the service locator of a host (HTTP/1.0 on TCP 3580)
// for the port of a named target's service. The answer's first line that
// begins with "Mapping=" or "Port=" gives the port, cut to 16 bits. Every
// failure gives port 0; `ok` (optional) reports only that the request went
// out.
#pragma once

#include <cstdint>
#include <string>

namespace keld {

inline constexpr std::uint16_t kLocatorPort = 3580;
inline constexpr int kLocatorStepTimeoutMs = 5000;

std::uint16_t LocateService(const char* host, const char* targetName, int servicePort, bool* ok = nullptr);

// Percent-encodes every character that is not alphanumeric, "/" included.
std::string PercentEncode(const std::string& text);

namespace testing {
// Points the look-up at another locator port (0: back to 3580). Test only.
void SetLocatorPort(std::uint16_t port);
}  // namespace testing

}  // namespace keld
