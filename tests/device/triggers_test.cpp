// Triggers, pulse generators, FPGA classes, the camera's serial error text,
// the boards' self tests and light-head data, on the simulated driver over
// both kinds of session.
#include <gtest/gtest.h>

#include <boost/crc.hpp>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "device_fixture.h"

namespace keld::device {
namespace {

constexpr std::uint32_t kInvalidTrigger = 0xBFF60038;
constexpr std::uint32_t kNoTestLibrary = 0xBFFF8012;

std::string Words(std::initializer_list<std::uint32_t> words) {
  std::string text;
  for (std::uint32_t word : words) text += " " + Hex(word);
  return text;
}

DEVICE_SCENARIO(TriggerSettingsReadBack) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  // Line 2, active low, a buffer per trigger, external, 500 ms, then a delay and flags.
  EXPECT_EQ(cfgKELDSessionTriggerConfigure3(id, 2, 1, 3, 0, 500, 0.25, 7), 0);
  std::uint32_t w[6] = {};
  double time = 0;
  EXPECT_EQ(cfgKELDSessionTriggerGet(id, 2, &w[0], &w[1], &w[2], &w[3], &w[4], &time, &w[5]), 0);
  EXPECT_EQ(w[0], 2u);
  EXPECT_EQ(w[1], 1u);
  EXPECT_EQ(w[2], 3u);
  EXPECT_EQ(w[3], 0u);
  EXPECT_EQ(w[4], 500u);
  EXPECT_EQ(time, 0.25);
  EXPECT_EQ(w[5], 7u);
  device.Note("trigger 2" + Words({w[0], w[1], w[2], w[3], w[4], w[5]}) + " " + std::to_string(time));

  // The older forms set what they carry.
  EXPECT_EQ(cfgConfigureTrigger(id, 4, 0, 1, 2), 0);
  EXPECT_EQ(cfgKELDSessionTriggerConfigure2(id, 5, 1, 2, 1, 100), 0);
  for (std::uint32_t line : {4u, 5u}) {
    EXPECT_EQ(cfgKELDSessionTriggerGet(id, line, &w[0], &w[1], &w[2], &w[3], &w[4], &time, &w[5]), 0);
    EXPECT_EQ(w[0], line);
    device.Note("trigger " + std::to_string(line) + Words({w[0], w[1], w[2], w[3], w[4], w[5]}));
  }

  // A line the board does not have is the driver's to refuse.
  const std::int32_t bad = cfgKELDSessionTriggerConfigure3(id, 99, 0, 1, 0, 0, 0.0, 0);
  EXPECT_EQ(static_cast<std::uint32_t>(bad), kInvalidTrigger);
  device.Note("trigger 99", bad);
  char text[256] = {};
  EXPECT_EQ(cfgGetErrorText(bad, text), 0);
  EXPECT_STRNE(text, "");  // the driver's own text
  device.Note(std::string("text ") + text);

  // Driving a line and reading it back; routes and line trigger sources.
  EXPECT_EQ(cfgKELDSessionTriggerDrive2(id, 3, 0, 1, 0), 0);
  std::uint32_t level = 7;
  EXPECT_EQ(cfgKELDSessionTriggerRead2(id, 3, 0, 0, &level), 0);
  device.Note("line 3 driven, reads " + std::to_string(level));
  EXPECT_EQ(cfgKELDSessionTriggerRoute2(id, 6, 0, 3, 0), 0);
  EXPECT_EQ(cfgKELDSessionLineTrigSource2(id, 6, 0, 0, 10), 0);
  device.Note("line source with divider 0", cfgKELDSessionLineTrigSource2(id, 6, 0, 0, 0));
  EXPECT_EQ(cfgKELDEncoderResetPosition(id), 0);

