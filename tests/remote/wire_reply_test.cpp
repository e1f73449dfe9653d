// The client's reading of RemoteCommand replies straight into the output
// block, against a scripted peer that answers with hand-made fragments:
// allocation hints that are zero, too small or absurd, a stream that claims
// more bytes than the reply holds, and a fault.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/rpc_binding.h"
#include "remote/rpc/rpc_error.h"
#include "remote/rpc/rpc_socket.h"

namespace keld::rpc {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Accepts one connection, accepts its bind and answers its first request
// with the bytes that `answer` makes of the request's call id.
class ScriptedPeer {
 public:
  explicit ScriptedPeer(std::function<Bytes(std::uint32_t callId)> answer) : answer_(std::move(answer)) {
    std::string error;
    listener_ = ListenTcp(0x7F000001, 0, &port_, &error);
    thread_ = std::thread([this] { Serve(); });
  }
  ~ScriptedPeer() {
    thread_.join();
    close(listener_);
  }
  std::uint16_t port() const { return port_; }

 private:
  void Serve() {
    const int fd = accept(listener_, nullptr, nullptr);
    if (fd < 0) return;
    RpcSocket socket(fd);
    const Deadline deadline = Deadline::InMs(10000);
    try {
      Bytes fragment;
      const PduHeader bind = socket.ReadFragment(&fragment, kDefaultMaxFrag, deadline, 0);
      BindAckPdu ack;
      ack.secondaryAddress = {'0', '\0'};
      ack.results.push_back({kBindAccepted, 0, kNdrSyntax});
      const Bytes ackBytes = EncodeBindAck(bind.callId, ack);
      socket.SendAll(ackBytes.data(), ackBytes.size(), deadline);
      PduHeader request;
      do {
        request = socket.ReadFragment(&fragment, kDefaultMaxFrag, deadline, 0);
      } while (!(request.flags & kLastFrag));
      const Bytes reply = answer_(request.callId);
      socket.SendAll(reply.data(), reply.size(), deadline);
      socket.WaitForData(deadline);  // until the client hangs up
    } catch (const RpcError&) {
    }
  }

  std::function<Bytes(std::uint32_t)> answer_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::thread thread_;
};

Bytes Pattern(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 31 + 7);
  return bytes;
}

// The stub of a RemoteCommand reply: a stream that announces `announced`
// bytes and carries `payload`, then the status.
Bytes CommandReplyStub(std::uint32_t announced, const Bytes& payload, Status status) {
  Bytes stub;
  NdrWriter w(&stub);
  w.U32(announced);
  w.U32(0x00020000);
  w.U32(0x00020004);  // a cursor byte follows the array
  w.U32(announced);
  w.Bytes(payload.data(), payload.size());
  w.U8(payload.empty() ? 0 : payload[0]);
  w.U32(status);
  return stub;
}

// Response fragments of `stub` with the first fragment's allocation hint
// replaced by `hint`.
Bytes Fragments(std::uint32_t callId, const Bytes& stub, std::uint32_t hint, std::size_t maxFrag = 4096) {
  Bytes out;
  AppendResponseFragments(&out, callId, 0, stub.data(), stub.size(), maxFrag);
  std::memcpy(out.data() + kHeaderSize, &hint, 4);
  return out;
}

Status Command(std::uint16_t port, ByteStream* output) {
  RpcBinding binding("127.0.0.1", port);
  binding.SetComTimeout(10000);
  ScopedByteStream input;
  return RemoteCommand(&binding, 1, 2, input.get(), output);
}

void ExpectOutput(std::uint32_t hint, std::size_t size) {
  const Bytes payload = Pattern(size);
  ScriptedPeer peer([&](std::uint32_t callId) { return Fragments(callId, CommandReplyStub(size, payload, 0x1234), hint); });
  ScopedByteStream output;
  EXPECT_EQ(Command(peer.port(), output.get()), 0x1234u);
  ASSERT_EQ(output->size, size);
  EXPECT_EQ(output->cursor, output->data);
  EXPECT_EQ(Bytes(output->data, output->data + size), payload);
}

TEST(CommandReply, ZeroAllocationHintGrowsTheBlock) { ExpectOutput(0, 300001); }
TEST(CommandReply, SmallAllocationHintGrowsTheBlock) { ExpectOutput(5000, 123457); }
TEST(CommandReply, AbsurdAllocationHintIsNotTrusted) { ExpectOutput(0xFFFFFFFF, 70003); }
TEST(CommandReply, ExactAllocationHint) { ExpectOutput(static_cast<std::uint32_t>(CommandReplyStub(9999, Pattern(9999), 0).size()), 9999); }

TEST(CommandReply, StreamLongerThanTheReplyIsBadStubData) {
  // The stream claims a megabyte; the reply ends after 5000 bytes of it.
  const Bytes payload = Pattern(5000);
  ScriptedPeer peer([&](std::uint32_t callId) {
    Bytes stub = CommandReplyStub(1u << 20, payload, 0);
    return Fragments(callId, stub, 1u << 20);
  });
  ScopedByteStream output;
  try {
    IgnoreStatus(Command(peer.port(), output.get()));
    ADD_FAILURE() << "accepted";
  } catch (const RpcError& error) {
    EXPECT_EQ(error.code(), kRpcBadStubData);
  }
  EXPECT_EQ(output->data, nullptr);
}

TEST(CommandReply, MissingStatusIsBadStubData) {
  const Bytes payload = Pattern(100);
  ScriptedPeer peer([&](std::uint32_t callId) {
    Bytes stub = CommandReplyStub(100, payload, 0);
    stub.erase(stub.end() - 4, stub.end());
    return Fragments(callId, stub, 0);
  });
  ScopedByteStream output;
  EXPECT_THROW(IgnoreStatus(Command(peer.port(), output.get())), RpcError);
  EXPECT_EQ(output->data, nullptr);
}

TEST(CommandReply, FaultRaisesItsStatus) {
  ScriptedPeer peer([](std::uint32_t callId) { return EncodeFault(callId, 0, kFaultOpRangeError); });
  ScopedByteStream output;
  try {
    IgnoreStatus(Command(peer.port(), output.get()));
    ADD_FAILURE() << "accepted";
  } catch (const RpcError& error) {
    EXPECT_EQ(error.code(), kFaultOpRangeError);
  }
}

TEST(CommandReply, ReplyToAnotherCallIsRefused) {
  ScriptedPeer peer([](std::uint32_t callId) { return Fragments(callId + 1, CommandReplyStub(4, Pattern(4), 0), 0); });
  ScopedByteStream output;
  EXPECT_THROW(IgnoreStatus(Command(peer.port(), output.get())), RpcError);
}

}  // namespace
}  // namespace keld::rpc
