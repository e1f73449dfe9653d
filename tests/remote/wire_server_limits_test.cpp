// keldcfgd under hostile and broken clients, on loopback with small limits:
// silent connections up to the limit, a request above the maximum, the
// session limit, a client frozen with SIGSTOP, a flood of bad calls, and the
// daemon's signals. Every wait is bounded; nothing here asserts a speed.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "capi/server_frames.h"
#include "local/keld/local_keld_config_session.h"
#include "local/local_device_config_session.h"
#include "logger.h"
#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/rpc_binding.h"
#include "remote/rpc/rpc_error.h"
#include "remote/rpc/rpc_server.h"
#include "session/session_factory.h"
#include "server_options.h"
#include "support_process.h"
#include "support_servers.h"

namespace keld {
namespace {

using namespace testsupport;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kLoopback = 0x7F000001;

// Polls `done` every 10 ms for at most `limitMs`; true once it holds.
template <typename Condition>
bool Eventually(Condition done, int limitMs = 10000) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
  while (!done()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

void SendAll(int fd, const std::uint8_t* data, std::size_t size) {
  while (size > 0) {
    const ssize_t sent = send(fd, data, size, MSG_NOSIGNAL);
    ASSERT_GT(sent, 0) << "send failed";
    data += sent;
    size -= static_cast<std::size_t>(sent);
  }
}
void SendAll(int fd, const Bytes& bytes) { SendAll(fd, bytes.data(), bytes.size()); }

Bytes BindPdu(std::uint16_t frag = rpc::kDefaultMaxFrag) {
  rpc::BindPdu bind;
  bind.maxXmitFrag = frag;
  bind.maxRecvFrag = frag;
  bind.contexts.push_back({0, rpc::kCfgRemoteSyntax, {rpc::kNdrSyntax}});
  return rpc::EncodeBind(1, bind);
}

// Binds a raw connection; true on a bind_ack.
bool RawBind(int fd) {
  const Bytes bind = BindPdu();
  if (send(fd, bind.data(), bind.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bind.size())) return false;
  const Bytes ack = ReadRawPdu(fd);
  return !ack.empty() && ack[2] == rpc::kPduBindAck;
}

// A raw connection to the loopback port from another loopback address.
int ConnectFrom(std::uint32_t source, std::uint16_t port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_addr.s_addr = htonl(source);
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(port);
  peer.sin_addr.s_addr = htonl(kLoopback);
  if (bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0 ||
      connect(fd, reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// Sends a request of `opnum` with the stub given; returns the reply PDU.
Bytes RawCall(int fd, std::uint32_t callId, std::uint16_t opnum, const Bytes& stub = {}) {
  Bytes request;
  rpc::AppendRequestFragments(&request, callId, 0, opnum, stub.data(), stub.size(), rpc::kDefaultMaxFrag);
  if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size())) return {};
  return ReadRawPdu(fd);
}

// A proper client's version call; false on any failure.
bool ClientServed(std::uint16_t port, std::uint32_t* failure = nullptr) {
  rpc::RpcBinding binding("127.0.0.1", port);
  binding.SetComTimeout(5000);
  std::uint32_t version = 0;
  try {
    return rpc::RemoteVersion(&binding, &version) == kSuccess;
  } catch (const rpc::RpcError& error) {
    if (failure != nullptr) *failure = error.code();
    return false;
  }
}

// Opens a raw connection over the limit and expects the clean refusal: a
// bind_nak for the limit, then the close.
void ExpectRefused(std::uint16_t port, std::uint32_t source = kLoopback) {
  const int fd = ConnectFrom(source, port);
  ASSERT_GE(fd, 0);
  SendAll(fd, BindPdu());
  const Bytes reply = ReadRawPdu(fd);
  ASSERT_FALSE(reply.empty()) << "no answer to a bind over the limit";
  EXPECT_EQ(reply[2], rpc::kPduBindNak);
  EXPECT_EQ(rpc::ParseBindNak(reply.data(), reply.size()), rpc::kNakLocalLimitExceeded);
  EXPECT_TRUE(PeerCloses(fd, 5000));
  close(fd);
}

std::unique_ptr<rpc::RpcServer> StartServer(rpc::CfgRemoteHandler* handler, rpc::RpcServerOptions options) {
  options.port = 0;
  auto server = std::make_unique<rpc::RpcServer>(std::move(options), handler);
  std::string error;
  if (!server->Start(&error)) ADD_FAILURE() << error;
  return server;
}

// ---- Finding 1: silent connections ---------------------------------------

TEST(ServerLimits, ConnectionsThatNeverBindAreClosedAndTheNextClientIsServed) {
  EchoHandler handler;
  rpc::RpcServerOptions options;
  options.maxConnections = 4;
  options.maxConnectionsPerPeer = 4;
  options.bindTimeoutMs = 2000;
  options.idleTimeoutMs = 60000;
  auto server = StartServer(&handler, options);

  rpc::RpcBinding inside("127.0.0.1", server->port());
  inside.SetComTimeout(5000);
  std::uint32_t version = 0;
  ASSERT_EQ(rpc::RemoteVersion(&inside, &version), kSuccess);
  std::vector<int> silent;
  for (int i = 0; i < 3; ++i) silent.push_back(ConnectRaw(server->port()));
  ASSERT_TRUE(Eventually([&] { return server->ConnectionCount() == 4; }));

  // At the limit a newcomer gets a clean refusal, through the library too,
  // and the client already in is still served.
  ExpectRefused(server->port());
  std::uint32_t failure = 0;
  EXPECT_FALSE(ClientServed(server->port(), &failure));
  EXPECT_EQ(failure, rpc::kRpcBindRejected);
  EXPECT_EQ(rpc::RemoteVersion(&inside, &version), kSuccess);

  // The bind time-out closes the silent ones; then a new client gets in.
  for (const int fd : silent) {
    EXPECT_TRUE(PeerCloses(fd, 10000));
    close(fd);
  }
  EXPECT_TRUE(Eventually([&] { return server->ConnectionCount() == 1; }));
  EXPECT_TRUE(ClientServed(server->port()));
}

TEST(ServerLimits, BoundConnectionsWithoutCallsAreClosedAfterTheIdleTimeOut) {
  EchoHandler handler;
  rpc::RpcServerOptions options;
  options.maxConnections = 4;
  options.maxConnectionsPerPeer = 4;
  options.bindTimeoutMs = 60000;
  options.idleTimeoutMs = 1500;
  auto server = StartServer(&handler, options);

  std::vector<int> silent;
  for (int i = 0; i < 4; ++i) {
    silent.push_back(ConnectRaw(server->port()));
    ASSERT_TRUE(RawBind(silent.back()));
  }
  ExpectRefused(server->port());
  for (const int fd : silent) {
    EXPECT_TRUE(PeerCloses(fd, 10000));
    close(fd);
  }
  EXPECT_TRUE(Eventually([&] { return server->ConnectionCount() == 0; }));
  EXPECT_TRUE(ClientServed(server->port()));
}

TEST(ServerLimits, ThePerPeerLimitLeavesOtherAddressesIn) {
  EchoHandler handler;
  rpc::RpcServerOptions options;
  options.maxConnections = 16;
  options.maxConnectionsPerPeer = 2;
  auto server = StartServer(&handler, options);

  const int first = ConnectRaw(server->port());
  const int second = ConnectRaw(server->port());
  ASSERT_TRUE(RawBind(first));
  ASSERT_TRUE(RawBind(second));
  ExpectRefused(server->port());

  const int other = ConnectFrom(0x7F000002, server->port());
  ASSERT_GE(other, 0);
  ASSERT_TRUE(RawBind(other));
  const Bytes reply = RawCall(other, 2, rpc::kRemoteVersion);
  ASSERT_FALSE(reply.empty());
  EXPECT_EQ(reply[2], rpc::kPduResponse);
  // The two from 127.0.0.1 are served as before.
  EXPECT_EQ(RawCall(first, 3, rpc::kRemoteVersion).at(2), rpc::kPduResponse);
  for (const int fd : {first, second, other}) close(fd);
}

// ---- Finding 2: memory of large requests -------------------------------

// keldcfgd as a child process on a free loopback port, logging to a file.
class DaemonProcess {
 public:
  explicit DaemonProcess(std::vector<std::string> extra) : log_(dir_.path() / "keldcfgd.log") {
    std::vector<std::string> argv = {KELD_KELDCFGD_PATH, "--listen", "127.0.0.1:0", "--log-file", log_.string()};
    argv.insert(argv.end(), extra.begin(), extra.end());
    process_ = std::make_unique<ChildProcess>(argv);
    const std::string marker = "listening on 127.0.0.1:";
    Eventually([&] {
      for (const std::string& line : ReadLines(log_)) {
        const std::size_t at = line.find(marker);
        if (at != std::string::npos) port_ = static_cast<std::uint16_t>(std::stoul(line.substr(at + marker.size())));
      }
      return port_ != 0;
    });
  }
  ChildProcess& process() { return *process_; }
  std::uint16_t port() const { return port_; }
  const std::filesystem::path& log() const { return log_; }
  bool LogHas(const std::string& text) const {
    const std::vector<std::string> lines = ReadLines(log_);
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; });
  }

 private:
  ScopedTempDir dir_;
  std::filesystem::path log_;
  std::unique_ptr<ChildProcess> process_;
  std::uint16_t port_ = 0;
};

// Sends RemoteCommand(session 77, command 10) with an input stream of
// `payload` bytes in fragments of the largest size, made as they go out, so
// that the sender never holds the request.
void SendLargeCommand(int fd, std::uint32_t callId, std::size_t payload) {
  Bytes head;
  rpc::NdrWriter w(&head);
  w.U32(77);
  w.U32(10);
  w.U32(static_cast<std::uint32_t>(payload));
  w.U32(0x00020000);
  w.U32(0);
  w.U32(static_cast<std::uint32_t>(payload));
  const std::size_t stubSize = head.size() + payload;
  const Bytes headers =
      rpc::FragmentHeaders(rpc::kPduRequest, callId, 0, rpc::kRemoteCommand, stubSize, rpc::kDefaultMaxFrag);
  const std::size_t chunk = rpc::StubBytesPerFragment(rpc::kDefaultMaxFrag);
  Bytes fragment;
  std::size_t done = 0;
  for (std::size_t at = 0; at < headers.size(); at += rpc::kRequestHeaderSize) {
    const std::size_t take = std::min(chunk, stubSize - done);
    fragment.assign(headers.begin() + static_cast<long>(at), headers.begin() + static_cast<long>(at + rpc::kRequestHeaderSize));
    const std::size_t fromHead = done < head.size() ? std::min(take, head.size() - done) : 0;
    fragment.insert(fragment.end(), head.begin() + static_cast<long>(done), head.begin() + static_cast<long>(done + fromHead));
    fragment.resize(rpc::kRequestHeaderSize + take, 0x5A);
    SendAll(fd, fragment);
    done += take;
  }
}

// The status at the end of a RemoteCommand reply with an empty output stream.
std::uint32_t CommandReplyStatus(const Bytes& reply) {
  const std::size_t at = rpc::ParseResponse(reply.data(), reply.size());
  rpc::NdrReader reader(reply.data() + at, reply.size() - at);
  ByteStream output;
  rpc::ReadByteStreamInPlace(&reader, &output);
  return reader.U32();
}

// ThreadSanitizer keeps shadow memory several times the size of what the
// program writes, so under it the server's RSS says nothing about the
// server: the memory bounds are checked in the other builds only.
#if defined(__SANITIZE_THREAD__)
constexpr bool kRssMeasures = false;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kRssMeasures = false;
#else
constexpr bool kRssMeasures = true;
#endif
#else
constexpr bool kRssMeasures = true;
#endif

TEST(ServerLimits, ARequestAboveTheMaximumIsRefusedAndMemoryStaysBounded) {
  constexpr std::uint64_t kMiB = 1024;  // in KiB
  // What besides the request itself may come and go in the server: the
  // fragment being read, a reply, a thread's stack, the allocator's moods.
  constexpr std::uint64_t kSlackKiB = 4 * kMiB;
  DaemonProcess daemon({"--max-request-mib", "8", "--request-memory-mib", "64"});
  ASSERT_NE(daemon.port(), 0);
  ChildProcess& server = daemon.process();
  const int fd = ConnectRaw(daemon.port());
  ASSERT_TRUE(RawBind(fd));
  SendLargeCommand(fd, 2, 1000);  // warms the connection up
  Bytes reply = ReadRawPdu(fd);
  ASSERT_FALSE(reply.empty());
  EXPECT_EQ(CommandReplyStatus(reply), kInvalidSession);

  // 6 MiB, under the maximum: assembled once (no copy of it at the peak),
  // then given back as the call ends.
  const std::uint64_t before = server.RssKiB();
  server.ResetPeakRss();
  SendLargeCommand(fd, 3, 6u << 20);
  reply = ReadRawPdu(fd);
  ASSERT_FALSE(reply.empty());
  ASSERT_EQ(reply[2], rpc::kPduResponse);
  EXPECT_EQ(CommandReplyStatus(reply), kInvalidSession);
  const std::uint64_t peak = server.PeakRssKiB();
  std::printf("server RSS %llu KiB before, peak %llu KiB with a 6 MiB request, %llu KiB after\n",
              static_cast<unsigned long long>(before), static_cast<unsigned long long>(peak),
              static_cast<unsigned long long>(server.RssKiB()));
  if (kRssMeasures) {
    EXPECT_GE(peak, before + 5 * kMiB) << "the request was not held at all: the measure means nothing";
    EXPECT_LE(peak, before + 6 * kMiB + kSlackKiB);
    EXPECT_TRUE(Eventually([&] { return server.RssKiB() <= before + kSlackKiB; }, 5000)) << server.RssKiB();
  }

  // 40 MiB, five times the maximum: read to its end without being kept and
  // answered with a fault; the connection goes on.
  const std::uint64_t before2 = server.RssKiB();
  server.ResetPeakRss();
  SendLargeCommand(fd, 4, 40u << 20);
  reply = ReadRawPdu(fd);
  ASSERT_FALSE(reply.empty());
  ASSERT_EQ(reply[2], rpc::kPduFault);
  EXPECT_EQ(rpc::ParseFault(reply.data(), reply.size()), rpc::kFaultRemoteNoMemory);
  std::printf("server peak RSS %llu KiB with a refused 40 MiB request (before %llu KiB)\n",
              static_cast<unsigned long long>(server.PeakRssKiB()), static_cast<unsigned long long>(before2));
  if (kRssMeasures) {
    EXPECT_LE(server.PeakRssKiB(), before2 + 8 * kMiB + kSlackKiB);
  }
  reply = RawCall(fd, 5, rpc::kRemoteVersion);
  ASSERT_FALSE(reply.empty());
  EXPECT_EQ(reply[2], rpc::kPduResponse);
  close(fd);
  EXPECT_TRUE(daemon.LogHas("refused a request of 40.0 MiB"));
}

TEST(ServerLimits, RequestsOverTheMemoryBudgetAreRefusedWithAFault) {
  EchoHandler handler;
  rpc::RpcServerOptions options;
  options.maxRequest = 8u << 20;
  options.requestBudget = 1u << 20;  // less than one request
  auto server = StartServer(&handler, options);
  const int fd = ConnectRaw(server->port());
  ASSERT_TRUE(RawBind(fd));
  SendLargeCommand(fd, 2, 2u << 20);
  const Bytes reply = ReadRawPdu(fd);
  ASSERT_FALSE(reply.empty());
  ASSERT_EQ(reply[2], rpc::kPduFault);
  EXPECT_EQ(rpc::ParseFault(reply.data(), reply.size()), rpc::kFaultServerTooBusy);
  EXPECT_EQ(server->RequestMemoryInUse(), 0u);
  // One that fits is served on the same connection.
  SendLargeCommand(fd, 3, 512u << 10);
  const Bytes echoed = ReadRawPdu(fd);
  ASSERT_FALSE(echoed.empty());
  EXPECT_EQ(echoed[2], rpc::kPduResponse);
  EXPECT_EQ(server->RequestMemoryInUse(), 0u);
  close(fd);
}

// ---- Findings 3 and 4: sessions ------------------------------------------

class LimitSessions : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::SetSessionBuilder([](std::uint32_t, const char*, const char* name, Status* status) {
      return new LocalKELDConfigSession(name, status);
    });
  }
  void TearDown() override { testing::SetSessionBuilder(nullptr); }

