// What all local sessions share: the process-wide compression pair, the
// acquisition flags, the commit of changed attributes, the copying of files
// on the session's computer and the display mode word.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "attributes/attribute.h"
#include "image/cfg_image.h"
#include "local/keld1394/local_keldfw_config_session.h"
#include "local/keldnv/local_keldnv_config_session.h"
#include "support/table_double.h"

namespace keld {
namespace {

namespace fs = std::filesystem;

class Folder {
 public:
  Folder() : path_(fs::temp_directory_path() / ("localbase-" + std::to_string(getpid()) + "-" + std::to_string(++n_))) {
    fs::create_directories(path_);
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  static inline int n_ = 0;
  fs::path path_;
};

std::string Read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void Write(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out << bytes;
}

TEST(LocalBase, CompressionIsOnePairForTheWholeProcess) {
  Status status = kSuccess;
  LocalKELDNVConfigSession first("a", &status);
  LocalKELDNVConfigSession second("b", &status);
  std::uint32_t type = 9;
  std::uint32_t quality = 9;
  const std::uint32_t oldType = CfgImage::compressionType;
  const std::uint32_t oldQuality = CfgImage::compressionQuality;
  ASSERT_EQ(first.SetImageCompression(2, 500), kSuccess);
  ASSERT_EQ(second.GetImageCompression(&type, &quality), kSuccess);
  EXPECT_EQ(type, 2u);
  EXPECT_EQ(quality, 500u);
  ASSERT_EQ(second.SetImageCompression(oldType, oldQuality), kSuccess);
}

TEST(LocalBase, AcquisitionFlagsAreKept) {
  Status status = kSuccess;
  LocalKELDNVConfigSession session("a", &status);
  ASSERT_EQ(session.SetAcquisitionFlags(0x19), kSuccess);
  EXPECT_EQ(session.acquisitionFlags.load(), 0x19u);
}

TEST(LocalBase, CommitWritesEveryChangedAttributeAndKeepsTheFirstFailure) {
  test::TableDouble session;
  for (std::uint32_t key : {3u, 1u, 2u}) {
    Attribute* attribute = nullptr;
    ASSERT_EQ(CreateAttribute(AttrU32::kTag, false, &attribute), kSuccess);
    attribute->SetKey(key);
    if (key != 2) static_cast<TypedAttribute<AttrU32>*>(attribute)->SetValue(AttrU32{key});
    session.attributes.Insert(attribute);
  }
  session.answer = 0xBFF60044;
  // The double's commit is its own; the local base's walks the map.
  EXPECT_EQ(session.LocalDeviceConfigSession::CommitAttributes(), 0xBFF60044u);
  ASSERT_EQ(session.log.size(), 2u);  // keys 1 and 3, in key order, the failure not stopping the walk
  EXPECT_EQ(session.log[0].substr(0, 16), "WriteAttribute|1");
  EXPECT_EQ(session.log[1].substr(0, 16), "WriteAttribute|3");
}

TEST(CopyFile, CopiesWholeFilesInChunks) {
  Folder folder;
  std::string bytes(3 * 4096 + 17, 'x');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7);
  Write(folder / "source.bin", bytes);
  Status status = kSuccess;
  LocalKELDNVConfigSession session("a", &status);
  ASSERT_EQ(session.CopyFile((folder / "source.bin").c_str(), (folder / "copy.bin").c_str()), kSuccess);
  EXPECT_EQ(Read(folder / "copy.bin"), bytes);
  // An existing destination is made anew.
  Write(folder / "small.bin", "ab");
  ASSERT_EQ(session.CopyFile((folder / "small.bin").c_str(), (folder / "copy.bin").c_str()), kSuccess);
  EXPECT_EQ(Read(folder / "copy.bin"), "ab");
}

TEST(CopyFile, NamesThatDifferOnlyInCaseAreTheSameFile) {
  Folder folder;
  Status status = kSuccess;
  LocalKELDNVConfigSession session("a", &status);
  const std::string lower = folder / "name.txt";
  const std::string upper = folder / "NAME.TXT";
  // Neither exists: nothing is opened, nothing made.
  EXPECT_EQ(session.CopyFile(lower.c_str(), upper.c_str()), kSuccess);
  EXPECT_FALSE(fs::exists(lower));
  EXPECT_FALSE(fs::exists(upper));
}

TEST(CopyFile, AMissingSourceAndAnUnmakeableDestination) {
  Folder folder;
  Status status = kSuccess;
  LocalKELDNVConfigSession session("a", &status);
  EXPECT_EQ(session.CopyFile((folder / "missing").c_str(), (folder / "out").c_str()), kSessionNotConfigured);
  // The destination was made before the source was found missing.
  EXPECT_TRUE(fs::exists(folder / "out"));
  Write(folder / "in", "data");
  EXPECT_EQ(session.CopyFile((folder / "in").c_str(), (folder / "no-folder/out").c_str()), kOutOfMemory);
}

TEST(CopyFile, AReadErrorEndsTheCopyWithSuccessAndWhatCameSoFar) {
  // A folder reads as an error the moment it is read: the copy ends at once,
  // like at the end of a file, with an empty destination.
  Folder folder;
  fs::create_directories(folder / "a-folder");
  Status status = kSuccess;
  LocalKELDNVConfigSession session("a", &status);
  EXPECT_EQ(session.CopyFile((folder / "a-folder").c_str(), (folder / "out").c_str()), kSuccess);
  EXPECT_EQ(Read(folder / "out"), "");
}

TEST(CopyFile, AShortWriteIsAFailure) {
  // A file size limit makes the write come up short.
  Folder folder;
  Write(folder / "big", std::string(3 * 4096, 'b'));
  Status status = kSuccess;
  LocalKELDNVConfigSession session("a", &status);
  rlimit old{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
  rlimit limited = old;
  limited.rlim_cur = 4096 + 100;
  signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
  const Status copied = session.CopyFile((folder / "big").c_str(), (folder / "out").c_str());
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
  EXPECT_EQ(copied, kSessionNotConfigured);
  EXPECT_EQ(fs::file_size(folder / "out"), 4096u + 100u);
}

TEST(DisplayMode, FirstStandardModeThatHoldsTheImage) {
  EXPECT_EQ(DisplayModeWord(640, 480, 0), 0x503C3C08u);
  EXPECT_EQ(DisplayModeWord(641, 480, 4), 0x644B3C20u);
  EXPECT_EQ(DisplayModeWord(1024, 768, 7), 0x80603C10u);
  EXPECT_EQ(DisplayModeWord(1280, 1024, 1), 0xA0803C10u);
  // Larger than every mode: the last.
  EXPECT_EQ(DisplayModeWord(4096, 4096, 6), 0xA0803C20u);
}

TEST(DisplayMode, TheBaseKnowsNoGeometry) {
  Status status = kSuccess;
  // The IEEE 1394 session keeps the base's answer.
  LocalKELDFWConfigSession session("a", &status);
  std::uint32_t width = 1;
  std::uint32_t height = 1;
  std::uint32_t type = 1;
  EXPECT_FALSE(session.GetImageGeometry(&width, &height, &type));
  EXPECT_EQ(width + height + type, 0u);
}

}  // namespace
}  // namespace keld
