// The connection-oriented DCE/RPC PDUs this layer speaks: bind, bind_ack,
// bind_nak, request, response, fault and shutdown. Encoders write
// little-endian with the data representation word 0x10 (ASCII, IEEE);
// parsers accept either integer byte order, as the header announces.
// Parsers raise RpcError on anything malformed or truncated, so a peer's
// bytes can never be read out of bounds.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace keld::rpc {

enum PduType : std::uint8_t {
  kPduRequest = 0,
  kPduResponse = 2,
  kPduFault = 3,
  kPduBind = 11,
  kPduBindAck = 12,
  kPduBindNak = 13,
  kPduShutdown = 17,
};

inline constexpr std::uint8_t kFirstFrag = 0x01;
inline constexpr std::uint8_t kLastFrag = 0x02;
inline constexpr std::uint8_t kObjectUuid = 0x80;

inline constexpr std::size_t kHeaderSize = 16;
inline constexpr std::size_t kRequestHeaderSize = 24;   // common header, alloc hint, context, opnum
inline constexpr std::size_t kResponseHeaderSize = 24;  // common header, alloc hint, context, cancel count
static_assert(kRequestHeaderSize == kResponseHeaderSize);
inline constexpr std::size_t kFaultSize = 32;
// Smallest fragment size a peer may negotiate.
inline constexpr std::uint16_t kMinFragSize = 1432;
// What this layer offers unless told otherwise: the largest multiple of 8 a
// 16-bit fragment length holds.
inline constexpr std::uint16_t kDefaultMaxFrag = 65528;

// Fault statuses sent by the server.
inline constexpr std::uint32_t kFaultOpRangeError = 0x1C010002;  // unknown procedure number
inline constexpr std::uint32_t kFaultUnknownInterface = 0x1C010003;
inline constexpr std::uint32_t kFaultProtocolError = 0x1C01000B;

// Results in a bind_ack's result list.
inline constexpr std::uint16_t kBindAccepted = 0;
inline constexpr std::uint16_t kBindProviderRejection = 2;
inline constexpr std::uint16_t kReasonAbstractSyntaxNotSupported = 1;
inline constexpr std::uint16_t kReasonTransferSyntaxNotSupported = 2;

// A UUID in its NDR wire order (first three fields little-endian).
using Uuid = std::array<std::uint8_t, 16>;

struct SyntaxId {
  Uuid uuid;
  std::uint16_t major;
  std::uint16_t minor;
  bool operator==(const SyntaxId&) const = default;
};

// CfgRemote 3dfb19d3-55b8-49a2-bc76-139c0bbd5969 version 1.3.
inline constexpr SyntaxId kCfgRemoteSyntax = {
    {0xd3, 0x19, 0xfb, 0x3d, 0xb8, 0x55, 0xa2, 0x49, 0xbc, 0x76, 0x13, 0x9c, 0x0b, 0xbd, 0x59, 0x69}, 1, 3};
// NDR 8a885d04-1ceb-11c9-9fe8-08002b104860 version 2.0.
inline constexpr SyntaxId kNdrSyntax = {
    {0x04, 0x5d, 0x88, 0x8a, 0xeb, 0x1c, 0xc9, 0x11, 0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10, 0x48, 0x60}, 2, 0};

struct PduHeader {
  std::uint8_t type = 0;
  std::uint8_t flags = 0;
  bool bigEndian = false;
  std::uint16_t fragLength = 0;
  std::uint16_t authLength = 0;
  std::uint32_t callId = 0;
};

// Size of the security trailer that precedes a PDU's authentication bytes.
inline constexpr std::size_t kSecurityTrailerSize = 8;

// Whether a PDU may carry an authentication trailer. The server refuses
// them (it offers no authentication); the client tolerates a peer that adds
// one it never asked for and skips it.
enum class AuthTrailer { kRefused, kSkipped };

// Reads the 16-byte common header; checks the version (5.0, or 5.1 as some
// runtimes write), the data representation and that the fragment length
// covers the header and, where allowed, the authentication trailer.
PduHeader ParseHeader(const std::uint8_t* data, std::size_t size, AuthTrailer auth = AuthTrailer::kRefused);

