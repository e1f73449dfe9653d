// What only a remote session has, against the simulated driver behind
// keldcfgd's service: an image command waiting on the image connection while
// attributes go over the control connection, the per-session time-out
// taking effect on the next command, a target killed in the middle of a
// grab, and a target of an older version that gets the older command and
// the record form of images.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "cfg_service.h"
#include "device_fixture.h"
#include "odvissvc/odvissvc.h"
#include "remote/rpc/rpc_server.h"

extern char** environ;

namespace keld::device {
namespace {

constexpr std::uint32_t kTimeoutKey = 0x3FF60070;
constexpr std::uint32_t kFrameRateKey = 0x3FF600D9;
constexpr std::uint32_t kRedGainKey = 0x3FF601CC;
constexpr std::uint32_t kRemoteException = 0xBFFF8004;
constexpr std::uint32_t kFlatten = 1;

struct ScopedImage {
  ScopedImage() { EXPECT_EQ(NewImage(&image, ODV_U8, 0, 0, 0), 0); }
  ~ScopedImage() { DisposeImage(image); }
  Image* image = nullptr;
};

// The pixels of an image, row by row without padding.
std::vector<std::uint8_t> Pixels(Image* image) {
  const auto* header = reinterpret_cast<const std::uint32_t*>(image);
  const std::uint32_t width = header[ODV_WORD_WIDTH];
  const std::uint32_t height = header[ODV_WORD_HEIGHT];
  const std::uint32_t rowBytes = width * ImageTypePixelSize(header[ODV_WORD_TYPE]);
  std::vector<std::uint8_t> pixels;
  for (std::uint32_t y = 0; y < height; ++y) {
    void* row = nullptr;
    EXPECT_EQ(GetImagePixel(image, 0, y, &row), 0);
    if (row == nullptr) break;
    pixels.insert(pixels.end(), static_cast<const std::uint8_t*>(row), static_cast<const std::uint8_t*>(row) + rowBytes);
  }
  return pixels;
}

// One grab waits on the image connection for a camera that sends nothing,
// while the control connection sets attributes: the sets all finish before
// the grab does, which they could not if both went over one connection.
TEST(RemoteTarget, AttributesGoOnWhileAGrabWaits) {
  Device device(Side::kRemote);
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  ASSERT_EQ(cfgSetAttributeU32(id, kTimeoutKey, 20000, 0), 0);
  ASSERT_EQ(keldsimStallCamera(0, 1), 0u);
  ASSERT_EQ(cfgSetupGrab(id, kFlatten), 0);

  std::atomic<bool> grabReturned{false};
  std::int32_t grabStatus = -1;
  std::uint32_t number = 0;
  ScopedImage image;
  std::thread grabber([&] {
    grabStatus = cfgGrabImage(id, &number, image.image);
    grabReturned = true;
  });
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(cfgSetAttributeDouble(id, kRedGainKey, 1.0 + i / 100.0, 0), 0);
    double value = 0;
    EXPECT_EQ(cfgGetAttributeDouble(id, kRedGainKey, &value, 0), 0);
    EXPECT_DOUBLE_EQ(value, 1.0 + i / 100.0);
  }
  EXPECT_FALSE(grabReturned.load()) << "the attribute calls waited for the grab";
  ASSERT_EQ(keldsimStallCamera(0, 0), 0u);
  grabber.join();
  EXPECT_EQ(grabStatus, 0);
  EXPECT_GT(Pixels(image.image).size(), 0u);
  EXPECT_EQ(cfgStopAcquisition(id), 0);
  EXPECT_EQ(cfgClose(id), 0);
}

// A time-out of 1 ms is the session's from its next command on.
TEST(RemoteTarget, AShortTimeOutTakesEffectOnTheNextCommand) {
  Device device(Side::kRemote);
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  std::uint32_t value = 0;
  ASSERT_EQ(cfgGetAttributeU32(id, kTimeoutKey, &value, 0), 0);
  ASSERT_EQ(keldsimSetDelay("kldGetAttribute", 300), 0u);
  ASSERT_EQ(cfgSetTimeout(id, 1), 0);
  std::uint32_t timeout = 0;
  EXPECT_EQ(cfgGetTimeout(id, &timeout), 0);
  EXPECT_EQ(timeout, 1u);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgGetAttributeU32(id, kTimeoutKey, &value, 0)), kRemoteException);
  ASSERT_EQ(keldsimSetDelay("kldGetAttribute", 0), 0u);
  ASSERT_EQ(cfgSetTimeout(id, 45000), 0);
  // The connection that timed out is dropped; the next call makes a new one.
  EXPECT_EQ(cfgGetAttributeU32(id, kTimeoutKey, &value, 0), 0);
  EXPECT_EQ(cfgClose(id), 0);
}

