// The client's reading of RemoteCommand replies straight into the output
// block, against a scripted peer that answers with hand-made fragments:
// allocation hints that are zero, too small or absurd, a stream that claims
// more bytes than the reply holds, and a fault; and the liberties other
// runtimes take: replies numbered as another call, authentication trailers
// nobody asked for, secondary addresses of any length, further bind
// results, small fragments and protocol version 5.1.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "foundation/debug_log.h"
#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/response_reader.h"
#include "remote/rpc/rpc_binding.h"
#include "remote/rpc/rpc_error.h"
#include "remote/rpc/rpc_socket.h"

namespace keld::rpc {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The bind_ack a plain peer answers with.
Bytes PlainBindAck(std::uint32_t callId) {
  BindAckPdu ack;
  ack.secondaryAddress = {'0', '\0'};
  ack.results.push_back({kBindAccepted, 0, kNdrSyntax});
  return EncodeBindAck(callId, ack);
}

// Accepts one connection, answers its bind with what `bindAck` makes of the
// bind's call id, and its first request with the bytes that `answer` makes
// of the request's call id.
class ScriptedPeer {
 public:
  explicit ScriptedPeer(std::function<Bytes(std::uint32_t callId)> answer,
                        std::function<Bytes(std::uint32_t callId)> bindAck = PlainBindAck, std::size_t piece = 0)
      : answer_(std::move(answer)), bindAck_(std::move(bindAck)), piece_(piece) {
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
      const Bytes ackBytes = bindAck_(bind.callId);
      socket.SendAll(ackBytes.data(), ackBytes.size(), deadline);
      PduHeader request;
      do {
        request = socket.ReadFragment(&fragment, kDefaultMaxFrag, deadline, 0);
      } while (!(request.flags & kLastFrag));
      const Bytes reply = answer_(request.callId);
      if (piece_ == 0) {
        socket.SendAll(reply.data(), reply.size(), deadline);
      } else {
        // In pieces with pauses between them, so that the client meets
        // headers and bodies cut anywhere.
        for (std::size_t at = 0; at < reply.size(); at += piece_) {
          socket.SendAll(reply.data() + at, std::min(piece_, reply.size() - at), deadline);
          std::this_thread::sleep_for(std::chrono::microseconds(300));
        }
      }
      socket.WaitForData(deadline);  // until the client hangs up
    } catch (const RpcError&) {
    }
  }

  std::function<Bytes(std::uint32_t)> answer_;
  std::function<Bytes(std::uint32_t)> bindAck_;
  std::size_t piece_ = 0;
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

// The code of the RpcError a command ends in; 0 (and a failure) where the
// reply is accepted.
std::uint32_t FailedCommand(ScriptedPeer* peer, ByteStream* output) {
  try {
    IgnoreStatus(Command(peer->port(), output));
    ADD_FAILURE() << "accepted";
  } catch (const RpcError& error) {
    return error.code();
  }
  return 0;
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
  EXPECT_EQ(FailedCommand(&peer, output.get()), kRpcBadStubData);
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
  EXPECT_EQ(FailedCommand(&peer, output.get()), kFaultOpRangeError);
}

// Records the library's debug notes for the scope.
class DebugNotes {
 public:
  DebugNotes() {
    keld::SetDebugSink([this](const std::string& line) {
      std::lock_guard<std::mutex> guard(lock_);
      lines_.push_back(line);
    });
  }
  ~DebugNotes() { keld::SetDebugSink({}); }
  std::vector<std::string> lines() {
    std::lock_guard<std::mutex> guard(lock_);
    return lines_;
  }

