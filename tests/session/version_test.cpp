#include <gtest/gtest.h>

#include <string>

#include "keldcfgc/version.hpp"
#include "session/library_lifecycle.h"

namespace keld {
namespace {

using nKELDCFGC_18_5::compareVersion;

std::int32_t Compare(std::uint32_t newest, std::uint32_t oldest, std::int32_t status, std::string* printed,
                     const char* component = nullptr) {
  ::testing::internal::CaptureStderr();
  compareVersion(tHTVersion(newest), tHTVersion(oldest), status, component);
  *printed = ::testing::internal::GetCapturedStderr();
  return status;
}

TEST(Version, TextForms) {
  EXPECT_EQ(tHTVersion(0x1250C000).toString(), "18.5.0f0");
  EXPECT_EQ(tHTVersion(0x02600000).toString(), "2.6.0d0");
  EXPECT_LT(tHTVersion(0x02600000), tHTVersion(0x1250C000));
}

TEST(Version, OverlappingRangeIsAccepted) {
  std::string printed;
  EXPECT_EQ(Compare(0x13000000, 0x12000000, 0, &printed), 0);
  EXPECT_TRUE(printed.empty());
}

TEST(Version, CallerTooOld) {
  std::string printed;
  EXPECT_EQ(Compare(0x02500000, 0x02000000, 0, &printed), -50253);
  EXPECT_NE(printed.find("[keldcfgc] version check failed with status = -50253. The calling component desires the range"),
            std::string::npos);
  EXPECT_NE(printed.find("however the installed range is"), std::string::npos);
}

TEST(Version, LibraryTooOld) {
  std::string printed;
  EXPECT_EQ(Compare(0x13000000, 0x1250C001, 0, &printed, "viewer"), -50252);
  EXPECT_NE(printed.find("[keldcfgc] version check failed with status = -50252. Component 'viewer' desires the range"),
            std::string::npos);
  EXPECT_NE(printed.find("18.5.0f0"), std::string::npos);
}

TEST(Version, MalformedRangeIsTestedFirst) {
  std::string printed;
  // Also too old, but a range whose newest is below its oldest wins.
  EXPECT_EQ(Compare(0x01000000, 0x02000000, 0, &printed), -50000);
}

TEST(Version, PositiveStatusKeptOnGoodRangeReplacedOnBad) {
  std::string printed;
  EXPECT_EQ(Compare(0x13000000, 0x12000000, 5, &printed), 5);
  EXPECT_TRUE(printed.empty());
  EXPECT_EQ(Compare(0x02500000, 0x02000000, 5, &printed), -50253);
  EXPECT_FALSE(printed.empty());
}

TEST(Version, NegativeStatusStaysAndNothingIsPrinted) {
  std::string printed;
  EXPECT_EQ(Compare(0x01000000, 0x02000000, -7, &printed), -7);
  EXPECT_TRUE(printed.empty());
}

TEST(Version, GettersLeaveStatusAlone) {
  std::int32_t status = -3;
  EXPECT_EQ(nKELDCFGC_18_5::getCurrentVersion(status).word(), 0x1250C000u);
  EXPECT_EQ(nKELDCFGC_18_5::getOldestCompatibleVersion(status).word(), 0x02600000u);
  EXPECT_EQ(status, -3);
}

std::string phases;
std::int32_t failAt = -1;

std::int32_t Recording(std::uint32_t phase) {
  phases += std::to_string(phase);
  return static_cast<std::int32_t>(phase) == failAt ? -1 : 0;
}

TEST(Lifecycle, AttachThenDetachRunPhasesInStrictOrder) {
  phases.clear();
  failAt = -1;
  AttachState state;
  EXPECT_TRUE(ProcessAttach(state, &Recording));
  EXPECT_TRUE(state.attachStarted);
  EXPECT_TRUE(state.attachFinished);
  ProcessDetach(state, &Recording);
  EXPECT_EQ(phases, "0231");
}

TEST(Lifecycle, FailedSecondPhaseUndoesOnlyTheFirst) {
  phases.clear();
  failAt = 2;
  AttachState state;
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(ProcessAttach(state, &Recording));
  const std::string printed = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(printed.find("DllMain(DLL_PROCESS_ATTACH) of "), std::string::npos);
  EXPECT_NE(printed.find(" failed with status -1"), std::string::npos);
  EXPECT_TRUE(state.attachStarted);
  EXPECT_FALSE(state.attachFinished);
  ProcessDetach(state, &Recording);
  EXPECT_EQ(phases, "021");
}

TEST(Lifecycle, FailedFirstPhaseRunsNothingElse) {
  phases.clear();
  failAt = 0;
  AttachState state;
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(ProcessAttach(state, &Recording));
  ::testing::internal::GetCapturedStderr();
  ProcessDetach(state, &Recording);
  EXPECT_EQ(phases, "0");
}

TEST(Lifecycle, ThreadPhases) {
  phases.clear();
  failAt = -1;
  EXPECT_TRUE(ThreadAttach(&Recording));
  ThreadDetach(&Recording);
  EXPECT_EQ(phases, "45");
  failAt = 4;
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(ThreadAttach(&Recording));
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("DllMain(DLL_THREAD_ATTACH)"), std::string::npos);
  failAt = 5;
  ThreadDetach(&Recording);  // a failure here changes nothing
  EXPECT_EQ(LibraryPackageCallback(0), 0);
  EXPECT_EQ(LibraryPackageCallback(3), 0);
}

}  // namespace
}  // namespace keld
