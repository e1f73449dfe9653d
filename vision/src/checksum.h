// Checksum of packed images: four lanes of Fletcher-style sums over 64-bit
// little-endian words, so any single changed bit changes the result and the
// inner loop runs at memory speed. Data may arrive in pieces of any size; the
// result depends only on the byte sequence.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace odv {

class Checksum {
 public:
  void Update(const void* data, std::size_t count) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    length_ += count;
    if (carried_ != 0) {
      const std::size_t take = count < kBlock - carried_ ? count : kBlock - carried_;
      std::memcpy(carry_ + carried_, bytes, take);
      carried_ += take;
      bytes += take;
      count -= take;
      if (carried_ < kBlock) return;
      Blocks(carry_, 1);
      carried_ = 0;
    }
    Blocks(bytes, count / kBlock);
    const std::size_t rest = count % kBlock;
    std::memcpy(carry_, bytes + count - rest, rest);
    carried_ = rest;
  }

  // Copies count bytes and adds them, in cache-sized steps so that the data
  // is read from memory once.
  void CopyAndUpdate(void* target, const void* source, std::size_t count) {
    constexpr std::size_t kStep = 16384;
    auto* out = static_cast<std::uint8_t*>(target);
    const auto* in = static_cast<const std::uint8_t*>(source);
    while (count != 0) {
      const std::size_t n = count < kStep ? count : kStep;
      Update(in, n);
      std::memcpy(out, in, n);
      out += n;
      in += n;
      count -= n;
    }
  }

  std::uint64_t Value() const {
    std::uint64_t a[4] = {a_[0], a_[1], a_[2], a_[3]};
    std::uint64_t b[4] = {b_[0], b_[1], b_[2], b_[3]};
    if (carried_ != 0) {
      std::uint8_t last[kBlock] = {};
      std::memcpy(last, carry_, carried_);
      Add(last, a, b);
    }
    std::uint64_t h = length_ * 0x9E3779B97F4A7C15ull;
    for (int i = 0; i < 4; ++i) {
      h = Mix(h ^ a[i]);
      h = Mix(h ^ b[i]);
    }
    return h;
  }

 private:
  static constexpr std::size_t kBlock = 32;

  static std::uint64_t Mix(std::uint64_t x) {
    x ^= x >> 33;
    x *= 0xFF51AFD7ED558CCDull;
    x ^= x >> 33;
    x *= 0xC4CEB9FE1A85EC53ull;
    x ^= x >> 33;
    return x;
  }

  static void Add(const std::uint8_t* block, std::uint64_t* a, std::uint64_t* b) {
    for (int i = 0; i < 4; ++i) {
      std::uint64_t word;
      std::memcpy(&word, block + 8 * i, 8);
      a[i] += word;
      b[i] += a[i];
    }
  }

  void Blocks(const std::uint8_t* data, std::size_t blocks) {
    std::uint64_t a0 = a_[0], a1 = a_[1], a2 = a_[2], a3 = a_[3];
    std::uint64_t b0 = b_[0], b1 = b_[1], b2 = b_[2], b3 = b_[3];
    for (std::size_t k = 0; k < blocks; ++k, data += kBlock) {
      std::uint64_t w[4];
      std::memcpy(w, data, kBlock);
      a0 += w[0];
      a1 += w[1];
      a2 += w[2];
      a3 += w[3];
      b0 += a0;
      b1 += a1;
      b2 += a2;
      b3 += a3;
    }
    a_[0] = a0, a_[1] = a1, a_[2] = a2, a_[3] = a3;
    b_[0] = b0, b_[1] = b1, b_[2] = b2, b_[3] = b3;
  }

  std::uint64_t a_[4] = {};
  std::uint64_t b_[4] = {};
  std::uint64_t length_ = 0;
  std::uint8_t carry_[kBlock] = {};
  std::size_t carried_ = 0;
};

inline std::uint64_t ChecksumOf(const void* data, std::size_t count) {
  Checksum sum;
  sum.Update(data, count);
  return sum.Value();
}

}  // namespace odv