 private:
  std::mutex lock_;
  std::vector<std::string> lines_;
};

// Walks the fragments of `block` and gives each, with its offset, to `visit`.
void ForEachFragment(const Bytes& block, const std::function<void(std::size_t at, std::size_t length)>& visit) {
  for (std::size_t at = 0; at < block.size();) {
    const std::size_t length = block[at + 8] | (block[at + 9] << 8);
    visit(at, length);
    at += length;
  }
}

// Gives every fragment of `block` `padding` bytes of padding, a security
// trailer and `authLength` bytes of authentication, as a peer that signs its
// replies would.
Bytes WithAuthTrailers(const Bytes& block, std::uint8_t padding, std::uint16_t authLength) {
  Bytes out;
  ForEachFragment(block, [&](std::size_t at, std::size_t length) {
    const std::size_t start = out.size();
    out.insert(out.end(), block.begin() + static_cast<std::ptrdiff_t>(at),
               block.begin() + static_cast<std::ptrdiff_t>(at + length));
    out.insert(out.end(), padding, 0xEE);
    const std::uint8_t trailer[8] = {10, 2, padding, 0, 0, 0, 0, 0};  // type, level, padding, reserved, context
    out.insert(out.end(), trailer, trailer + 8);
    out.insert(out.end(), authLength, 0xAA);
    const std::size_t total = out.size() - start;
    out[start + 8] = static_cast<std::uint8_t>(total);
    out[start + 9] = static_cast<std::uint8_t>(total >> 8);
    out[start + 10] = static_cast<std::uint8_t>(authLength);
    out[start + 11] = static_cast<std::uint8_t>(authLength >> 8);
  });
  return out;
}

// Expects the command to come back with the payload whole and status 0x1234.
void ExpectAnswered(ScriptedPeer* peer, const Bytes& payload) {
  ScopedByteStream output;
  EXPECT_EQ(Command(peer->port(), output.get()), 0x1234u);
  ASSERT_EQ(output->size, payload.size());
  EXPECT_EQ(Bytes(output->data, output->data + payload.size()), payload);
}

TEST(CommandReply, ReplyToAnotherCallIsThisCallsAndIsNoted) {
  DebugNotes notes;
  const Bytes payload = Pattern(9000);
  ScriptedPeer peer([&](std::uint32_t callId) {
    return Fragments(callId - 1, CommandReplyStub(9000, payload, 0x1234), 0, 4096);
  });
  ExpectAnswered(&peer, payload);
  const std::vector<std::string> lines = notes.lines();
  ASSERT_EQ(lines.size(), 1u);  // noted once, not once per fragment
  EXPECT_NE(lines[0].find("call id"), std::string::npos) << lines[0];
}

TEST(CommandReply, BindAckForAnotherCallIsAccepted) {
  DebugNotes notes;
  const Bytes payload = Pattern(100);
  ScriptedPeer peer([&](std::uint32_t callId) { return Fragments(callId, CommandReplyStub(100, payload, 0x1234), 0); },
                    [](std::uint32_t callId) { return PlainBindAck(callId + 7); });
  ExpectAnswered(&peer, payload);
  EXPECT_EQ(notes.lines().size(), 1u);
}

TEST(CommandReply, SecondaryAddressOfAnyLength) {
  for (std::size_t length : {0u, 1u, 2u, 3u, 5u, 6u, 7u, 8u, 31u, 200u}) {
    SCOPED_TRACE(length);
    const Bytes payload = Pattern(64);
    ScriptedPeer peer([&](std::uint32_t callId) { return Fragments(callId, CommandReplyStub(64, payload, 0x1234), 0); },
                      [length](std::uint32_t callId) {
                        BindAckPdu ack;
                        ack.secondaryAddress.assign(length, '7');
                        ack.results.push_back({kBindAccepted, 0, kNdrSyntax});
                        return EncodeBindAck(callId, ack);
                      });
    ExpectAnswered(&peer, payload);
  }
}

TEST(CommandReply, BindAckWithFurtherResultsAndAnAuthTrailerIsAccepted) {
  const Bytes payload = Pattern(64);
  ScriptedPeer peer([&](std::uint32_t callId) { return Fragments(callId, CommandReplyStub(64, payload, 0x1234), 0); },
                    [](std::uint32_t callId) {
                      BindAckPdu ack;
                      ack.secondaryAddress = {'4', '9', '1', '5', '2', '\0'};
                      ack.results.push_back({kBindAccepted, 0, kNdrSyntax});
                      ack.results.push_back({kBindProviderRejection, kReasonTransferSyntaxNotSupported, {}});
                      ack.results.push_back({3, 3, {}});  // a negotiation answer for contexts not offered
                      return WithAuthTrailers(EncodeBindAck(callId, ack), 0, 16);
                    });
  ExpectAnswered(&peer, payload);
}

TEST(CommandReply, AuthTrailersAndPaddingAreSkippedInEveryFragment) {
  for (std::uint8_t padding : {0, 1, 4, 7}) {
    SCOPED_TRACE(static_cast<int>(padding));
    const Bytes payload = Pattern(10007);
    // Fragments of 2048 bytes, each then longer by its padding and trailer.
    ScriptedPeer peer([&](std::uint32_t callId) {
      return WithAuthTrailers(Fragments(callId, CommandReplyStub(10007, payload, 0x1234), 0, 2048), padding, 16);
    });
    ExpectAnswered(&peer, payload);
  }
}

TEST(CommandReply, FaultWithAnAuthTrailerRaisesItsStatus) {
  ScriptedPeer peer([](std::uint32_t callId) { return WithAuthTrailers(EncodeFault(callId, 0, kFaultOpRangeError), 0, 16); });
  ScopedByteStream output;
  EXPECT_EQ(FailedCommand(&peer, output.get()), kFaultOpRangeError);
}

TEST(CommandReply, PaddingBeyondTheStubIsRefused) {
  ScriptedPeer peer([](std::uint32_t callId) {
    Bytes block = WithAuthTrailers(Fragments(callId, CommandReplyStub(4, Pattern(4), 0x1234), 0), 0, 16);
    block[block.size() - 16 - 8 + 2] = 250;  // more padding than the fragment has stub
    return block;
  });
  ScopedByteStream output;
  EXPECT_THROW(IgnoreStatus(Command(peer.port(), output.get())), RpcError);
}

TEST(CommandReply, AuthLengthBeyondTheFragmentIsRefused) {
  ScriptedPeer peer([](std::uint32_t callId) {
    Bytes block = Fragments(callId, CommandReplyStub(4, Pattern(4), 0x1234), 0);
    block[10] = 0xF0;  // authentication longer than the whole fragment
    return block;
  });
  ScopedByteStream output;
  EXPECT_THROW(IgnoreStatus(Command(peer.port(), output.get())), RpcError);
}

TEST(CommandReply, FragmentsFarSmallerThanNegotiatedAreAccepted) {
  const Bytes payload = Pattern(5000);
  // 40-byte fragments: 16 stub bytes each.
  ScriptedPeer peer([&](std::uint32_t callId) { return Fragments(callId, CommandReplyStub(5000, payload, 0x1234), 0, 40); });
  ExpectAnswered(&peer, payload);
}

TEST(CommandReply, ProtocolMinorVersionOneIsAccepted) {
  const Bytes payload = Pattern(3000);
  ScriptedPeer peer(
      [&](std::uint32_t callId) {
        Bytes block = Fragments(callId, CommandReplyStub(3000, payload, 0x1234), 0, 1024);
        ForEachFragment(block, [&](std::size_t at, std::size_t) { block[at + 1] = 1; });
        return block;
      },
      [](std::uint32_t callId) {
        Bytes ack = PlainBindAck(callId);
        ack[1] = 1;
        return ack;
      });
  ExpectAnswered(&peer, payload);
}

TEST(CommandReply, ProtocolMinorVersionTwoIsRefused) {
  ScriptedPeer peer([](std::uint32_t callId) {
    Bytes block = Fragments(callId, CommandReplyStub(4, Pattern(4), 0x1234), 0);
    block[1] = 2;
    return block;
  });
  ScopedByteStream output;
  EXPECT_THROW(IgnoreStatus(Command(peer.port(), output.get())), RpcError);
}

const std::size_t kFullBody = kDefaultMaxFrag - kResponseHeaderSize;

// Response fragments of `stub` of the given stub sizes, then of the
// negotiated length; the peer's word for the sizes, as a runtime that cuts
// its own way.
Bytes FragmentsOfSizes(std::uint32_t callId, const Bytes& stub, const std::vector<std::size_t>& sizes) {
  Bytes out;
  std::size_t at = 0;
  for (std::size_t i = 0; at < stub.size(); ++i) {
    const std::size_t size = std::min(i < sizes.size() ? sizes[i] : kFullBody, stub.size() - at);
    Bytes piece;
    // Room for the whole piece in one fragment (the layer cuts at multiples of 8).
    AppendResponseFragments(&piece, callId, 0, stub.data() + at, size, kResponseHeaderSize + (size + 7) / 8 * 8);
    piece[3] = static_cast<std::uint8_t>((at == 0 ? kFirstFrag : 0) | (at + size == stub.size() ? kLastFrag : 0));
    out.insert(out.end(), piece.begin(), piece.end());
    at += size;
  }
  return out;
}


// A large stub in fragments of the negotiated length, as this library's
// server sends it: read ahead across fragments, whole.
TEST(CommandReply, FragmentsOfTheNegotiatedLengthAreReadAhead) {
  const Bytes payload = Pattern(1500007);
  ScriptedPeer peer([&](std::uint32_t callId) {
    return Fragments(callId, CommandReplyStub(1500007, payload, 0x1234), 0, kDefaultMaxFrag);
  });
  ExpectAnswered(&peer, payload);
}

// Reading ahead assumes the negotiated length; a shorter fragment among
// full ones (and a longer last one) is read the ordinary way and the rest
// ahead again.
TEST(CommandReply, AShorterFragmentAmongFullOnesIsReadAsItIs) {
  const Bytes payload = Pattern(700001);
  ScriptedPeer peer([&](std::uint32_t callId) {
    return FragmentsOfSizes(callId, CommandReplyStub(700001, payload, 0x1234),
                            {kFullBody, kFullBody, 999, kFullBody, 3, kFullBody, kFullBody, 17, kFullBody});
  });
  ExpectAnswered(&peer, payload);
}

// The same arriving in pieces that cut headers and bodies anywhere.
TEST(CommandReply, FragmentsArrivingInPiecesAreReadWhole) {
  const Bytes payload = Pattern(700001);
  for (std::size_t piece : {std::size_t{7001}, std::size_t{65539}, std::size_t{13}}) {
    const std::size_t shown = piece == 13 ? 20000 : payload.size();  // a small one in tiny pieces
    const Bytes part(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(shown));
    ScriptedPeer peer(
        [&](std::uint32_t callId) {
          return FragmentsOfSizes(callId, CommandReplyStub(static_cast<std::uint32_t>(shown), part, 0x1234),
                                  {kFullBody, 500, kFullBody, kFullBody, kFullBody, kFullBody});
        },
        PlainBindAck, piece);
    ExpectAnswered(&peer, part);
  }
}

// A fault after full fragments of a reply raises its status.
TEST(CommandReply, AFaultAmongFullFragmentsRaisesItsStatus) {
  const Bytes payload = Pattern(400000);
  ScriptedPeer peer([&](std::uint32_t callId) {
    Bytes out = FragmentsOfSizes(callId, CommandReplyStub(400000, payload, 0), {kFullBody, kFullBody});
    // The first two fragments, then the fault.
    std::size_t cut = 0;
    int fragments = 0;
    ForEachFragment(out, [&](std::size_t at, std::size_t length) {
      if (++fragments <= 2) cut = at + length;
    });
    out.resize(cut);
    const Bytes fault = EncodeFault(callId, 0, kFaultOpRangeError);
    out.insert(out.end(), fault.begin(), fault.end());
    return out;
  });
  ScopedByteStream output;
  EXPECT_EQ(FailedCommand(&peer, output.get()), kFaultOpRangeError);
}

// A stream that claims more than full fragments hold ends as bad stub data,
// not in a wait for bytes that never come.
TEST(CommandReply, AStreamLongerThanItsFullFragmentsIsBadStubData) {
  const Bytes payload = Pattern(300000);
  ScriptedPeer peer([&](std::uint32_t callId) {
    return Fragments(callId, CommandReplyStub(900000, payload, 0), 0, kDefaultMaxFrag);
  });
  ScopedByteStream output;
  EXPECT_EQ(FailedCommand(&peer, output.get()), kRpcBadStubData);
}

// The fragments of a `stubSize`-byte stub of `maxFrag` bytes each, the
// second flagged last although more follow, read as the client reads a
// reply from a socket that holds all of it: `want` bytes in one stretch, or
// 8 bytes at a time. Answers the RPC error's code, 0 where the read passed.
std::uint32_t ReadWithTheSecondFlaggedLast(std::size_t maxFrag, bool flagged, std::size_t want, bool inSteps) {
  int fds[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  const Bytes stub = Pattern(20000);
  Bytes out;
  AppendResponseFragments(&out, 7, 0, stub.data(), stub.size(), maxFrag);
  int fragments = 0;
  if (flagged) {
    ForEachFragment(out, [&](std::size_t at, std::size_t) {
      if (++fragments == 2) out[at + 3] |= kLastFrag;
    });
  }
  EXPECT_EQ(write(fds[1], out.data(), out.size()), static_cast<ssize_t>(out.size()));
  RpcSocket socket(fds[0]);
  const Deadline deadline = Deadline::InMs(5000);
  std::uint32_t code = 0;
  try {
    ResponseReader reader(&socket, 7, maxFrag, deadline);
    Bytes target(want);
    const std::size_t step = inSteps ? 8 : want;
    for (std::size_t at = 0; at < want; at += step) reader.Read(target.data() + at, std::min(step, want - at));
    EXPECT_EQ(Bytes(stub.begin(), stub.begin() + static_cast<std::ptrdiff_t>(want)), target);
  } catch (const RpcError& error) {
    code = error.code();
  }
  close(fds[1]);
  return code;
}

// No fragment may follow the last, whether the stretch is read across the
// fragments or in small steps.
TEST(CommandReply, AFragmentAfterTheLastIsBadStubData) {
  EXPECT_EQ(ReadWithTheSecondFlaggedLast(4096, false, 16000, false), 0u);
  EXPECT_EQ(ReadWithTheSecondFlaggedLast(4096, true, 16000, false), kRpcBadStubData);
  EXPECT_EQ(ReadWithTheSecondFlaggedLast(4096, true, 16000, true), kRpcBadStubData);
}

// A peer that cuts its fragments shorter than negotiated, all alike: read
// ahead at the peer's length.
TEST(CommandReply, FragmentsAllShorterThanNegotiatedAreReadWhole) {
  const Bytes payload = Pattern(900001);
  ScriptedPeer peer([&](std::uint32_t callId) {
    return Fragments(callId, CommandReplyStub(900001, payload, 0x1234), 0, kDefaultMaxFrag - 8);
  });
  ExpectAnswered(&peer, payload);
}

}  // namespace
}  // namespace keld::rpc
