// The board test libraries, found in the folder the driver names and run on
// the simulated boards: their tables, what each test finds on the board,
// and results set through the controls or spoiled by a failing register
// access.
#include <dlfcn.h>

#include "sim_fixture.h"

namespace keldsim_test {
namespace {

struct Result {
  std::string name;
  uint32_t result;
  std::string message;
};

class BoardTestsTest : public SimTest {
 protected:
  // Loads a test library from the diagnostics folder; its two tables.
  void Load(const char* library) {
    char folder[KELD_DRIVER_PATH_SIZE] = {};
    ASSERT_EQ(odkelduGetDiagnosticsPathA(folder), kOk);
    const std::string path = std::string(folder) + "/" + library;
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << dlerror();
    const auto initialize = reinterpret_cast<KeldTestInitialize>(dlsym(handle, "TestInitialize"));
    ASSERT_NE(initialize, nullptr);
    ASSERT_EQ(initialize(&first_, &second_, 0), 0);
    ASSERT_NE(first_, nullptr);
    ASSERT_NE(second_, nullptr);
    EXPECT_EQ(initialize(nullptr, &second_, 0), -1);
  }

  static std::vector<Result> Run(const KeldBoardTest* table, uint32_t serial) {
    std::vector<Result> results;
    std::vector<char> buffer(1024, '\0');
    char* message = buffer.data();
    for (const KeldBoardTest* entry = table; entry->test != nullptr; ++entry) {
      const uint32_t result = entry->test(serial, &message);
      results.push_back(Result{entry->name, result, message});
    }
    return results;
  }

  static std::vector<std::string> Names(const KeldBoardTest* table) {
    std::vector<std::string> names;
    for (const KeldBoardTest* entry = table; entry->name != nullptr; ++entry) names.emplace_back(entry->name);
    return names;
  }

  const KeldBoardTest* first_ = nullptr;
  const KeldBoardTest* second_ = nullptr;
};

TEST_F(BoardTestsTest, TablesOfTheFamilies) {
  Load("libTest7105.so");
  EXPECT_EQ(Names(first_), (std::vector<std::string>{"Board identification test", "Register read/write test",
                                                     "On-board memory test", "Data FPGA present test"}));
  EXPECT_EQ(Names(second_),
            (std::vector<std::string>{"Trigger loop-back test", "Advanced Look-Up Table architecture test"}));
  Load("libTest7102.so");
  EXPECT_EQ(Names(second_), std::vector<std::string>{});  // an empty table: its end entry only
  EXPECT_EQ(second_->test, nullptr);
  Load("libTest7103.so");
  EXPECT_EQ(Names(first_), (std::vector<std::string>{"Board identification test", "Register read/write test"}));
  Load("libTest7107.so");
  EXPECT_EQ(Names(first_).size(), 4u);
}

TEST_F(BoardTestsTest, TestsExamineTheBoard) {
  Load("libTest7105.so");
  const auto first = Run(first_, kBoard7105);
  ASSERT_EQ(first.size(), 4u);
  EXPECT_EQ(first[0].result, 1u) << first[0].message;
  EXPECT_NE(first[0].message.find("0x7105"), std::string::npos);
  EXPECT_EQ(first[1].result, 1u) << first[1].message;
  EXPECT_EQ(first[2].result, 1u) << first[2].message;
  EXPECT_EQ(first[3].result, 2u);  // a 7105 has no data FPGA
  EXPECT_EQ(first[3].message, "No data FPGA answered.");
  const auto second = Run(second_, kBoard7105);
  EXPECT_EQ(second[0].result, 4u);
  EXPECT_NE(second[0].message.find("Skipped"), std::string::npos);
  EXPECT_EQ(second[1].result, 1u);
  // The register test leaves the scratch register as it found it.
  const uint32_t value = 0xFEED;
  ASSERT_EQ(kldWrite(kBoard7105, 0, 0x40, 4, &value), kOk);
  Run(first_, kBoard7105);
  uint32_t back = 0;
  ASSERT_EQ(kldRead(kBoard7105, 0, 0x40, 4, &back), kOk);
  EXPECT_EQ(back, 0xFEEDu);
}

TEST_F(BoardTestsTest, AWrongFamilyOrAnAbsentBoardFailsCritically) {
  Load("libTest7105.so");
  auto results = Run(first_, kBoard7107);
  EXPECT_EQ(results[0].result, 3u);
  EXPECT_NE(results[0].message.find("0x7107"), std::string::npos);
  results = Run(first_, 0x1234);
  EXPECT_EQ(results[0].result, 3u);
  EXPECT_NE(results[0].message.find("0xBFF60009"), std::string::npos) << results[0].message;
}

TEST_F(BoardTestsTest, BoardsWithADataFpgaAndBasicLookUpTables) {
  ASSERT_EQ(keldsimAddBoard(R"({"serial": "0x7108", "model": "OD PCI-7108", "interface_types": 2})"), kOk);
  Load("libTest7107.so");
  const auto first = Run(first_, 0x7108);
  EXPECT_EQ(first[0].result, 1u);
  EXPECT_EQ(first[3].result, 1u) << first[3].message;
  EXPECT_NE(first[3].message.find("0xDF007108"), std::string::npos);
  const auto second = Run(second_, 0x7108);
  EXPECT_EQ(second[1].result, 2u);
  EXPECT_NE(second[1].message.find("basic"), std::string::npos);
}

TEST_F(BoardTestsTest, ResultsSetForATestTakeItsPlace) {
  Load("libTest7105.so");
  ASSERT_EQ(keldsimSetBoardTestResult(kBoard7105, "On-board memory test", 3, "Bank 1 does not answer."), kOk);
  ASSERT_EQ(keldsimSetBoardTestResult(0, "Register read/write test", 2, nullptr), kOk);
  const auto results = Run(first_, kBoard7105);
  EXPECT_EQ(results[1].result, 2u);
  EXPECT_NE(results[1].message.find("result 2"), std::string::npos) << results[1].message;
  EXPECT_EQ(results[2].result, 3u);
  EXPECT_EQ(results[2].message, "Bank 1 does not answer.");
}

TEST_F(BoardTestsTest, AFailingRegisterAccessFailsTheTest) {
  Load("libTest7105.so");
  ASSERT_EQ(keldsimInjectStatus("kldWrite", 0xBFF60018, 1), kOk);
  const auto results = Run(first_, kBoard7105);
  EXPECT_EQ(results[0].result, 1u);
  EXPECT_EQ(results[1].result, 2u);
  EXPECT_NE(results[1].message.find("0xBFF60018"), std::string::npos) << results[1].message;
}

}  // namespace
}  // namespace keldsim_test
