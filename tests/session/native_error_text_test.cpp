// cfgGetErrorText as the boundary sees it, with providers in the chain.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "foundation/error_text.h"
#include "keldcfgc/keldcfgc.h"

namespace keld {
namespace {

void LongDriverText(Status status, CFGString* text, bool* found) {
  if (status == 0xBFF60042) {
    *text = std::string(300, 'd').c_str();
    *found = true;
  }
}

TEST(NativeErrorText, LongTextIsCutAt254) {
  testing::PushFrontErrorTextProvider(&LongDriverText);
  char buffer[400];
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(cfgGetErrorText(0xBFF60042, buffer), 0);
  EXPECT_EQ(std::strlen(buffer), 254u);
  EXPECT_EQ(buffer[255], 'x');  // nothing written behind the terminator
  // The internal entry hands the whole text on.
  CFGString whole;
  EXPECT_EQ(GetErrorText(0xBFF60042, &whole), 0u);
  EXPECT_EQ(whole.size(), 300u);
  testing::RemoveErrorTextProvider(&LongDriverText);
}

TEST(NativeErrorText, LongestTableTextFitsWhole) {
  char buffer[400];
  EXPECT_EQ(cfgGetErrorText(0xBFFF801B, buffer), 0);
  EXPECT_EQ(std::strlen(buffer), 249u);
}

TEST(NativeErrorText, NullBufferReturnsZeroAndWritesNothing) {
  EXPECT_EQ(cfgGetErrorText(0xBFFF8001, nullptr), 0);
}

}  // namespace
}  // namespace keld
