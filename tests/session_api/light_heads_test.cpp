// cfgKELDEnumerateLightHeads: the heads of a local directory and those of
// the session's target, merged for a tool, each marked as on the target, in
// use and valid; a newer local head in use goes to the target.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "attributes/attribute.h"
#include "datafile/light_head_record.h"
#include "keldcfgc/keldcfgc.h"
#include "support/test_session.h"

namespace keld {
namespace {

constexpr std::uint32_t kInUseKey = 0x3FF6057B;

LightHeadRecord Head(const char* first, double version, bool valid) {
  LightHeadRecord record;
  std::strcpy(record.entry.namePart1, first);
  std::strcpy(record.entry.namePart2, "b");
  std::strcpy(record.entry.namePart3, "c");
  std::strcpy(record.entry.namePart4, "d");
  record.entry.version = version;
  record.entry.curvePointCount = valid ? 1 : 0;
  return record;
}

// A session whose target holds a given list of heads and which notes what
// is deployed to it; it names the head in use by its string attribute.
class LightHeadSession : public test::TestSession {
 public:
  LightHeadSession(std::uint32_t type, const char* host, const char* name, Status* status)
      : TestSession(type, host, name, status) {
    Attribute* attribute = nullptr;
    EXPECT_EQ(CreateAttribute(AttrString::kTag, false, &attribute), kSuccess);
    attribute->SetKey(kInUseKey);
    static_cast<TypedAttribute<AttrString>*>(attribute)->SetValue(AttrString(inUse.c_str()));
    attributes.Insert(attribute);
  }
  bool IsRemote() override { return remote; }
  Status KELDEnumerateLightHeads(LightHeadList* heads) override {
    *heads = target;
    return targetStatus;
  }
  Status KELDDeployLightHeadData(LightHeadRecord* data, std::uint8_t checkLimits) override {
    deployed.push_back(*data);
    deployedWithLimits.push_back(checkLimits);
    return kSuccess;
  }

  static inline bool remote = false;
  static inline std::string inUse;
  static inline LightHeadList target;
  static inline Status targetStatus = kSuccess;
  static inline std::vector<LightHeadRecord> deployed;
  static inline std::vector<std::uint8_t> deployedWithLimits;
};

class LightHeads : public ::testing::Test {
 protected:
  void SetUp() override {
    LightHeadSession::remote = false;
    LightHeadSession::inUse = "";
    LightHeadSession::target.clear();
    LightHeadSession::targetStatus = kSuccess;
    LightHeadSession::deployed.clear();
    LightHeadSession::deployedWithLimits.clear();
    testing::SetSessionBuilder([](std::uint32_t type, const char* host, const char* name, Status* status) {
      return new LightHeadSession(type, host, name, status);
    });
    folder_ = std::filesystem::temp_directory_path() / ("light_head_api_" + std::to_string(getpid()));
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  void File(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ / name, std::ios::binary) << text;
  }
  std::uint32_t Open() {
    std::uint32_t id = 0;
    EXPECT_EQ(cfgOpenCamera2(nullptr, 0, "img0", 0, 0, &id), 0);
    return id;
  }
  std::vector<::LightHeadRecord> Enumerate(std::uint32_t id, const std::string& directory) {
    std::uint32_t count = 0;
    EXPECT_EQ(cfgKELDEnumerateLightHeads(id, directory.c_str(), nullptr, &count), 0);
    std::vector<::LightHeadRecord> records(count);
    EXPECT_EQ(cfgKELDEnumerateLightHeads(id, directory.c_str(), records.data(), &count), 0);
    records.resize(count);
    return records;
  }

