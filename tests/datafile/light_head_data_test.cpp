// Light-head data files: section names into name parts, plain and sealed
// descriptions, which of several definitions of one head stays, the
// validity test (points, or the blob's CRC-32), the filter, the folder scan
// and the writer read back by the loader.
#include <gtest/gtest.h>

#include <unistd.h>

#include <boost/crc.hpp>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "datafile/light_head_data.h"

namespace keld {
namespace {

// A blob whose last eight characters are the CRC-32 of the rest.
std::string SealedBlob(const std::string& body) {
  boost::crc_32_type crc;
  crc.process_bytes(body.data(), body.size());
  char digits[9];
  std::snprintf(digits, sizeof digits, "%08X", static_cast<unsigned>(crc.checksum()));
  return body + digits;
}

class LightHeadFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() /
              ("light_heads_" + std::to_string(getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string File(const std::string& name, const std::string& text) const {
    const std::string path = (folder_ / name).string();
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  LightHeadList Load(const std::string& text, const char* filter = nullptr) const {
    LightHeadList list;
    LoadLightHeadFile(File("heads.ild", text).c_str(), &list, filter);
    return list;
  }

  std::filesystem::path folder_;
};

constexpr const char* kKeyStore =
    "[KeyStoreEntry]\nSignerName = house\nSignerPublicKey = 0A0B\nMasterSignerName = master\n"
    "DigitalSignature = 99\n\n";

TEST_F(LightHeadFiles, APlainHeadWithItsKeyStore) {
  const LightHeadList list = Load(std::string(kKeyStore) +
                                  "[Ring::R120::White::A]\nVersion = 1.50\nAlgorithm = 0\n"
                                  "MaximumCurrentContinuous = 0.750\nMaximumDutyCycleStrobed = 25.000\n"
                                  "LightingCurvePoints = (50.000,2.000)(0.000,1.000)(25.000,1.500)\n\n");
  ASSERT_EQ(list.size(), 1u);  // the key store is no head
  const LightHeadEntry& e = list[0].entry;
  EXPECT_STREQ(e.namePart1, "Ring");
  EXPECT_STREQ(e.namePart2, "R120");
  EXPECT_STREQ(e.namePart3, "White");
  EXPECT_STREQ(e.namePart4, "A");
  EXPECT_STREQ(e.signerName, "house");
  EXPECT_STREQ(e.signerPublicKey, "0A0B");
  EXPECT_STREQ(e.masterSignerName, "master");
  EXPECT_STREQ(e.keyStoreSignature, "99");
  EXPECT_EQ(e.version, 1.5);
  EXPECT_EQ(e.maximumCurrentContinuous, 0.75);
  EXPECT_EQ(e.maximumDutyCycleStrobed, 25.0);
  ASSERT_EQ(e.curvePointCount, 3u);
  EXPECT_EQ(e.curvePoints[0][0], 0.0);  // sorted by x
  EXPECT_EQ(e.curvePoints[1][0], 25.0);
  EXPECT_EQ(e.curvePoints[2][0], 50.0);
  EXPECT_EQ(e.curvePoints[2][1], 2.0);
  EXPECT_TRUE(IsValidLightHead(e));
  EXPECT_EQ(LightHeadIdentifier(e), "Ring::R120::White::A");
  EXPECT_EQ(list[0].onTarget + list[0].inUse + list[0].valid, 0);  // marks are for tools
}

TEST_F(LightHeadFiles, SectionNamesOfTheWrongFormAreIgnored) {
  const LightHeadList list = Load(
      "[a::b::c]\nVersion = 1\n[::b::c::d]\nVersion = 1\n[a::b::c::d\nVersion = 1\nplain\nVersion = 1\n"
      "[a::b::c::d::e]\nVersion = 1\nLightingCurvePoints = (1,1)\n\n");
  ASSERT_EQ(list.size(), 1u);
  EXPECT_STREQ(list[0].entry.namePart4, "d::e");  // a fifth part goes into the fourth
}

TEST_F(LightHeadFiles, LongNamePartsAreCut) {
  const std::string longPart(100, 'n');
  const LightHeadList list =
      Load("[" + longPart + "::" + longPart + "::" + longPart + "::" + longPart + "]\nVersion = 1\n\n");
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(std::strlen(list[0].entry.namePart1), 63u);
  EXPECT_EQ(std::strlen(list[0].entry.namePart2), 63u);
  EXPECT_EQ(std::strlen(list[0].entry.namePart3), 31u);
  EXPECT_EQ(std::strlen(list[0].entry.namePart4), 31u);
}

TEST_F(LightHeadFiles, TheHigherVersionTakesThePlaceOfTheFirst) {
  const LightHeadList list = Load(
      "[a::b::c::d]\nVersion = 1.0\nLightingCurvePoints = (1,1)\n"
      "[e::f::g::h]\nVersion = 1.0\nLightingCurvePoints = (1,1)\n"
      "[A::B::C::D]\nVersion = 2.0\nLightingCurvePoints = (2,2)\n"
      "[a::b::c::d]\nVersion = 1.5\nLightingCurvePoints = (3,3)\n\n");
  ASSERT_EQ(list.size(), 2u);
  EXPECT_STREQ(list[0].entry.namePart1, "A");  // the same head, ignoring case
  EXPECT_EQ(list[0].entry.version, 2.0);
  EXPECT_EQ(list[0].entry.curvePoints[0][0], 2.0);
  EXPECT_STREQ(list[1].entry.namePart1, "e");
}

TEST_F(LightHeadFiles, OfEqualVersionsTheFirstStays) {
  const LightHeadList list = Load(
      "[a::b::c::d]\nVersion = 1.0\nLightingCurvePoints = (1,1)\n"
      "[a::b::c::d]\nVersion = 1.0\nLightingCurvePoints = (2,2)\n\n");
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].entry.curvePoints[0][0], 1.0);
}

TEST_F(LightHeadFiles, TheFirstValidDefinitionStays) {
  const std::string sealed = "[a::b::c::d]\nVersion = 1.0\nBinaryBlob = " + SealedBlob("00112233445566") + "\n";
  const std::string pointless = "[a::b::c::d]\nVersion = 3.0\nAlgorithm = 0\n";
  // A valid sealed head, then one without points: the sealed one stays.
  LightHeadList list = Load(sealed + pointless + "\n");
  ASSERT_EQ(list.size(), 1u);
  EXPECT_NE(list[0].entry.binaryBlob[0], 0);
  EXPECT_TRUE(IsValidLightHead(list[0].entry));
  // The other way round the valid one replaces the invalid one, whatever the version.
  list = Load(pointless + sealed + "\n");
  ASSERT_EQ(list.size(), 1u);
  EXPECT_NE(list[0].entry.binaryBlob[0], 0);
  EXPECT_EQ(list[0].entry.version, 1.0);
}

TEST_F(LightHeadFiles, SealedHeadsAndTheirSigners) {
  const std::string blob = SealedBlob("DEADBEEF0011");
  const LightHeadList list = Load("[a::b::c::d]\nVersion = 1\nBinaryBlob = " + blob +
                                  "\nDigitalSigner = house\nDigitalSignature = ABCD\n\n");
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(std::string(list[0].entry.binaryBlob), blob);
  EXPECT_STREQ(list[0].entry.digitalSigner, "house");
  EXPECT_STREQ(list[0].entry.digitalSignature, "ABCD");
  EXPECT_TRUE(IsValidLightHead(list[0].entry));
  EXPECT_EQ(LightHeadIdentifier(list[0].entry), "a::b::c::d::house");
}

TEST_F(LightHeadFiles, BlobValidity) {
  LightHeadEntry entry{};
  std::strcpy(entry.binaryBlob, "ABCDEF0");  // seven characters: too short for a CRC
  EXPECT_FALSE(IsValidLightHead(entry));
  std::strcpy(entry.binaryBlob, SealedBlob("x").c_str());  // nine characters, the least
  EXPECT_TRUE(IsValidLightHead(entry));
  std::string lower = SealedBlob("payload");
  for (std::size_t i = 7; i < lower.size(); ++i) {
    lower[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(lower[i])));
  }
  std::strcpy(entry.binaryBlob, lower.c_str());
  EXPECT_TRUE(IsValidLightHead(entry));  // hexadecimal digits in either case
  std::string wrong = SealedBlob("payload");
  wrong[0] = 'q';
  std::strcpy(entry.binaryBlob, wrong.c_str());
  EXPECT_FALSE(IsValidLightHead(entry));
  std::strcpy(entry.binaryBlob, "payloadZZZZZZZZ");
  EXPECT_FALSE(IsValidLightHead(entry));
}

TEST_F(LightHeadFiles, PlainValidity) {
  LightHeadEntry entry{};
  EXPECT_FALSE(IsValidLightHead(entry));  // no points
  entry.curvePointCount = 1;
  EXPECT_TRUE(IsValidLightHead(entry));
  entry.algorithm = 1;
  EXPECT_FALSE(IsValidLightHead(entry));
}

TEST_F(LightHeadFiles, ThirtyThreePointsGiveNoneAndTheHeadStaysInvalid) {
  std::string points;
  for (int i = 0; i < 33; ++i) points += "(" + std::to_string(i) + ",1)";
  const LightHeadList list = Load("[a::b::c::d]\nVersion = 1\nLightingCurvePoints = " + points + "\n\n");
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].entry.curvePointCount, 0u);
  EXPECT_FALSE(IsValidLightHead(list[0].entry));
}

