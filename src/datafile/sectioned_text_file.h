// SectionedTextFile: a small keyed text format of named sections, each an
// ordered list of key and value pairs, read whole into memory and written
// out whole. Lines without "=" name a section (brackets and all); lines
// "key = value" add a pair to the latest section. Names and keys compare
// without regard to ASCII case. There is no comment or escape syntax.
//
// Every operation takes the caller's status, does nothing when it is
// already negative and sets it on failure, so a chain of calls needs one
// check at its end. The statuses are the format's own:
//   0 all went well, -1 the file cannot be opened, -2 out of memory or any
//   other exception, -3 a pair before the first section, -4 no such
//   section or key.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/cfg_string.h"

namespace keld {

inline constexpr std::int32_t kTextFileCannotOpen = -1;
inline constexpr std::int32_t kTextFileOutOfMemory = -2;
inline constexpr std::int32_t kTextFilePairBeforeSection = -3;
inline constexpr std::int32_t kTextFileNotFound = -4;

class SectionedTextFile {
 public:
  struct Entry {
    CFGString key;
    CFGString value;
  };
  struct Section {
    CFGString name;
    std::vector<Entry> entries;
  };

  SectionedTextFile(const char* path, std::int32_t& status);

  // Appends the file's sections to those already held. A line longer than
  // the reader's 2047-byte limit is read in pieces, each a line of its own;
  // a last line without a line break is dropped.
  void Read(std::int32_t& status);
  // Writes every section: its name, its pairs as "key = value", an empty line.
  void Write(std::int32_t& status);

  std::uint64_t GetSectionCount() const { return sections_.size(); }
  // Null past the last section.
  const char* GetSectionName(std::uint64_t index) const;

  // The first pair of that key in the first section of that name that has
  // it; -4 where none has.
  void GetEntry(const char* section, const char* key, CFGString& value, std::int32_t& status) const;
  // The value read by strtod, as far as it goes; `defaultValue` where the
  // pair is missing. Failures are not reported.
  double GetNumber(const char* section, const char* key, double defaultValue) const;
  // The same for the section at `index` alone, whatever other sections share
  // its name: how a reader walking the sections in order reads each one's
  // own pairs.
  void GetEntryAt(std::uint64_t index, const char* key, CFGString& value, std::int32_t& status) const;
  double GetNumberAt(std::uint64_t index, const char* key, double defaultValue) const;
  // Replaces the value of the pair GetEntry would find; otherwise appends the
  // pair to the first section of that name, or to a new section.
  void SetEntry(const char* section, const char* key, const char* value, std::int32_t& status);
  // Removes the first section of that name with its pairs; a missing one is
  // no error.
  void RemoveSection(const char* section, std::int32_t& status);

  const std::vector<Section>& sections() const { return sections_; }

 private:
  CFGString path_;
  std::vector<Section> sections_;
};

// Reads up to 32 "(x,y)" pairs into `points`, counting on from `*count`:
// each round takes the text before the next ")" (at most 127 characters),
// looks for "(" and "," in it and reads both numbers by strtod. A round
// without "(" or ",", a 33rd pair, or a text without any pair sets the
// status to -1 (unless it is already negative) and the count to 0.
void ParsePairList(const char* text, double (*points)[2], std::uint64_t* count, std::int32_t& status);

}  // namespace keld
