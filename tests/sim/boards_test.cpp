// Boards of the simulated driver: the built-in description, descriptions in
// JSON (as text and by KELDSIM_CONFIG), failed boards, status texts, and the
// controls that add and remove boards.
#include "sim_fixture.h"

namespace keldsim_test {
namespace {

class BoardsTest : public SimTest {};

std::vector<uint32_t> Serials() {
  uint32_t count = 0;
  EXPECT_EQ(odkelduGetSerialNumber(nullptr, &count), kOk);
  std::vector<uint32_t> serials(count);
  EXPECT_EQ(odkelduGetSerialNumber(serials.data(), &count), kOk);
  EXPECT_EQ(count, serials.size());
  return serials;
}

std::string BoardName(uint32_t serial) {
  char name[KELD_DRIVER_PATH_SIZE] = {};
  EXPECT_EQ(odkelduGetBoardName(serial, name), kOk);
  return name;
}

std::string ErrorText(uint32_t status) {
  char text[KELD_DRIVER_ERROR_TEXT_SIZE];
  std::memset(text, 'x', sizeof text);
  EXPECT_EQ(kldShowError(status, text), kOk);
  return std::string(text, strnlen(text, sizeof text));
}

TEST_F(BoardsTest, BuiltInDescriptionHasThreeBoardsOneWithTwoUnits) {
  EXPECT_EQ(Serials(), (std::vector<uint32_t>{kBoard7109, kBoard7105, kBoard7107}));
  EXPECT_EQ(BoardName(kBoard7109), "OD PCIe-7109");
  EXPECT_EQ(BoardName(kBoard7105), "OD PCI-7105");
  EXPECT_EQ(BoardName(kBoard7107), "OD PXB-7107");
  uint32_t units = 0;
  ASSERT_EQ(odkelduGetNumAcqUnits(kBoard7109, &units), kOk);
  EXPECT_EQ(units, 2u);
  ASSERT_EQ(odkelduGetNumAcqUnits(kBoard7105, &units), kOk);
  EXPECT_EQ(units, 1u);
  uint32_t version = 0;
  ASSERT_EQ(odkelduGetDriverVersion(&version), kOk);
  EXPECT_EQ(version, 0x04720000u);
  uint32_t failed = 99;
  ASSERT_EQ(odkelduGetFailedDeviceInfo(&failed, nullptr, nullptr), kOk);
  EXPECT_EQ(failed, 0u);
}

TEST_F(BoardsTest, OlderModelsAnswerThePciIdentitiesOfTheirModels) {
  uint32_t id = 0;
  ASSERT_EQ(kldGetBoardPCIID(kBoard7105, &id), kOk);
  EXPECT_EQ(id, 0xD1077A5Eu);  // OD PCI-7105
  ASSERT_EQ(kldGetBoardPCIID(kBoard7107, &id), kOk);
  EXPECT_EQ(id, 0xD10C7A5Eu);  // OD PXB-7107
  ASSERT_EQ(kldGetBoardPCIID(kBoard7109, &id), kOk);
  EXPECT_EQ(id, 0xD1117A5Eu);  // a newer model, outside the table of the old drivers
}

TEST_F(BoardsTest, ShortArrayGetsWhatFitsAndSaysSo) {
  uint32_t serials[2] = {};
  uint32_t count = 2;
  EXPECT_EQ(odkelduGetSerialNumber(serials, &count), kBufferTooSmall);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(serials[0], kBoard7109);
  EXPECT_EQ(serials[1], kBoard7105);
}

TEST_F(BoardsTest, UnknownBoardsAndNullPointersAreRefused) {
  char name[KELD_DRIVER_PATH_SIZE] = {};
  uint32_t value = 0;
  EXPECT_EQ(odkelduGetBoardName(0x12345678, name), kBoardNotFound);
  EXPECT_EQ(kldGetBoardPCIID(0x12345678, &value), kBoardNotFound);
  EXPECT_EQ(odkelduGetNumAcqUnits(0x12345678, &value), kBoardNotFound);
  EXPECT_EQ(odkelduGetBoardName(kBoard7109, nullptr), kInvalidArgument);
  EXPECT_EQ(odkelduGetSerialNumber(nullptr, nullptr), kInvalidArgument);
  EXPECT_EQ(odkelduGetDriverVersion(nullptr), kInvalidArgument);
}

TEST_F(BoardsTest, DescriptionGivesVersionBoardsAndFailedBoards) {
  const char* json = R"({
    "driver_version": "0x03800000",
    "boards": [ { "serial": 4096, "model": "OD PCI-7102", "interface_types": 2, "ports": 3, "units": 1 } ],
    "failed_boards": [ { "serial": "0x00BEEF01", "status": "0xBFF60017" },
                       { "serial": "0x00BEEF02", "status": "0xBFF6FFFF" } ]
  })";
  ASSERT_EQ(keldsimResetWith(json, folder_.c_str()), kOk) << LastError();
  EXPECT_EQ(Serials(), std::vector<uint32_t>{4096});
  uint32_t version = 0, id = 0;
  ASSERT_EQ(odkelduGetDriverVersion(&version), kOk);
  EXPECT_EQ(version, 0x03800000u);
  ASSERT_EQ(kldGetBoardPCIID(4096, &id), kOk);
  EXPECT_EQ(id, 0xD1037A5Eu);  // from the model's name
  uint32_t count = 0;
  ASSERT_EQ(odkelduGetFailedDeviceInfo(&count, nullptr, nullptr), kOk);
  ASSERT_EQ(count, 2u);
  uint32_t serials[2] = {}, statuses[2] = {};
  ASSERT_EQ(odkelduGetFailedDeviceInfo(&count, serials, statuses), kOk);
  EXPECT_EQ(serials[0], 0x00BEEF01u);
  EXPECT_EQ(statuses[0], 0xBFF60017u);
  EXPECT_EQ(serials[1], 0x00BEEF02u);
  EXPECT_EQ(statuses[1], 0xBFF6FFFFu);
  EXPECT_NE(ErrorText(0xBFF60017).find("failed to initialise"), std::string::npos);
  EXPECT_EQ(odkelduGetFailedDeviceInfo(&count, serials, nullptr), kInvalidArgument);
}