  EXPECT_EQ(cfgKELDSessionTriggerClear(id), 0);
  const std::int32_t cleared = cfgKELDSessionTriggerGet(id, 2, &w[0], &w[1], &w[2], &w[3], &w[4], &time, &w[5]);
  device.Note("trigger 2 after clear" + Words({static_cast<std::uint32_t>(cleared), w[0], w[1], w[2], w[3]}));
  EXPECT_EQ(cfgClose(id), 0);
}

DEVICE_SCENARIO(PulsesRunAndStop) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  std::uint32_t timebase = 9, delay = 0, width = 0;
  EXPECT_EQ(cfgKELDPulseRate(id, 0.001, 0.0005, &timebase, &delay, &width), 0);
  device.Note("rate" + Words({timebase, delay, width}));
  EXPECT_GT(width, 0u);
  std::uint32_t pulse = 0;
  // Timebase, delay, width, at once, polarity, output line 1, polarity, a train, until stopped, flags.
  ASSERT_EQ(cfgKELDPulseCreate2(id, timebase, delay, width, 0xFFFFFFFF, 0, 1, 0, 1, 0, 0, &pulse), 0);
  EXPECT_NE(pulse, 0u);
  KeldsimPulseState state{};
  ASSERT_EQ(keldsimGetPulseState(pulse, &state), 0u);
  EXPECT_EQ(state.running, 0u);
  EXPECT_EQ(state.parameters[2], width);
  EXPECT_EQ(cfgKELDPulseStart(id, pulse), 0);
  ASSERT_EQ(keldsimGetPulseState(pulse, &state), 0u);
  EXPECT_EQ(state.running, 1u);
  EXPECT_NE(state.session, 0u);  // the pulse knows the session it was started on
  EXPECT_EQ(cfgKELDPulseSetDutyCycle(id, pulse, 40, 60), 0);
  ASSERT_EQ(keldsimGetPulseState(pulse, &state), 0u);
  device.Note("duty cycle" + Words({state.parameters[1], state.parameters[2]}));
  EXPECT_EQ(cfgKELDPulseStop(id, pulse), 0);
  ASSERT_EQ(keldsimGetPulseState(pulse, &state), 0u);
  EXPECT_EQ(state.running, 0u);
  EXPECT_EQ(cfgKELDPulseDispose(id, pulse), 0);
  const std::int32_t again = cfgKELDPulseDispose(id, pulse);
  EXPECT_NE(again, 0);  // the driver's refusal, passed on
  device.Note("dispose twice", again);
  device.Note("start a disposed pulse", cfgKELDPulseStart(id, pulse));
  EXPECT_EQ(cfgClose(id), 0);
}

DEVICE_SCENARIO(FpgaClassesAndTheCamerasSerialError) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  std::uint32_t supported = 9;
  EXPECT_EQ(cfgIsFPGAClassNumSupported(id, 0x7109 << 8 | 1, &supported), 0);
  EXPECT_EQ(supported, 1u);
  EXPECT_EQ(cfgIsFPGAClassNumSupported(id, 0x7105 << 8 | 1, &supported), 0);
  EXPECT_EQ(supported, 0u);
  char text[256] = "stale";
  EXPECT_EQ(cfgGetSerialErrorText(id, text, sizeof text), 0);
  device.Note(std::string("serial error before: '") + text + "'");
  ASSERT_EQ(keldsimSetSerialError(0, "Camera answered: command not understood"), 0u);
  EXPECT_EQ(cfgGetSerialErrorText(id, text, sizeof text), 0);
  EXPECT_STREQ(text, "Camera answered: command not understood");
  device.Note(std::string("serial error: '") + text + "'");
  EXPECT_EQ(cfgClose(id), 0);
}

// ---- Self tests ------------------------------------------------------------

// Boards of five families: one whose tests skip the data FPGA, one with an
// empty second table, the two with a data FPGA (one of them without the
// advanced look-up tables), and one without a test library.
constexpr const char* kTestBoards = R"({"boards": [
  {"serial": "0x00B00001", "model": "OD PCI-7105", "interface_types": "0x3"},
  {"serial": "0x00B00002", "model": "OD PCI-7102", "interface_types": "0x2"},
  {"serial": "0x00B00003", "model": "OD PCI-7108", "interface_types": "0x2"},
  {"serial": "0x00B00004", "model": "OD PCI-7110", "interface_types": "0x2"},
  {"serial": "0x00B00005", "model": "OD PCIe-7109", "interface_types": "0x4"}]})";

// Runs one table of a board's self tests; its rows as "name | message".
std::vector<std::string> RunTests(std::uint32_t id, std::uint32_t table, std::int32_t* status) {
  std::uint32_t count = 0;
  *status = cfgRunDiagnostics(id, table, &count);
  std::vector<std::string> rows;
  for (std::uint32_t i = 0; i < count && *status == 0; ++i) {
    char name[256] = {};
    char result[256] = {};
    EXPECT_EQ(cfgGetDiagnosticResults(id, i, name, result), 0);
    rows.push_back(std::string(name) + " | " + result);
  }
  return rows;
}

