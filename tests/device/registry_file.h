// The registry file that the library reads during a test, and small file
// helpers. The library takes its settings from a registry-export text file;
// a test points it at one of its own, so that no registry of the machine
// leaks in and settings can change between two calls.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include "platform/registry.h"

namespace keld::device {

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

// The registry file that the library reads while a Device lives: the
// settings key of the current version with the values set, a DWORD each.
// A Device always has one, so that no registry of the machine leaks in.
class RegistryFile {
 public:
  explicit RegistryFile(std::filesystem::path path) : path_(std::move(path)) { Write(); }
  RegistryFile(const RegistryFile&) = delete;
  RegistryFile& operator=(const RegistryFile&) = delete;
  ~RegistryFile() {
    ::keld::testing::SetRegistryFilePath("");
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  void Set(const std::string& name, std::uint32_t value) {
    values_[name] = value;
    Write();
  }
  void Remove(const std::string& name) {
    values_.erase(name);
    Write();
  }

 private:
  void Write() {
    std::ostringstream text;
    text << "Windows Registry Editor Version 5.00\n\n"
         << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration]\n"
         << "\"CurrentVersion\"=\"18.5\"\n\n"
         << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration\\18.5]\n";
    for (const auto& [name, value] : values_) {
      char word[16];
      std::snprintf(word, sizeof word, "%08x", value);
      text << "\"" << name << "\"=dword:" << word << "\n";
    }
    WriteFile(path_, text.str());
    ::keld::testing::SetRegistryFilePath(path_.string());
  }

  std::filesystem::path path_;
  std::map<std::string, std::uint32_t> values_;
};

}  // namespace keld::device
