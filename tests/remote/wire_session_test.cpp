// The client end to end: host-level queries and remote sessions against
// keldcfgd's service in-process, time-outs, fragmentation and reconnection.
#include <gtest/gtest.h>

#include "session/session_factory.h"

#include "remote/remote_lookup.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <thread>
#include <vector>

#include "keldcfgc/keldcfgc.h"
#include "remote/host_queries.h"
#include "remote/remote_device_config_session.h"
#include "remote/remote_keld_config_session.h"
#include "remote/remote_session.h"
#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/rpc_binding.h"
#include "remote/rpc/rpc_error.h"
#include "session/library_version.h"
#include "session/session_registry.h"
#include "support_servers.h"

namespace keld {
namespace {

using namespace testsupport;

TEST(HostQueries, QueryVersionThroughTheLocator) {
  ServiceServer server;
  HttpStandIn locator("HTTP/1.0 200 OK\r\n\r\nPort=" + std::to_string(server.port()) + "\r\n");
  ScopedLocatorPort redirect(locator.port());
  std::uint32_t version = 0;
  EXPECT_EQ(cfgQueryVersion("127.0.0.1::name", &version), 0);
  EXPECT_EQ(version, kCurrentVersion);
}

TEST(HostQueries, QueryVersionOfLocalhostOnTheRegistryPort) {
  ServiceServer server;
  ScopedRegistryPort registry(server.port());
  std::uint32_t version = 0;
  EXPECT_EQ(cfgQueryVersion("localhost", &version), 0);
  EXPECT_EQ(version, kCurrentVersion);
}

TEST(HostQueries, DownTargetGivesRemoteExceptionAndKeepsPreset) {
  ScopedRegistryPort registry(UnusedPort());
  std::uint32_t version = 0;
  EXPECT_EQ(static_cast<Status>(cfgQueryVersion("localhost", &version)), kRemoteException);
  EXPECT_EQ(version, 0x01200000u);
}

TEST(HostQueries, NamedTargetWithoutLocatorGivesRemoteException) {
  ScopedLocatorPort redirect(UnusedPort());
  std::uint32_t version = 0;
  EXPECT_EQ(static_cast<Status>(cfgQueryVersion("127.0.0.1::gone", &version)), kRemoteException);
  EXPECT_EQ(version, 0x01200000u);
  std::shared_ptr<ConfigSession> session;
  EXPECT_EQ(CreateSession(&session, kDriverKELDnv, "client:gone", "127.0.0.1::gone", "cam0"), kRemoteException);
}

TEST(HostQueries, CheckPasswordSendsNothing) {
  EchoHandler handler;
  HandlerServer server(&handler);
  ScopedRegistryPort registry(server.port());
  EXPECT_EQ(static_cast<Status>(cfgCheckPassword("localhost", "secret")), kNotSupported);
  EXPECT_EQ(handler.connections.load(), 0);
}

TEST(HostQueries, UnbindableHostGivesTheRuntimeStatus) {
  EXPECT_EQ(cfgCheckPassword("bad[host", "x"), 1700);
  std::uint32_t mtu = 0;
  EXPECT_EQ(cfgGetNetworkInterfaceMTU("bad[host", "lo", &mtu), 1700);
}

TEST(HostQueries, MtuOfAnAdapter) {
  ServiceServer server;
  ScopedRegistryPort registry(server.port());
  std::uint32_t expected = 0;
  std::ifstream("/sys/class/net/lo/mtu") >> expected;
  std::uint32_t mtu = 0;
  EXPECT_EQ(cfgGetNetworkInterfaceMTU("localhost", "lo", &mtu), 0);
  EXPECT_EQ(mtu, expected);
  EXPECT_EQ(static_cast<Status>(cfgGetNetworkInterfaceMTU("localhost", "no-such-adapter", &mtu)), kNotAccessible);
  EXPECT_EQ(static_cast<Status>(cfgGetNetworkInterfaceMTU("localhost", "../../etc", &mtu)), kNotAccessible);
  // The server refuses to set an MTU unless started to allow it.
  EXPECT_EQ(static_cast<Status>(cfgSetNetworkInterfaceMTU("localhost", "lo", 1500)), kNotSupported);
  // A null out pointer is raised by the stub and ends as the remote exception.
  EXPECT_EQ(static_cast<Status>(cfgGetNetworkInterfaceMTU("localhost", "lo", nullptr)), kRemoteException);
  EXPECT_EQ(static_cast<Status>(cfgGetNetworkInterfaceMTU("localhost", nullptr, &mtu)), kRemoteException);
}

TEST(HostQueries, CallToAServerThatNeverAnswersTimesOut) {
  SilentServer silent;
  ScopedRegistryPort registry(silent.port());
  const std::uint32_t saved = DefaultRemoteTimeout;
  DefaultRemoteTimeout = 300;
  std::uint32_t version = 0;
  EXPECT_EQ(static_cast<Status>(cfgQueryVersion("localhost", &version)), kRemoteException);
  DefaultRemoteTimeout = saved;
}

TEST(RemoteSessionTest, OpensPingsAndClosesOnTheTarget) {
  ServiceServer server;
  HttpStandIn locator("HTTP/1.0 200 OK\r\n\r\nPort=" + std::to_string(server.port()) + "\r\n");
  ScopedLocatorPort redirect(locator.port());
  Status status = 1;
  {
    RemoteSession session("client:1", "127.0.0.1::t", kDriverKELDnv, "cam0", &status);
    ASSERT_EQ(status, kSuccess);
    EXPECT_NE(session.sessionId, 0u);
    EXPECT_EQ(session.remoteVersion, kCurrentVersion);
    EXPECT_EQ(server.service->SessionCount(), 1u);
    PingCall ping(session.sessionId);
    EXPECT_EQ(session.ExecuteCall(ping, 0), kSuccess);
    // A camera session serves no ring set-up of a frame grabber; the
    // target's answer comes back.
    ScopedByteStream in, out;
    ASSERT_EQ(in->AppendU32(7), kSuccess);
    CommandCall command(session.sessionId, 43, in.get(), out.get());
    EXPECT_EQ(session.ExecuteCall(command, 1), kNotSupported);
    PingCall unknown(session.sessionId + 1000);
    EXPECT_EQ(session.ExecuteCall(unknown, 0), kInvalidSession);
  }
  // The destructor closed the session on the target.
  EXPECT_EQ(server.service->SessionCount(), 0u);
}

// The target here is a stand-in handler: the service's sessions would share
// this process's registry, whose lock the client holds while it closes.
TEST(RemoteSessionTest, FactoryBuildsRemoteSessionOverTheWire) {
  EchoHandler handler;
  HandlerServer server(&handler);
  ScopedRegistryPort registry(server.port());
  std::shared_ptr<ConfigSession> session;
  ASSERT_EQ(CreateSession(&session, kDriverKELD, "client:2", "localhost", "img0"), kSuccess);
  EXPECT_TRUE(session->IsRemote());
  std::shared_ptr<RemoteDeviceConfigSession> remote;
  ASSERT_EQ(GetRemoteSession(&remote, session->id), kSuccess);
  EXPECT_EQ(remote->sessionId, 42u);
  EXPECT_EQ(remote->remoteVersion, 0x03020000u);
  EXPECT_EQ(handler.closes.load(), 0);
  remote.reset();  // the test's own hold on the session
  CloseSession(session.get());
  session.reset();
  EXPECT_EQ(handler.closes.load(), 1);
}

// cfgPing reaches the target on the control handle: the target's answer for
// a session it knows, and 0xBFFF8004 once the target has gone.
TEST(RemoteSessionTest, PingFrameAsksTheTarget) {
  auto handler = std::make_unique<EchoHandler>();
  auto server = std::make_unique<HandlerServer>(handler.get());
  ScopedRegistryPort registry(server->port());
  std::shared_ptr<ConfigSession> session;
  ASSERT_EQ(CreateSession(&session, kDriverKELDnv, "client:5", "localhost", "cam0"), kSuccess);
  EXPECT_EQ(cfgPing(session->id), 0);
  std::shared_ptr<RemoteDeviceConfigSession> remote;
  ASSERT_EQ(GetRemoteSession(&remote, session->id), kSuccess);
  remote->sessionId = 7;  // a session the target does not know
  EXPECT_EQ(static_cast<Status>(cfgPing(session->id)), kInvalidSession);
  remote->sessionId = 42;
  server.reset();
  EXPECT_EQ(static_cast<Status>(cfgPing(session->id)), kRemoteException);
  remote->ReleaseBindings();  // nothing left to close on the target
  CloseSession(session.get());
  session.reset();
}

// Answers the ping only after a pause, so that a short time-out runs out.
class SlowPingHandler : public EchoHandler {
 public:
  Status Ping(const rpc::PeerInfo& peer, std::uint32_t id) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs.load()));
    return EchoHandler::Ping(peer, id);
  }
  std::atomic<int> pauseMs{0};
};

