// The sectioned text format: how lines become sections and pairs (with its
// narrow habits kept: a dropped last line, split long lines, a value cut at
// a second "="), look-ups without regard to case, replacing and appending,
// writing and reading back, and the list of number pairs.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "datafile/sectioned_text_file.h"

namespace keld {
namespace {

class TextFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() /
              ("sectioned_" + std::to_string(getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string Path() const { return (folder_ / "file.txt").string(); }
  void WriteText(const std::string& text) const { std::ofstream(Path(), std::ios::binary) << text; }
  std::string ReadText() const {
    std::ifstream in(Path(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  // Reads `text` as a file; the status of the read.
  std::int32_t Load(const std::string& text, SectionedTextFile** file) {
    WriteText(text);
    std::int32_t status = 0;
    file_ = std::make_unique<SectionedTextFile>(Path().c_str(), status);
    file_->Read(status);
    *file = file_.get();
    return status;
  }
  std::string Value(SectionedTextFile* file, const char* section, const char* key, std::int32_t* status) {
    CFGString value;
    file->GetEntry(section, key, value, *status);
    return value.c_str();
  }

  std::filesystem::path folder_;
  std::unique_ptr<SectionedTextFile> file_;
};

TEST_F(TextFileTest, AnEmptyFileHasNoSections) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("", &file), 0);
  EXPECT_EQ(file->GetSectionCount(), 0u);
}

TEST_F(TextFileTest, ALastLineWithoutLineBreakIsDropped) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("A=1", &file), 0);
  EXPECT_EQ(file->GetSectionCount(), 0u);
  EXPECT_EQ(Load("[S]\nA=1", &file), 0);
  ASSERT_EQ(file->GetSectionCount(), 1u);
  EXPECT_TRUE(file->sections()[0].entries.empty());
}

TEST_F(TextFileTest, APairBeforeAnySectionStopsTheRead) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("A=1\n[S]\nB=2\n", &file), kTextFilePairBeforeSection);
  EXPECT_EQ(file->GetSectionCount(), 0u);  // the rest of the file is ignored
}

TEST_F(TextFileTest, QuotesAndBlanksAtTheEndsAreTrimmed) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("[S]\nA = \"x y\"\n\t B\t = \" \"q\"uoted\" \n", &file), 0);
  ASSERT_EQ(file->GetSectionCount(), 1u);
  EXPECT_STREQ(file->GetSectionName(0), "[S]");
  std::int32_t status = 0;
  EXPECT_EQ(Value(file, "[S]", "A", &status), "x y");
  // Tabs stay; a quote inside a field stays.
  EXPECT_EQ(Value(file, "[S]", "\t B\t", &status), "q\"uoted");
  EXPECT_EQ(status, 0);
}

TEST_F(TextFileTest, ALineWithoutEqualsIsASection) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("[S]\nnoequals\nA=1\nname=\n", &file), 0);
  ASSERT_EQ(file->GetSectionCount(), 3u);
  EXPECT_STREQ(file->GetSectionName(1), "noequals");
  EXPECT_STREQ(file->GetSectionName(2), "name");
  EXPECT_TRUE(file->sections()[0].entries.empty());
  std::int32_t status = 0;
  EXPECT_EQ(Value(file, "noequals", "A", &status), "1");
  EXPECT_EQ(file->GetSectionName(3), nullptr);
}

TEST_F(TextFileTest, AValueStopsAtASecondEquals) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("[S]\nA = B=C\n= value\n\n", &file), 0);
  std::int32_t status = 0;
  EXPECT_EQ(Value(file, "[S]", "A", &status), "B");
  EXPECT_EQ(file->sections()[0].entries.size(), 1u);  // "= value" has no effect
}

TEST_F(TextFileTest, ALongLineIsReadInTwoPieces) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load(std::string(3000, 'x') + "\n", &file), 0);
  ASSERT_EQ(file->GetSectionCount(), 2u);
  EXPECT_EQ(std::string(file->GetSectionName(0)).size(), 2046u);
  EXPECT_EQ(std::string(file->GetSectionName(1)).size(), 3000u - 2046u);
}

TEST_F(TextFileTest, EmptyLinesBetweenSections) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("[S]\n\n\n[T]\n", &file), 0);
  ASSERT_EQ(file->GetSectionCount(), 2u);
  EXPECT_TRUE(file->sections()[0].entries.empty());
  EXPECT_TRUE(file->sections()[1].entries.empty());
}