TEST_F(LightHeadFiles, AnUnknownAlgorithmIsKeptAsItCame) {
  const LightHeadList list =
      Load("[a::b::c::d]\nVersion = 1\nAlgorithm = 2\nLightingCurvePoints = (1,1)\n\n", "nothing::like::this::one");
  ASSERT_EQ(list.size(), 1u);  // not even the filter is applied to it
  EXPECT_EQ(list[0].entry.algorithm, 2u);
  EXPECT_EQ(list[0].entry.curvePointCount, 0u);
  EXPECT_FALSE(IsValidLightHead(list[0].entry));
}

TEST_F(LightHeadFiles, TheFilterKeepsOneIdentifier) {
  const std::string text =
      "[a::b::c::d]\nVersion = 1\nLightingCurvePoints = (1,1)\n"
      "[e::f::g::h]\nVersion = 1\nLightingCurvePoints = (1,1)\n\n";
  const LightHeadList list = Load(text, "E::F::G::H");
  ASSERT_EQ(list.size(), 1u);
  EXPECT_STREQ(list[0].entry.namePart1, "e");
}

TEST_F(LightHeadFiles, AFileThatCannotBeParsedAddsNothing) {
  EXPECT_TRUE(Load("Version=1\n[a::b::c::d]\nVersion = 1\n\n").empty());
  LightHeadList list;
  LoadLightHeadFile((folder_ / "missing.ild").c_str(), &list, nullptr);
  EXPECT_TRUE(list.empty());
}

