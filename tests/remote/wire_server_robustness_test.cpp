// The server never crashes or hangs on what a peer sends: each broken
// connection is closed and the server goes on serving others.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/rpc_binding.h"
#include "support_servers.h"

namespace keld {
namespace {

using namespace testsupport;
using Bytes = std::vector<std::uint8_t>;

class ServerRobustness : public ::testing::Test {
 protected:
  ServerRobustness() : server_(&handler_, rpc::kMinFragSize, /*ioTimeoutMs=*/300) {}

  void Send(int fd, const Bytes& bytes) { ASSERT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size())); }

  Bytes Bind(std::uint16_t frag = rpc::kMinFragSize, rpc::SyntaxId syntax = rpc::kCfgRemoteSyntax) {
    rpc::BindPdu bind;
    bind.maxXmitFrag = frag;
    bind.maxRecvFrag = frag;
    bind.contexts.push_back({0, syntax, {rpc::kNdrSyntax}});
    return rpc::EncodeBind(1, bind);
  }

  // Reads one PDU from a raw socket (blocking, bounded by SO_RCVTIMEO).
  Bytes ReadPdu(int fd) { return ReadRawPdu(fd); }

  // The server still answers a proper client.
  void ExpectServerAlive() {
    rpc::RpcBinding binding("127.0.0.1", server_.port());
    binding.SetComTimeout(5000);
    std::uint32_t version = 0;
    EXPECT_EQ(rpc::RemoteVersion(&binding, &version), kSuccess);
    EXPECT_EQ(version, 0x03020000u);
  }

  EchoHandler handler_;
  HandlerServer server_;
};

TEST_F(ServerRobustness, GarbageClosesTheConnection) {
  const int fd = ConnectRaw(server_.port());
  Send(fd, Bytes(64, 0xEE));
  EXPECT_TRUE(PeerCloses(fd, 5000));
  close(fd);
  ExpectServerAlive();
}

TEST_F(ServerRobustness, TruncatedHeaderThenSilenceClosesAfterTheTimeOut) {
  const int fd = ConnectRaw(server_.port());
  Bytes bind = Bind();
  bind.resize(10);
  Send(fd, bind);
  EXPECT_TRUE(PeerCloses(fd, 5000));
  close(fd);
  ExpectServerAlive();
}

TEST_F(ServerRobustness, PeerStoppingMidFragmentIsDropped) {
  const int fd = ConnectRaw(server_.port());
  Bytes bind = Bind();
  bind.resize(bind.size() - 4);
  Send(fd, bind);
  EXPECT_TRUE(PeerCloses(fd, 5000));
  close(fd);
  ExpectServerAlive();
}

TEST_F(ServerRobustness, MalformedBindIsRefused) {
  const int fd = ConnectRaw(server_.port());
  Bytes bind = Bind();
  bind[24] = 9;  // nine context elements announced, one present
  Send(fd, bind);
  const Bytes reply = ReadPdu(fd);
  ASSERT_FALSE(reply.empty());
  EXPECT_EQ(reply[2], rpc::kPduBindNak);
  EXPECT_TRUE(PeerCloses(fd, 5000));
  close(fd);
  ExpectServerAlive();
}

TEST_F(ServerRobustness, WrongInterfaceIsRejectedAndCallsFault) {
  rpc::SyntaxId other = rpc::kCfgRemoteSyntax;
  other.uuid[0] ^= 1;
  const int fd = ConnectRaw(server_.port());
  Send(fd, Bind(rpc::kMinFragSize, other));
  const Bytes ack = ReadPdu(fd);
  ASSERT_FALSE(ack.empty());
  const rpc::BindAckPdu parsed = rpc::ParseBindAck(ack.data(), ack.size());
  ASSERT_EQ(parsed.results.size(), 1u);
  EXPECT_EQ(parsed.results[0].result, rpc::kBindProviderRejection);
  EXPECT_EQ(parsed.results[0].reason, rpc::kReasonAbstractSyntaxNotSupported);
  Bytes request;
  rpc::AppendRequestFragments(&request, 2, 0, rpc::kRemoteVersion, nullptr, 0, rpc::kMinFragSize);
  Send(fd, request);
  const Bytes fault = ReadPdu(fd);
  ASSERT_FALSE(fault.empty());
  EXPECT_EQ(rpc::ParseFault(fault.data(), fault.size()), rpc::kFaultUnknownInterface);
  close(fd);

  // A newer minor version than ours is refused as well.
  rpc::SyntaxId newer = rpc::kCfgRemoteSyntax;
  newer.minor = 4;
  rpc::RpcBinding binding("127.0.0.1", server_.port());
  std::uint32_t version = 0;
  EXPECT_EQ(rpc::RemoteVersion(&binding, &version), kSuccess);
  const int fd2 = ConnectRaw(server_.port());
  Send(fd2, Bind(rpc::kMinFragSize, newer));
  const Bytes ack2 = ReadPdu(fd2);
  ASSERT_FALSE(ack2.empty());
  EXPECT_EQ(rpc::ParseBindAck(ack2.data(), ack2.size()).results.at(0).result, rpc::kBindProviderRejection);
  close(fd2);
}

