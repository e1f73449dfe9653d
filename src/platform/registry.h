// Read-only access to the system registry. On POSIX the registry is a
// registry-export text file at one fixed path:
//
//   [HKEY_LOCAL_MACHINE\SOFTWARE\Vendor\Product]
//   "Name"=dword:0000abcd
//   "Other"="text"
//
// Key paths and value names compare without regard to case, as on the
// original platform. A missing file, key or value simply reads as absent, and
// callers fall back to their documented defaults. The file is read anew at
// each query; the library queries it rarely (at binding and enumeration).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace keld {

inline constexpr const char* kDefaultRegistryPath = "/etc/keldcfgc/registry.reg";

// The library's key; its value "CurrentVersion" names the sub-key that holds
// the settings.
inline constexpr const char* kConfigurationKey = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration";

std::optional<std::uint32_t> ReadRegistryDword(const std::string& keyPath, const std::string& name);
std::optional<std::string> ReadRegistryString(const std::string& keyPath, const std::string& name);

// The sub-key of the current version of the configuration key, where
// "CurrentVersion" is there and shorter than 256 characters.
std::optional<std::string> CurrentConfigurationKey();

namespace testing {
// Points the registry at another file (empty: back to the system path). Test only.
void SetRegistryFilePath(const std::string& path);
}  // namespace testing

}  // namespace keld
