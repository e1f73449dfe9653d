#include "remote/rpc/response_reader.h"

#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <vector>

#include "foundation/debug_log.h"
#include "remote/rpc/ndr.h"
#include "remote/rpc/pdu.h"
#include "remote/rpc/rpc_error.h"
#include "remote/rpc/rpc_socket.h"

namespace keld::rpc {

ResponseReader::ResponseReader(RpcSocket* socket, std::uint32_t callId, std::size_t maxFrag, const Deadline& deadline)
    : socket_(socket), callId_(callId), maxFrag_(maxFrag), deadline_(deadline) {
  NextFragment();
}

void ResponseReader::NextFragment() {
  std::uint8_t bytes[kResponseHeaderSize];
  socket_->ReadExact(bytes, kHeaderSize, deadline_);
  const PduHeader header = ParseHeader(bytes, kHeaderSize, AuthTrailer::kSkipped);
  if (header.fragLength > maxFrag_) throw RpcError(kRpcCallFailed, "fragment longer than negotiated");
  if (header.callId != callId_ && !noted_) {
    noted_ = true;
    DebugLog("reply carries call id %u for call %u", header.callId, callId_);
  }
  const std::size_t trailer = header.authLength == 0 ? 0 : kSecurityTrailerSize + header.authLength;
  if (header.type != kPduResponse || header.fragLength < kResponseHeaderSize + trailer) {
    if (header.type == kPduFault) {
      std::vector<std::uint8_t> fault(bytes, bytes + kHeaderSize);
      fault.resize(header.fragLength);
      socket_->ReadExact(fault.data() + kHeaderSize, fault.size() - kHeaderSize, deadline_);
      throw RpcError(ParseFault(fault.data(), fault.size()), "call faulted");
    }
    throw RpcError(kRpcCallFailed, "unexpected PDU in reply");
  }
  socket_->ReadExact(bytes + kHeaderSize, kResponseHeaderSize - kHeaderSize, deadline_);
  if (first_ != ((header.flags & kFirstFrag) != 0)) throw RpcError(kRpcCallFailed, "fragments out of order");
  if (first_) {
    bigEndian_ = header.bigEndian;
    allocHint_ = NdrReader(bytes + kHeaderSize, 4, header.bigEndian).U32();
  }
  first_ = false;
  last_ = (header.flags & kLastFrag) != 0;
  left_ = header.fragLength - kResponseHeaderSize;
  // The length of the fragments to come, as far as one can tell: the peer's
  // own length for all but the last.
  if (!last_ && header.authLength == 0) fullLength_ = header.fragLength;
  buffered_.clear();
  bufferedAt_ = 0;
  if (header.authLength != 0) BufferFragment(header);
}

void ResponseReader::BufferFragment(const PduHeader& header) {
  buffered_.resize(left_);
  socket_->ReadExact(buffered_.data(), buffered_.size(), deadline_);
  const std::size_t trailerAt = buffered_.size() - header.authLength - kSecurityTrailerSize;
  const std::size_t padding = buffered_[trailerAt + 2];
  if (padding > trailerAt) throw RpcError(kRpcCallFailed, "authentication padding beyond the stub");
  buffered_.resize(trailerAt - padding);
  left_ = buffered_.size();
  if (left_ == 0) buffered_.clear();
}

void ResponseReader::Read(std::uint8_t* target, std::size_t size) {
  while (size > 0) {
    if (left_ == 0) {
      if (last_) BadStubData("stub data too short");
      NextFragment();
      continue;
    }
    if (readAhead_ && buffered_.empty() && !last_ && size > left_) {
      ReadAcross(target, size);
      continue;
    }
    const std::size_t take = std::min(left_, size);
    if (buffered_.empty()) {
      socket_->ReadExact(target, take, deadline_);
    } else {
      std::copy_n(buffered_.data() + bufferedAt_, take, target);
      bufferedAt_ += take;
    }
    target += take;
    size -= take;
    left_ -= take;
    position_ += take;
  }
}

void ResponseReader::ReadAcross(std::uint8_t*& target, std::size_t& size) {
  constexpr std::size_t kAhead = 32;  // fragments received ahead at most
  std::array<std::uint8_t, kAhead * kResponseHeaderSize> headers;
  std::array<iovec, 1 + 2 * kAhead> parts;
  if (fullLength_ <= kResponseHeaderSize) {
    readAhead_ = false;
    return;
  }
  const std::size_t fullBody = fullLength_ - kResponseHeaderSize;
  parts[0] = {target, left_};
  std::size_t count = 1;
  std::size_t planned = left_;
  for (std::size_t i = 0; i < kAhead && planned < size; ++i) {
    const std::size_t body = std::min(fullBody, size - planned);
    parts[count++] = {headers.data() + i * kResponseHeaderSize, kResponseHeaderSize};
    parts[count++] = {target + planned, body};
    planned += body;
  }
  const std::size_t got = socket_->ReadSome(parts.data(), count, deadline_);
  // Takes `n` bytes of stub as read.
  const auto consume = [&](std::size_t n) {
    target += n;
    size -= n;
    left_ -= n;
    position_ += n;
  };
  std::size_t at = std::min(got, left_);
  consume(at);
  for (std::size_t part = 1; part + 1 < count && at < got; part += 2) {
    const auto* bytes = static_cast<const std::uint8_t*>(parts[part].iov_base);
    const std::size_t slot = parts[part + 1].iov_len;
    // The header must be whole and be what was assumed: a response fragment
    // of this call's kind without a trailer, of the length of those before
    // it, or the last one, long enough for the stretch asked for; and no
    // fragment may follow the last.
    bool fits = !last_ && got - at >= kResponseHeaderSize;
    PduHeader header;
    if (fits) {
      try {
        header = ParseHeader(bytes, kHeaderSize, AuthTrailer::kSkipped);
      } catch (const RpcError&) {
        fits = false;
      }
    }
    const bool last = fits && (header.flags & kLastFrag) != 0;
    fits = fits && header.type == kPduResponse && header.authLength == 0 && (header.flags & kFirstFrag) == 0 &&
           (header.fragLength == fullLength_ || (last && header.fragLength >= kResponseHeaderSize + slot &&
                                                 header.fragLength <= maxFrag_));
    if (!fits) {
      // Back on the socket, in the order they came: this header and all
      // that was received after it. The rest of the reply is read the
      // ordinary way.
      readAhead_ = false;
      std::vector<std::uint8_t> back;
      back.reserve(got - at);
      for (std::size_t p = part; p < count && at < got; ++p) {
        const std::size_t take = std::min(parts[p].iov_len, got - at);
        const auto* from = static_cast<const std::uint8_t*>(parts[p].iov_base);
        back.insert(back.end(), from, from + take);
        at += take;
      }
      socket_->Unread(back.data(), back.size());
      return;
    }
    if (header.callId != callId_ && !noted_) {
      noted_ = true;
      DebugLog("reply carries call id %u for call %u", header.callId, callId_);
    }
    at += kResponseHeaderSize;
    last_ = last;
    left_ = header.fragLength - kResponseHeaderSize;
    const std::size_t take = std::min(slot, got - at);
    consume(take);
    at += take;
  }
}

void ResponseReader::ReadRest(std::vector<std::uint8_t>* out) {
  for (;;) {
    if (left_ > 0) {
      const std::size_t at = out->size();
      out->resize(at + left_);
      Read(out->data() + at, left_);
    }
    if (last_) return;
    NextFragment();
  }
}

}  // namespace keld::rpc
