#include "core/interface_file.h"

#include <filesystem>

#include "core/text_file.h"

namespace keldsim {

Status ParseInterfaceFile(std::string_view text, InterfaceFile& file, std::string& error) {
  TextDocument document;
  if (const Status status = ParseText(text, document, error); status != st::kOk) return status;
  const TextSection* head = document.Find("Interface");
  if (head == nullptr) {
    error = "no [Interface] section";
    return st::kFileFormat;
  }
  InterfaceFile result;
  const std::string* serial = head->Find("Serial");
  const std::string* types = head->Find("InterfaceTypes");
  const std::string* ports = head->Find("Ports");
  const std::uint64_t kMissing = ~std::uint64_t{0};
  const std::uint64_t serialValue = serial == nullptr ? kMissing : ParseU32(*serial).value_or(kMissing);
  const std::uint64_t typesValue = types == nullptr ? kMissing : ParseU32(*types).value_or(kMissing);
  const std::uint64_t portsValue = ports == nullptr ? kMissing : ParseU32(*ports).value_or(kMissing);
  if (serialValue == kMissing || typesValue == kMissing || portsValue > 8) {
    error = "[Interface] needs Serial, InterfaceTypes and Ports (at most 8)";
    return st::kFileFormat;
  }
  result.serial = static_cast<std::uint32_t>(serialValue);
  result.interfaceTypes = static_cast<std::uint32_t>(typesValue);
  for (std::uint64_t port = 0; port < portsValue; ++port) {
    const std::string* name = head->Find("Port" + std::to_string(port));
    result.ports.push_back(name == nullptr ? std::string() : *name);
  }
  if (const TextSection* settings = document.Find("Settings")) {
    for (const auto& [key, value] : settings->entries) {
      const auto number = ParseU32(key);
      if (!number) {
        error = "[Settings] key \"" + key + "\" is not an attribute key";
        return st::kFileFormat;
      }
      result.settings.emplace_back(*number, value);
    }
  }
  file = std::move(result);
  return st::kOk;
}

std::string FormatInterfaceFile(const InterfaceFile& file) {
  TextDocument document;
  TextSection& head = document.AddSection("Interface");
  head.Add("Serial", Hex32(file.serial));
  head.Add("InterfaceTypes", Hex32(file.interfaceTypes));
  head.Add("Ports", std::to_string(file.ports.size()));
  for (std::size_t port = 0; port < file.ports.size(); ++port)
    head.Add("Port" + std::to_string(port), file.ports[port]);
  if (!file.settings.empty()) {
    TextSection& settings = document.AddSection("Settings");
    for (const auto& [key, value] : file.settings) settings.Add(Hex32(key), value);
  }
  return FormatText(document, "OD-KELD interface file");
}

Status LoadInterfaceFile(const std::string& path, InterfaceFile& file) {
  std::string text;
  std::error_code failure;
  if (!std::filesystem::is_regular_file(path, failure) || !ReadWholeFile(path, text)) return st::kInterfaceNotFound;
  std::string error;
  return ParseInterfaceFile(text, file, error);
}

Status StoreInterfaceFile(const std::string& path, const InterfaceFile& file) {
  return WriteWholeFile(path, FormatInterfaceFile(file)) ? st::kOk : st::kFileWrite;
}

}  // namespace keldsim
