// Threads on the frame-grabber driver: the first use of a driver library
// from many threads at once, and sessions on every acquisition unit at work
// while another thread lists the boards again and again, over a local and
// over a remote session.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "device_fixture.h"
#include "platform/dynamic_library.h"

namespace keld::device {
namespace {

// The library is loaded by whichever thread comes first; found functions
// are looked up once however the threads meet, missing ones each time.
TEST(DriverBindingThreads, FirstUseFromManyThreads) {
  DynamicLibrary library((std::string(KELDSIM_LIB_DIR) + "/keld.dll").c_str());
  constexpr int kThreads = 8;
  constexpr int kRounds = 200;
  std::vector<void*> found(kThreads, nullptr);
  std::atomic<int> mismatches{0};
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      while (!go) std::this_thread::yield();
      for (int round = 0; round < kRounds; ++round) {
        void* attribute = library.GetFunction("kldGetAttribute");
        void* version = library.GetFunction("odkelduGetDriverVersion");
        if (library.GetFunction("kldNoSuchFunction") != nullptr || attribute == nullptr || version == nullptr) {
          ++mismatches;
        }
        if (found[t] == nullptr) found[t] = attribute;
        if (found[t] != attribute) ++mismatches;
      }
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mismatches.load(), 0);
  for (void* address : found) EXPECT_EQ(address, found[0]);
  EXPECT_EQ(library.LookupsForTesting(), 2u + std::size_t{kThreads} * kRounds);
}

// Every unit of the default boards held by a session of its own thread,
// each validating cached attributes and sampling a register, while one more
// thread refreshes and reads the board list: the units in use count as good
// interface files, and every call succeeds.
void SessionsAtWorkWhileTheBoardsAreListed(Side side) {
  Device device(side);
  const char* const units[] = {"img0::0", "img0::1", "img1", "img2"};
  std::vector<std::uint32_t> ids;
  for (const char* name : units) ids.push_back(device.Open(name));
  for (std::uint32_t id : ids) ASSERT_NE(id, 0u);

  std::atomic<int> failures{0};
  std::atomic<bool> stop{false};
  auto expectZero = [&](std::int32_t status, const char* what) {
    if (status != 0) {
      ++failures;
      ADD_FAILURE() << what << " -> " << Hex(static_cast<std::uint32_t>(status));
    }
  };
  std::thread lister([&] {
    for (int round = 0; round < 20 && !stop; ++round) {
      std::uint8_t changed = 0;
      expectZero(cfgRefreshBoards2(device.Host(), &changed), "refresh");
      if (changed != 0) ++failures;
      std::uint32_t count = 0;
      expectZero(cfgGetBoardCount(device.Host(), &count), "count");
      if (count != 3) ++failures;
      char name[256] = {};
      expectZero(cfgQueryBoard(device.Host(), round % 3, name, sizeof name, nullptr, nullptr, 0), "query");
      char text[256] = {};
      expectZero(cfgGetErrorText(0xBFF600BD, text), "error text");
      if (std::string(text) != "The acquisition unit is in use by another session.") ++failures;
    }
  });
  std::vector<std::thread> workers;
  for (std::size_t w = 0; w < ids.size(); ++w) {
    workers.emplace_back([&, w] {
      const std::uint32_t id = ids[w];
      for (int round = 0; round < 20; ++round) {
        const double gain = 0.5 + 0.125 * static_cast<double>((round + static_cast<int>(w)) % 8);
        expectZero(cfgSetAttributeDouble(id, 0x3FF601CC, gain, 1), "set cached");
        expectZero(cfgValidateAttributes(id), "validate");
        double back = 0;
        expectZero(cfgGetAttributeDouble(id, 0x3FF601CC, &back, 0), "get");
        if (back != gain) ++failures;
        std::uint32_t samples[2] = {};
        expectZero(cfgReadU32(id, 0, 0x20, 2, samples), "read register");
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
  stop = true;
  lister.join();
  EXPECT_EQ(failures.load(), 0);
  for (std::uint32_t id : ids) EXPECT_EQ(cfgClose(id), 0);
}

TEST(DeviceThreads, SessionsAtWorkWhileTheBoardsAreListedLocally) { SessionsAtWorkWhileTheBoardsAreListed(Side::kLocal); }

TEST(DeviceThreads, SessionsAtWorkWhileTheBoardsAreListedRemotely) {
  SessionsAtWorkWhileTheBoardsAreListed(Side::kRemote);
}

}  // namespace
}  // namespace keld::device