// ---- A keldcfgd of its own, to be killed -------------------------------

// keldcfgd as a child process on an ephemeral loopback port, with the
// simulated driver's data in `dataFolder`.
class ChildTarget {
 public:
  explicit ChildTarget(const std::string& dataFolder) {
    int pipeFds[2];
    if (pipe(pipeFds) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], 2);
    posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
    std::vector<std::string> environment;
    for (char** each = environ; *each != nullptr; ++each) {
      if (std::strncmp(*each, "KELDSIM_", 8) != 0 && std::strncmp(*each, "LD_LIBRARY_PATH=", 16) != 0) {
        environment.emplace_back(*each);
      }
    }
    environment.push_back("KELDSIM_DATA=" + dataFolder);
    // The server loads the driver by its bare name; under the address
    // sanitizer that load does not search the library's run path.
    environment.push_back(std::string("LD_LIBRARY_PATH=") + KELDSIM_LIB_DIR);
    std::vector<char*> envp;
    for (std::string& each : environment) envp.push_back(each.data());
    envp.push_back(nullptr);
    std::string program = KELDCFGD_PATH;
    std::string listen = "--listen";
    std::string address = "127.0.0.1:0";
    std::string level = "--log-level";
    std::string info = "info";
    char* argv[] = {program.data(), listen.data(), address.data(), level.data(), info.data(), nullptr};
    const int spawned = posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(pipeFds[1]);
    if (spawned != 0) {
      close(pipeFds[0]);
      pid_ = -1;
      return;
    }
    // Reads the server's log until it says where it listens.
    FILE* log = fdopen(pipeFds[0], "r");
    char line[512];
    constexpr const char* kListening = "listening on 127.0.0.1:";
    while (log != nullptr && std::fgets(line, sizeof line, log) != nullptr) {
      if (const char* at = std::strstr(line, kListening)) {
        port_ = static_cast<std::uint16_t>(std::strtoul(at + std::strlen(kListening), nullptr, 10));
        break;
      }
    }
    // The rest of its log is drained so that the child never blocks on it.
    drain_ = std::thread([log] {
      char rest[512];
      while (log != nullptr && std::fgets(rest, sizeof rest, log) != nullptr) {
      }
      if (log != nullptr) std::fclose(log);
    });
  }
  ~ChildTarget() {
    Kill();
    if (drain_.joinable()) drain_.join();
  }
  std::uint16_t port() const { return port_; }
  void Kill() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      int status = 0;
      waitpid(pid_, &status, 0);
      pid_ = -1;
    }
  }

 private:
  pid_t pid_ = -1;
  std::uint16_t port_ = 0;
  std::thread drain_;
};

// The target goes away in the middle of a grab: the grab answers
// 0xBFFF8004, a ping too, and the close returns.
TEST(RemoteTarget, ATargetKilledDuringAGrab) {
  Device device(Side::kLocal);  // the driver state of this process is not used
  ChildTarget target((device.folder() / "target").string());
  ASSERT_NE(target.port(), 0) << "keldcfgd did not start";
  testsupport::ScopedRegistryPort registry(target.port());
  // The target's first enumeration gives its boards their interface files.
  ASSERT_EQ(cfgRefreshBoards("localhost"), 0);
  std::uint32_t id = 0;
  ASSERT_EQ(cfgOpenBoard("localhost", "img0", 0, &id), 0);
  // One frame a second: the grab is still waiting when the target dies.
  ASSERT_EQ(cfgSetAttributeDouble(id, kFrameRateKey, 1.0, 0), 0);
  ASSERT_EQ(cfgSetupGrab(id, kFlatten), 0);
  ScopedImage image;
  std::uint32_t number = 0;
  ASSERT_EQ(cfgGrabImage(id, &number, image.image), 0);  // the first frame, to be sure all works
  auto grab = std::async(std::launch::async, [&] { return cfgGrabImage(id, &number, image.image); });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  target.Kill();
  ASSERT_EQ(grab.wait_for(std::chrono::seconds(60)), std::future_status::ready) << "the grab hangs";
  EXPECT_EQ(static_cast<std::uint32_t>(grab.get()), kRemoteException);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgPing(id)), kRemoteException);
  auto closed = std::async(std::launch::async, [&] { return cfgClose(id); });
  ASSERT_EQ(closed.wait_for(std::chrono::seconds(60)), std::future_status::ready) << "the close hangs";
  closed.get();
  EXPECT_EQ(static_cast<std::uint32_t>(cfgPing(id)), 0xBFFF8009u);  // the session is gone
}

