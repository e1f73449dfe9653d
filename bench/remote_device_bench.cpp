// remote_device_bench: the device path of a remote session on loopback
// beside raw TCP, in one run.
//
//   grab: cfgGrabImage of 1280 x 1024 U8 frames from a session on a target
//         served in this process, with compression types 0, 1 and 2; beside
//         it a raw TCP exchange that moves the bytes of the same call: the
//         request and the reply as the RPC layer puts them on the wire.
//   attribute: cfgGetAttributeU32 with cachedOnly 0 (one command each way)
//         beside a raw TCP ping-pong of the same request and reply sizes.
//
// The target is keldcfgd's service with a session that stands in for a
// driver: its grab hands back a frame it made once (a camera-like scene with
// sensor noise), changing one pixel so that each frame is new, so that the
// figures show what the library and the transport cost, not a driver. The
// grab runs as a client would run a live view: cfgSetupGrab with "flatten"
// starts the target's background thread, each cfgGrabImage takes the newest
// frame. The camera either spins (a new frame whenever one is asked for, so
// the target's thread flattens frames nobody takes, on the cores the client
// and the server need) or runs at a frame rate above what the link can carry
// (4000 frames per second: the thread waits for each frame in its grab, as
// it does on a driver, and the link is the limit). Raw and RPC take turns in short rounds; each rate is the median of
// its rounds. Rates per CPU second of the whole process (client, server and
// the kernel's loopback work) are printed beside the elapsed-time rates.
// Run from a Release build.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "attributes/attribute.h"
#include "bench_support.h"
#include "cfg_service.h"
#include "keldcfgc/keldcfgc.h"
#include "image/cfg_image.h"
#include "local/local_device_config_session.h"
#include "odvissvc/odvissvc.h"
#include "platform/registry.h"
#include "remote/rpc/rpc_server.h"
#include "session/session_factory.h"

using namespace keld;
using namespace bench;

namespace {

constexpr std::uint32_t kWidth = 1280;
constexpr std::uint32_t kHeight = 1024;
constexpr std::uint32_t kAttributeKey = 0x1001;
constexpr std::uint32_t kFlattenImage = 1;
constexpr std::uint32_t kPacedFramesPerSecond = 4000;
constexpr int kGrabRounds = 11;

// The frame rate of the stand-in camera; 0 spins.
std::atomic<std::uint32_t> framesPerSecond{0};

// A camera-like frame: smooth shading with sensor noise of a few levels.
const std::vector<std::uint8_t>& Scene() {
  static const std::vector<std::uint8_t> scene = [] {
    std::vector<std::uint8_t> pixels(std::size_t{kWidth} * kHeight);
    std::mt19937 random(7);
    std::normal_distribution<double> noise(0.0, 2.0);
    for (std::uint32_t y = 0; y < kHeight; ++y) {
      for (std::uint32_t x = 0; x < kWidth; ++x) {
        const double shade = 110.0 + 60.0 * std::sin(x / 97.0) * std::cos(y / 131.0);
        pixels[std::size_t{y} * kWidth + x] = static_cast<std::uint8_t>(std::clamp(shade + noise(random), 0.0, 255.0));
      }
    }
    return pixels;
  }();
  return scene;
}

// The target's session: a ready frame and one U32 attribute.
class BenchSession : public LocalDeviceConfigSession {
 public:
  BenchSession(const char* name, Status* status) : LocalDeviceConfigSession(name, status) {
    Attribute* attribute = nullptr;
    if (CreateAttribute(AttrU32::kTag, false, &attribute) == kSuccess) {
      attribute->SetKey(kAttributeKey);
      attributes.Insert(attribute);
    }
  }
  ~BenchSession() override { StopImageThread(); }
  std::uint32_t GetDriverType() override { return 0; }
  Status Open() override { return kSuccess; }
  Status Close() override { return kSuccess; }
  Status RefreshAttributes() override { return kSuccess; }
  Status ReadAttribute(Attribute* attribute) override {
    static_cast<TypedAttribute<AttrU32>*>(attribute)->SetValue(AttrU32{++reads_});
    return kSuccess;
  }
  Status SetupGrab(std::uint32_t) override { return kSuccess; }
  Status StopAcquisition() override { return kSuccess; }
  Status GrabImage(std::uint32_t* bufferNumber, Image* image) override {
    // Waits for the next tick of the camera's frame clock, as a driver waits
    // for its next image.
    if (const std::uint32_t rate = framesPerSecond.load(); rate != 0) {
      const auto period = std::chrono::nanoseconds(1'000'000'000 / rate);
      const auto now = std::chrono::steady_clock::now();
      if (nextFrame_ > now) std::this_thread::sleep_until(nextFrame_);
      nextFrame_ = std::max(nextFrame_, now) + period;
    }
    CfgImage view;
    view.Attach(image);
    if (view.GetWidth() != kWidth || view.GetHeight() != kHeight || view.GetType() != ODV_U8) {
      Status status = view.Resize(kWidth, kHeight, ODV_U8);
      auto* rows = static_cast<std::uint8_t*>(view.GetFirstPixel());
      for (std::uint32_t y = 0; y < kHeight && status == kSuccess; ++y) {
        std::memcpy(rows + std::size_t{y} * view.GetLineWidth(), Scene().data() + std::size_t{y} * kWidth, kWidth);
      }
      if (status != kSuccess) {
        view.Attach(nullptr);
        return status;
      }
    }
    static_cast<std::uint8_t*>(view.GetFirstPixel())[0] = static_cast<std::uint8_t>(++frames_);
    view.Attach(nullptr);
    *bufferNumber = frames_.load();
    return kSuccess;
  }

 private:
  std::uint32_t reads_ = 0;
  std::atomic<std::uint32_t> frames_{0};
  std::chrono::steady_clock::time_point nextFrame_{};
};

// keldcfgd's service on an ephemeral loopback port, named as the remote
// port of a registry file for the scope.
class Target {
 public:
  Target() {
    testing::SetSessionBuilder([](std::uint32_t, const char* host, const char* name, Status* status) -> DeviceConfigSession* {
      if (host != nullptr) return nullptr;  // the client's side: a real remote session
      return new BenchSession(name, status);
    });
    server::ServiceOptions options;
    service_ = std::make_unique<server::CfgService>(options);
    rpc::RpcServerOptions rpcOptions;
    rpcOptions.port = 0;
    rpc_ = std::make_unique<rpc::RpcServer>(rpcOptions, service_.get());
    std::string error;
    if (!rpc_->Start(&error)) {
      std::fprintf(stderr, "server: %s\n", error.c_str());
      std::exit(1);
    }
    registry_ = std::filesystem::temp_directory_path() / ("remote_device_bench_" + std::to_string(getpid()) + ".reg");
    char port[16];
    std::snprintf(port, sizeof port, "%08x", rpc_->port());
    std::ofstream file(registry_);
    file << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration]\n"
         << "\"CurrentVersion\"=\"18.5\"\n\n"
         << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration\\18.5]\n"
         << "\"RemotePort\"=dword:" << port << "\n";
    file.close();
    testing::SetRegistryFilePath(registry_.string());
  }
  ~Target() {
    rpc_->Stop();
    service_->Stop();
    testing::SetRegistryFilePath("");
    testing::SetSessionBuilder(nullptr);
    std::filesystem::remove(registry_);
  }

