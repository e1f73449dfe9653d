// The variants of the simulated driver, loaded beside the one this program
// links: each lacks the entry points of its kind, and the older one answers
// the older form of the camera header query.
#include <dlfcn.h>

#include "sim_fixture.h"

namespace keldsim_test {
namespace {

namespace fs = std::filesystem;

class Variant {
 public:
  explicit Variant(const char* file) {
    const std::string path = std::string(KELDSIM_LIB_DIR) + "/" + file;
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(handle_, nullptr) << dlerror();
  }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  ~Variant() {
    if (handle_ != nullptr) dlclose(handle_);
  }
  void* Find(const char* name) const { return handle_ == nullptr ? nullptr : dlsym(handle_, name); }
  template <typename F>
  F Function(const char* name) const {
    return reinterpret_cast<F>(Find(name));
  }

 private:
  void* handle_ = nullptr;
};

class VariantsTest : public SimTest {};

TEST_F(VariantsTest, OlderDriverLacksTheLaterEntryPoints) {
  Variant old("libkeld_old.so");
  for (const char* name : {"odkelduGetDriverVersion", "odkelduGetBoardName", "kldSessionCopyAreaByNumber",
                           "odkelduCameraAttributeNumericGetIncrementEx"}) {
    EXPECT_EQ(old.Find(name), nullptr) << name;
  }
  for (const char* name : {"kldGetBoardPCIID", "odkelduGetCameraHeaderInfo", "odkelduIsInterfaceSupported",
                           "odkelduDisable32bitPhysMemLimitEnforcement", "odkelduCameraAttributeNumericGetIncrement",
                           "kldSessionCopyArea", "keldsimResetWith"}) {
    EXPECT_NE(old.Find(name), nullptr) << name;
  }
}

TEST_F(VariantsTest, DriverWithoutThePhysicalMemoryFunction) {
  Variant variant("libkeld_nophysmem.so");
  EXPECT_EQ(variant.Find("odkelduDisable32bitPhysMemLimitEnforcement"), nullptr);
  EXPECT_NE(variant.Find("odkelduGetDriverVersion"), nullptr);
  EXPECT_NE(variant.Find("kldSessionOpen"), nullptr);
}

TEST_F(VariantsTest, CurrentDriverHasEveryEntryPoint) {
  Variant current("libkeld.so");
  for (const char* name : {"odkelduGetDriverVersion", "odkelduGetBoardName", "kldSessionCopyAreaByNumber",
                           "odkelduDisable32bitPhysMemLimitEnforcement", "odkelduGetCameraHeaderInfo"}) {
    EXPECT_NE(current.Find(name), nullptr) << name;
  }
}

// The older driver is a driver of its own in this process, with its own
// state: it is reset with a folder of its own and asked through its own
// entry points.
TEST_F(VariantsTest, OlderDriverWorksAsADriverBefore0x03100000) {
  Variant old("libkeld_old.so");
  const auto reset = old.Function<uint32_t (*)(const char*, const char*)>("keldsimResetWith");
  const auto getVersion = old.Function<uint32_t (*)(uint32_t*)>("keldsimGetDriverVersion");
  const auto setVersion = old.Function<uint32_t (*)(uint32_t)>("keldsimSetDriverVersion");
  const auto pciId = old.Function<uint32_t (*)(uint32_t, uint32_t*)>("kldGetBoardPCIID");
  const auto claim = old.Function<uint32_t (*)(uint32_t, char*)>("odkelduClaimNewInterfaceFile");
  const auto interfaceOpen = old.Function<uint32_t (*)(const char*, uint32_t*)>("kldInterfaceOpen");
  const auto sessionOpen = old.Function<uint32_t (*)(uint32_t, uint32_t*)>("kldSessionOpen");
  const auto headerInfo = old.Function<KeldCameraHeaderInfoBefore310>("odkelduGetCameraHeaderInfo");
  ASSERT_TRUE(reset && getVersion && setVersion && pciId && claim && interfaceOpen && sessionOpen && headerInfo);

  const fs::path own = folder_ / "old";
  ASSERT_EQ(reset(nullptr, own.c_str()), kOk);
  uint32_t version = 0;
  ASSERT_EQ(getVersion(&version), kOk);
  EXPECT_EQ(version, 0x03000000u);
  EXPECT_EQ(setVersion(0x03100000), kInvalidArgument);
  uint32_t id = 0;
  ASSERT_EQ(pciId(kBoard7105, &id), kOk);
  EXPECT_EQ(id, 0xD1077A5Eu);
  char path[KELD_DRIVER_PATH_SIZE] = {};
  ASSERT_EQ(claim(kBoard7105, path), kOk);
  EXPECT_TRUE(fs::exists(own / path));
  EXPECT_FALSE(fs::exists(folder_ / path));  // not the folder of the driver this program links
  uint32_t iid = 0, sid = 0;
  EXPECT_EQ(interfaceOpen("img0::0", &iid), kInvalidName);  // no unit names before 0x03500000
  ASSERT_EQ(interfaceOpen("img0", &iid), kOk);
  ASSERT_EQ(sessionOpen(iid, &sid), kOk);
  uint32_t supported = 9;
  char mode[KELD_DRIVER_PATH_SIZE] = {}, detail[KELD_DRIVER_PATH_SIZE] = {};
  ASSERT_EQ(headerInfo(sid, "mono640.icd", &supported, mode, detail), kOk);
  EXPECT_EQ(supported, 1u);
  EXPECT_STREQ(mode, "640 x 480, 8-bit monochrome");
  EXPECT_EQ(headerInfo(sid, "bayer1280.icd", &supported, mode, detail), kOk);
  EXPECT_EQ(supported, 0u);
  ASSERT_EQ(reset(nullptr, own.c_str()), kOk);  // closes what it had open
}

TEST_F(VariantsTest, DescriptionVersionMustSuitTheVariant) {
  Variant old("libkeld_old.so");
  const auto reset = old.Function<uint32_t (*)(const char*, const char*)>("keldsimResetWith");
  ASSERT_NE(reset, nullptr);
  const fs::path own = folder_ / "old";
  EXPECT_EQ(reset(R"({"driver_version": "0x04720000"})", own.c_str()), kDescription);
  EXPECT_EQ(reset(R"({"driver_version": "0x02000000"})", own.c_str()), kOk);
}

TEST_F(VariantsTest, EveryVariantFindsTheBoardTestsBesideIt) {
  Variant old("libkeld_old.so");
  const auto reset = old.Function<uint32_t (*)(const char*, const char*)>("keldsimResetWith");
  const auto diagnostics = old.Function<uint32_t (*)(char*)>("odkelduGetDiagnosticsPathA");
  ASSERT_TRUE(reset && diagnostics);
  ASSERT_EQ(reset(nullptr, (folder_ / "old").c_str()), kOk);
  char path[KELD_DRIVER_PATH_SIZE] = {};
  ASSERT_EQ(diagnostics(path), kOk);
  EXPECT_EQ(fs::path(path), fs::canonical(KELDSIM_LIB_DIR));
}

}  // namespace
}  // namespace keldsim_test