DEVICE_SCENARIO_WITH(SelfTestsOfEachBoardFamily, kTestBoards) {
  const struct {
    const char* board;
    std::uint32_t first;
    std::uint32_t second;
  } boards[] = {{"img0", 1, 1}, {"img1", 1, 0}, {"img2", 1, 1}, {"img3", 1, 1}};
  for (const auto& expected : boards) {
    SCOPED_TRACE(expected.board);
    const std::uint32_t id = device.Open(expected.board);
    ASSERT_NE(id, 0u);
    std::uint32_t first = 9, second = 9;
    EXPECT_EQ(cfgInitializeDiagnostics(id, &first, &second), 0);
    EXPECT_EQ(first, expected.first);
    EXPECT_EQ(second, expected.second);
    for (std::uint32_t table = 0; table < 2; ++table) {
      std::int32_t status = -1;
      const std::vector<std::string> rows = RunTests(id, table, &status);
      EXPECT_EQ(status, 0);
      device.Note(std::string(expected.board) + " table " + std::to_string(table), status);
      for (const std::string& row : rows) device.Note(row);
      std::string names;
      for (const std::string& row : rows) names += row.substr(0, row.find(" | ")) + ";";
      const bool dataFpga = names.find("Data FPGA present test") != std::string::npos;
      const bool advancedLut = names.find("Advanced Look-Up Table architecture test") != std::string::npos;
      if (table == 0) {
        // Only the boards 7108 and 7110 have a data FPGA to test.
        EXPECT_EQ(dataFpga, std::strcmp(expected.board, "img2") == 0 || std::strcmp(expected.board, "img3") == 0)
            << names;
        EXPECT_NE(names.find("Board identification test: Passed"), std::string::npos) << names;
      } else if (expected.second == 0) {
        EXPECT_TRUE(rows.empty());  // an empty table: no rows, status 0
      } else {
        // The 7108 alone has no advanced look-up tables to test.
        EXPECT_EQ(advancedLut, std::strcmp(expected.board, "img2") != 0) << names;
        EXPECT_NE(names.find("Trigger loop-back test: Skipped"), std::string::npos) << names;
      }
    }
    EXPECT_EQ(cfgClose(id), 0);
  }
  // A board family without a test library.
  const std::uint32_t id = device.Open("img4");
  ASSERT_NE(id, 0u);
  std::uint32_t first = 9, second = 9;
  const std::int32_t missing = cfgInitializeDiagnostics(id, &first, &second);
  EXPECT_EQ(static_cast<std::uint32_t>(missing), kNoTestLibrary);
  device.Note("7109 self tests", missing);
  // Without tables there is nothing to run: no rows, and the answer of
  // reading the board's serial and type.
  std::uint32_t count = 9;
  EXPECT_EQ(cfgRunDiagnostics(id, 0, &count), 0);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(cfgClose(id), 0);
}

DEVICE_SCENARIO_WITH(ACriticalFailureEndsTheRun, kTestBoards) {
  ASSERT_EQ(keldsimSetBoardTestResult(0x00B00001, "Register read/write test", 3, "scratch register stuck"), 0u);
  ASSERT_EQ(keldsimSetBoardTestResult(0x00B00001, "Board identification test", 2, "wrong revision"), 0u);
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  std::uint32_t first = 0, second = 0;
  ASSERT_EQ(cfgInitializeDiagnostics(id, &first, &second), 0);
  std::int32_t status = -1;
  const std::vector<std::string> rows = RunTests(id, 0, &status);
  EXPECT_EQ(status, 0);  // the outcome is in the rows
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0], "Board identification test: Failed | wrong revision");
  EXPECT_EQ(rows[1], "Register read/write test: Failed Critical | scratch register stuck");
  for (const std::string& row : rows) device.Note(row);
  EXPECT_EQ(cfgClose(id), 0);
}

// ---- Light heads ------------------------------------------------------------

// A sealed head: its blob ends in the CRC-32 of the text before it.
::LightHeadRecord SealedHead(const char* first, double version, bool goodCrc) {
  ::LightHeadRecord record{};
  std::strcpy(record.entry.namePart1, first);
  std::strcpy(record.entry.namePart2, "R120");
  std::strcpy(record.entry.namePart3, "White");
  std::strcpy(record.entry.namePart4, "A");
  record.entry.version = version;
  const std::string body = std::string("0A0B0C0D") + first;
  boost::crc_32_type crc;
  crc.process_bytes(body.data(), body.size());
  char digits[9];
  std::snprintf(digits, sizeof digits, "%08X", static_cast<unsigned>(crc.checksum() ^ (goodCrc ? 0 : 1)));
  std::strcpy(record.entry.binaryBlob, (body + digits).c_str());
  std::strcpy(record.entry.digitalSigner, "house");
  std::strcpy(record.entry.digitalSignature, "5EA1");
  return record;
}