struct ContextElement {
  std::uint16_t contextId = 0;
  SyntaxId abstractSyntax{};
  std::vector<SyntaxId> transferSyntaxes;
};

struct BindPdu {
  std::uint16_t maxXmitFrag = kDefaultMaxFrag;
  std::uint16_t maxRecvFrag = kDefaultMaxFrag;
  std::uint32_t assocGroup = 0;
  std::vector<ContextElement> contexts;
};

struct BindResult {
  std::uint16_t result = kBindAccepted;
  std::uint16_t reason = 0;
  SyntaxId transferSyntax{};
};

struct BindAckPdu {
  std::uint16_t maxXmitFrag = kDefaultMaxFrag;
  std::uint16_t maxRecvFrag = kDefaultMaxFrag;
  std::uint32_t assocGroup = 0;
  std::vector<char> secondaryAddress;  // port text with its terminating zero
  std::vector<BindResult> results;
};

std::vector<std::uint8_t> EncodeBind(std::uint32_t callId, const BindPdu& bind);
std::vector<std::uint8_t> EncodeBindAck(std::uint32_t callId, const BindAckPdu& ack);
std::vector<std::uint8_t> EncodeBindNak(std::uint32_t callId, std::uint16_t reason);
std::vector<std::uint8_t> EncodeFault(std::uint32_t callId, std::uint16_t contextId, std::uint32_t status);
std::vector<std::uint8_t> EncodeShutdown(std::uint32_t callId);

// Splits a stub into request (or response) fragments of at most maxFrag
// bytes each, appended to `out` as one block ready to send. Each fragment
// but the last carries a multiple of 8 stub bytes, so NDR alignment holds
// across fragment boundaries.
void AppendRequestFragments(std::vector<std::uint8_t>* out, std::uint32_t callId, std::uint16_t contextId,
                            std::uint16_t opnum, const std::uint8_t* stub, std::size_t size, std::size_t maxFrag);
void AppendResponseFragments(std::vector<std::uint8_t>* out, std::uint32_t callId, std::uint16_t contextId,
                             const std::uint8_t* stub, std::size_t size, std::size_t maxFrag);
// Only the headers of the fragments of a stub of `size` bytes, 24 bytes
// each (request or response), back to back; a sender interleaves them with
// the stub's slices of StubBytesPerFragment bytes.
std::vector<std::uint8_t> FragmentHeaders(std::uint8_t type, std::uint32_t callId, std::uint16_t contextId,
                                          std::uint16_t opnum, std::size_t size, std::size_t maxFrag);
// A run of stub bytes somewhere in memory.
struct StubPiece {
  const std::uint8_t* data;
  std::size_t size;
};
// The spans that make up the fragments of a stub given as pieces in order
// (their sizes summing to the size the headers were made for): each header
// of `headers` followed by the slices of the pieces its fragment carries.
// Nothing is copied; a sender hands the spans to one gathering write.
std::vector<StubPiece> FragmentSpans(const std::vector<std::uint8_t>& headers, const StubPiece* pieces,
                                     std::size_t count, std::size_t maxFrag);
// Stub bytes that one fragment of maxFrag carries.
std::size_t StubBytesPerFragment(std::size_t maxFrag);

// Parsers of whole fragments (header included).
BindPdu ParseBind(const std::uint8_t* data, std::size_t size);
BindAckPdu ParseBindAck(const std::uint8_t* data, std::size_t size);
std::uint16_t ParseBindNak(const std::uint8_t* data, std::size_t size);

struct RequestInfo {
  std::uint32_t allocHint = 0;  // the peer's word for the stub's size: advisory only
  std::uint16_t contextId = 0;
  std::uint16_t opnum = 0;
  std::size_t stubOffset = 0;  // where the stub starts within the fragment
};
RequestInfo ParseRequest(const std::uint8_t* data, std::size_t size);
// Offset of the stub within a response fragment.
std::size_t ParseResponse(const std::uint8_t* data, std::size_t size);
std::uint32_t ParseFault(const std::uint8_t* data, std::size_t size);

}  // namespace keld::rpc