  test::ScopedTestFactory factory_;
  std::filesystem::path folder_;
};

constexpr const char* kTwoHeads =
    "[x::b::c::d]\nVersion = 1\nLightingCurvePoints = (1,1)\n"
    "[y::b::c::d]\nVersion = 1\nAlgorithm = 0\n\n";

TEST_F(LightHeads, OnALocalSessionEveryRecordIsFromTheDirectory) {
  File("heads.ild", kTwoHeads);
  LightHeadSession::inUse = "Y::B::C::D";
  LightHeadSession::target.push_back(Head("z", 1, true));  // not asked: the session is local
  const std::uint32_t id = Open();
  const std::vector<::LightHeadRecord> records = Enumerate(id, folder_.string());
  ASSERT_EQ(records.size(), 2u);
  EXPECT_STREQ(records[0].entry.namePart1, "x");
  EXPECT_EQ(records[0].onTarget, 0);
  EXPECT_EQ(records[0].inUse, 0);
  EXPECT_EQ(records[0].valid, 1);
  EXPECT_STREQ(records[1].entry.namePart1, "y");
  EXPECT_EQ(records[1].onTarget, 0);
  EXPECT_EQ(records[1].inUse, 1);  // the identifier compared without regard to case
  EXPECT_EQ(records[1].valid, 0);  // no points
  EXPECT_TRUE(LightHeadSession::deployed.empty());
  cfgClose(id);
}

TEST_F(LightHeads, AnEmptyDirectoryReadsNothing) {
  const std::uint32_t id = Open();
  EXPECT_TRUE(Enumerate(id, "").empty());
  cfgClose(id);
}

TEST_F(LightHeads, NullArgumentsAndAShortBuffer) {
  File("heads.ild", kTwoHeads);
  const std::uint32_t id = Open();
  std::uint32_t count = 0;
  EXPECT_EQ(static_cast<Status>(cfgKELDEnumerateLightHeads(id, nullptr, nullptr, &count)), kBadPointer);
  EXPECT_EQ(static_cast<Status>(cfgKELDEnumerateLightHeads(id, folder_.c_str(), nullptr, nullptr)), kBadPointer);
  ::LightHeadRecord one[1];
  count = 1;
  EXPECT_EQ(cfgKELDEnumerateLightHeads(id, folder_.c_str(), one, &count), 0);
  EXPECT_EQ(count, 1u);
  EXPECT_STREQ(one[0].entry.namePart1, "x");
  EXPECT_EQ(static_cast<Status>(cfgKELDEnumerateLightHeads(id + 1000, folder_.c_str(), nullptr, &count)),
            kInvalidSession);
  cfgClose(id);
}

TEST_F(LightHeads, TheTargetsHeadsAreMergedWithTheLocalOnes) {
  File("heads.ild",
       "[newer::b::c::d]\nVersion = 1\nLightingCurvePoints = (1,1)\n"
       "[kept::b::c::d]\nVersion = 2\nLightingCurvePoints = (1,1)\n"
       "[deployed::b::c::d]\nVersion = 3\nLightingCurvePoints = (1,1)\n\n");
  LightHeadSession::remote = true;
  LightHeadSession::inUse = "deployed::b::c::d";
  LightHeadSession::target.push_back(Head("newer", 2, true));      // valid, newer: replaces the local one
  LightHeadSession::target.push_back(Head("kept", 1, true));       // older: the local one stays
  LightHeadSession::target.push_back(Head("deployed", 1, false));  // not valid; the local one is in use
  LightHeadSession::target.push_back(Head("only", 1, true));       // not here: appended
  const std::uint32_t id = Open();
  const std::vector<::LightHeadRecord> records = Enumerate(id, folder_.string());
  ASSERT_EQ(records.size(), 4u);
  EXPECT_STREQ(records[0].entry.namePart1, "newer");
  EXPECT_EQ(records[0].entry.version, 2.0);
  EXPECT_EQ(records[0].onTarget, 1);
  EXPECT_STREQ(records[1].entry.namePart1, "kept");
  EXPECT_EQ(records[1].entry.version, 2.0);
  EXPECT_EQ(records[1].onTarget, 0);
  EXPECT_STREQ(records[2].entry.namePart1, "deployed");
  EXPECT_EQ(records[2].entry.version, 3.0);
  EXPECT_EQ(records[2].onTarget, 1);
  EXPECT_EQ(records[2].inUse, 1);
  EXPECT_STREQ(records[3].entry.namePart1, "only");
  EXPECT_EQ(records[3].onTarget, 1);
  // Counted once, then read: each enumeration deploys the head in use once.
  ASSERT_EQ(LightHeadSession::deployed.size(), 2u);
  EXPECT_STREQ(LightHeadSession::deployed[0].entry.namePart1, "deployed");
  EXPECT_EQ(LightHeadSession::deployed[0].entry.version, 3.0);
  EXPECT_EQ(LightHeadSession::deployedWithLimits[0], 1);
  cfgClose(id);
}

TEST_F(LightHeads, AFailingTargetEndsTheEnumeration) {
  LightHeadSession::remote = true;
  LightHeadSession::targetStatus = 0xBFF60021;
  const std::uint32_t id = Open();
  std::uint32_t count = 0;
  EXPECT_EQ(static_cast<Status>(cfgKELDEnumerateLightHeads(id, folder_.c_str(), nullptr, &count)), 0xBFF60021u);
  cfgClose(id);
}

}  // namespace
}  // namespace keld
