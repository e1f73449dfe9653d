// The exported boundary, through the shared library as a caller sees it.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "keldcfgc/keldcfgc.h"
#include "keldcfgc/version.hpp"

TEST(CApi, ErrorTextOfSuccess) {
  char text[255];
  EXPECT_EQ(cfgGetErrorText(0, text), 0);
  EXPECT_STREQ(text, "Spiffy!");
}

TEST(CApi, ErrorTextNullBufferIsAccepted) { EXPECT_EQ(cfgGetErrorText(0xBFFF8004u, nullptr), 0); }

TEST(CApi, CloseOfUnknownSession) {
  EXPECT_EQ(static_cast<std::uint32_t>(cfgClose(0)), 0xBFFF8009u);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgClose(12345)), 0xBFFF8009u);
}

TEST(CApi, VersionExports) {
  std::int32_t status = 7;
  EXPECT_EQ(nKELDCFGC_18_5::getCurrentVersion(status).word(), 0x1250C000u);
  EXPECT_EQ(nKELDCFGC_18_5::getCurrentVersion(status).toString(), "18.5.0f0");
  EXPECT_EQ(nKELDCFGC_18_5::getOldestCompatibleVersion(status).word(), 0x02600000u);
  EXPECT_EQ(status, 7);
}

TEST(CApi, QueryVersionLocally) {
  std::uint32_t version = 0;
  EXPECT_EQ(cfgQueryVersion(nullptr, &version), 0);
  EXPECT_EQ(version, 0x1250C000u);
  version = 0;
  EXPECT_EQ(cfgQueryVersion("127.0.0.1", &version), 0);
  EXPECT_EQ(version, 0x1250C000u);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgQueryVersion(nullptr, nullptr)), 0xBFFF8007u);
}

TEST(CApi, LongestTableTextArrivesWhole) {
  char text[300];
  std::memset(text, 'x', sizeof text);
  EXPECT_EQ(cfgGetErrorText(0xBFFF801B, text), 0);
  EXPECT_EQ(std::strlen(text), 249u);
  EXPECT_EQ(std::string(text).substr(0, 20), "Packet loss has been");
}