// ---- A target of an older version ---------------------------------------

// keldcfgd's service that says it is an older target, and notes the
// command numbers it serves.
class OlderTarget : public rpc::CfgRemoteHandler {
 public:
  explicit OlderTarget(std::uint32_t version) : service_(server::ServiceOptions{}), version_(version) {}
  ~OlderTarget() override { service_.Stop(); }
  Status Open(const rpc::PeerInfo& peer, std::uint32_t type, const std::string& name, const std::string& interface,
              std::uint32_t* sessionId) override {
    return service_.Open(peer, type, name, interface, sessionId);
  }
  Status Command(const rpc::PeerInfo& peer, std::uint32_t sessionId, std::uint32_t command, ByteStream* input,
                 ByteStream* output) override {
    {
      std::lock_guard<std::mutex> guard(lock_);
      commands_.insert(command);
    }
    return service_.Command(peer, sessionId, command, input, output);
  }
  Status Ping(const rpc::PeerInfo& peer, std::uint32_t sessionId) override { return service_.Ping(peer, sessionId); }
  Status Close(const rpc::PeerInfo& peer, std::uint32_t sessionId) override { return service_.Close(peer, sessionId); }
  Status Version(const rpc::PeerInfo&, std::uint32_t* version) override {
    *version = version_;
    return kSuccess;
  }
  Status GetMTU(const rpc::PeerInfo& peer, const std::string& name, std::uint32_t* mtu) override {
    return service_.GetMTU(peer, name, mtu);
  }
  Status SetMTU(const rpc::PeerInfo& peer, const std::string& name, std::uint32_t mtu) override {
    return service_.SetMTU(peer, name, mtu);
  }
  void Disconnected(const rpc::PeerInfo& peer) override { service_.Disconnected(peer); }
  bool Served(std::uint32_t command) {
    std::lock_guard<std::mutex> guard(lock_);
    return commands_.count(command) != 0;
  }

 private:
  server::CfgService service_;
  std::uint32_t version_;
  std::mutex lock_;
  std::set<std::uint32_t> commands_;
};

// Snaps and copies one frame of each camera file from an older target and
// from this computer; the pixels must agree. The older target gets command
// 13 for the acquisition set-up and images in the record form.
TEST(RemoteTarget, AnOlderTargetGetsTheOlderCommandAndRecordImages) {
  Device device(Side::kLocal);
  OlderTarget older(0x03010000);
  testsupport::HandlerServer server(&older);
  testsupport::ScopedRegistryPort registry(server.port());
  const struct {
    const char* camera;
    const char* board;
  } cases[] = {{"mono640.icd", "img1"}, {"mono16.icd", "img1"}, {"rgb640.icd", "img0"}};
  for (const auto& [camera, board] : cases) {
    SCOPED_TRACE(camera);
    std::vector<std::uint8_t> pixels[2];
    for (int side = 0; side < 2; ++side) {
      std::uint32_t id = 0;
      ASSERT_EQ(cfgOpenBoard(side == 0 ? nullptr : "localhost", board, 0, &id), 0);
      ASSERT_EQ(cfgReadAttributes(id, camera), 0);
      ASSERT_EQ(cfgSetAttributeDouble(id, kFrameRateKey, 0.0, 0), 0);
      // Both sides start from frame 1 of the camera's scene.
      ASSERT_EQ(cfgSetImageCompression(id, 1, 750), 0);
      ScopedImage image;
      ASSERT_EQ(cfgSnapImage(id, kFlatten, image.image), 0);
      pixels[side] = Pixels(image.image);
      ASSERT_EQ(cfgConfigureAcquisition(id, 0, 2), 0);
      ASSERT_EQ(cfgStartAcquisition(id), 0);
      std::uint32_t number = 1;
      EXPECT_EQ(cfgCopyImage(id, &number, image.image), 0);
      EXPECT_EQ(cfgStopAcquisition(id), 0);
      EXPECT_EQ(cfgUnconfigureAcquisition(id), 0);
      EXPECT_EQ(cfgClose(id), 0);
    }
    EXPECT_FALSE(pixels[0].empty());
    EXPECT_EQ(pixels[0], pixels[1]);
  }
  EXPECT_TRUE(older.Served(13));
  EXPECT_FALSE(older.Served(71));
}

}  // namespace
}  // namespace keld::device