std::vector<::LightHeadRecord> Heads(std::uint32_t id, const std::string& directory, std::int32_t* status) {
  std::uint32_t count = 0;
  *status = cfgKELDEnumerateLightHeads(id, directory.c_str(), nullptr, &count);
  std::vector<::LightHeadRecord> heads(count);
  if (*status == 0 && count > 0) *status = cfgKELDEnumerateLightHeads(id, directory.c_str(), heads.data(), &count);
  heads.resize(count);
  return heads;
}

// Deploying a head stores it beside the camera file of the first port, under
// the part of its name before the first dot; the target's list has it then.
// The local list holds what the given directory holds, never a target's.
// (Sealed heads travel whole; a plain head's points do not survive the
// protocol's point count, which its two ends read at different widths.)
DEVICE_SCENARIO_EACH_WITH(LightHeadsGoBesideTheCameraFile, nullptr) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  char folder[520] = {};
  ASSERT_EQ(cfgGetDataFilePath(id, folder, sizeof folder), 0);
  // A camera file with dots in its name on the first port.
  std::filesystem::copy_file(std::filesystem::path(folder) / "mono640.icd",
                             std::filesystem::path(folder) / "ring.light.v2.icd",
                             std::filesystem::copy_options::overwrite_existing);
  ASSERT_EQ(cfgSetAttributeString(id, 0x3FF604C3, "ring.light.v2.icd", 0), 0);
  ::LightHeadRecord head = SealedHead("Ring", 1.5, true);
  EXPECT_EQ(cfgKELDDeployLightHeadData(id, &head, 1), 0);
  // Data the driver refuses is not stored.
  ::LightHeadRecord refused = SealedHead("Bar", 1.0, false);
  EXPECT_NE(cfgKELDDeployLightHeadData(id, &refused, 1), 0);
  const std::filesystem::path stored = std::filesystem::path(folder) / "ring.ild";
  EXPECT_TRUE(std::filesystem::exists(stored)) << stored;

  std::int32_t status = -1;
  const std::vector<::LightHeadRecord> listed = Heads(id, "", &status);
  EXPECT_EQ(status, 0);
  if (device.remote()) {
    ASSERT_EQ(listed.size(), 1u);  // the target's head
    EXPECT_STREQ(listed[0].entry.namePart1, "Ring");
    EXPECT_EQ(listed[0].onTarget, 1);
    EXPECT_EQ(listed[0].valid, 1);
    EXPECT_EQ(listed[0].entry.version, 1.5);
    EXPECT_STREQ(listed[0].entry.binaryBlob, head.entry.binaryBlob);
  } else {
    EXPECT_TRUE(listed.empty());  // no directory given, and a local session has no target
  }
  // A directory of this computer adds its heads; the same head on the target
  // stands for both.
  const std::vector<::LightHeadRecord> withDirectory = Heads(id, folder, &status);
  EXPECT_EQ(status, 0);
  ASSERT_EQ(withDirectory.size(), 1u);
  EXPECT_STREQ(withDirectory[0].entry.namePart1, "Ring");
  EXPECT_EQ(withDirectory[0].onTarget, device.remote() ? 1 : 0);
  EXPECT_EQ(withDirectory[0].valid, 1);
  EXPECT_EQ(cfgClose(id), 0);
}

DEVICE_SCENARIO_EACH_WITH(NoLightHeadsWhileAcquiring, nullptr) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  ASSERT_EQ(cfgConfigureAcquisition(id, 1, 2), 0);
  ASSERT_EQ(cfgStartAcquisition(id), 0);
  std::int32_t status = 0;
  Heads(id, "", &status);
  // Locally nothing asks the session; on a target the session is asked and refuses.
  device.Note(device.remote() ? "target asked" : "not asked", status);
  EXPECT_EQ(static_cast<std::uint32_t>(status), device.remote() ? 0xBFF60021u : 0u);
  EXPECT_EQ(cfgStopAcquisition(id), 0);
  EXPECT_EQ(cfgUnconfigureAcquisition(id), 0);
  EXPECT_EQ(cfgClose(id), 0);
}

}  // namespace
}  // namespace keld::device
