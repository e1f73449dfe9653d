// Test helpers: a builder of expected little-endian byte streams, and access
// to what a ByteStream holds.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/byte_stream.h"

namespace keld::testing {

class Wire {
 public:
  Wire& U32(std::uint32_t v) { return Raw(&v, sizeof v); }
  Wire& U64(std::uint64_t v) { return Raw(&v, sizeof v); }
  Wire& F64(double v) { return Raw(&v, sizeof v); }
  // A string in the string class's flat form: u32 length, then the characters.
  Wire& Text(const std::string& s) {
    U32(static_cast<std::uint32_t>(s.size()));
    return Raw(s.data(), s.size());
  }
  // Exactly `width` bytes: the text, then zeros.
  Wire& Padded(const std::string& s, std::size_t width) {
    std::vector<std::uint8_t> block(width, 0);
    std::memcpy(block.data(), s.data(), s.size() < width ? s.size() : width);
    return Raw(block.data(), block.size());
  }
  Wire& Raw(const void* p, std::size_t n) {
    const auto* b = static_cast<const std::uint8_t*>(p);
    bytes_.insert(bytes_.end(), b, b + n);
    return *this;
  }
  const std::vector<std::uint8_t>& bytes() const { return bytes_; }

  // Loads the bytes into a stream ready for reading.
  void Into(ByteStream* stream) const {
    stream->Reset();
    if (!bytes_.empty()) {
      EXPECT_EQ(stream->AppendBytes(bytes_.data(), bytes_.size()), kSuccess);
    }
    stream->Rewind();
  }

 private:
  std::vector<std::uint8_t> bytes_;
};

inline std::vector<std::uint8_t> BytesOf(const ByteStream& stream) {
  if (stream.data == nullptr) return {};
  return {stream.data, stream.data + stream.size};
}

}  // namespace keld::testing