TEST_F(TextFileTest, LookUpsIgnoreCaseAndTryLaterSectionsOfTheName) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("[S]\nA=1\n[T]\n[s]\nB=2\n", &file), 0);
  std::int32_t status = 0;
  EXPECT_EQ(Value(file, "[s]", "a", &status), "1");
  EXPECT_EQ(Value(file, "[S]", "b", &status), "2");
  EXPECT_EQ(status, 0);
  Value(file, "[S]", "C", &status);
  EXPECT_EQ(status, kTextFileNotFound);
  // A negative status on entry leaves the value alone.
  CFGString value("kept");
  file->GetEntry("[S]", "A", value, status);
  EXPECT_STREQ(value.c_str(), "kept");
}

TEST_F(TextFileTest, BySectionIndexEachSectionAnswersForItself) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("[S]\nA=1\n[s]\nA=2\nB=x\n\n", &file), 0);
  std::int32_t status = 0;
  CFGString value;
  file->GetEntryAt(1, "a", value, status);
  EXPECT_STREQ(value.c_str(), "2");
  EXPECT_EQ(file->GetNumberAt(0, "A", 5.0), 1.0);
  EXPECT_EQ(file->GetNumberAt(0, "B", 5.0), 5.0);  // not looked for in the other "[S]"
  file->GetEntryAt(7, "A", value, status);
  EXPECT_EQ(status, kTextFileNotFound);
}

TEST_F(TextFileTest, SetEntryReplacesTheFirstOrAppendsToTheFirstSection) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("[S]\nA=1\nA=2\n[S]\nB=3\n", &file), 0);
  std::int32_t status = 0;
  file->SetEntry("[s]", "a", "9", status);
  file->SetEntry("[S]", "B", "8", status);
  file->SetEntry("[S]", "C", "7", status);
  file->SetEntry("[New]", "D", "6", status);
  EXPECT_EQ(status, 0);
  const auto& sections = file->sections();
  ASSERT_EQ(sections.size(), 3u);
  ASSERT_EQ(sections[0].entries.size(), 3u);
  EXPECT_STREQ(sections[0].entries[0].value.c_str(), "9");
  EXPECT_STREQ(sections[0].entries[1].value.c_str(), "2");  // only the first of the two
  EXPECT_STREQ(sections[0].entries[2].key.c_str(), "C");
  EXPECT_STREQ(sections[1].entries[0].value.c_str(), "8");
  EXPECT_STREQ(sections[2].name.c_str(), "[New]");
}

TEST_F(TextFileTest, GetNumberReadsAsFarAsItCan) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("[S]\nA=12abc\nB=abc\nC=-2.5e1\n\n", &file), 0);
  EXPECT_EQ(file->GetNumber("[S]", "A", 7.0), 12.0);
  EXPECT_EQ(file->GetNumber("[S]", "B", 7.0), 0.0);
  EXPECT_EQ(file->GetNumber("[S]", "C", 7.0), -25.0);
  EXPECT_EQ(file->GetNumber("[S]", "D", 7.0), 7.0);
}

TEST_F(TextFileTest, RemoveSectionTakesTheFirstOfItsName) {
  SectionedTextFile* file = nullptr;
  EXPECT_EQ(Load("[A]\nx=1\n[B]\ny=2\n[A]\nz=3\n\n", &file), 0);
  std::int32_t status = 0;
  file->RemoveSection("[a]", status);
  file->RemoveSection("[missing]", status);
  EXPECT_EQ(status, 0);
  ASSERT_EQ(file->GetSectionCount(), 2u);
  EXPECT_STREQ(file->GetSectionName(0), "[B]");
  EXPECT_STREQ(file->sections()[1].entries[0].key.c_str(), "z");
}

TEST_F(TextFileTest, WriteThenReadGivesTheSameSectionsAndPairs) {
  std::int32_t status = 0;
  SectionedTextFile written(Path().c_str(), status);
  written.SetEntry("[KeyStoreEntry]", "SignerName", "someone", status);
  written.SetEntry("[a::b::c::d]", "Version", "2.00", status);
  written.SetEntry("[a::b::c::d]", "LightingCurvePoints", "(0.000,1.000)(50.000,2.500)", status);
  written.SetEntry("[e::f::g::h]", "Version", "1.00", status);
  written.Write(status);
  ASSERT_EQ(status, 0);
  EXPECT_EQ(ReadText(),
            "[KeyStoreEntry]\nSignerName = someone\n\n"
            "[a::b::c::d]\nVersion = 2.00\nLightingCurvePoints = (0.000,1.000)(50.000,2.500)\n\n"
            "[e::f::g::h]\nVersion = 1.00\n\n");
  SectionedTextFile read(Path().c_str(), status);
  read.Read(status);
  ASSERT_EQ(status, 0);
  ASSERT_EQ(read.GetSectionCount(), written.GetSectionCount());
  for (std::size_t i = 0; i < read.sections().size(); ++i) {
    const auto& a = read.sections()[i];
    const auto& b = written.sections()[i];
    EXPECT_STREQ(a.name.c_str(), b.name.c_str());
    ASSERT_EQ(a.entries.size(), b.entries.size());
    for (std::size_t j = 0; j < a.entries.size(); ++j) {
      EXPECT_STREQ(a.entries[j].key.c_str(), b.entries[j].key.c_str());
      EXPECT_STREQ(a.entries[j].value.c_str(), b.entries[j].value.c_str());
    }
  }
}