TEST_F(BoardsTest, BoardTypeComesFromTheModelName) {
  const char* json = R"({"boards": [ { "serial": 7, "model": "OD PCIe-7116", "interface_types": 4 } ]})";
  ASSERT_EQ(keldsimResetWith(json, folder_.c_str()), kOk) << LastError();
  const std::string name = ClaimInterface(7);
  const uint32_t sid = Open(name);
  EXPECT_EQ(U32(sid, 0x3FF60001), 0x7116u);
  EXPECT_EQ(U32(sid, 0x3FF601AD), 1u);  // one port unless told
}

TEST_F(BoardsTest, BadDescriptionLeavesTheDriverWithoutBoardsUntilAGoodReset) {
  EXPECT_EQ(keldsimResetWith("{ not json", folder_.c_str()), kDescription);
  EXPECT_FALSE(LastError().empty());
  uint32_t count = 0;
  EXPECT_EQ(odkelduGetSerialNumber(nullptr, &count), kDescription);
  char text[KELD_DRIVER_PATH_SIZE] = {};
  EXPECT_EQ(odkelduGetInterfaceFilePathA(text), kDescription);
  ASSERT_EQ(keldsimResetWith(nullptr, folder_.c_str()), kOk);
  EXPECT_TRUE(LastError().empty());
  EXPECT_EQ(odkelduGetSerialNumber(nullptr, &count), kOk);
  EXPECT_EQ(count, 3u);
}

TEST_F(BoardsTest, DescriptionMistakesAreNamed) {
  struct Case {
    const char* json;
    const char* told;
  };
  const Case cases[] = {
      {R"({"boards": [ { "serial": 1, "model": "OD PCI-7105", "interface_types": 1, "colour": 2 } ]})", "colour"},
      {R"({"boards": [ { "serial": 1, "model": "OD PCI-7105", "interface_types": 1 },
                       { "serial": 1, "model": "OD PCI-7107", "interface_types": 1 } ]})",
       "twice"},
      {R"({"boards": [ { "serial": 1, "model": "OD PCI-7105" } ]})", "interface_types"},
      {R"({"boards": [ { "serial": 1, "model": "OD PCI-7105", "interface_types": 1, "units": 2 } ]})", "port"},
      {R"({"driver_version": "0x03000000"})", "outside"},
      {R"({"boards": [], "extra": 1})", "extra"},
      {R"({"boards": [ { "serial": "0x12G", "model": "OD PCI-7105", "interface_types": 1 } ]})", "serial"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(keldsimResetWith(c.json, folder_.c_str()), kDescription) << c.json;
    EXPECT_NE(LastError().find(c.told), std::string::npos) << LastError();
  }
}

