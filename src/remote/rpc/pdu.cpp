#include "remote/rpc/pdu.h"

#include <algorithm>

#include "remote/rpc/ndr.h"
#include "remote/rpc/rpc_error.h"

namespace keld::rpc {

namespace {

constexpr std::uint8_t kDataRepresentation[4] = {0x10, 0, 0, 0};

[[noreturn]] void Malformed(const char* reason) { throw RpcError(kRpcCallFailed, reason); }

// Writes the common header; the fragment length is patched by Finish.
void BeginPdu(std::vector<std::uint8_t>* out, std::uint8_t type, std::uint8_t flags, std::uint32_t callId) {
  NdrWriter w(out);
  w.U8(5);
  w.U8(0);
  w.U8(type);
  w.U8(flags);
  w.Bytes(kDataRepresentation, 4);
  w.U16(0);  // fragment length, patched
  w.U16(0);  // no authentication
  w.U32(callId);
}

void PatchLength(std::vector<std::uint8_t>* out, std::size_t start, std::size_t length) {
  (*out)[start + 8] = static_cast<std::uint8_t>(length);
  (*out)[start + 9] = static_cast<std::uint8_t>(length >> 8);
}

void Finish(std::vector<std::uint8_t>* out, std::size_t start) { PatchLength(out, start, out->size() - start); }

void WriteSyntax(NdrWriter* w, const SyntaxId& syntax) {
  w->Bytes(syntax.uuid.data(), syntax.uuid.size());
  w->U16(syntax.major);
  w->U16(syntax.minor);
}

SyntaxId ReadSyntax(NdrReader* r) {
  SyntaxId syntax{};
  const std::uint8_t* bytes = r->Bytes(16);
  std::copy(bytes, bytes + 16, syntax.uuid.begin());
  syntax.major = r->U16();
  syntax.minor = r->U16();
  return syntax;
}

// Opens a reader over a fragment after its header has been checked.
// Client-side PDUs (bind_ack, bind_nak, response, fault) may carry an
// authentication trailer the client skips; the server's (bind, request) may not.
NdrReader BodyReader(const std::uint8_t* data, std::size_t size, std::uint8_t wantedType, PduHeader* header) {
  const bool toClient = wantedType == kPduBindAck || wantedType == kPduBindNak || wantedType == kPduResponse ||
                        wantedType == kPduFault;
  *header = ParseHeader(data, size, toClient ? AuthTrailer::kSkipped : AuthTrailer::kRefused);
  if (header->type != wantedType) Malformed("unexpected PDU type");
  if (header->fragLength > size) Malformed("fragment length beyond the bytes received");
  NdrReader r(data, header->fragLength, header->bigEndian);
  r.Bytes(kHeaderSize);
  return r;
}

void AppendFragments(std::vector<std::uint8_t>* out, std::uint8_t type, std::uint32_t callId,
                     std::uint16_t contextId, std::uint16_t opnum, const std::uint8_t* stub, std::size_t size,
                     std::size_t maxFrag) {
  const std::vector<std::uint8_t> headers = FragmentHeaders(type, callId, contextId, opnum, size, maxFrag);
  const StubPiece whole{stub, size};
  out->reserve(out->size() + headers.size() + size);
  for (const StubPiece& span : FragmentSpans(headers, &whole, 1, maxFrag)) {
    out->insert(out->end(), span.data, span.data + span.size);
  }
}

}  // namespace

PduHeader ParseHeader(const std::uint8_t* data, std::size_t size, AuthTrailer auth) {
  if (size < kHeaderSize) Malformed("short PDU header");
  if (data[0] != 5 || data[1] > 1) Malformed("unsupported protocol version");
  if ((data[4] & 0xF0) > 0x10) Malformed("unsupported data representation");
  PduHeader header;
  header.type = data[2];
  header.flags = data[3];
  header.bigEndian = (data[4] & 0xF0) == 0;
  NdrReader r(data, kHeaderSize, header.bigEndian);
  r.Bytes(8);
  header.fragLength = r.U16();
  header.authLength = r.U16();
  header.callId = r.U32();
  if (header.fragLength < kHeaderSize) Malformed("fragment length below the header size");
  if (header.authLength != 0) {
    if (auth == AuthTrailer::kRefused) Malformed("authentication is not supported");
    if (kHeaderSize + kSecurityTrailerSize + header.authLength > header.fragLength) {
      Malformed("authentication trailer beyond the fragment");
    }
  }
  return header;
}

std::size_t StubBytesPerFragment(std::size_t maxFrag) {
  const std::size_t room = maxFrag > kRequestHeaderSize + 8 ? maxFrag - kRequestHeaderSize : 8;
  return room / 8 * 8;
}

std::vector<std::uint8_t> EncodeBind(std::uint32_t callId, const BindPdu& bind) {
  std::vector<std::uint8_t> out;
  BeginPdu(&out, kPduBind, kFirstFrag | kLastFrag, callId);
  NdrWriter w(&out);
  w.U16(bind.maxXmitFrag);
  w.U16(bind.maxRecvFrag);
  w.U32(bind.assocGroup);
  w.U8(static_cast<std::uint8_t>(bind.contexts.size()));
  w.U8(0);
  w.U16(0);
  for (const ContextElement& element : bind.contexts) {
    w.U16(element.contextId);
    w.U8(static_cast<std::uint8_t>(element.transferSyntaxes.size()));
    w.U8(0);
    WriteSyntax(&w, element.abstractSyntax);
    for (const SyntaxId& transfer : element.transferSyntaxes) WriteSyntax(&w, transfer);
  }
  Finish(&out, 0);
  return out;
}

std::vector<std::uint8_t> EncodeBindAck(std::uint32_t callId, const BindAckPdu& ack) {
  std::vector<std::uint8_t> out;
  BeginPdu(&out, kPduBindAck, kFirstFrag | kLastFrag, callId);
  NdrWriter w(&out);
  w.U16(ack.maxXmitFrag);
  w.U16(ack.maxRecvFrag);
  w.U32(ack.assocGroup);
  w.U16(static_cast<std::uint16_t>(ack.secondaryAddress.size()));
  w.Bytes(ack.secondaryAddress.data(), ack.secondaryAddress.size());
  w.Align(4);
  w.U8(static_cast<std::uint8_t>(ack.results.size()));
  w.U8(0);
  w.U16(0);
  for (const BindResult& result : ack.results) {
    w.U16(result.result);
    w.U16(result.reason);
    WriteSyntax(&w, result.transferSyntax);
  }
  Finish(&out, 0);
  return out;
}

std::vector<std::uint8_t> EncodeBindNak(std::uint32_t callId, std::uint16_t reason) {
  std::vector<std::uint8_t> out;
  BeginPdu(&out, kPduBindNak, kFirstFrag | kLastFrag, callId);
  NdrWriter w(&out);
  w.U16(reason);
  w.U8(1);  // one supported protocol version: 5.0
  w.U8(5);
  w.U8(0);
  Finish(&out, 0);
  return out;
}

std::vector<std::uint8_t> EncodeFault(std::uint32_t callId, std::uint16_t contextId, std::uint32_t status) {
  std::vector<std::uint8_t> out;
  BeginPdu(&out, kPduFault, kFirstFrag | kLastFrag | 0x20, callId);  // did not execute
  NdrWriter w(&out);
  w.U32(0);
  w.U16(contextId);
  w.U8(0);
  w.U8(0);
  w.U32(status);
  w.U32(0);
  Finish(&out, 0);
  return out;
}

std::vector<std::uint8_t> EncodeShutdown(std::uint32_t callId) {
  std::vector<std::uint8_t> out;
  BeginPdu(&out, kPduShutdown, kFirstFrag | kLastFrag, callId);
  Finish(&out, 0);
  return out;
}

void AppendRequestFragments(std::vector<std::uint8_t>* out, std::uint32_t callId, std::uint16_t contextId,
                            std::uint16_t opnum, const std::uint8_t* stub, std::size_t size, std::size_t maxFrag) {
  AppendFragments(out, kPduRequest, callId, contextId, opnum, stub, size, maxFrag);
}

void AppendResponseFragments(std::vector<std::uint8_t>* out, std::uint32_t callId, std::uint16_t contextId,
                             const std::uint8_t* stub, std::size_t size, std::size_t maxFrag) {
  AppendFragments(out, kPduResponse, callId, contextId, 0, stub, size, maxFrag);
}

std::vector<std::uint8_t> FragmentHeaders(std::uint8_t type, std::uint32_t callId, std::uint16_t contextId,
                                          std::uint16_t opnum, std::size_t size, std::size_t maxFrag) {
  const std::size_t chunk = StubBytesPerFragment(maxFrag);
  std::vector<std::uint8_t> headers;
  headers.reserve((size / chunk + 1) * kRequestHeaderSize);
  std::size_t done = 0;
  do {
    const std::size_t take = std::min(chunk, size - done);
    std::uint8_t flags = 0;
    if (done == 0) flags |= kFirstFrag;
    if (done + take == size) flags |= kLastFrag;
    const std::size_t start = headers.size();
    BeginPdu(&headers, type, flags, callId);
    NdrWriter w(&headers);
    w.U32(static_cast<std::uint32_t>(size - done));  // allocation hint: what is still to come
    w.U16(contextId);
    if (type == kPduRequest) {
      w.U16(opnum);
    } else {
      w.U8(0);  // cancel count
      w.U8(0);
    }
    PatchLength(&headers, start, kRequestHeaderSize + take);
    done += take;
  } while (done < size);
  return headers;
}

std::vector<StubPiece> FragmentSpans(const std::vector<std::uint8_t>& headers, const StubPiece* pieces,
                                    std::size_t count, std::size_t maxFrag) {
  const std::size_t chunk = StubBytesPerFragment(maxFrag);
  std::vector<StubPiece> spans;
  spans.reserve(headers.size() / kRequestHeaderSize * 2 + count);
  std::size_t piece = 0;
  std::size_t used = 0;  // bytes of pieces[piece] already placed
  for (std::size_t at = 0; at < headers.size(); at += kRequestHeaderSize) {
    spans.push_back({headers.data() + at, kRequestHeaderSize});
    // The fragment carries the next `chunk` stub bytes, or what is left.
    for (std::size_t room = chunk; room > 0 && piece < count;) {
      const std::size_t take = std::min(room, pieces[piece].size - used);
      if (take > 0) spans.push_back({pieces[piece].data + used, take});
      used += take;
      room -= take;
      if (used == pieces[piece].size) {
        ++piece;
        used = 0;
      }
    }
  }
  return spans;
}

BindPdu ParseBind(const std::uint8_t* data, std::size_t size) {
  PduHeader header;
  NdrReader r = BodyReader(data, size, kPduBind, &header);
  BindPdu bind;
  bind.maxXmitFrag = r.U16();
  bind.maxRecvFrag = r.U16();
  bind.assocGroup = r.U32();
  const std::uint8_t count = r.U8();
  r.U8();
  r.U16();
  for (std::uint8_t i = 0; i < count; ++i) {
    ContextElement element;
    element.contextId = r.U16();
    const std::uint8_t transfers = r.U8();
    r.U8();
    element.abstractSyntax = ReadSyntax(&r);
    for (std::uint8_t t = 0; t < transfers; ++t) element.transferSyntaxes.push_back(ReadSyntax(&r));
    bind.contexts.push_back(std::move(element));
  }
  return bind;
}

BindAckPdu ParseBindAck(const std::uint8_t* data, std::size_t size) {
  PduHeader header;
  NdrReader r = BodyReader(data, size, kPduBindAck, &header);
  BindAckPdu ack;
  ack.maxXmitFrag = r.U16();
  ack.maxRecvFrag = r.U16();
  ack.assocGroup = r.U32();
  const std::uint16_t addressLength = r.U16();
  const std::uint8_t* address = r.Bytes(addressLength);
  ack.secondaryAddress.assign(address, address + addressLength);
  r.Align(4);
  const std::uint8_t count = r.U8();
  r.U8();
  r.U16();
  for (std::uint8_t i = 0; i < count; ++i) {
    BindResult result;
    result.result = r.U16();
    result.reason = r.U16();
    result.transferSyntax = ReadSyntax(&r);
    ack.results.push_back(result);
  }
  return ack;
}

std::uint16_t ParseBindNak(const std::uint8_t* data, std::size_t size) {
  PduHeader header;
  NdrReader r = BodyReader(data, size, kPduBindNak, &header);
  return r.U16();
}

RequestInfo ParseRequest(const std::uint8_t* data, std::size_t size) {
  PduHeader header;
  NdrReader r = BodyReader(data, size, kPduRequest, &header);
  RequestInfo info;
  info.allocHint = r.U32();  // advisory only: never trusted for memory beyond the request limit
  info.contextId = r.U16();
  info.opnum = r.U16();
  if (header.flags & kObjectUuid) r.Bytes(16);
  info.stubOffset = r.position();
  return info;
}

std::size_t ParseResponse(const std::uint8_t* data, std::size_t size) {
  PduHeader header;
  NdrReader r = BodyReader(data, size, kPduResponse, &header);
  r.U32();
  r.U16();
  r.U8();
  r.U8();
  return r.position();
}

std::uint32_t ParseFault(const std::uint8_t* data, std::size_t size) {
  PduHeader header;
  NdrReader r = BodyReader(data, size, kPduFault, &header);
  r.U32();
  r.U16();
  r.U8();
  r.U8();
  return r.U32();
}

}  // namespace keld::rpc
