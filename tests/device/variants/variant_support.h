// What the programs of the driver variants share. Each program is one
// process with one variant of the simulated driver, or with none: it does
// not link libkeld.so, but loads its variant by path before the library
// asks for "libkeld.so" (the variants call themselves that, so the library
// gets the variant), and steers it through the control functions it finds
// in it. A VariantDevice is that driver in a fresh state with a data folder
// of its own, reached over a local session or over a remote one to
// keldcfgd's service in this process.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "keldcfgc/keldcfgc.h"
#include "registry_file.h"
#include "session/session_registry.h"
#include "support_servers.h"

namespace keld::device {

enum class Side { kLocal, kRemote };

inline const char* SideName(Side side) { return side == Side::kLocal ? "Local" : "Remote"; }
inline std::string SideParamName(const ::testing::TestParamInfo<Side>& info) { return SideName(info.param); }

inline std::string Hex(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", value);
  return text;
}

// The variant loaded into this process, once, and its control functions.
class VariantDriver {
 public:
  // Loads `file` from the folder of the simulated drivers; the first call
  // decides the variant of the whole process.
  static VariantDriver& Load(const char* file) {
    static VariantDriver driver(file);
    EXPECT_EQ(driver.file_, file) << "one variant a process";
    return driver;
  }

  bool loaded() const { return handle_ != nullptr; }

  template <typename Function>
  Function* Control(const char* name) const {
    return handle_ == nullptr ? nullptr : reinterpret_cast<Function*>(dlsym(handle_, name));
  }

  std::uint32_t ResetWith(const char* description, const char* folder) const {
    auto* reset = Control<std::uint32_t(const char*, const char*)>("keldsimResetWith");
    return reset == nullptr ? 0xFFFFFFFFu : reset(description, folder);
  }
  std::uint32_t CallCount(const char* function) const {
    auto* count = Control<std::uint32_t(const char*, std::uint32_t*)>("keldsimGetCallCount");
    std::uint32_t calls = 0;
    if (count != nullptr) count(function, &calls);
    return calls;
  }
  void ClearCalls() const {
    if (auto* clear = Control<std::uint32_t()>("keldsimClearCallLog")) clear();
  }

 private:
  explicit VariantDriver(const char* file) : file_(file) {
    const std::string path = std::string(KELDSIM_LIB_DIR) + "/" + file;
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(handle_, nullptr) << dlerror();
  }

  std::string file_;
  void* handle_ = nullptr;
};

// The driver variant in a fresh state with a data folder of its own, and
// the side the public functions reach it from.
class VariantDevice {
 public:
  VariantDevice(const VariantDriver* driver, Side side, const char* description = nullptr)
      : driver_(driver), side_(side) {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test->test_suite_name()) + "_" + test->name();
    for (char& c : name) {
      if (c == '/') c = '_';
    }
    folder_ = std::filesystem::temp_directory_path() / ("keld_variant_" + std::to_string(getpid()) + "_" + name);
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    CloseAllSessions();
    if (driver_ != nullptr) {
      EXPECT_EQ(driver_->ResetWith(description, folder_.c_str()), 0u);
    }
    registry_ = std::make_unique<RegistryFile>(folder_.string() + ".reg");
    if (side == Side::kRemote) {
      server_ = std::make_unique<testsupport::ServiceServer>();
      registry_->Set("RemotePort", server_->port());
    }
    cfgRefreshBoards(Host());
  }
  VariantDevice(const VariantDevice&) = delete;
  VariantDevice& operator=(const VariantDevice&) = delete;
  ~VariantDevice() {
    CloseAllSessions();
    server_.reset();
    registry_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  const char* Host() const { return side_ == Side::kRemote ? "localhost" : nullptr; }
  const std::filesystem::path& folder() const { return folder_; }
  RegistryFile& registry() { return *registry_; }

  // The board list as a user reads it, one line a board.
  std::vector<std::string> Boards() const {
    std::vector<std::string> rows;
    std::uint32_t count = 0;
    const std::int32_t status = cfgGetBoardCount(Host(), &count);
    if (status != 0) return {"count -> " + Hex(static_cast<std::uint32_t>(status))};
    for (std::uint32_t i = 0; i < count; ++i) {
      char name[256] = {};
      char description[256] = {};
      std::uint32_t serial = 0;
      std::uint32_t version = 0;
      EXPECT_EQ(cfgQueryBoard(Host(), i, name, sizeof name, &serial, description, sizeof description), 0);
      EXPECT_EQ(cfgQueryBoardDriver(Host(), i, nullptr, 0, &version), 0);
      rows.push_back(std::string("'") + name + "' " + Hex(serial) + " '" + description + "' " + Hex(version));
    }
    return rows;
  }

 private:
  const VariantDriver* driver_;
  Side side_;
  std::filesystem::path folder_;
  std::unique_ptr<RegistryFile> registry_;
  std::unique_ptr<testsupport::ServiceServer> server_;
};

}  // namespace keld::device