TEST_F(BoardsTest, DescriptionFileNamedByTheEnvironment) {
  const auto path = folder_ / "boards.json";
  WriteText(path, R"({"boards": [ { "serial": "0x55", "model": "OD PXB-7110", "interface_types": 3 } ]})");
  ASSERT_EQ(setenv("KELDSIM_CONFIG", path.c_str(), 1), 0);
  const uint32_t status = keldsimResetWith(nullptr, folder_.c_str());
  unsetenv("KELDSIM_CONFIG");
  ASSERT_EQ(status, kOk) << LastError();
  EXPECT_EQ(Serials(), std::vector<uint32_t>{0x55});
  EXPECT_EQ(BoardName(0x55), "OD PXB-7110");

  ASSERT_EQ(setenv("KELDSIM_CONFIG", (folder_ / "missing.json").c_str(), 1), 0);
  EXPECT_EQ(keldsimResetWith(nullptr, folder_.c_str()), kDescription);
  unsetenv("KELDSIM_CONFIG");
  EXPECT_NE(LastError().find("missing.json"), std::string::npos);
}

TEST_F(BoardsTest, StatusTextsTellTheMeaningAndUnknownStatusesHaveNone) {
  EXPECT_NE(ErrorText(0xBFF60044).find("execution state"), std::string::npos);
  EXPECT_NE(ErrorText(0xBFF600BD).find("in use"), std::string::npos);
  EXPECT_NE(ErrorText(0xBFF60053).find("not available"), std::string::npos);
  EXPECT_NE(ErrorText(0xBFF6001A).find("No image"), std::string::npos);
  EXPECT_NE(ErrorText(0xBFF60015).find("another type of board"), std::string::npos);
  EXPECT_NE(ErrorText(0xBFF60021).find("acquisition is in progress"), std::string::npos);
  EXPECT_EQ(ErrorText(0xBFF60FFE), "");
  EXPECT_EQ(ErrorText(0xBFFF800B), "");
  EXPECT_EQ(ErrorText(0), "");
  EXPECT_EQ(kldShowError(0xBFF60044, nullptr), kInvalidArgument);
}

TEST_F(BoardsTest, BoardsAddedAndRemovedAtRunTime) {
  ASSERT_EQ(keldsimAddBoard(R"({"serial": "0x99", "model": "OD PCIe-7111", "interface_types": 4,
                                "units": 2, "ports": 4})"),
            kOk);
  EXPECT_EQ(Serials(), (std::vector<uint32_t>{kBoard7109, kBoard7105, kBoard7107, 0x99}));
  EXPECT_EQ(BoardName(0x99), "OD PCIe-7111");
  EXPECT_EQ(keldsimAddBoard(R"({"serial": "0x99", "model": "OD PCIe-7111", "interface_types": 4})"),
            kInvalidArgument);  // taken
  EXPECT_EQ(keldsimAddBoard(R"({"serial": "0x9A"})"), kInvalidArgument);
  EXPECT_NE(LastError().find("model"), std::string::npos);
  ASSERT_EQ(keldsimRemoveBoard(kBoard7105), kOk);
  EXPECT_EQ(Serials(), (std::vector<uint32_t>{kBoard7109, kBoard7107, 0x99}));
  EXPECT_EQ(keldsimRemoveBoard(kBoard7105), kBoardNotFound);

  ASSERT_EQ(keldsimAddFailedBoard(0x77, 0xBFF60017), kOk);
  EXPECT_EQ(keldsimAddFailedBoard(0x77, 0xBFF60017), kInvalidArgument);
  EXPECT_EQ(keldsimAddFailedBoard(0x78, 0), kInvalidArgument);
  uint32_t count = 0;
  ASSERT_EQ(odkelduGetFailedDeviceInfo(&count, nullptr, nullptr), kOk);
  EXPECT_EQ(count, 1u);
  ASSERT_EQ(keldsimRemoveBoard(0x77), kOk);
  ASSERT_EQ(odkelduGetFailedDeviceInfo(&count, nullptr, nullptr), kOk);
  EXPECT_EQ(count, 0u);
}

TEST_F(BoardsTest, VersionWordWithinWhatTheVariantStandsFor) {
  uint32_t version = 0;
  ASSERT_EQ(keldsimSetDriverVersion(0x03500000), kOk);
  ASSERT_EQ(odkelduGetDriverVersion(&version), kOk);
  EXPECT_EQ(version, 0x03500000u);
  ASSERT_EQ(keldsimGetDriverVersion(&version), kOk);
  EXPECT_EQ(version, 0x03500000u);
  // Before 0x03100000 the header query had another form: only the older
  // variant can stand for such a driver.
  EXPECT_EQ(keldsimSetDriverVersion(0x03000000), kInvalidArgument);
  ASSERT_EQ(odkelduGetDriverVersion(&version), kOk);
  EXPECT_EQ(version, 0x03500000u);
  // A reset takes the description's word again.
  ASSERT_EQ(keldsimResetWith(nullptr, folder_.c_str()), kOk);
  ASSERT_EQ(odkelduGetDriverVersion(&version), kOk);
  EXPECT_EQ(version, 0x04720000u);
}

}  // namespace
}  // namespace keldsim_test