 private:
  std::unique_ptr<server::CfgService> service_;
  std::unique_ptr<rpc::RpcServer> rpc_;
  std::filesystem::path registry_;
};

void Check(std::int32_t status, const char* what) {
  if (status != 0) {
    std::fprintf(stderr, "%s failed: 0x%08X\n", what, static_cast<unsigned>(status));
    std::exit(1);
  }
}

// Stub bytes of one RemoteCommand request with `input` bytes of input, and
// of its reply with `output` bytes of output (both with the NDR fields of
// the stream and the status around the payload).
std::size_t CommandRequestStub(std::size_t input) { return 8 + 16 + input + 1 + 3; }
std::size_t CommandReplyStub(std::size_t output) { return 16 + output + 1 + 3 + 4; }

}  // namespace

// With arguments, only the named measures run: attribute, none, paced,
// lossless, jpeg.
int main(int argc, char** argv) {
  const auto wanted = [&](const char* name) {
    if (argc < 2) return true;
    for (int i = 1; i < argc; ++i) {
      if (std::strcmp(argv[i], name) == 0) return true;
    }
    return false;
  };
  Target target;
  std::uint32_t session = 0;
  Check(cfgOpenCamera2("localhost", 0, "img0", 0, 0, &session), "cfgOpenCamera2");
  Image* image = nullptr;
  if (NewImage(&image, ODV_U8, 0, 0, 0) != 0) return 1;

  std::uint32_t value = 0;
  Comparison attribute{};
  if (wanted("attribute")) attribute = [&] {
    // Command 3: the attribute's delta form out, its full form back.
    RawPair raw(WireBytes(CommandRequestStub(8), rpc::kDefaultMaxFrag), WireBytes(CommandReplyStub(12), rpc::kDefaultMaxFrag));
    return Compare([&] { raw.Step(); }, [&] { raw.Step(); },
                   [&] { Check(cfgGetAttributeU32(session, kAttributeKey, &value, 0), "cfgGetAttributeU32"); });
  }();

  struct GrabRow {
    std::uint32_t type;
    std::uint32_t quality;
    std::uint32_t rate;
    const char* name;
    Comparison result;
    double wireBytes;
  };
  std::vector<GrabRow> grabs;
  if (wanted("none")) grabs.push_back({0, 0, 0, "none", {}, 0});
  if (wanted("paced")) grabs.push_back({0, 0, kPacedFramesPerSecond, "none, 4000 fps camera", {}, 0});
  if (wanted("lossless")) grabs.push_back({1, 750, 0, "lossless", {}, 0});
  if (wanted("jpeg")) grabs.push_back({2, 750, 0, "JPEG q750", {}, 0});
  for (GrabRow& row : grabs) {
    framesPerSecond = row.rate;
    Check(cfgSetImageCompression(session, row.type, row.quality), "cfgSetImageCompression");
    Check(cfgSetupGrab(session, kFlattenImage), "cfgSetupGrab");
    std::uint32_t number = 0;
    Check(cfgGrabImage(session, &number, image), "cfgGrabImage");
    // What one grab's reply carries: the buffer number and the flattened
    // frame, as the target's thread flattened it; the raw reference moves
    // that many bytes, so compression shows as fewer bytes on both sides.
    ByteStream probe;
    {
      CfgImage view;
      view.Attach(image);
      // The compression set above is the process's, the target's and this probe's alike.
      Check(static_cast<std::int32_t>(view.Flatten(&probe, true)), "Flatten");
      view.Attach(nullptr);
    }
    const std::size_t output = 4 + probe.size;
    probe.Reset();
    row.wireBytes = static_cast<double>(WireBytes(CommandReplyStub(output), rpc::kDefaultMaxFrag));
    RawPair whole(WireBytes(CommandRequestStub(0), rpc::kDefaultMaxFrag), static_cast<std::size_t>(row.wireBytes));
    RawPair chunked(WireBytes(CommandRequestStub(0), rpc::kDefaultMaxFrag), static_cast<std::size_t>(row.wireBytes),
                    rpc::kDefaultMaxFrag);
    // More rounds than elsewhere: on a machine of few cores, where the
    // client, the server and the target's image thread share them, a round's
    // rate depends on how the scheduler places them.
    row.result = Compare([&] { whole.Step(); }, [&] { chunked.Step(); },
                         [&] { Check(cfgGrabImage(session, &number, image), "cfgGrabImage"); }, kGrabRounds);
    Check(cfgStopAcquisition(session), "cfgStopAcquisition");
  }
  Check(cfgClose(session), "cfgClose");
  DisposeImage(image);

  const auto print = [](const char* what, double raw, double rpc) {
    std::printf("%-62s %12.0f %12.0f %8.2f\n", what, raw, rpc, rpc / raw);
  };
  // Rates per CPU second of the whole process, of the client's thread and
  // of the server's threads.
  const auto printCpu = [&print](const std::string& what, const Comparison& result) {
    print((what + ", per CPU second").c_str(), result.raw.cpu, result.rpc.cpu);
    print((what + ", per client CPU second").c_str(), result.raw.client, result.rpc.client);
    print((what + ", per server CPU second").c_str(), result.raw.server, result.rpc.server);
  };
  const auto grabName = [](const GrabRow& row) { return std::string("cfgGrabImage, ") + row.name; };
  std::printf("%-62s %12s %12s %8s\n", "measure (loopback, median of rounds)", "raw TCP", "remote", "ratio");
  if (wanted("attribute")) print("cfgGetAttributeU32 (cachedOnly 0) per second", attribute.raw.wall, attribute.rpc.wall);
  for (const GrabRow& row : grabs) {
    char label[96];
    std::snprintf(label, sizeof label, "cfgGrabImage 1280x1024 U8, %s (%.0f KiB), /s", row.name,
                  row.wireBytes / 1024);
    print(label, row.result.raw.wall, row.result.rpc.wall);
  }
  if (wanted("attribute")) printCpu("cfgGetAttributeU32", attribute);
  for (const GrabRow& row : grabs) printCpu(grabName(row), row.result);
  // The goals, by the median of the rounds' own ratios, with their range.
  const auto goal = [](const std::string& what, const Comparison& result) {
    std::printf("%s ratio %.2f (rounds %.2f to %.2f; goal 0.85)\n", what.c_str(), result.ratio, result.lowest,
                result.highest);
  };
  if (wanted("attribute")) goal("attribute", attribute);
  for (const GrabRow& row : grabs) {
    if (row.type != 0) continue;
    goal(std::string("uncompressed grab, ") + (row.rate == 0 ? "spinning camera" : row.name), row.result);
  }
  return 0;
}