  static std::unique_ptr<ServiceServer> Start(server::ServiceOptions service, rpc::RpcServerOptions rpc) {
    return std::make_unique<ServiceServer>(std::move(service), std::move(rpc));
  }
};

TEST_F(LimitSessions, TheSessionLimitIsAnsweredWithAStatusAndLeavesTheOthersAlone) {
  server::ServiceOptions service;
  service.maxSessionsPerClient = 3;
  service.maxSessions = 5;
  auto server = Start(service, {});
  rpc::RpcBinding client("127.0.0.1", server->port());
  std::uint32_t ids[3] = {};
  for (int i = 0; i < 3; ++i) {
    const std::string name = "img" + std::to_string(i);
    ASSERT_EQ(rpc::RemoteOpen(&client, kDriverKELD, "client:a", name.c_str(), &ids[i]), kSuccess);
  }
  std::uint32_t refused = 99;
  EXPECT_EQ(rpc::RemoteOpen(&client, kDriverKELD, "client:a", "img3", &refused), kOutOfMemory);
  EXPECT_EQ(refused, 0u);
  for (const std::uint32_t id : ids) EXPECT_EQ(rpc::RemotePing(&client, id), kSuccess);
  EXPECT_EQ(server->service->SessionCount(kLoopback, "client:a"), 3u);

  // A reopen of a session it holds is no new session.
  std::uint32_t reopened = 0;
  ASSERT_EQ(rpc::RemoteOpen(&client, kDriverKELD, "client:a", "img1", &reopened), kSuccess);
  EXPECT_EQ(rpc::RemotePing(&client, ids[1]), kInvalidSession);
  EXPECT_EQ(rpc::RemotePing(&client, reopened), kSuccess);
  ids[1] = reopened;

  // Another client has a limit of its own, up to the limit of all sessions.
  std::uint32_t other[3] = {};
  EXPECT_EQ(rpc::RemoteOpen(&client, kDriverKELD, "client:b", "img0", &other[0]), kSuccess);
  EXPECT_EQ(rpc::RemoteOpen(&client, kDriverKELD, "client:b", "img1", &other[1]), kSuccess);
  EXPECT_EQ(rpc::RemoteOpen(&client, kDriverKELD, "client:b", "img2", &other[2]), kOutOfMemory);
  EXPECT_EQ(server->service->SessionCount(), 5u);

  // A closed session makes room again.
  EXPECT_EQ(rpc::RemoteClose(&client, ids[0]), kSuccess);
  std::uint32_t again = 0;
  EXPECT_EQ(rpc::RemoteOpen(&client, kDriverKELD, "client:a", "img3", &again), kSuccess);
  EXPECT_EQ(rpc::RemotePing(&client, ids[2]), kSuccess);
}

