// What the device suite shares. A Device is the simulated drivers in a state
// of their own (a fresh description and data folder per test) and, for the
// remote side, keldcfgd's service on an ephemeral loopback port named by a
// registry file; Host() is what the public functions take to reach it.
//
// A scenario is a function that drives the public functions on a Device,
// checks what it sees, and writes what it saw into a transcript: statuses,
// values, texts and the bytes of images. DEVICE_SCENARIO runs it over a
// local session and over a remote session (one parameterised suite), and a
// second test runs it on both and requires the two transcripts to agree
// line by line.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "keldcfgc/keldcfgc.h"
#include "keldnvsim/keldnvsim_control.h"
#include "keldsim/keldsim_control.h"
#include "registry_file.h"
#include "session/session_registry.h"
#include "support_servers.h"

namespace keld::device {

enum class Side { kLocal, kRemote };

inline const char* SideName(Side side) { return side == Side::kLocal ? "Local" : "Remote"; }

using Transcript = std::vector<std::string>;

inline std::string Hex(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", value);
  return text;
}

// A simulated driver that every Device resets: its controls, and how the
// inventory is told to list its devices afresh.
struct SimulatedDriver {
  const char* name;  // also the name of its data folder below the device's
  std::uint32_t (*resetWith)(const char* description, const char* folder);
  std::uint32_t (*lastError)(char* text, std::uint32_t size);
  void (*refresh)(const char* host);
};
inline const SimulatedDriver kSimulatedDrivers[] = {
    {"keld", &keldsimResetWith, &keldsimGetLastError,
     [](const char* host) { static_cast<void>(cfgRefreshBoards(host)); }},
    {"keldnv", &keldnvsimResetWith, &keldnvsimGetLastError,
     [](const char* host) { static_cast<void>(cfgRefreshCameras2(host, 2)); }},
};
inline constexpr std::size_t kSimulatedDriverCount = std::size(kSimulatedDrivers);

// The JSON descriptions a Device gives its simulated drivers, in the order of
// kSimulatedDrivers; null takes a driver's built-in devices. A text alone
// describes the frame-grabber driver's boards.
struct Descriptions {
  Descriptions(const char* boards = nullptr) { of[0] = boards; }  // NOLINT: a board description is enough
  const char* of[kSimulatedDriverCount] = {};
};

// Descriptions with the network and USB driver's cameras given.
inline Descriptions Cameras(const char* cameras, const char* boards = nullptr) {
  Descriptions descriptions(boards);
  descriptions.of[1] = cameras;
  return descriptions;
}

class Device {
 public:
  // `descriptions` of the simulated drivers; by default their built-in
  // devices. The frame-grabber driver's data folder is the device's folder,
  // each other driver's a folder of its name below it.
  explicit Device(Side side, const Descriptions& descriptions = {}) : side_(side) {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test->test_suite_name()) + "_" + test->name();
    for (char& c : name) {
      if (c == '/') c = '_';
    }
    folder_ = std::filesystem::temp_directory_path() /
              ("keld_device_" + std::to_string(getpid()) + "_" + name + "_" + SideName(side));
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    CloseAllSessions();
    for (std::size_t i = 0; i < kSimulatedDriverCount; ++i) {
      const SimulatedDriver& driver = kSimulatedDrivers[i];
      const std::filesystem::path data = i == 0 ? folder_ : folder_ / driver.name;
      const std::uint32_t reset = driver.resetWith(descriptions.of[i], data.c_str());
      if (reset != 0) {
        char why[1024] = {};
        driver.lastError(why, sizeof why);
        ADD_FAILURE() << "the simulated driver " << driver.name << " refused its description: " << why;
      }
    }
    registry_ = std::make_unique<RegistryFile>(folder_.string() + ".reg");
    if (side == Side::kRemote) {
      server_ = std::make_unique<testsupport::ServiceServer>();
      registry_->Set("RemotePort", server_->port());
    }
    // The device lists are cached per host: each device starts from the drivers.
    for (const SimulatedDriver& driver : kSimulatedDrivers) driver.refresh(Host());
  }
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  ~Device() {
    CloseAllSessions();
    server_.reset();
    registry_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  Side side() const { return side_; }
  bool remote() const { return side_ == Side::kRemote; }
  // Null for this computer, "localhost" for the target on loopback.
  const char* Host() const { return remote() ? "localhost" : nullptr; }
  const std::filesystem::path& folder() const { return folder_; }

  // Notes a line of the transcript.
  void Note(const std::string& line) { transcript_.push_back(line); }
  void Note(const std::string& what, std::int32_t status) { Note(what + " -> " + Hex(static_cast<std::uint32_t>(status))); }
  Transcript TakeTranscript() { return std::move(transcript_); }

  // A DWORD value of the library's settings in the registry; the remote
  // target, which runs in this process, reads the same registry.
  void SetRegistryValue(const std::string& name, std::uint32_t value) { registry_->Set(name, value); }
  void RemoveRegistryValue(const std::string& name) { registry_->Remove(name); }

  // The driver's calls since the last clear: all of them, or one function's.
  static std::vector<std::string> Calls() {
    std::uint32_t size = 0;
    keldsimGetCallLog(nullptr, &size);
    std::string text(size + 1, '\0');
    size = static_cast<std::uint32_t>(text.size());
    keldsimGetCallLog(text.data(), &size);
    std::vector<std::string> lines;
    std::istringstream in(text.c_str());
    for (std::string line; std::getline(in, line);) {
      if (!line.empty()) lines.push_back(line);
    }
    return lines;
  }
  // The calls without those of the error texts (a remote client asks its own
  // driver for those).
  static std::vector<std::string> CallsWithoutErrorTexts() {
    std::vector<std::string> lines;
    for (std::string& line : Calls()) {
      if (line != "kldShowError") lines.push_back(std::move(line));
    }
    return lines;
  }
  static std::uint32_t CallCount(const char* function) {
    std::uint32_t count = 0;
    keldsimGetCallCount(function, &count);
    return count;
  }
  static void ClearCalls() { keldsimClearCallLog(); }

  // The text a user gets for a status.
  static std::string ErrorText(std::int32_t status) {
    char text[256] = {};
    cfgGetErrorText(static_cast<std::uint32_t>(status), text);
    return text;
  }

  // The board list of the host as a user reads it, one line a board:
  // name, serial, description, driver name and version word.
  std::vector<std::string> Boards() {
    std::vector<std::string> rows;
    std::uint32_t count = 0;
    const std::int32_t status = cfgGetBoardCount(Host(), &count);
    if (status != 0) {
      rows.push_back("count -> " + Hex(static_cast<std::uint32_t>(status)));
      return rows;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
      char name[256] = {};
      char description[256] = {};
      char driver[256] = {};
      std::uint32_t serial = 0;
      std::uint32_t version = 0;
      const std::int32_t queried =
          cfgQueryBoard(Host(), i, name, sizeof name, &serial, description, sizeof description);
      const std::int32_t driverQueried = cfgQueryBoardDriver(Host(), i, driver, sizeof driver, &version);
      if (queried != 0 || driverQueried != 0) {
        rows.push_back("query " + std::to_string(i) + " -> " + Hex(static_cast<std::uint32_t>(queried)) + " " +
                       Hex(static_cast<std::uint32_t>(driverQueried)));
        continue;
      }
      rows.push_back(std::string("'") + name + "' " + Hex(serial) + " '" + description + "' '" + driver + "' " +
                     Hex(version));
    }
    return rows;
  }
  // The board list into the transcript.
  void NoteBoards(const std::string& what) {
    const std::vector<std::string> rows = Boards();
    Note(what + ": " + std::to_string(rows.size()) + " rows");
    for (const std::string& row : rows) Note("  " + row);
  }

  // Opens a board by interface name; the id, or 0 with a failure noted.
  std::uint32_t Open(const char* interfaceName, std::uint32_t serial = 0) {
    std::uint32_t id = 0;
    const std::int32_t status = cfgOpenBoard(Host(), interfaceName, serial, &id);
    EXPECT_EQ(status, 0) << "cfgOpenBoard(" << (interfaceName ? interfaceName : "null") << ", " << Hex(serial) << ")";
    Note(std::string("open ") + (interfaceName ? interfaceName : "null"), status);
    return status == 0 ? id : 0;
  }

  // Opens a camera of the network and USB driver by interface name; the id,
  // or 0 with a failure noted.
  std::uint32_t OpenCamera(const char* interfaceName, std::uint32_t flags = 0) {
    std::uint32_t id = 0;
    const std::int32_t status = cfgOpenCamera3(Host(), 2, interfaceName, 0, 0, flags, &id);
    EXPECT_EQ(status, 0) << "cfgOpenCamera3(" << (interfaceName ? interfaceName : "null") << ")";
    Note(std::string("open camera ") + (interfaceName ? interfaceName : "null"), status);
    return status == 0 ? id : 0;
  }

 private:
  Side side_;
  std::filesystem::path folder_;
  std::unique_ptr<testsupport::ServiceServer> server_;
  std::unique_ptr<RegistryFile> registry_;
  Transcript transcript_;
};

class DeviceSessions : public ::testing::TestWithParam<Side> {};

inline std::string SideParamName(const ::testing::TestParamInfo<Side>& info) { return SideName(info.param); }

// Defines scenario `Name` (a function of a Device& that returns nothing),
// its run over both sides and the agreement of the two transcripts.
#define DEVICE_SCENARIO(Name) DEVICE_SCENARIO_WITH(Name, nullptr)

// The same on the devices of JSON descriptions: a text for the frame-grabber
// driver's boards, or Descriptions (Cameras(json) for the network and USB
// driver's cameras).
#define DEVICE_SCENARIO_WITH(Name, description)                            \
  void Name(::keld::device::Device& device);                               \
  TEST_P(DeviceSessions, Name) {                                           \
    ::keld::device::Device device(GetParam(), description);                \
    Name(device);                                                          \
  }                                                                        \
  TEST(DeviceSessionsAgree, Name) {                                        \
    ::keld::device::Transcript local;                                      \
    ::keld::device::Transcript remote;                                     \
    {                                                                      \
      ::keld::device::Device device(::keld::device::Side::kLocal, description);  \
      Name(device);                                                            \
      local = device.TakeTranscript();                                         \
    }                                                                          \
    {                                                                          \
      ::keld::device::Device device(::keld::device::Side::kRemote, description); \
      Name(device);                                                            \
      remote = device.TakeTranscript();                                        \
    }                                                                          \
    EXPECT_FALSE(local.empty());                                               \
    EXPECT_EQ(local, remote);                                                  \
  }                                                                            \
  void Name(::keld::device::Device& device)

// A scenario run over both sides whose results differ by design between
// them (the scenario tells them apart by device.remote()); no agreement test.
#define DEVICE_SCENARIO_EACH_WITH(Name, description)                       \
  void Name(::keld::device::Device& device);                               \
  TEST_P(DeviceSessions, Name) {                                           \
    ::keld::device::Device device(GetParam(), description);                \
    Name(device);                                                          \
  }                                                                        \
  void Name(::keld::device::Device& device)

}  // namespace keld::device
