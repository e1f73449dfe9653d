#include "foundation/error_text.h"

#include <algorithm>
#include <array>
#include <vector>

namespace keld {

const char* const kFallbackErrorText =
    "An undetermined error code has been encountered. Please note the error code and contact "
    "Orvane Devices Technical support for more information.\n";

namespace {

struct ErrorTextEntry {
  Status code;
  const char* text;
};

// The library's own texts. 0xBFFF8010 and 0xBFFF8015 have no entry.
constexpr std::array<ErrorTextEntry, 29> kErrorTexts{{
    {0x00000000, "Spiffy!"},
    {0xBFFF8000, "Failed to save byte stream."},
    {0xBFFF8001, "Failed to load byte stream."},
    {0xBFFF8002, "Remote operation timed out. The remote device may be busy with other operations."},
    {0xBFFF8003, "Remote procedure is unknown."},
    {0xBFFF8004, "An exception occurred while trying to execute remote procedures."},
    {0xBFFF8005, "Out of system memory."},
    {0xBFFF8006, "The attribute type you specified is unknown."},
    {0xBFFF8007, "The pointer you specified is bad, probably NULL, when it should not be!"},
    {0xBFFF8008, "The session type you specified is unknown."},
    {0xBFFF8009, "The session you specified is invalid."},
    {0xBFFF800A, "The attribute types you are assigning are incompatible."},
    {0xBFFF800B, "The session for your device could not be configured."},
    {0xBFFF800C, "Unable to complete the query, you requested a device beyond the enumerated range."},
    {0xBFFF800D, "There are not enough available occurrences to go on. Register some and try again."},
    {0xBFFF800E, "The occurrence failed to notify. Either it was not found or something bad happened!"},
    {0xBFFF800F, "You have tried to perform a function on a camera attribute of the wrong type."},
    {0xBFFF8011, "This function is not supported."},
    {0xBFFF8012, "Unable to find a required DLL."},
    {0xBFFF8013, "Unable to find a valid camera file for this device in the OD-KELD\\data directory."},
    {0xBFFF8014, "An error occurred while trying to save image to disk."},
    {0xBFFF8016,
     "The selected device is not currently associated with either the Legacy OD-KELD for IEEE 1394 "
     "driver\r\nor the OD-KELDnv driver.  Right-click the device to select which driver is in use."},
    {0xBFFF8017,
     "There was an internal error.\nFor instance, a method was called when it doesn't apply for a "
     "driver."},
    {0xBFFF8018, "The component type you specified is unknown or is not valid for the given attribute."},
    {0xBFFF8019,
     "The type specified is unknown or does not match the type of the given attribute or "
     "subattribute."},
    {0xBFFF801A,
     "An attempt was made to write a non-writable attribute or to read an non-readable attribute."},
    {0xBFFF801B,
     "Packet loss has been detected that is possibly due to jumbo packet support being "
     "disabled.\r\nEnsure that the network configuration supports jumbo packet traffic.\r\nIf jumbo "
     "packets are not supported, configure the camera to use standard sized packets."},
    {0xBFFF801C, "The update file is not valid for the given device."},
    {0xBFFF801D,
     "The selected device is not currently associated with the OD-KELDnv driver.\r\nRight-click the "
     "device to select which driver is in use."},
}};

// Built once, at the first request, and kept until unload.
struct ErrorTextTable {
  std::array<std::pair<Status, CFGString>, kErrorTexts.size()> entries;
  ErrorTextTable() {
    for (std::size_t i = 0; i < kErrorTexts.size(); ++i) {
      entries[i].first = kErrorTexts[i].code;
      entries[i].second = kErrorTexts[i].text;
    }
  }
};

const ErrorTextTable& Table() {
  static const ErrorTextTable table;
  return table;
}

std::vector<ErrorTextProvider>& Providers() {
  static std::vector<ErrorTextProvider> providers;
  return providers;
}

}  // namespace

std::uint32_t RegisterErrorTextProvider(ErrorTextProvider provider) {
  try {
    Providers().push_back(provider);
    return 1;
  } catch (...) {
    return 0;
  }
}

void LibraryErrorTextProvider(Status status, CFGString* text, bool* found) {
  for (const auto& [code, sentence] : Table().entries) {
    if (code == status) {
      *text = sentence;
      *found = true;
      return;
    }
  }
}

Status GetErrorText(Status status, CFGString* text) {
  bool found = false;
  const std::vector<ErrorTextProvider>& providers = Providers();
  for (auto it = providers.begin(); it != providers.end() && !found; ++it) {
    try {
      (*it)(status, text, &found);
    } catch (...) {
      found = false;
    }
  }
  if (found && !text->empty()) return kSuccess;
  *text = kFallbackErrorText;
  return kSuccess;
}

namespace testing {

void PushFrontErrorTextProvider(ErrorTextProvider provider) {
  Providers().insert(Providers().begin(), provider);
}

void RemoveErrorTextProvider(ErrorTextProvider provider) {
  auto& providers = Providers();
  providers.erase(std::remove(providers.begin(), providers.end(), provider), providers.end());
}

}  // namespace testing

}  // namespace keld
