#include "foundation/error_text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace keld {
namespace {

std::string TextOf(Status status) {
  CFGString text;
  EXPECT_EQ(GetErrorText(status, &text), kSuccess);
  return text.c_str();
}

// Every entry of the library's table, byte for byte.
const std::vector<std::pair<Status, std::string>> kExpected = {
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
    {0xBFFF8013, std::string("Unable to find a valid camera file for this device in the OD-KELD") + '\x5C' +
                     "data directory."},
    {0xBFFF8014, "An error occurred while trying to save image to disk."},
    {0xBFFF8016,
     "The selected device is not currently associated with either the Legacy OD-KELD for IEEE 1394 driver\x0D\x0A"
     "or the OD-KELDnv driver.  Right-click the device to select which driver is in use."},
    {0xBFFF8017,
     "There was an internal error.\x0A"
     "For instance, a method was called when it doesn't apply for a driver."},
    {0xBFFF8018, "The component type you specified is unknown or is not valid for the given attribute."},
    {0xBFFF8019, "The type specified is unknown or does not match the type of the given attribute or subattribute."},
    {0xBFFF801A, "An attempt was made to write a non-writable attribute or to read an non-readable attribute."},
    {0xBFFF801B,
     "Packet loss has been detected that is possibly due to jumbo packet support being disabled.\x0D\x0A"
     "Ensure that the network configuration supports jumbo packet traffic.\x0D\x0A"
     "If jumbo packets are not supported, configure the camera to use standard sized packets."},
    {0xBFFF801C, "The update file is not valid for the given device."},
    {0xBFFF801D,
     "The selected device is not currently associated with the OD-KELDnv driver.\x0D\x0A"
     "Right-click the device to select which driver is in use."},
};

const std::string kFallback =
    "An undetermined error code has been encountered. Please note the error code and contact Orvane Devices "
    "Technical support for more information.\x0A";

TEST(ErrorText, TableHasTwentyNineEntriesByteForByte) {
  ASSERT_EQ(kExpected.size(), 29u);
  for (const auto& [code, text] : kExpected) EXPECT_EQ(TextOf(code), text) << std::hex << code;
}

TEST(ErrorText, CodesWithoutEntryGiveTheFallback) {
  EXPECT_EQ(TextOf(0xBFFF8010), kFallback);
  EXPECT_EQ(TextOf(0xBFFF8015), kFallback);
  EXPECT_EQ(TextOf(0xBFFF801E), kFallback);
  EXPECT_EQ(TextOf(0x12345678), kFallback);
  // In the frame-grabber driver's range, a code the driver has no text for.
  EXPECT_EQ(TextOf(0xBFF60FFE), kFallback);
}

void ClaimsSuccessAndSessionCode(Status status, CFGString* text, bool* found) {
  if (status == 0) {
    *text = "driver says fine";
    *found = true;
  } else if (status == 0xBFFF8009) {
    *text = "driver's own view of 8009";
    *found = true;
  }
}

void FindsButStaysEmpty(Status status, CFGString* text, bool* found) {
  if (status == 0xBFFF8005) {
    *text = "";
    *found = true;
  }
}

void ThrowsAlways(Status, CFGString*, bool* found) {
  *found = true;
  throw 42;
}

void MissingFunction(Status, CFGString*, bool*) {
  // A driver provider whose function cannot be resolved leaves found false.
}

TEST(ErrorText, ProviderAskedFirstHasPrecedenceEvenForOwnCodes) {
  testing::PushFrontErrorTextProvider(&ClaimsSuccessAndSessionCode);
  EXPECT_EQ(TextOf(0), "driver says fine");
  EXPECT_EQ(TextOf(0xBFFF8009), "driver's own view of 8009");
  EXPECT_EQ(TextOf(0xBFFF8011), "This function is not supported.");
  testing::RemoveErrorTextProvider(&ClaimsSuccessAndSessionCode);
  EXPECT_EQ(TextOf(0), "Spiffy!");
}

TEST(ErrorText, FoundWithEmptyTextCountsAsNotKnowing) {
  testing::PushFrontErrorTextProvider(&FindsButStaysEmpty);
  // The search stops at the first provider that reports found, so an empty
  // answer ends it with the fallback sentence.
  EXPECT_EQ(TextOf(0xBFFF8005), kFallback);
  testing::RemoveErrorTextProvider(&FindsButStaysEmpty);
  EXPECT_EQ(TextOf(0xBFFF8005), "Out of system memory.");
}

TEST(ErrorText, ProviderWithMissingFunctionFallsThrough) {
  testing::PushFrontErrorTextProvider(&MissingFunction);
  EXPECT_EQ(TextOf(0xBFFF8007), "The pointer you specified is bad, probably NULL, when it should not be!");
  testing::RemoveErrorTextProvider(&MissingFunction);
}

TEST(ErrorText, FailureInsideProviderIsSwallowed) {
  testing::PushFrontErrorTextProvider(&ThrowsAlways);
  EXPECT_EQ(TextOf(0xBFFF8008), "The session type you specified is unknown.");
  testing::RemoveErrorTextProvider(&ThrowsAlways);
}

TEST(ErrorText, RegisterAppendsAtTheEnd) {
  // Registered after the table, a provider is asked only for codes the table
  // doesn't know.
  ASSERT_EQ(RegisterErrorTextProvider(&ClaimsSuccessAndSessionCode), 1u);
  EXPECT_EQ(TextOf(0), "Spiffy!");
  testing::RemoveErrorTextProvider(&ClaimsSuccessAndSessionCode);
}

}  // namespace
}  // namespace keld
