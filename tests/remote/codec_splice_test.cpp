// Stubs sent in pieces must put exactly the bytes on the wire that the
// joined stub would: fragments gathered from pieces against fragments of the
// whole, and streams spliced into a reply against streams written in place.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/pdu.h"

namespace keld::rpc {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Pattern(std::size_t size, std::uint8_t seed) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 13 + seed);
  return bytes;
}

Bytes Flatten(const std::vector<StubPiece>& spans) {
  Bytes out;
  for (const StubPiece& span : spans) out.insert(out.end(), span.data, span.data + span.size);
  return out;
}

TEST(FragmentSpans, PiecesGiveTheBytesOfTheWholeStub) {
  const std::size_t maxFrag = kMinFragSize;
  const std::size_t chunk = StubBytesPerFragment(maxFrag);
  // Cuts of a stub into three pieces, around and across fragment boundaries,
  // empty pieces included.
  const std::size_t sizes[][3] = {{0, 0, 0},         {1, 0, 0},           {0, 0, 7},          {20, chunk, 4},
                                  {chunk, 0, chunk}, {chunk - 1, 2, 0},   {3, 2 * chunk, 1},  {16, 5 * chunk + 3, 5},
                                  {chunk + 1, chunk - 1, chunk}};
  for (const auto& cut : sizes) {
    const Bytes a = Pattern(cut[0], 1), b = Pattern(cut[1], 2), c = Pattern(cut[2], 3);
    Bytes whole = a;
    whole.insert(whole.end(), b.begin(), b.end());
    whole.insert(whole.end(), c.begin(), c.end());
    for (const std::uint8_t type : {kPduRequest, kPduResponse}) {
      Bytes expected;
      if (type == kPduRequest) {
        AppendRequestFragments(&expected, 7, 0, kRemoteCommand, whole.data(), whole.size(), maxFrag);
      } else {
        AppendResponseFragments(&expected, 7, 0, whole.data(), whole.size(), maxFrag);
      }
      const Bytes headers = FragmentHeaders(type, 7, 0, kRemoteCommand, whole.size(), maxFrag);
      const StubPiece pieces[3] = {{a.data(), a.size()}, {b.data(), b.size()}, {c.data(), c.size()}};
      const std::vector<StubPiece> spans = FragmentSpans(headers, pieces, 3, maxFrag);
      for (const StubPiece& span : spans) EXPECT_GT(span.size, 0u);
      EXPECT_EQ(Flatten(spans), expected) << cut[0] << "+" << cut[1] << "+" << cut[2];
    }
  }
}

// A reply of RemoteCommand with its output stream spliced in is the reply
// written in one piece, for payload sizes that leave the status at every
// alignment, with and without a cursor.
TEST(ReplyStub, SplicedStreamJoinsToTheInPlaceForm) {
  for (const std::uint32_t size : {0u, 1u, 2u, 3u, 4u, 5u, 8u, 1000u, 70001u}) {
    for (const bool withCursor : {false, true}) {
      const Bytes payload = Pattern(size, 9);
      ReplyStub reply;
      if (size > 0) {
        ASSERT_EQ(reply.bulk->AppendBytes(payload.data(), size), kSuccess);
        if (withCursor) reply.bulk->cursor = reply.bulk->data + size / 2;
      }
      NdrWriter spliced(&reply.bytes);
      reply.spliceAt = WriteByteStreamSpliced(&spliced, *reply.bulk);
      spliced.U32(0xBFFF8001);

      Bytes expected;
      NdrWriter whole(&expected);
      WriteByteStream(&whole, *reply.bulk);
      whole.U32(0xBFFF8001);
      EXPECT_EQ(reply.Joined(), expected) << size << (withCursor ? " with cursor" : "");
      EXPECT_EQ(reply.bytes.size() + (size > 0 ? size : 0), expected.size());
      reply.Clear();
      EXPECT_EQ(reply.bulk->data, nullptr);
      EXPECT_TRUE(reply.bytes.empty());
    }
  }
}

TEST(NdrWriterOmit, AlignmentCountsOmittedBytes) {
  Bytes out;
  NdrWriter w(&out);
  w.U8(1);
  w.Omit(2);
  EXPECT_EQ(w.position(), 3u);
  w.U32(0x04030201);  // one byte of padding, then the value
  const Bytes expected = {1, 0, 1, 2, 3, 4};
  EXPECT_EQ(out, expected);
  EXPECT_EQ(w.position(), 8u);
}

}  // namespace
}  // namespace keld::rpc