TEST_F(LimitSessions, AStoppedClientLosesItsSessionsAfterTheGracePeriod) {
  server::ServiceOptions service;
  service.graceMs = 1500;
  rpc::RpcServerOptions rpc;
  rpc.idleTimeoutMs = 300;
  auto server = Start(service, rpc);
  ChildProcess client({KELD_IDLE_CLIENT_PATH, std::to_string(server->port()), "client:frozen", "2"});
  const std::string ready = client.ReadLine(15000);
  ASSERT_EQ(ready.rfind("ready", 0), 0u) << ready;
  EXPECT_EQ(server->service->SessionCount(), 2u);

  client.Signal(SIGSTOP);
  // Its connection is closed for silence; the grace period starts then,
  // and its sessions are closed when it ends.
  ASSERT_TRUE(Eventually([&] { return server->rpc->ConnectionCount() == 0; }));
  EXPECT_EQ(server->service->SessionCount(), 2u);
  EXPECT_TRUE(Eventually([&] { return server->service->SessionCount() == 0; }));
  client.Signal(SIGKILL);
  EXPECT_EQ(client.Wait(10000), 128 + SIGKILL);
}

TEST_F(LimitSessions, AnIdleClientThatComesBackWithinTheGracePeriodFindsAllItsSessions) {
  server::ServiceOptions service;
  service.graceMs = 2000;
  rpc::RpcServerOptions rpc;
  rpc.idleTimeoutMs = 300;
  auto server = Start(service, rpc);
  rpc::RpcBinding client("127.0.0.1", server->port());
  client.SetComTimeout(5000);
  std::uint32_t used = 0;
  std::uint32_t untouched = 0;
  ASSERT_EQ(rpc::RemoteOpen(&client, kDriverKELD, "client:idle", "img0", &used), kSuccess);
  ASSERT_EQ(rpc::RemoteOpen(&client, kDriverKELD, "client:idle", "img1", &untouched), kSuccess);
  ASSERT_TRUE(Eventually([&] { return server->rpc->ConnectionCount() == 0; }));  // closed for silence

  // The binding connects anew; a call on one session brings the client back,
  // and with it the session it does not use, past the grace period's end.
  const auto past = std::chrono::steady_clock::now() + std::chrono::milliseconds(3000);
  while (std::chrono::steady_clock::now() < past) {
    ASSERT_EQ(rpc::RemotePing(&client, used), kSuccess);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_EQ(rpc::RemotePing(&client, untouched), kSuccess);
  EXPECT_EQ(server->service->SessionCount(), 2u);
}

// The largest reply a client may ask for is the server's to set.
TEST_F(LimitSessions, AReplyAboveTheSetLimitIsRefusedBeforeAnythingIsAllocated) {
  struct Restore {
    ~Restore() { frames::SetLargestServerReply(kDefaultLargestReply); }
  } restore;
  frames::SetLargestServerReply(1u << 20);
  auto server = Start({}, {});
  rpc::RpcBinding client("127.0.0.1", server->port());
  std::uint32_t id = 0;
  ASSERT_EQ(rpc::RemoteOpen(&client, kDriverKELD, "client:reply", "img0", &id), kSuccess);
  const auto readWords = [&](std::uint32_t count) {
    ScopedByteStream input;
    ScopedByteStream output;
    EXPECT_EQ(input->AppendU32(0), kSuccess);
    EXPECT_EQ(input->AppendU32(0), kSuccess);
    EXPECT_EQ(input->AppendU32(count), kSuccess);
    return rpc::RemoteCommand(&client, id, 23, input.get(), output.get());  // ReadU32
  };
  EXPECT_EQ(readWords(300000), kOutOfMemory);  // 1.2 MB of words
  EXPECT_NE(readWords(1000), kOutOfMemory);    // within the limit: up to the driver
}

// ---- Finding 5: the log ----------------------------------------------------

struct FloodResult {
  std::vector<std::string> lines;
};

// Sends `calls` requests of an unknown procedure and `garbage` connections of
// junk to a server logging through a Logger at `level`.
FloodResult Flood(rpc::LogLevel level, int calls, int garbage) {
  ScopedTempDir dir;
  server::LoggerOptions logOptions;
  logOptions.level = level;
  logOptions.path = (dir.path() / "flood.log").string();
  logOptions.interval = std::chrono::hours(1);
  FloodResult result;
  {
    server::Logger logger(logOptions);
    std::string error;
    EXPECT_TRUE(logger.Open(&error)) << error;
    EchoHandler handler;
    rpc::RpcServerOptions options;
    options.log = logger.Function();
    auto server = StartServer(&handler, options);
    const int fd = ConnectRaw(server->port());
    EXPECT_TRUE(RawBind(fd));
    for (int i = 0; i < calls; ++i) {
      const Bytes fault = RawCall(fd, static_cast<std::uint32_t>(i + 2), 8);
      if (fault.empty() || fault[2] != rpc::kPduFault) {
        ADD_FAILURE() << "call " << i << " was not answered with a fault";
        break;
      }
    }
    close(fd);
    for (int i = 0; i < garbage; ++i) {
      const int junk = ConnectRaw(server->port());
      SendAll(junk, Bytes(64, 0xEE));
      EXPECT_TRUE(PeerCloses(junk, 5000));
      close(junk);
    }
    server->Stop();
  }  // the logger writes its counts as it goes
  result.lines = ReadLines(dir.path() / "flood.log");
  return result;
}

std::size_t CountContaining(const std::vector<std::string>& lines, const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(lines.begin(), lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

TEST(ServerLog, AFloodOfBadCallsWritesABoundedNumberOfLines) {
  const FloodResult flood = Flood(rpc::LogLevel::kInfo, 3000, 50);
  for (const std::string& line : flood.lines) std::printf("  %s\n", line.c_str());
  // Five of each kind, then one count of each.
  EXPECT_LE(flood.lines.size(), 12u);
  EXPECT_EQ(CountContaining(flood.lines, "answered with fault 0x1C010002"), 5u);
  EXPECT_EQ(CountContaining(flood.lines, "2995 more fault lines left out"), 1u);
  EXPECT_EQ(CountContaining(flood.lines, "45 more protocol lines left out"), 1u);
}

TEST(ServerLog, TheErrorLevelSilencesThem) {
  const FloodResult flood = Flood(rpc::LogLevel::kError, 500, 10);
  EXPECT_TRUE(flood.lines.empty()) << flood.lines.front();
}

TEST(ServerLog, RefusalsAtTheLimitAreOneWarningPerInterval) {
  ScopedTempDir dir;
  server::LoggerOptions logOptions;
  logOptions.path = (dir.path() / "refusals.log").string();
  logOptions.interval = std::chrono::hours(1);
  {
    server::Logger logger(logOptions);
    std::string error;
    ASSERT_TRUE(logger.Open(&error)) << error;
    EchoHandler handler;
    rpc::RpcServerOptions options;
    options.maxConnections = 1;
    options.log = logger.Function();
    auto server = StartServer(&handler, options);
    const int inside = ConnectRaw(server->port());
    ASSERT_TRUE(RawBind(inside));
    for (int i = 0; i < 20; ++i) ExpectRefused(server->port());
    close(inside);
    server->Stop();
  }
  const std::vector<std::string> lines = ReadLines(dir.path() / "refusals.log");
  EXPECT_EQ(CountContaining(lines, "warning: refused a connection"), 1u);
  EXPECT_EQ(CountContaining(lines, "19 more refused lines left out"), 1u);
}

// ---- The daemon's habits ---------------------------------------------------

TEST(ServerDaemon, HangUpReopensTheLogAndTerminateStopsCleanly) {
  DaemonProcess daemon({});
  ASSERT_NE(daemon.port(), 0);
  std::filesystem::rename(daemon.log(), daemon.log().string() + ".1");
  daemon.process().Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] { return daemon.LogHas("log reopened"); }));
  EXPECT_TRUE(ClientServed(daemon.port()));
  daemon.process().Signal(SIGTERM);
  EXPECT_EQ(daemon.process().Wait(20000), server::kExitStopped);
  EXPECT_TRUE(daemon.LogHas("keldcfgd info: stopped"));
}

TEST(ServerDaemon, BadUsageHasItsExitCode) {
  ChildProcess daemon({KELD_KELDCFGD_PATH, "--max-connections", "0"});
  EXPECT_EQ(daemon.Wait(10000), server::kExitUsage);
}

}  // namespace
}  // namespace keld