TEST(RemoteSessionTest, SetTimeoutTakesEffectOnTheVeryNextCall) {
  SlowPingHandler handler;
  HandlerServer server(&handler);
  ScopedRegistryPort registry(server.port());
  std::shared_ptr<ConfigSession> session;
  ASSERT_EQ(CreateSession(&session, kDriverKELD, "client:timeout", "localhost", "img0"), kSuccess);
  handler.pauseMs = 300;
  ASSERT_EQ(cfgSetTimeout(session->id, 1), 0);
  EXPECT_EQ(static_cast<Status>(cfgPing(session->id)), kRemoteException);
  ASSERT_EQ(cfgSetTimeout(session->id, 30000), 0);
  EXPECT_EQ(cfgPing(session->id), 0);
  handler.pauseMs = 0;
  CloseSession(session.get());
  session.reset();
}

// A remote frame-grabber session whose self test holds until another
// thread has looked at the session's time-out.
class HeldDiagnosticsSession : public RemoteKELDConfigSession {
 public:
  using RemoteKELDConfigSession::RemoteKELDConfigSession;
  Status RunDiagnostics(std::uint32_t, std::uint32_t* count) override {
    inside.set_value();
    looked.get_future().wait_for(std::chrono::seconds(10));
    *count = 1;
    return kSuccess;
  }
  static inline std::promise<void> inside;
  static inline std::promise<void> looked;
};

