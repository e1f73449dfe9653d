// rpc_bench: the RPC layer on loopback beside raw TCP, in one run.
//
//   ping: RemotePing round trips per second (a one-fragment request and
//         reply of 28 bytes each) beside a raw TCP ping-pong that moves the
//         same bytes each way.
//   bulk: RemoteCommand with an empty input stream whose reply carries 4 MiB
//         in its output stream, beside a raw TCP exchange that sends a
//         request of the RPC request's size and reads back as many bytes as
//         the RPC reply puts on the wire (the 4 MiB, the NDR fields and one
//         24-byte header per fragment of the negotiated 65528 bytes).
//
// The raw side is the limit of the machine: one connection with
// TCP_NODELAY, blocking calls, buffers allocated once; for the bulk
// transfer, the better in each round of whole-buffer calls, which the kernel
// splits as it likes, and calls of one fragment's size (65528 bytes). The RPC side is the whole call as
// a client sees it: the server's handler appends its 4 MiB to an empty
// ByteStream (one allocation and one copy, the work any command's output
// costs), the reply goes out in fragments, and the client receives it into
// a fresh malloc'd block that it frees again, as the interface demands.
// Raw and RPC take turns in short rounds and each rate is the median of its
// rounds, so that other load on the machine falls on both alike.
// Beside the rates over elapsed time, the goals' measure, the table gives
// rates per second of the process's CPU time: on a busy machine they say
// more about the cost of each side than the elapsed time does.
// Prints a table and the two ratios. Run from a Release build.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench_support.h"
#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/rpc_binding.h"
#include "remote/rpc/rpc_server.h"

using namespace keld;
using namespace bench;

namespace {

constexpr std::uint32_t kBulkBytes = 4u << 20;

// Serves RemotePing and a RemoteCommand whose output is `command` bytes.
class BenchHandler : public rpc::CfgRemoteHandler {
 public:
  BenchHandler() : block_(kBulkBytes, 0x5A) {}
  Status Open(const rpc::PeerInfo&, std::uint32_t, const std::string&, const std::string&, std::uint32_t* id) override {
    *id = 1;
    return kSuccess;
  }
  Status Command(const rpc::PeerInfo&, std::uint32_t, std::uint32_t command, ByteStream*, ByteStream* output) override {
    return output->AppendBytes(block_.data(), command);
  }
  Status Ping(const rpc::PeerInfo&, std::uint32_t) override { return kSuccess; }
  Status Close(const rpc::PeerInfo&, std::uint32_t) override { return kSuccess; }
  Status Version(const rpc::PeerInfo&, std::uint32_t* version) override {
    *version = 1;
    return kSuccess;
  }
  Status GetMTU(const rpc::PeerInfo&, const std::string&, std::uint32_t* mtu) override {
    *mtu = 1500;
    return kSuccess;
  }
  Status SetMTU(const rpc::PeerInfo&, const std::string&, std::uint32_t) override { return kSuccess; }

 private:
  std::vector<std::uint8_t> block_;
};

}  // namespace

int main() {
  BenchHandler handler;
  rpc::RpcServerOptions options;
  options.port = 0;
  rpc::RpcServer server(options, &handler);
  std::string error;
  if (!server.Start(&error)) {
    std::fprintf(stderr, "server: %s\n", error.c_str());
    return 1;
  }
  rpc::RpcBinding binding("127.0.0.1", server.port());
  binding.SetComTimeout(60000);

  // Wire bytes of one RemotePing: the session id out, the status back.
  const Comparison ping = [&] {
    RawPair raw(WireBytes(4, rpc::kDefaultMaxFrag), WireBytes(4, rpc::kDefaultMaxFrag));
    return Compare([&] { raw.Step(); }, [&] { raw.Step(); },
                   [&] {
                     if (rpc::RemotePing(&binding, 1) != kSuccess) std::abort();
                   });
  }();

  // Wire bytes of one RemoteCommand with an empty input and kBulkBytes of
  // output: session id, command and an empty stream out; the stream's three
  // fields, the array count, the payload and the status back.
  const Comparison bulk = [&] {
    const std::size_t request = WireBytes(20, rpc::kDefaultMaxFrag);
    const std::size_t reply = WireBytes(16 + kBulkBytes + 4, rpc::kDefaultMaxFrag);
    RawPair whole(request, reply), chunked(request, reply, rpc::kDefaultMaxFrag);
    return Compare([&] { whole.Step(); }, [&] { chunked.Step(); },
                   [&] {
                     ScopedByteStream in, out;
                     if (rpc::RemoteCommand(&binding, 1, kBulkBytes, in.get(), out.get()) != kSuccess ||
                         out->size != kBulkBytes) {
                       std::abort();
                     }
                   });
  }();
  const double mib = kBulkBytes / 1048576.0;
  server.Stop();

  const auto row = [](const char* what, double raw, double rpc) {
    std::printf("%-48s %12.0f %12.0f %8.2f\n", what, raw, rpc, rpc / raw);
  };
  std::printf("%-48s %12s %12s %8s\n", "measure (loopback, median of rounds)", "raw TCP", "RPC", "ratio");
  row("RemotePing round trips per second", ping.raw.wall, ping.rpc.wall);
  row("RemoteCommand 4 MiB output, MiB per second", bulk.raw.wall * mib, bulk.rpc.wall * mib);
  row("RemotePing round trips per CPU second", ping.raw.cpu, ping.rpc.cpu);
  row("RemoteCommand 4 MiB output, MiB per CPU second", bulk.raw.cpu * mib, bulk.rpc.cpu * mib);
  std::printf("ping ratio %.2f (goal 0.60), bulk ratio %.2f (goal 0.80)\n", ping.rpc.wall / ping.raw.wall,
              bulk.rpc.wall / bulk.raw.wall);
  return 0;
}
