#include "datafile/sectioned_text_file.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

namespace keld {

namespace {

constexpr std::size_t kLineBuffer = 2048;
constexpr int kLineLimit = 2047;  // bytes fgets may fill, the terminator included
constexpr std::size_t kPairText = 127;
constexpr std::uint64_t kMaximumPairs = 32;

bool SameName(const CFGString& name, const char* wanted) {
  return wanted != nullptr && strcasecmp(name.c_str(), wanted) == 0;
}

bool Trimmed(char c) { return c == ' ' || c == '"' || c == '\n' || c == '\r'; }

// The field without the blanks, double quotes, CRs and LFs at its ends.
std::string Trim(const char* begin, const char* end) {
  while (begin < end && Trimmed(*begin)) ++begin;
  while (end > begin && Trimmed(end[-1])) --end;
  return std::string(begin, end);
}

// Where the first "=", CR or LF stands in [begin, end), or end.
const char* FieldEnd(const char* begin, const char* end) {
  for (const char* at = begin; at < end; ++at) {
    if (*at == '=' || *at == '\r' || *at == '\n') return at;
  }
  return end;
}

// A CFGString holding `text`; false where it could not be stored.
bool Store(CFGString* target, const char* text) {
  *target = CFGString(text);
  return target->error() == 0;
}

template <typename Body>
void Guarded(std::int32_t& status, Body body) {
  if (status < 0) return;
  try {
    body();
  } catch (...) {
    status = kTextFileOutOfMemory;
  }
}

}  // namespace

SectionedTextFile::SectionedTextFile(const char* path, std::int32_t& status) {
  if (!Store(&path_, path) && status >= 0) status = kTextFileOutOfMemory;
}

const char* SectionedTextFile::GetSectionName(std::uint64_t index) const {
  return index < sections_.size() ? sections_[index].name.c_str() : nullptr;
}

void SectionedTextFile::Read(std::int32_t& status) {
  if (status < 0) return;
  std::FILE* file = std::fopen(path_.c_str(), "r");
  if (file == nullptr) {
    status = kTextFileCannotOpen;
    return;
  }
  std::unique_ptr<char[]> line(new (std::nothrow) char[kLineBuffer]);
  if (line == nullptr) {
    status = kTextFileOutOfMemory;
    std::fclose(file);
    return;
  }
  Guarded(status, [&] {
    for (;;) {
      line[0] = 0;
      const bool got = std::fgets(line.get(), kLineLimit, file) != nullptr;
      // A line that the end of the file cuts short is not taken.
      if (!got || std::feof(file)) break;
      const char* begin = line.get();
      const char* end = begin + std::strlen(begin);
      const char* firstEnd = FieldEnd(begin, end);
      const char* second = firstEnd < end ? firstEnd + 1 : end;
      const char* secondEnd = FieldEnd(second, end);
      const std::string key = Trim(begin, firstEnd);
      const std::string value = Trim(second, secondEnd);
      if (key.empty()) continue;
      if (value.empty()) {
        Section section;
        if (!Store(&section.name, key.c_str())) {
          status = kTextFileOutOfMemory;
          break;
        }
        sections_.push_back(std::move(section));
        continue;
      }
      if (sections_.empty()) {
        status = kTextFilePairBeforeSection;
        break;
      }
      Entry entry;
      if (!Store(&entry.key, key.c_str()) || !Store(&entry.value, value.c_str())) {
        status = kTextFileOutOfMemory;
        break;
      }
      sections_.back().entries.push_back(std::move(entry));
    }
  });
  std::fclose(file);
}

void SectionedTextFile::Write(std::int32_t& status) {
  if (status < 0) return;
  std::FILE* file = std::fopen(path_.c_str(), "w");
  if (file == nullptr) {
    status = kTextFileCannotOpen;
    return;
  }
  for (const Section& section : sections_) {
    std::fprintf(file, "%s\n", section.name.c_str());
    for (const Entry& entry : section.entries) std::fprintf(file, "%s = %s\n", entry.key.c_str(), entry.value.c_str());
    std::fprintf(file, "\n");
  }
  std::fclose(file);
}

namespace {

// The first pair of `key` in `section` into `value`; false where it has none.
bool FindIn(const SectionedTextFile::Section& section, const char* key, CFGString& value, std::int32_t& status) {
  for (const SectionedTextFile::Entry& entry : section.entries) {
    if (!SameName(entry.key, key)) continue;
    if (!Store(&value, entry.value.c_str())) status = kTextFileOutOfMemory;
    return true;
  }
  return false;
}

}  // namespace

void SectionedTextFile::GetEntry(const char* section, const char* key, CFGString& value,
                                 std::int32_t& status) const {
  if (status < 0) return;
  for (const Section& candidate : sections_) {
    if (SameName(candidate.name, section) && FindIn(candidate, key, value, status)) return;
  }
  status = kTextFileNotFound;
}

void SectionedTextFile::GetEntryAt(std::uint64_t index, const char* key, CFGString& value,
                                   std::int32_t& status) const {
  if (status < 0) return;
  if (index < sections_.size() && FindIn(sections_[index], key, value, status)) return;
  status = kTextFileNotFound;
}

double SectionedTextFile::GetNumber(const char* section, const char* key, double defaultValue) const {
  std::int32_t status = 0;
  CFGString text;
  GetEntry(section, key, text, status);
  if (status != 0) return defaultValue;
  return std::strtod(text.c_str(), nullptr);
}

double SectionedTextFile::GetNumberAt(std::uint64_t index, const char* key, double defaultValue) const {
  std::int32_t status = 0;
  CFGString text;
  GetEntryAt(index, key, text, status);
  if (status != 0) return defaultValue;
  return std::strtod(text.c_str(), nullptr);
}

void SectionedTextFile::SetEntry(const char* section, const char* key, const char* value, std::int32_t& status) {
  Guarded(status, [&] {
    Section* first = nullptr;
    for (Section& candidate : sections_) {
      if (!SameName(candidate.name, section)) continue;
      if (first == nullptr) first = &candidate;
      for (Entry& entry : candidate.entries) {
        if (!SameName(entry.key, key)) continue;
        if (!Store(&entry.value, value)) status = kTextFileOutOfMemory;
        return;
      }
    }
    Entry entry;
    if (!Store(&entry.key, key) || !Store(&entry.value, value)) {
      status = kTextFileOutOfMemory;
      return;
    }
    if (first == nullptr) {
      Section fresh;
      if (!Store(&fresh.name, section)) {
        status = kTextFileOutOfMemory;
        return;
      }
      sections_.push_back(std::move(fresh));
      first = &sections_.back();
    }
    first->entries.push_back(std::move(entry));
  });
}

void SectionedTextFile::RemoveSection(const char* section, std::int32_t& status) {
  Guarded(status, [&] {
    for (auto at = sections_.begin(); at != sections_.end(); ++at) {
      if (SameName(at->name, section)) {
        sections_.erase(at);
        return;
      }
    }
  });
}

void ParsePairList(const char* text, double (*points)[2], std::uint64_t* count, std::int32_t& status) {
  if (status < 0) return;
  bool failed = false;
  // The work buffer is zero-ended by its last byte and is not cleared
  // between rounds: a shorter piece leaves the end of a longer one behind it.
  char work[kPairText + 1] = {};
  const char* rest = text != nullptr ? text : "";
  for (;;) {
    const char* close = std::strchr(rest, ')');
    if (close == nullptr || close == rest) break;
    const std::size_t length = std::min<std::size_t>(static_cast<std::size_t>(close - rest), kPairText);
    std::memcpy(work, rest, length);
    rest = close + 1;
    if (*count >= kMaximumPairs) {
      failed = true;
      continue;
    }
    const char* open = std::strchr(work, '(');
    if (open == nullptr) {
      failed = true;
      continue;
    }
    const double x = std::strtod(open + 1, nullptr);
    const char* comma = std::strchr(open, ',');
    if (comma == nullptr) {
      failed = true;
      continue;
    }
    const double y = std::strtod(comma + 1, nullptr);
    points[*count][0] = x;
    points[*count][1] = y;
    ++*count;
  }
  if (failed || *count == 0) {
    if (status >= 0) status = kTextFileCannotOpen;  // -1: the list is not good
    *count = 0;
  }
}

}  // namespace keld
