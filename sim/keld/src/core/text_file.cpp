#include "core/text_file.h"

#include <unistd.h>

#include <atomic>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <system_error>

namespace keldsim {

std::string_view Trim(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) text.remove_suffix(1);
  return text;
}

bool EqualNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

const std::string* TextSection::Find(std::string_view key) const {
  for (const auto& [k, v] : entries) {
    if (EqualNoCase(k, key)) return &v;
  }
  return nullptr;
}

const TextSection* TextDocument::Find(std::string_view name) const {
  for (const auto& section : sections) {
    if (EqualNoCase(section.name, name)) return &section;
  }
  return nullptr;
}

TextSection& TextDocument::AddSection(std::string name) {
  sections.push_back(TextSection{std::move(name), {}});
  return sections.back();
}

Status ParseText(std::string_view text, TextDocument& document, std::string& error) {
  document.sections.clear();
  std::size_t lineNumber = 0;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = Trim(text.substr(0, end));
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    ++lineNumber;
    if (line.empty() || line.front() == '#' || line.front() == ';') continue;
    if (line.front() == '[') {
      if (line.back() != ']' || line.size() < 3) {
        error = "line " + std::to_string(lineNumber) + ": section name without ']'";
        return st::kFileFormat;
      }
      document.AddSection(std::string(Trim(line.substr(1, line.size() - 2))));
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || document.sections.empty()) {
      error = "line " + std::to_string(lineNumber) + ": expected \"Key = Value\" inside a section";
      return st::kFileFormat;
    }
    document.sections.back().Add(std::string(Trim(line.substr(0, equals))), std::string(Trim(line.substr(equals + 1))));
  }
  return st::kOk;
}

std::string FormatText(const TextDocument& document, std::string_view comment) {
  std::string out;
  if (!comment.empty()) {
    out += "# ";
    out += comment;
    out += '\n';
  }
  for (const auto& section : document.sections) {
    out += '[';
    out += section.name;
    out += "]\n";
    for (const auto& [key, value] : section.entries) {
      out += key;
      out += " = ";
      out += value;
      out += '\n';
    }
  }
  return out;
}

bool ReadWholeFile(const std::filesystem::path& path, std::string& text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  if (in.bad()) return false;
  text = std::move(buffer).str();
  return true;
}

bool WriteWholeFile(const std::filesystem::path& path, std::string_view text) {
  // A temporary name of its own for every write, so that two writers of one
  // file never share one.
  static std::atomic<std::uint64_t> writes{0};
  std::filesystem::path temporary = path;
  temporary += ".tmp" + std::to_string(::getpid()) + "-" + std::to_string(++writes);
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.flush();
    if (!out) {
      out.close();
      std::error_code ignored;
      std::filesystem::remove(temporary, ignored);
      return false;
    }
  }
  std::error_code failure;
  std::filesystem::rename(temporary, path, failure);
  if (failure) {
    std::error_code ignored;
    std::filesystem::remove(temporary, ignored);
    return false;
  }
  return true;
}

std::optional<std::uint64_t> ParseU64(std::string_view text) {
  text = Trim(text);
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  if (text.empty()) return std::nullopt;
  std::uint64_t value = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (failure != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<std::uint32_t> ParseU32(std::string_view text) {
  const auto wide = ParseU64(text);
  if (!wide || *wide > 0xFFFFFFFFu) return std::nullopt;
  return static_cast<std::uint32_t>(*wide);
}

std::optional<double> ParseF64(std::string_view text) {
  text = Trim(text);
  if (text.empty()) return std::nullopt;
  double value = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (failure != std::errc{} || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::string Hex32(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", value);
  return text;
}

std::string FormatF64(double value) {
  char text[40];
  const auto [end, failure] = std::to_chars(text, text + sizeof text, value);
  if (failure != std::errc{}) return "0";
  return std::string(text, end);
}

}  // namespace keldsim