TEST(RemoteSessionTest, OtherThreadSeesTheDiagnosticsTimeout) {
  EchoHandler handler;
  HandlerServer server(&handler);
  ScopedRegistryPort registry(server.port());
  HeldDiagnosticsSession::inside = {};
  HeldDiagnosticsSession::looked = {};
  testing::SetSessionBuilder([](std::uint32_t, const char* host, const char* name, Status* status) {
    return new HeldDiagnosticsSession("client:diag", host, kDriverKELD, name, status);
  });
  std::shared_ptr<ConfigSession> session;
  const Status created = CreateSession(&session, kDriverKELD, "client:diag", "localhost", "img0");
  testing::SetSessionBuilder(nullptr);
  ASSERT_EQ(created, kSuccess);
  const std::uint32_t id = session->id;
  ASSERT_EQ(cfgSetTimeout(id, 2500), 0);

  std::uint32_t during = 0;
  std::thread other([&] {
    if (HeldDiagnosticsSession::inside.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready) {
      cfgGetTimeout(id, &during);
    }
    HeldDiagnosticsSession::looked.set_value();
  });
  std::uint32_t count = 0;
  EXPECT_EQ(cfgRunDiagnostics(id, 0, &count), 0);
  other.join();
  EXPECT_EQ(during, 360000u);
  std::uint32_t after = 0;
  ASSERT_EQ(cfgGetTimeout(id, &after), 0);
  EXPECT_EQ(after, 2500u);
  CloseSession(session.get());
  session.reset();
}

// Answers open, version and close with what the test sets, and counts them.
class ScriptedHandler : public EchoHandler {
 public:
  Status Open(const rpc::PeerInfo& peer, std::uint32_t type, const std::string& name, const std::string& interface,
              std::uint32_t* id) override {
    ++opens;
    IgnoreStatus(EchoHandler::Open(peer, type, name, interface, id));
    return openAnswer.load();
  }
  Status Version(const rpc::PeerInfo& peer, std::uint32_t* version) override {
    ++versions;
    IgnoreStatus(EchoHandler::Version(peer, version));
    return versionAnswer.load();
  }
  Status Close(const rpc::PeerInfo& peer, std::uint32_t id) override {
    IgnoreStatus(EchoHandler::Close(peer, id));
    return closes.load() <= failingCloses.load() ? kInvalidSession : kSuccess;
  }
  std::atomic<Status> openAnswer{kSuccess};
  std::atomic<Status> versionAnswer{kSuccess};
  std::atomic<int> failingCloses{0};
  std::atomic<int> opens{0};
  std::atomic<int> versions{0};
};

