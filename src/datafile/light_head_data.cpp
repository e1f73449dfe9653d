#include "datafile/light_head_data.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <boost/crc.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "datafile/sectioned_text_file.h"
#include "platform/file_search.h"

namespace keld {

namespace {

constexpr const char* kKeyStore = "[KeyStoreEntry]";
constexpr std::size_t kDirectoryLimit = 255;
constexpr std::size_t kCrcDigits = 8;

// Copies `text` into a zero-padded array of `size` bytes, cut at size - 1.
void CopyCut(char* target, std::size_t size, const char* text) {
  std::memset(target, 0, size);
  if (text != nullptr) std::strncpy(target, text, size - 1);
}

template <std::size_t N>
void CopyCut(char (&target)[N], const char* text) {
  CopyCut(target, N, text);
}

// A key's text, empty where the key is missing.
CFGString Text(const SectionedTextFile& file, const char* section, const char* key) {
  std::int32_t status = 0;
  CFGString value;
  file.GetEntry(section, key, value, status);
  return status == 0 ? value : CFGString();
}

// A key's text in the section at `index`, empty where it has none.
CFGString TextAt(const SectionedTextFile& file, std::uint64_t index, const char* key) {
  std::int32_t status = 0;
  CFGString value;
  file.GetEntryAt(index, key, value, status);
  return status == 0 ? value : CFGString();
}

// A number cut to an integer as a 32-bit word, wrapping as a conversion
// through a signed 64-bit integer would; what no integer holds is taken as
// all ones, which no known algorithm is.
std::uint32_t CutToWord(double value) {
  if (!std::isfinite(value) || value >= 9.2e18 || value <= -9.2e18) return 0xFFFFFFFFu;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}

// Splits "[a::b::c::d]" into the entry's name parts; false where the name
// is not of that form or a part is empty. The fourth part runs to the "]"
// and so takes any further "::".
bool ParseSectionName(const char* name, LightHeadEntry* entry) {
  if (name == nullptr || name[0] != '[') return false;
  const char* at = name + 1;
  std::string parts[4];
  for (int i = 0; i < 3; ++i) {
    const char* separator = std::strstr(at, "::");
    if (separator == nullptr) return false;
    parts[i].assign(at, separator);
    at = separator + 2;
  }
  const char* close = std::strchr(at, ']');
  if (close == nullptr) return false;
  parts[3].assign(at, close);
  for (const std::string& part : parts) {
    if (part.empty()) return false;
  }
  CopyCut(entry->namePart1, parts[0].c_str());
  CopyCut(entry->namePart2, parts[1].c_str());
  CopyCut(entry->namePart3, parts[2].c_str());
  CopyCut(entry->namePart4, parts[3].c_str());
  return true;
}

bool SameText(const char* a, const char* b) { return strcasecmp(a, b) == 0; }

// A number with two or three decimals, as the file's writer prints them.
std::string Decimals(int places, double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", places, value);
  return text;
}

// Sorts the points by x, ascending; y plays no part.
void SortPoints(double (*points)[2], std::uint64_t count) {
  std::vector<std::array<double, 2>> sorted(count);
  for (std::uint64_t i = 0; i < count; ++i) sorted[i] = {points[i][0], points[i][1]};
  std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a[0] < b[0]; });
  for (std::uint64_t i = 0; i < count; ++i) {
    points[i][0] = sorted[i][0];
    points[i][1] = sorted[i][1];
  }
}

}  // namespace

std::string LightHeadIdentifier(const LightHeadEntry& entry) {
  if (entry.namePart1[0] == 0 || entry.namePart2[0] == 0 || entry.namePart3[0] == 0 || entry.namePart4[0] == 0) {
    return std::string();
  }
  std::string identifier = std::string(entry.namePart1) + "::" + entry.namePart2 + "::" + entry.namePart3 +
                           "::" + entry.namePart4;
  if (entry.digitalSigner[0] != 0) identifier += std::string("::") + entry.digitalSigner;
  return identifier;
}

bool SameLightHead(const LightHeadEntry& a, const LightHeadEntry& b) {
  return SameText(a.namePart1, b.namePart1) && SameText(a.namePart2, b.namePart2) &&
         SameText(a.namePart4, b.namePart4) && SameText(a.namePart3, b.namePart3) &&
         SameText(a.digitalSigner, b.digitalSigner);
}

