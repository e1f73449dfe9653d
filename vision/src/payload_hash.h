// Hash of packed images: XXH3-64 from libxxhash. On x86-64 the library's
// dispatching entry points pick the widest vector unit at run time, so the
// hash runs at several bytes per cycle on any machine the library loads on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// The streaming state is declared only for static linking; its layout is part
// of the library's ABI for 0.8.
#define XXH_STATIC_LINKING_ONLY
#include <xxhash.h>
#if defined(__x86_64__)
#include <xxh_x86dispatch.h>
#endif

namespace odv {

// Hash kinds a descriptor can name; a reader refuses any other as unknown.
inline constexpr std::uint32_t kHashXxh3 = 1;

inline std::uint64_t HashOf(const void* data, std::size_t count) { return XXH3_64bits(data, count); }

// Copies count bytes from source to target (not overlapping) and returns
// HashOf(target, count), reading each byte once where the processor allows.
std::uint64_t CopyAndHash(std::uint8_t* target, const std::uint8_t* source, std::size_t count);
// HashOf(source, count), by the same loop where the processor allows: on
// long inputs it runs faster than the library's dispatched entry point.
std::uint64_t HashPayload(const std::uint8_t* source, std::size_t count);

// Hash over bytes given in pieces; the digest equals HashOf of their
// concatenation. Pieces are copied to their destination block by block, each
// block hashed right after its copy while it is still in the first-level
// cache, so a copy with its hash reads the source once and never reads the
// destination back from memory.
class HashedCopy {
 public:
  HashedCopy() { XXH3_64bits_reset(&state_); }
  HashedCopy(const HashedCopy&) = delete;
  HashedCopy& operator=(const HashedCopy&) = delete;

  void Copy(std::uint8_t* target, const std::uint8_t* source, std::size_t count) {
    while (count != 0) {
      const std::size_t block = count < kBlock ? count : kBlock;
      std::memcpy(target, source, block);
      XXH3_64bits_update(&state_, target, block);
      target += block;
      source += block;
      count -= block;
    }
  }
  std::uint64_t Digest() const { return XXH3_64bits_digest(&state_); }

 private:
  static constexpr std::size_t kBlock = 16 * 1024;
  XXH3_state_t state_;
};

}  // namespace odv