TEST(RemoteSessionTest, FailedOpenReleasesBothHandlesAndSkipsTheVersion) {
  ScriptedHandler handler;
  HandlerServer server(&handler);
  ScopedRegistryPort registry(server.port());
  handler.openAnswer.store(0xBFF60123);
  Status status = 0;
  RemoteSession session("client:open", "localhost", kDriverKELD, "img0", &status);
  EXPECT_EQ(status, 0xBFF60123u);
  EXPECT_EQ(handler.opens.load(), 1);
  EXPECT_EQ(handler.versions.load(), 0);
  EXPECT_EQ(session.bindings[0], nullptr);
  EXPECT_EQ(session.bindings[1], nullptr);
}

TEST(RemoteSessionTest, FailedVersionReleasesBothHandles) {
  ScriptedHandler handler;
  HandlerServer server(&handler);
  ScopedRegistryPort registry(server.port());
  handler.versionAnswer.store(0xBFF60124);
  {
    Status status = 0;
    RemoteSession session("client:version", "localhost", kDriverKELD, "img0", &status);
    EXPECT_EQ(status, 0xBFF60124u);
    EXPECT_EQ(handler.versions.load(), 1);
    EXPECT_EQ(session.bindings[0], nullptr);
    EXPECT_EQ(session.bindings[1], nullptr);
  }
  EXPECT_EQ(handler.closes.load(), 0);  // nothing left to close
}

TEST(RemoteSessionTest, RefusedCloseKeepsTheHandlesAndTheDestructorRetries) {
  ScriptedHandler handler;
  HandlerServer server(&handler);
  ScopedRegistryPort registry(server.port());
  handler.failingCloses = 1;
  {
    Status status = 1;
    RemoteSession session("client:close", "localhost", kDriverKELD, "img0", &status);
    ASSERT_EQ(status, kSuccess);
    EXPECT_NE(session.remoteVersion, 0u);
    EXPECT_EQ(session.CloseRemote(), kInvalidSession);
    EXPECT_NE(session.bindings[0], nullptr);
    EXPECT_NE(session.bindings[1], nullptr);
    EXPECT_EQ(session.remoteVersion, 0u);
    EXPECT_EQ(handler.closes.load(), 1);
  }
  EXPECT_EQ(handler.closes.load(), 2);
}

TEST(RemoteSessionTest, AcceptedCloseReleasesTheHandlesAndIsNotRepeated) {
  ScriptedHandler handler;
  HandlerServer server(&handler);
  ScopedRegistryPort registry(server.port());
  {
    Status status = 1;
    RemoteSession session("client:closed", "localhost", kDriverKELD, "img0", &status);
    ASSERT_EQ(status, kSuccess);
    EXPECT_EQ(session.CloseRemote(), kSuccess);
    EXPECT_EQ(session.bindings[0], nullptr);
    EXPECT_EQ(session.bindings[1], nullptr);
  }
  EXPECT_EQ(handler.closes.load(), 1);
}

TEST(RemoteSessionTest, FactoryTreatsLoopbackAsLocalAndNamedLoopbackAsRemote) {
  EchoHandler handler;
  HandlerServer server(&handler);
  HttpStandIn locator("HTTP/1.0 200 OK\r\n\r\nPort=" + std::to_string(server.port()) + "\r\n");
  ScopedLocatorPort redirect(locator.port());
  ScopedRegistryPort registry(UnusedPort());

  std::shared_ptr<ConfigSession> local;
  ASSERT_EQ(CreateSession(&local, kDriverKELD, "client:loop", "127.0.0.1", "img0"), kSuccess);
  EXPECT_FALSE(local->IsRemote());
  EXPECT_TRUE(locator.requests().empty());
  EXPECT_EQ(handler.connections.load(), 0);
  CloseSession(local.get());
  local.reset();

  std::shared_ptr<ConfigSession> named;
  ASSERT_EQ(CreateSession(&named, kDriverKELD, "client:loop", "127.0.0.1::name", "img0"), kSuccess);
  EXPECT_TRUE(named->IsRemote());
  EXPECT_EQ(locator.requests().size(), 1u);
  std::shared_ptr<RemoteDeviceConfigSession> remote;
  ASSERT_EQ(GetRemoteSession(&remote, named->id), kSuccess);
  EXPECT_EQ(remote->sessionId, 42u);
  // The image handle is bound although this session never takes an image.
  EXPECT_NE(remote->bindings[1], nullptr);
  CloseSession(named.get());
  named.reset();
}