bool IsValidLightHead(const LightHeadEntry& entry) {
  const std::size_t length = strnlen(entry.binaryBlob, sizeof entry.binaryBlob);
  if (length == 0) return entry.algorithm == 0 && entry.curvePointCount > 0;
  if (length < kCrcDigits + 1) return false;
  const std::size_t body = length - kCrcDigits;
  std::uint32_t stated = 0;
  for (std::size_t i = body; i < length; ++i) {
    const char c = entry.binaryBlob[i];
    std::uint32_t digit = 0;
    if (c >= '0' && c <= '9') {
      digit = static_cast<std::uint32_t>(c - '0');
    } else if (c >= 'a' && c <= 'f') {
      digit = static_cast<std::uint32_t>(c - 'a' + 10);
    } else if (c >= 'A' && c <= 'F') {
      digit = static_cast<std::uint32_t>(c - 'A' + 10);
    } else {
      return false;
    }
    stated = stated << 4 | digit;
  }
  boost::crc_32_type crc;
  crc.process_bytes(entry.binaryBlob, body);
  return crc.checksum() == stated;
}

void LoadLightHeadFile(const char* path, LightHeadList* list, const char* filter) {
  std::int32_t status = 0;
  SectionedTextFile file(path, status);
  file.Read(status);
  if (status < 0) return;
  const CFGString signerName = Text(file, kKeyStore, "SignerName");
  const CFGString signerKey = Text(file, kKeyStore, "SignerPublicKey");
  const CFGString masterSigner = Text(file, kKeyStore, "MasterSignerName");
  const CFGString keyStoreSignature = Text(file, kKeyStore, "DigitalSignature");
  try {
    for (std::uint64_t index = 0; index < file.GetSectionCount(); ++index) {
      const char* section = file.GetSectionName(index);
      if (section == nullptr) continue;
      list->emplace_back();
      LightHeadEntry& entry = list->back().entry;
      if (!ParseSectionName(section, &entry)) {
        list->pop_back();
        continue;
      }
      CopyCut(entry.signerName, signerName.c_str());
      CopyCut(entry.signerPublicKey, signerKey.c_str());
      CopyCut(entry.masterSignerName, masterSigner.c_str());
      CopyCut(entry.keyStoreSignature, keyStoreSignature.c_str());
      // Each section's own pairs are read, so that two definitions of one
      // head in one file (of one section name) are told apart.
      entry.version = file.GetNumberAt(index, "Version", 0.0);

      std::int32_t blobStatus = 0;
      CFGString blob;
      file.GetEntryAt(index, "BinaryBlob", blob, blobStatus);
      if (blobStatus < 0 && blobStatus != kTextFileNotFound) {
        list->pop_back();
        continue;
      }
      if (blobStatus != 0 || blob.empty()) {
        entry.algorithm = CutToWord(file.GetNumberAt(index, "Algorithm", 0.0));
        // An algorithm this library does not know is kept as it came.
        if (entry.algorithm != 0) continue;
        entry.maximumCurrentContinuous = file.GetNumberAt(index, "MaximumCurrentContinuous", 0.0);
        entry.maximumDutyCycleStrobed = file.GetNumberAt(index, "MaximumDutyCycleStrobed", 0.0);
        std::int32_t pointsStatus = 0;
        entry.curvePointCount = 0;
        ParsePairList(TextAt(file, index, "LightingCurvePoints").c_str(), entry.curvePoints, &entry.curvePointCount,
                      pointsStatus);
        SortPoints(entry.curvePoints, entry.curvePointCount);
      } else {
        CopyCut(entry.binaryBlob, blob.c_str());
        CopyCut(entry.digitalSigner, TextAt(file, index, "DigitalSigner").c_str());
        CopyCut(entry.digitalSignature, TextAt(file, index, "DigitalSignature").c_str());
      }
      if (filter != nullptr && !SameText(filter, LightHeadIdentifier(entry).c_str())) {
        list->pop_back();
        continue;
      }
      const auto last = list->end() - 1;
      const auto earlier = std::find_if(list->begin(), last, [&](const LightHeadRecord& record) {
        return SameLightHead(record.entry, entry);
      });
      if (earlier == last) continue;
      if (IsValidLightHead(entry) && (entry.version > earlier->entry.version || !IsValidLightHead(earlier->entry))) {
        earlier->entry = entry;
      }
      list->pop_back();
    }
  } catch (const std::bad_alloc&) {
    list->clear();
  }
}

