#include "remote/rpc/ndr.h"

#include <cstring>

#include "remote/rpc/rpc_error.h"

namespace keld::rpc {

void BadStubData(const char* reason) { throw RpcError(kRpcBadStubData, reason); }

void NdrWriter::Align(std::size_t boundary) {
  for (std::size_t at = position(); at % boundary != 0; ++at) out_->push_back(0);
}

void NdrWriter::U16(std::uint16_t value) {
  Align(2);
  out_->push_back(static_cast<std::uint8_t>(value));
  out_->push_back(static_cast<std::uint8_t>(value >> 8));
}

void NdrWriter::U32(std::uint32_t value) {
  Align(4);
  for (int shift = 0; shift < 32; shift += 8) out_->push_back(static_cast<std::uint8_t>(value >> shift));
}

void NdrWriter::Bytes(const void* data, std::size_t size) {
  if (size == 0) return;
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  out_->insert(out_->end(), bytes, bytes + size);
}

void NdrWriter::ConformantString(const char* text) {
  const auto count = static_cast<std::uint32_t>(std::strlen(text) + 1);
  U32(count);
  U32(0);
  U32(count);
  Bytes(text, count);
}

void NdrReader::Align(std::size_t boundary) {
  const std::size_t padded = (position_ + boundary - 1) / boundary * boundary;
  if (padded > size_) BadStubData("alignment runs past the end");
  position_ = padded;
}

const std::uint8_t* NdrReader::Bytes(std::size_t size) {
  if (size > size_ - position_) BadStubData("stub data too short");
  const std::uint8_t* at = data_ + position_;
  position_ += size;
  return at;
}

std::uint8_t NdrReader::U8() { return *Bytes(1); }

std::uint16_t NdrReader::U16() {
  Align(2);
  const std::uint8_t* b = Bytes(2);
  return bigEndian_ ? static_cast<std::uint16_t>(b[0] << 8 | b[1]) : static_cast<std::uint16_t>(b[1] << 8 | b[0]);
}

std::uint32_t NdrReader::U32() {
  Align(4);
  const std::uint8_t* b = Bytes(4);
  if (bigEndian_) {
    return std::uint32_t{b[0]} << 24 | std::uint32_t{b[1]} << 16 | std::uint32_t{b[2]} << 8 | b[3];
  }
  return std::uint32_t{b[3]} << 24 | std::uint32_t{b[2]} << 16 | std::uint32_t{b[1]} << 8 | b[0];
}

std::string NdrReader::ConformantString() {
  const std::uint32_t maxCount = U32();
  const std::uint32_t offset = U32();
  const std::uint32_t actual = U32();
  if (offset != 0 || actual == 0 || actual > maxCount) BadStubData("bad string counts");
  const auto* chars = reinterpret_cast<const char*>(Bytes(actual));
  const void* end = std::memchr(chars, 0, actual);
  if (end == nullptr) BadStubData("string without terminator");
  return std::string(chars, static_cast<const char*>(end));
}

}  // namespace keld::rpc