TEST(RemoteSessionTest, DownTargetFailsTheFactoryWithRemoteException) {
  ScopedRegistryPort registry(UnusedPort());
  std::shared_ptr<ConfigSession> session;
  EXPECT_EQ(CreateSession(&session, kDriverKELD, "client:3", "localhost", "img0"), kRemoteException);
}

TEST(RemoteSessionTest, LostTargetGivesRemoteExceptionOnPing) {
  auto server = std::make_unique<ServiceServer>();
  ScopedRegistryPort registry(server->port());
  Status status = 1;
  RemoteSession session("client:4", "localhost", kDriverKELD, "img0", &status);
  ASSERT_EQ(status, kSuccess);
  server.reset();
  PingCall ping(session.sessionId);
  EXPECT_EQ(session.ExecuteCall(ping, 0), kRemoteException);
  EXPECT_EQ(session.CloseRemote(), kRemoteException);
  EXPECT_NE(session.bindings[0], nullptr);  // kept for the destructor's retry
  session.ReleaseBindings();
}

TEST(RemoteSessionTest, NullHandleIsRemoteException) {
  RemoteSession session(1000);
  VersionCall call(&session.remoteVersion);
  EXPECT_EQ(session.ExecuteCall(call, 0), kRemoteException);
  PasswordCall password;
  EXPECT_EQ(session.ExecuteCall(password, 1), kNotSupported);
}

TEST(RemoteSessionTest, GraceClosesSessionsOfAVanishedClient) {
  ServiceServer server(/*graceMs=*/100);
  {
    rpc::RpcBinding binding("127.0.0.1", server.port());
    std::uint32_t id = 0;
    ASSERT_EQ(rpc::RemoteOpen(&binding, kDriverKELD, "client:5", "img0", &id), kSuccess);
    EXPECT_EQ(server.service->SessionCount(), 1u);
  }  // the connection goes without RemoteClose
  for (int i = 0; i < 200 && server.service->SessionCount() != 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
  }
  EXPECT_EQ(server.service->SessionCount(), 0u);
}

TEST(RemoteSessionTest, ReconnectingClientKeepsItsSession) {
  ServiceServer server(/*graceMs=*/60000);
  std::uint32_t id = 0;
  {
    rpc::RpcBinding binding("127.0.0.1", server.port());
    ASSERT_EQ(rpc::RemoteOpen(&binding, kDriverKELD, "client:6", "img0", &id), kSuccess);
  }
  rpc::RpcBinding again("127.0.0.1", server.port());
  EXPECT_EQ(rpc::RemotePing(&again, id), kSuccess);
  EXPECT_EQ(rpc::RemoteClose(&again, id), kSuccess);
  EXPECT_EQ(rpc::RemoteClose(&again, id), kInvalidSession);
}

TEST(RemoteSessionTest, AllowListRefusesOtherPeers) {
  ServiceServer server(30000, 30000, [](std::uint32_t address) { return address == 0x7F000002; });
  rpc::RpcBinding binding("127.0.0.1", server.port());
  binding.SetComTimeout(2000);
  std::uint32_t version = 0;
  EXPECT_THROW(IgnoreStatus(rpc::RemoteVersion(&binding, &version)), rpc::RpcError);
}

// Fragmentation in both directions, with the smallest fragment size, for
// streams around the fragment boundary.
TEST(Fragmentation, CommandStreamsAroundTheBoundary) {
  EchoHandler handler;
  HandlerServer server(&handler, rpc::kMinFragSize);
  rpc::RpcBinding binding("127.0.0.1", server.port());
  binding.SetFragmentSizes(rpc::kMinFragSize, rpc::kMinFragSize);
  const std::size_t chunk = rpc::StubBytesPerFragment(rpc::kMinFragSize);
  // The command stub carries 8 bytes of ids and 12 of stream header before the data.
  for (const std::size_t size : {std::size_t{1}, chunk - 24, chunk - 20, chunk - 19, chunk, chunk + 1, 3 * chunk,
                                 std::size_t{1} << 20}) {
    ScopedByteStream in, out;
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 13);
    ASSERT_EQ(in->AppendBytes(bytes.data(), size), kSuccess);
    ASSERT_EQ(rpc::RemoteCommand(&binding, 42, 0, in.get(), out.get()), kSuccess);
    ASSERT_EQ(out->size, size);
    EXPECT_EQ(std::memcmp(out->data, in->data, size), 0) << size;
  }
  ScopedByteStream empty, out;
  ASSERT_EQ(rpc::RemoteCommand(&binding, 42, 0, empty.get(), out.get()), kSuccess);
  EXPECT_EQ(out->size, 0u);
  EXPECT_EQ(out->data, nullptr);
}