TEST_F(TextFileTest, FilesThatCannotBeOpened) {
  std::int32_t status = 0;
  SectionedTextFile missing((folder_ / "missing.txt").string().c_str(), status);
  missing.Read(status);
  EXPECT_EQ(status, kTextFileCannotOpen);
  status = 0;
  SectionedTextFile unwritable((folder_ / "no" / "such" / "folder.txt").string().c_str(), status);
  unwritable.Write(status);
  EXPECT_EQ(status, kTextFileCannotOpen);
  // Every operation leaves a negative status as it is and does nothing.
  status = kTextFileOutOfMemory;
  SectionedTextFile untouched(Path().c_str(), status);
  untouched.SetEntry("[S]", "A", "1", status);
  untouched.Write(status);
  EXPECT_EQ(status, kTextFileOutOfMemory);
  EXPECT_EQ(untouched.GetSectionCount(), 0u);
  EXPECT_FALSE(std::filesystem::exists(Path()));
}

// ---- Pair lists ----------------------------------------------------------

struct Pairs {
  double points[32][2] = {};
  std::uint64_t count = 0;
  std::int32_t status = 0;
};

Pairs Parse(const std::string& text) {
  Pairs pairs;
  ParsePairList(text.c_str(), pairs.points, &pairs.count, pairs.status);
  return pairs;
}

TEST(PairList, TwoPairs) {
  const Pairs pairs = Parse("(1,2)(3.5,-4)");
  EXPECT_EQ(pairs.status, 0);
  ASSERT_EQ(pairs.count, 2u);
  EXPECT_EQ(pairs.points[0][0], 1.0);
  EXPECT_EQ(pairs.points[0][1], 2.0);
  EXPECT_EQ(pairs.points[1][0], 3.5);
  EXPECT_EQ(pairs.points[1][1], -4.0);
}

TEST(PairList, NoPairIsAFailure) {
  for (const char* text : {"", "()x", "(1;2)", "1,2)"}) {
    const Pairs pairs = Parse(text);
    EXPECT_EQ(pairs.status, -1) << text;
    EXPECT_EQ(pairs.count, 0u) << text;
  }
}

TEST(PairList, ThirtyThreePairsGiveNone) {
  std::string text;
  for (int i = 0; i < 32; ++i) text += "(" + std::to_string(i) + ",1)";
  EXPECT_EQ(Parse(text).count, 32u);
  const Pairs pairs = Parse(text + "(32,1)");
  EXPECT_EQ(pairs.status, -1);
  EXPECT_EQ(pairs.count, 0u);
}

TEST(PairList, ABadPieceAmongGoodOnesFailsTheList) {
  const Pairs pairs = Parse("(1,2)(3 4)(5,6)");
  EXPECT_EQ(pairs.status, -1);
  EXPECT_EQ(pairs.count, 0u);
}

// The work buffer is not cleared between pieces: a shorter piece without a
// "(" still finds the one that a longer piece before it left behind.
TEST(PairList, AShortPieceReadsWhatALongerOneLeftBehind) {
  const Pairs pairs = Parse("ab(1,2)xy)");
  EXPECT_EQ(pairs.status, 0);
  ASSERT_EQ(pairs.count, 2u);
  EXPECT_EQ(pairs.points[1][0], 1.0);
  EXPECT_EQ(pairs.points[1][1], 2.0);
}

TEST(PairList, ANegativeStatusOnEntryDoesNothing) {
  Pairs pairs;
  pairs.status = -2;
  ParsePairList("(1,2)", pairs.points, &pairs.count, pairs.status);
  EXPECT_EQ(pairs.status, -2);
  EXPECT_EQ(pairs.count, 0u);
}

}  // namespace
}  // namespace keld
