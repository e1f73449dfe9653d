#include "platform/registry.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <mutex>

namespace keld {

namespace {

std::mutex pathLock;
std::string overridePath;

std::string RegistryPath() {
  std::lock_guard<std::mutex> guard(pathLock);
  return overridePath.empty() ? std::string(kDefaultRegistryPath) : overridePath;
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::string Trim(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return {};
  const auto last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

// Undoes the export format's escapes (\\ and \") in a quoted text.
std::optional<std::string> Unquote(const std::string& text, std::size_t* consumed) {
  if (text.empty() || text[0] != '"') return std::nullopt;
  std::string out;
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) {
      out += text[++i];
    } else if (text[i] == '"') {
      *consumed = i + 1;
      return out;
    } else {
      out += text[i];
    }
  }
  return std::nullopt;
}

// Returns the raw data text behind "name"= in the wanted key, if present.
std::optional<std::string> FindValue(const std::string& keyPath, const std::string& name) {
  std::ifstream file(RegistryPath());
  if (!file) return std::nullopt;
  const std::string wantedKey = Lower(keyPath);
  const std::string wantedName = Lower(name);
  bool inKey = false;
  std::string line;
  while (std::getline(file, line)) {
    line = Trim(line);
    if (line.empty() || line[0] == ';') continue;
    if (line.front() == '[') {
      inKey = line.back() == ']' && Lower(line.substr(1, line.size() - 2)) == wantedKey;
      continue;
    }
    if (!inKey) continue;
    std::size_t consumed = 0;
    const auto valueName = Unquote(line, &consumed);
    if (!valueName || consumed >= line.size() || line[consumed] != '=') continue;
    if (Lower(*valueName) == wantedName) return line.substr(consumed + 1);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::uint32_t> ReadRegistryDword(const std::string& keyPath, const std::string& name) {
  const auto raw = FindValue(keyPath, name);
  if (!raw) return std::nullopt;
  const std::string data = Lower(*raw);
  if (data.rfind("dword:", 0) != 0) return std::nullopt;
  const std::string digits = data.substr(6);
  if (digits.empty() || digits.size() > 8) return std::nullopt;
  std::uint32_t value = 0;
  for (char c : digits) {
    if (!std::isxdigit(static_cast<unsigned char>(c))) return std::nullopt;
    value = value * 16 + static_cast<std::uint32_t>(std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : c - 'a' + 10);
  }
  return value;
}

std::optional<std::string> ReadRegistryString(const std::string& keyPath, const std::string& name) {
  const auto raw = FindValue(keyPath, name);
  if (!raw) return std::nullopt;
  std::size_t consumed = 0;
  auto text = Unquote(*raw, &consumed);
  if (!text || Trim(raw->substr(consumed)).size() != 0) return std::nullopt;
  return text;
}

namespace testing {
void SetRegistryFilePath(const std::string& path) {
  std::lock_guard<std::mutex> guard(pathLock);
  overridePath = path;
}
}  // namespace testing

std::optional<std::string> CurrentConfigurationKey() {
  const std::optional<std::string> version = ReadRegistryString(kConfigurationKey, "CurrentVersion");
  if (!version || version->size() >= 256) return std::nullopt;
  return std::string(kConfigurationKey) + "\\" + *version;
}

}  // namespace keld