TEST_F(LightHeadFiles, TheFolderScanTakesIldFilesInNameOrder) {
  File("b.ild", "[a::b::c::d]\nVersion = 1.0\nLightingCurvePoints = (2,2)\n\n");
  File("A.ILD", "[a::b::c::d]\nVersion = 1.0\nLightingCurvePoints = (1,1)\n[x::y::z::w]\nVersion = 1\n\n");
  File("c.txt", "[q::q::q::q]\nVersion = 1\nLightingCurvePoints = (1,1)\n\n");
  std::filesystem::create_directories(folder_ / "d.ild");
  LightHeadList list;
  LoadLightHeadDirectory(folder_.c_str(), &list, nullptr);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].entry.curvePoints[0][0], 1.0);  // "A.ILD" before "b.ild": equal versions, the first stays
  EXPECT_STREQ(list[1].entry.namePart1, "x");
  LightHeadList none;
  LoadLightHeadDirectory((folder_ / "missing").c_str(), &none, nullptr);
  EXPECT_TRUE(none.empty());
}

TEST_F(LightHeadFiles, WrittenEntriesReadBack) {
  LightHeadEntry plain{};
  std::strcpy(plain.namePart1, "Ring");
  std::strcpy(plain.namePart2, "R120");
  std::strcpy(plain.namePart3, "White");
  std::strcpy(plain.namePart4, "A");
  std::strcpy(plain.signerName, "house");
  std::strcpy(plain.signerPublicKey, "0A0B");
  std::strcpy(plain.masterSignerName, "master");
  std::strcpy(plain.keyStoreSignature, "99");
  plain.version = 1.25;
  plain.maximumCurrentContinuous = 0.5;
  plain.maximumDutyCycleStrobed = 12.5;
  plain.curvePointCount = 2;
  plain.curvePoints[0][0] = 0;
  plain.curvePoints[0][1] = 1;
  plain.curvePoints[1][0] = 10;
  plain.curvePoints[1][1] = 2.5;
  const std::string path = (folder_ / "cam.ild").string();
  ASSERT_TRUE(WriteLightHeadEntry(path.c_str(), plain, false));

  LightHeadEntry sealed{};
  std::strcpy(sealed.namePart1, "Bar");
  std::strcpy(sealed.namePart2, "B40");
  std::strcpy(sealed.namePart3, "Red");
  std::strcpy(sealed.namePart4, "B");
  std::strcpy(sealed.binaryBlob, SealedBlob("0102030405").c_str());
  std::strcpy(sealed.digitalSigner, "house");
  std::strcpy(sealed.digitalSignature, "FEED");
  sealed.version = 3;
  ASSERT_TRUE(WriteLightHeadEntry(path.c_str(), sealed, true));  // added to what the file holds

  // A newer version of the first head replaces its section.
  plain.version = 2;
  ASSERT_TRUE(WriteLightHeadEntry(path.c_str(), plain, true));

  LightHeadList list;
  LoadLightHeadFile(path.c_str(), &list, nullptr);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_STREQ(list[0].entry.namePart1, "Bar");
  EXPECT_EQ(std::string(list[0].entry.binaryBlob), std::string(sealed.binaryBlob));
  EXPECT_STREQ(list[0].entry.digitalSignature, "FEED");
  EXPECT_EQ(list[0].entry.version, 3.0);
  const LightHeadEntry& back = list[1].entry;
  EXPECT_STREQ(back.namePart4, "A");
  EXPECT_EQ(back.version, 2.0);
  EXPECT_STREQ(back.signerName, "house");
  EXPECT_STREQ(back.keyStoreSignature, "99");
  EXPECT_EQ(back.maximumCurrentContinuous, 0.5);
  EXPECT_EQ(back.maximumDutyCycleStrobed, 12.5);
  ASSERT_EQ(back.curvePointCount, 2u);
  EXPECT_EQ(back.curvePoints[1][0], 10.0);
  EXPECT_EQ(back.curvePoints[1][1], 2.5);
  EXPECT_TRUE(IsValidLightHead(back));
}

TEST_F(LightHeadFiles, TheWriterRefusesAnIncompleteName) {
  LightHeadEntry entry{};
  std::strcpy(entry.namePart1, "a");
  std::strcpy(entry.namePart2, "b");
  std::strcpy(entry.namePart3, "c");
  EXPECT_FALSE(WriteLightHeadEntry((folder_ / "x.ild").c_str(), entry, false));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "x.ild"));
  EXPECT_EQ(LightHeadIdentifier(entry), "");
  std::strcpy(entry.namePart4, "d");
  EXPECT_FALSE(WriteLightHeadEntry((folder_ / "no" / "folder.ild").c_str(), entry, false));
  // A file that exists but cannot be parsed is not overwritten by a merging write.
  const std::string broken = File("broken.ild", "A=1\n");
  EXPECT_FALSE(WriteLightHeadEntry(broken.c_str(), entry, true));
}

}  // namespace
}  // namespace keld
