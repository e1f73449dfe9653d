// The target's dispatcher: numbers it does not know, the handlers that trust
// nothing a peer sends, and which sessions serve which commands.
#include <gtest/gtest.h>

#include "local/keld1394/local_keldfw_config_session.h"
#include "local/keldnv/local_keldnv_config_session.h"
#include "support/table_double.h"
#include "attributes/wire.h"

namespace keld {
namespace {

using test::TableDouble;
using testing::Wire;

struct Reply {
  Status status;
  std::uint32_t size;
};

Reply Execute(LocalDeviceConfigSession& session, std::uint32_t command, const Wire& input) {
  ScopedByteStream in;
  ScopedByteStream out;
  input.Into(in.get());
  const Status status = session.ExecuteCommand(command, in.get(), out.get());
  return {status, out->size};
}

TEST(Dispatch, UnknownNumbersAnswerUnknownProcedureWithAnEmptyOutput) {
  TableDouble session;
  for (const std::uint32_t number : {59u, 75u, 1000u, 0xFFFFFFFFu}) {
    const Reply reply = Execute(session, number, Wire().U32(1).U32(2));
    EXPECT_EQ(reply.status, kRemoteProcedureUnknown) << number;
    EXPECT_EQ(reply.size, 0u) << number;
  }
  EXPECT_TRUE(session.log.empty());
}

TEST(Dispatch, TheOutputIsEmptiedFirst) {
  TableDouble session;
  ScopedByteStream in;
  ScopedByteStream out;
  ASSERT_EQ(out->AppendU32(99), kSuccess);
  EXPECT_EQ(session.ExecuteCommand(59, in.get(), out.get()), kRemoteProcedureUnknown);
  EXPECT_EQ(out->size, 0u);
  EXPECT_EQ(out->data, nullptr);
}

TEST(Dispatch, AShortInputIsRefusedBeforeTheOperationRuns) {
  TableDouble session;
  // ConfigureTrigger wants four u32; three come.
  EXPECT_EQ(Execute(session, 22, Wire().U32(1).U32(2).U32(3)).status, kByteStreamLoadFailed);
  // SetCameraAttribute: a text longer than what follows it.
  EXPECT_EQ(Execute(session, 31, Wire().U32(1).U32(0xFFFFFFF0)).status, kByteStreamLoadFailed);
  EXPECT_TRUE(session.log.empty());
}

TEST(Dispatch, RegisterAndBlockCountsAreCheckedAgainstTheInput) {
  TableDouble session;
  // Four thousand million words to write, eight bytes behind them.
  EXPECT_EQ(Execute(session, 24, Wire().U32(0).U32(0).U32(0xFFFFFFFF).U32(1).U32(2)).status, kByteStreamLoadFailed);
  // A block whose width times height overflows, or exceeds what came.
  EXPECT_EQ(Execute(session, 40, Wire().U64(1).U32(0).U32(0).U32(0xFFFFFFFF).U32(0xFFFFFFFF)).status,
            kByteStreamLoadFailed);
  EXPECT_EQ(Execute(session, 40, Wire().U64(1).U32(0).U32(0).U32(4).U32(4).U32(7)).status, kByteStreamLoadFailed);
  EXPECT_TRUE(session.log.empty());
  // Reads that would need more than a stream can grow to.
  EXPECT_EQ(Execute(session, 23, Wire().U32(0).U32(0).U32(0xFFFFFFFF)).status, kOutOfMemory);
  EXPECT_EQ(Execute(session, 41, Wire().U64(1).U32(0).U32(0).U32(0x10000).U32(0x10000)).status, kOutOfMemory);
  EXPECT_TRUE(session.log.empty());
  // What fits is served.
  const Reply words = Execute(session, 24, Wire().U32(0).U32(4).U32(2).U32(10).U32(11));
  EXPECT_EQ(words.status, kSuccess);
  ASSERT_EQ(session.log.size(), 1u);
}

TEST(Dispatch, ASequenceTableLongerThanTheInputIsRefused) {
  TableDouble session;
  EXPECT_EQ(Execute(session, 44, Wire().U32(0xFFFFFFFF).U32(1).U32(2)).status, kByteStreamLoadFailed);
  EXPECT_TRUE(session.log.empty());
  const Reply empty = Execute(session, 44, Wire().U32(0).U32(1).U32(2));
  EXPECT_EQ(empty.status, kSuccess);
}

TEST(Dispatch, FrameGrabberCommandsBelongToTheFrameGrabberSession) {
  Status status = kSuccess;
  LocalKELDFWConfigSession legacy("cam0", &status);
  LocalKELDNVConfigSession network("cam1", &status);
  for (LocalDeviceConfigSession* session : {static_cast<LocalDeviceConfigSession*>(&legacy),
                                            static_cast<LocalDeviceConfigSession*>(&network)}) {
    for (std::uint32_t number = 43; number <= 70; ++number) {
      if (number == kUnusedCommand || (number >= 62 && number <= 63) || (number >= 67 && number <= 69)) continue;
      EXPECT_EQ(Execute(*session, number, Wire().U32(1).U32(2).U32(3).U32(4)).status, kNotSupported) << number;
    }
  }
  TableDouble keld;
  EXPECT_EQ(Execute(keld, 43, Wire().U32(1).U32(2).U32(3)).status, kSuccess);
  // Ring support is the network session's; the frame-grabber session has none.
  EXPECT_EQ(Execute(keld, 74, Wire().U32(1)).status, kNotSupported);
}

TEST(Dispatch, ConfigureAcquisitionWithoutFlagsLeavesThemAlone) {
  TableDouble session;
  session.acquisitionFlags = 0x12;
  EXPECT_EQ(Execute(session, 13, Wire().U32(1).U32(4)).status, kSuccess);
  EXPECT_EQ(session.acquisitionFlags.load(), 0x12u);
  EXPECT_EQ(Execute(session, 71, Wire().U32(1).U32(4).U32(0x9)).status, kSuccess);
  EXPECT_EQ(session.acquisitionFlags.load(), 0x9u);
}

}  // namespace
}  // namespace keld