void LoadLightHeadDirectory(const char* directory, LightHeadList* list, const char* filter) {
  if (directory == nullptr) return;
  const std::string folder(directory, strnlen(directory, kDirectoryLimit));
  for (const std::string& name : FindFilesWithExtension(folder, ".ild")) {
    LoadLightHeadFile((folder + "/" + name).c_str(), list, filter);
  }
}

bool WriteLightHeadEntry(const char* path, const LightHeadEntry& entry, bool parseFirst) {
  if (entry.namePart1[0] == 0 || entry.namePart2[0] == 0 || entry.namePart3[0] == 0 || entry.namePart4[0] == 0) {
    return false;
  }
  std::int32_t status = 0;
  SectionedTextFile file(path, status);
  if (parseFirst) {
    file.Read(status);
    if (status == kTextFileCannotOpen) status = 0;  // a new file
  }
  if (status < 0) return false;
  if (entry.signerName[0] != 0 || entry.signerPublicKey[0] != 0 || entry.masterSignerName[0] != 0 ||
      entry.keyStoreSignature[0] != 0) {
    file.SetEntry(kKeyStore, "SignerName", entry.signerName, status);
    file.SetEntry(kKeyStore, "SignerPublicKey", entry.signerPublicKey, status);
    file.SetEntry(kKeyStore, "MasterSignerName", entry.masterSignerName, status);
    file.SetEntry(kKeyStore, "DigitalSignature", entry.keyStoreSignature, status);
  }
  const std::string section = std::string("[") + entry.namePart1 + "::" + entry.namePart2 + "::" +
                              entry.namePart3 + "::" + entry.namePart4 + "]";
  // The head's section is built anew at the end of the file.
  file.RemoveSection(section.c_str(), status);
  file.SetEntry(section.c_str(), "Version", Decimals(2, entry.version).c_str(), status);
  if (entry.binaryBlob[0] == 0) {
    char algorithm[16];
    std::snprintf(algorithm, sizeof algorithm, "%u", entry.algorithm);
    file.SetEntry(section.c_str(), "Algorithm", algorithm, status);
    file.SetEntry(section.c_str(), "MaximumCurrentContinuous", Decimals(3, entry.maximumCurrentContinuous).c_str(),
                  status);
    file.SetEntry(section.c_str(), "MaximumDutyCycleStrobed", Decimals(3, entry.maximumDutyCycleStrobed).c_str(),
                  status);
    if (entry.algorithm == 0) {
      std::string points;
      const std::uint64_t count = std::min<std::uint64_t>(entry.curvePointCount, 32);
      for (std::uint64_t i = 0; i < count; ++i) {
        char pair[128];
        std::snprintf(pair, sizeof pair, "(%.3f,%.3f)", entry.curvePoints[i][0], entry.curvePoints[i][1]);
        points += pair;
      }
      file.SetEntry(section.c_str(), "LightingCurvePoints", points.c_str(), status);
    }
  } else {
    const std::string blob(entry.binaryBlob, strnlen(entry.binaryBlob, sizeof entry.binaryBlob));
    file.SetEntry(section.c_str(), "BinaryBlob", blob.c_str(), status);
    if (entry.digitalSigner[0] != 0 && entry.digitalSignature[0] != 0) {
      const std::string signer(entry.digitalSigner, strnlen(entry.digitalSigner, sizeof entry.digitalSigner));
      const std::string signature(entry.digitalSignature,
                                  strnlen(entry.digitalSignature, sizeof entry.digitalSignature));
      file.SetEntry(section.c_str(), "DigitalSigner", signer.c_str(), status);
      file.SetEntry(section.c_str(), "DigitalSignature", signature.c_str(), status);
    }
  }
  file.Write(status);
  return status >= 0;
}

}  // namespace keld