TEST_F(ServerRobustness, UnknownProcedureNumberFaults) {
  const int fd = ConnectRaw(server_.port());
  Send(fd, Bind());
  ASSERT_FALSE(ReadPdu(fd).empty());
  for (const std::uint16_t opnum : {std::uint16_t{8}, std::uint16_t{0xFFFF}}) {
    Bytes request;
    rpc::AppendRequestFragments(&request, 3, 0, opnum, nullptr, 0, rpc::kMinFragSize);
    Send(fd, request);
    const Bytes fault = ReadPdu(fd);
    ASSERT_FALSE(fault.empty());
    EXPECT_EQ(fault[2], rpc::kPduFault);
    EXPECT_EQ(rpc::ParseFault(fault.data(), fault.size()), rpc::kFaultOpRangeError);
  }
  // Short stub data of a known procedure is a fault too, and the
  // connection goes on.
  Bytes request;
  const std::uint8_t two[2] = {1, 2};
  rpc::AppendRequestFragments(&request, 4, 0, rpc::kRemotePing, two, 2, rpc::kMinFragSize);
  Send(fd, request);
  const Bytes fault = ReadPdu(fd);
  ASSERT_FALSE(fault.empty());
  EXPECT_EQ(rpc::ParseFault(fault.data(), fault.size()), 0x6F7u);
  request.clear();
  rpc::AppendRequestFragments(&request, 5, 0, rpc::kRemoteVersion, nullptr, 0, rpc::kMinFragSize);
  Send(fd, request);
  const Bytes response = ReadPdu(fd);
  ASSERT_FALSE(response.empty());
  EXPECT_EQ(response[2], rpc::kPduResponse);
  close(fd);
}

TEST_F(ServerRobustness, FragmentBeyondTheNegotiatedSizeClosesTheConnection) {
  const int fd = ConnectRaw(server_.port());
  Send(fd, Bind());
  ASSERT_FALSE(ReadPdu(fd).empty());
  Bytes stub(4000, 0);
  Bytes request;
  rpc::AppendRequestFragments(&request, 2, 0, rpc::kRemoteCommand, stub.data(), stub.size(), 8000);
  Send(fd, request);
  EXPECT_TRUE(PeerCloses(fd, 5000));
  close(fd);
  ExpectServerAlive();
}

TEST_F(ServerRobustness, RequestBeforeBindClosesTheConnection) {
  const int fd = ConnectRaw(server_.port());
  Bytes request;
  rpc::AppendRequestFragments(&request, 2, 0, rpc::kRemoteVersion, nullptr, 0, rpc::kMinFragSize);
  Send(fd, request);
  EXPECT_TRUE(PeerCloses(fd, 5000));
  close(fd);
  ExpectServerAlive();
}

TEST_F(ServerRobustness, MiddleFragmentOfAnotherCallClosesTheConnection) {
  const int fd = ConnectRaw(server_.port());
  Send(fd, Bind());
  ASSERT_FALSE(ReadPdu(fd).empty());
  Bytes stub(3000, 0);
  Bytes first, second;
  rpc::AppendRequestFragments(&first, 2, 0, rpc::kRemoteCommand, stub.data(), stub.size(), rpc::kMinFragSize);
  rpc::AppendRequestFragments(&second, 3, 0, rpc::kRemoteCommand, stub.data(), stub.size(), rpc::kMinFragSize);
  const std::size_t firstLength = first[8] | first[9] << 8;
  Bytes mixed(first.begin(), first.begin() + static_cast<long>(firstLength));
  mixed.insert(mixed.end(), second.begin() + static_cast<long>(firstLength), second.end());
  Send(fd, mixed);
  EXPECT_TRUE(PeerCloses(fd, 5000));
  close(fd);
  ExpectServerAlive();
}

TEST_F(ServerRobustness, SecondBindClosesTheConnection) {
  const int fd = ConnectRaw(server_.port());
  Send(fd, Bind());
  ASSERT_FALSE(ReadPdu(fd).empty());
  Send(fd, Bind());
  EXPECT_TRUE(PeerCloses(fd, 5000));
  close(fd);
  ExpectServerAlive();
}

TEST_F(ServerRobustness, ManyConnectionsAtOnce) {
  std::vector<std::unique_ptr<rpc::RpcBinding>> bindings;
  for (int i = 0; i < 8; ++i) bindings.push_back(std::make_unique<rpc::RpcBinding>("127.0.0.1", server_.port()));
  for (auto& binding : bindings) EXPECT_EQ(rpc::RemotePing(binding.get(), 42), kSuccess);
  for (auto& binding : bindings) EXPECT_EQ(rpc::RemotePing(binding.get(), 7), kInvalidSession);
  EXPECT_EQ(handler_.connections.load(), 8);
}

}  // namespace
}  // namespace keld
