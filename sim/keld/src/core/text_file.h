// The plain text form of the driver's files: sections "[Name]" holding lines
// "Key = Value"; blank lines and lines starting with '#' or ';' are ignored.
// Keys are compared without regard to case; values run to the end of the
// line, trimmed. Interface and camera files are both written in this form.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/status.h"

namespace keldsim {

struct TextSection {
  std::string name;
  std::vector<std::pair<std::string, std::string>> entries;

  const std::string* Find(std::string_view key) const;
  void Add(std::string key, std::string value) { entries.emplace_back(std::move(key), std::move(value)); }
};

struct TextDocument {
  std::vector<TextSection> sections;

  const TextSection* Find(std::string_view name) const;
  TextSection& AddSection(std::string name);
};

// Reads the text; a line outside a section or without '=' gives kFileFormat
// with the line number in `error`.
Status ParseText(std::string_view text, TextDocument& document, std::string& error);
// Writes the document, `comment` first as a comment line.
std::string FormatText(const TextDocument& document, std::string_view comment);

// Whole files. Writing goes through a temporary file and a rename, so a
// reader never sees half a file.
bool ReadWholeFile(const std::filesystem::path& path, std::string& text);
bool WriteWholeFile(const std::filesystem::path& path, std::string_view text);

// Numbers in files and descriptions: decimal, or hexadecimal with "0x".
std::optional<std::uint32_t> ParseU32(std::string_view text);
std::optional<std::uint64_t> ParseU64(std::string_view text);
std::optional<double> ParseF64(std::string_view text);
std::string Hex32(std::uint32_t value);
std::string FormatF64(double value);
bool EqualNoCase(std::string_view a, std::string_view b);
std::string_view Trim(std::string_view text);

}  // namespace keldsim