TEST(Fragmentation, LargeOutputWithDefaultSizes) {
  EchoHandler handler;
  HandlerServer server(&handler);
  rpc::RpcBinding binding("127.0.0.1", server.port());
  ScopedByteStream in, out;
  ASSERT_EQ(rpc::RemoteCommand(&binding, 42, 4u << 20, in.get(), out.get()), kSuccess);
  ASSERT_EQ(out->size, 4u << 20);
  EXPECT_EQ(out->data[12345], static_cast<std::uint8_t>(12345));
}

TEST(Reconnection, NextCallAfterABrokenConnectionConnectsAnew) {
  EchoHandler handler;
  auto server = std::make_unique<HandlerServer>(&handler);
  const std::uint16_t port = server->port();
  rpc::RpcBinding binding("127.0.0.1", port);
  binding.SetComTimeout(2000);
  std::uint32_t version = 0;
  EXPECT_EQ(rpc::RemoteVersion(&binding, &version), kSuccess);
  server.reset();
  EXPECT_THROW(IgnoreStatus(rpc::RemoteVersion(&binding, &version)), rpc::RpcError);
  server = std::make_unique<HandlerServer>(&handler, rpc::kDefaultMaxFrag, 30000, port);
  EXPECT_EQ(rpc::RemoteVersion(&binding, &version), kSuccess);
  EXPECT_EQ(handler.connections.load(), 2);
}

// Holds every ping until the test lets it go.
class HeldPingHandler : public EchoHandler {
 public:
  Status Ping(const rpc::PeerInfo& peer, std::uint32_t id) override {
    inside.set_value();
    release.wait_for(std::chrono::seconds(10));
    return EchoHandler::Ping(peer, id);
  }
  std::promise<void> inside;
  std::shared_future<void> release;
};

// A call that waits behind another thread's call on the same handle still
// ends within its own time-out.
TEST(Concurrency, WaitBehindAnotherCallCountsAgainstTheTimeOut) {
  HeldPingHandler handler;
  std::promise<void> releaser;
  handler.release = releaser.get_future().share();
  std::future<void> inside = handler.inside.get_future();
  HandlerServer server(&handler);
  rpc::RpcBinding binding("127.0.0.1", server.port());
  binding.SetComTimeout(20000);
  std::atomic<bool> firstDone{false};
  Status first = 1;
  std::thread held([&] {
    first = rpc::RemotePing(&binding, 42);
    firstDone = true;
  });
  ASSERT_EQ(inside.wait_for(std::chrono::seconds(10)), std::future_status::ready);

  binding.SetComTimeout(200);
  std::uint32_t version = 0;
  EXPECT_THROW(IgnoreStatus(rpc::RemoteVersion(&binding, &version)), rpc::RpcError);
  EXPECT_FALSE(firstDone.load());  // it gave up while the other call was still held

  releaser.set_value();
  held.join();
  EXPECT_EQ(first, kSuccess);
}

TEST(Concurrency, TwoThreadsShareOneBinding) {
  EchoHandler handler;
  HandlerServer server(&handler);
  rpc::RpcBinding binding("127.0.0.1", server.port());
  auto work = [&] {
    for (int i = 0; i < 50; ++i) {
      ScopedByteStream in, out;
      ASSERT_EQ(in->AppendU32(static_cast<std::uint32_t>(i)), kSuccess);
      ASSERT_EQ(rpc::RemoteCommand(&binding, 42, 0, in.get(), out.get()), kSuccess);
      std::uint32_t back = 0;
      ASSERT_EQ(out->ReadU32(&back), kSuccess);
      EXPECT_EQ(back, static_cast<std::uint32_t>(i));
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
}

}  // namespace
}  // namespace keld
