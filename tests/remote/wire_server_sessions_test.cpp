// keldcfgd's service: a session that one connection is using must outlive a
// close or a reopen that another connection of the same client sends
// meanwhile (image commands travel on their own connection).
#include <gtest/gtest.h>

#include "session/session_factory.h"
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "local/keld/local_keld_config_session.h"
#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/rpc_binding.h"
#include "session/session_registry.h"
#include "support_servers.h"

namespace keld {
namespace {

using namespace testsupport;

// A local session whose commands hold until the test lets them go; it then
// writes into itself, so a session destroyed under it shows.
class HeldCommandSession : public LocalKELDConfigSession {
 public:
  using LocalKELDConfigSession::LocalKELDConfigSession;
  ~HeldCommandSession() override { destroyed = true; }
  Status ExecuteCommand(std::uint32_t command, ByteStream*, ByteStream* results) override {
    inside.set_value();
    release.wait_for(std::chrono::seconds(10));
    lastCommand = command;
    return results->AppendU32(lastCommand);
  }
  std::uint32_t lastCommand = 0;
  static inline std::promise<void> inside;
  static inline std::shared_future<void> release;
  static inline std::atomic<bool> destroyed{false};
};

class ServerSessions : public ::testing::Test {
 protected:
  void SetUp() override {
    HeldCommandSession::inside = {};
    HeldCommandSession::release = releaser_.get_future().share();
    HeldCommandSession::destroyed = false;
    testing::SetSessionBuilder([](std::uint32_t, const char*, const char* name, Status* status) {
      return new HeldCommandSession(name, status);
    });
  }
  void TearDown() override {
    if (!released_) releaser_.set_value();
    testing::SetSessionBuilder(nullptr);
  }
  void Release() {
    released_ = true;
    releaser_.set_value();
  }
  // True when the session has gone within `ms`.
  static bool DestroyedWithin(int ms) {
    for (int i = 0; i < ms / 10 && !HeldCommandSession::destroyed; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return HeldCommandSession::destroyed;
  }

  // Opens a held session over the control connection into id_.
  void OpenHeld() { ASSERT_EQ(rpc::RemoteOpen(&control_, kDriverKELD, "client:held", "img0", &id_), kSuccess); }

  std::promise<void> releaser_;
  bool released_ = false;
  ServiceServer server_;
  rpc::RpcBinding control_{"127.0.0.1", server_.port()};
  rpc::RpcBinding images_{"127.0.0.1", server_.port()};
  std::uint32_t id_ = 0;
};

// Runs command 10 on `binding` in a thread and waits until it is inside the session.
std::thread CommandInFlight(rpc::RpcBinding* binding, std::uint32_t id, Status* status, std::uint32_t* echoed) {
  std::future<void> inside = HeldCommandSession::inside.get_future();
  std::thread thread([=] {
    ScopedByteStream in, out;
    *status = rpc::RemoteCommand(binding, id, 10, in.get(), out.get());
    if (*status == kSuccess) {
      EXPECT_EQ(out->ReadU32(echoed), kSuccess);
    }
  });
  EXPECT_EQ(inside.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  return thread;
}

TEST_F(ServerSessions, CloseWaitsForTheCommandInFlight) {
  OpenHeld();
  rpc::RpcBinding& control = control_;
  const std::uint32_t id = id_;

  Status commandStatus = 1;
  std::uint32_t echoed = 0;
  std::thread command = CommandInFlight(&images_, id, &commandStatus, &echoed);
  std::atomic<Status> closeStatus{1};
  std::thread close([&] { closeStatus.store(rpc::RemoteClose(&control, id)); });

  EXPECT_FALSE(DestroyedWithin(300));  // not while the command runs on it
  Release();
  command.join();
  close.join();
  EXPECT_EQ(commandStatus, kSuccess);
  EXPECT_EQ(echoed, 10u);
  EXPECT_EQ(closeStatus.load(), kSuccess);
  EXPECT_TRUE(HeldCommandSession::destroyed);
  EXPECT_EQ(server_.service->SessionCount(), 0u);
  EXPECT_EQ(rpc::RemotePing(&control, id), kInvalidSession);
}

TEST_F(ServerSessions, ReopenWaitsForTheCommandInFlight) {
  OpenHeld();
  rpc::RpcBinding& control = control_;
  const std::uint32_t id = id_;

  Status commandStatus = 1;
  std::uint32_t echoed = 0;
  std::thread command = CommandInFlight(&images_, id, &commandStatus, &echoed);
  std::atomic<Status> openStatus{1};
  std::atomic<std::uint32_t> second{0};
  std::thread reopen([&] {
    std::uint32_t newId = 0;
    openStatus.store(rpc::RemoteOpen(&control, kDriverKELD, "client:held", "img0", &newId));
    second = newId;
  });

  EXPECT_FALSE(DestroyedWithin(300));
  Release();
  command.join();
  reopen.join();
  EXPECT_EQ(commandStatus, kSuccess);
  EXPECT_EQ(echoed, 10u);
  EXPECT_EQ(openStatus.load(), kSuccess);
  EXPECT_NE(second.load(), id);
  // The old id has gone with its session; the new one answers.
  EXPECT_EQ(rpc::RemotePing(&control, id), kInvalidSession);
  EXPECT_EQ(rpc::RemotePing(&control, second.load()), kSuccess);
  EXPECT_EQ(server_.service->SessionCount(), 1u);
  EXPECT_EQ(rpc::RemoteClose(&control, second.load()), kSuccess);
}

// A drained stop closes the idle connection at once, lets the call in
// progress finish and answers it, and only then has every connection gone.
TEST_F(ServerSessions, StopDrainsTheCallInProgress) {
  OpenHeld();
  Status commandStatus = 1;
  std::uint32_t echoed = 0;
  std::thread command = CommandInFlight(&images_, id_, &commandStatus, &echoed);
  std::atomic<bool> stopped{false};
  std::atomic<bool> drained{false};
  std::thread stop([&] {
    drained = server_.rpc->Stop(10000);
    stopped = true;
  });
  for (int i = 0; i < 500 && server_.rpc->ConnectionCount() != 1; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(server_.rpc->ConnectionCount(), 1u);  // the control connection has gone
  EXPECT_FALSE(stopped.load());
  Release();
  command.join();
  stop.join();
  EXPECT_EQ(commandStatus, kSuccess);
  EXPECT_EQ(echoed, 10u);
  EXPECT_TRUE(drained.load());
  EXPECT_EQ(server_.rpc->ConnectionCount(), 0u);
  server_.service->Stop();
  EXPECT_TRUE(HeldCommandSession::destroyed);
}

// keldcfgd's own answers to ids it does not know and to the password
// procedure, which the library's client never sends but other peers may.
TEST(ServerAnswers, UnknownIdsAndThePasswordProcedure) {
  ServiceServer server;
  rpc::RpcBinding binding("127.0.0.1", server.port());
  ScopedByteStream in, out;
  ASSERT_EQ(in->AppendU32(1), kSuccess);
  EXPECT_EQ(rpc::RemoteCommand(&binding, 77, 10, in.get(), out.get()), kInvalidSession);
  EXPECT_EQ(rpc::RemotePing(&binding, 77), kInvalidSession);
  EXPECT_EQ(rpc::RemoteClose(&binding, 77), kInvalidSession);

  const int fd = ConnectRaw(server.port());
  ASSERT_GE(fd, 0);
  rpc::BindPdu bind;
  bind.contexts.push_back({0, rpc::kCfgRemoteSyntax, {rpc::kNdrSyntax}});
  const std::vector<std::uint8_t> bindPdu = rpc::EncodeBind(1, bind);
  ASSERT_EQ(send(fd, bindPdu.data(), bindPdu.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bindPdu.size()));
  ASSERT_FALSE(ReadRawPdu(fd).empty());
  std::vector<std::uint8_t> stub;
  rpc::NdrWriter writer(&stub);
  writer.U32(5);
  writer.U32(6);
  std::vector<std::uint8_t> request;
  rpc::AppendRequestFragments(&request, 2, 0, rpc::kRemotePassword, stub.data(), stub.size(), rpc::kMinFragSize);
  ASSERT_EQ(send(fd, request.data(), request.size(), MSG_NOSIGNAL), static_cast<ssize_t>(request.size()));
  const std::vector<std::uint8_t> response = ReadRawPdu(fd);
  ASSERT_FALSE(response.empty());
  ASSERT_EQ(response[2], rpc::kPduResponse);
  const std::size_t at = rpc::ParseResponse(response.data(), response.size());
  rpc::NdrReader reader(response.data() + at, response.size() - at);
  EXPECT_EQ(reader.U32(), kNotSupported);
  close(fd);
}

}  // namespace
}  // namespace keld
