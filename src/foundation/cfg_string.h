// CFGString: the library's string. A heap buffer of narrow characters that
// grows in 32-byte steps, never shrinks, and records a failed allocation in an
// error flag instead of throwing. From the first failed allocation on, every
// later assignment is refused and the string keeps its last good text.
#pragma once

#include <cstdint>
#include <new>

#include "foundation/status.h"

namespace keld {

struct ByteStream;

// Empty allocator object; its word is copied and never interpreted.
template <typename Char>
struct tHTAllocator {
  std::uint32_t word = 0;
};

template <typename Char, typename Traits, typename Allocator>
class tHTBasicString {
 public:
  tHTBasicString() { Reserve(1); if (data_) { data_[0] = 0; length_ = 1; } }
  explicit tHTBasicString(const Char* text) : tHTBasicString() { AssignText(text); }
  tHTBasicString(const tHTBasicString& other) : tHTBasicString() { AssignText(other.data_); }
  tHTBasicString& operator=(const tHTBasicString& other) {
    if (this != &other) Assign(other.data_, other.size());
    return *this;
  }
  ~tHTBasicString() {
    delete[] data_;
    data_ = nullptr;
    capacity_ = 0;
    length_ = 0;
  }

  // Grows the buffer to (wanted / 32 + 1) * 32 bytes; never shrinks.
  void Reserve(std::uint64_t wanted);
  // Copies at most `count` characters, stopping at a zero byte.
  void Assign(const Char* source, std::uint64_t count);
  // Substring compare as signed chars; the shorter string sorts first.
  int Compare(std::uint64_t position, std::uint64_t count, const tHTBasicString& other,
              std::uint64_t otherPosition, std::uint64_t otherCount) const;
  int Compare(const tHTBasicString& other) const { return Compare(0, size(), other, 0, other.size()); }

  const Char* c_str() const { return data_ != nullptr ? data_ : EmptyText(); }
  // Characters in use, without the terminator.
  std::uint64_t size() const { return length_ > 0 ? length_ - 1 : 0; }
  bool empty() const { return size() == 0; }
  std::uint64_t capacity() const { return capacity_; }
  std::uint64_t length() const { return length_; }
  std::uint32_t error() const { return error_; }

 protected:
  void AssignText(const Char* text) {
    std::uint64_t n = 0;
    if (text != nullptr) while (text[n] != 0) ++n;
    Assign(text, n);
  }

 private:
  static const Char* EmptyText() { static const Char empty[1] = {0}; return empty; }

  std::uint32_t error_ = 0;
  Char* data_ = nullptr;
  std::uint64_t capacity_ = 0;
  std::uint64_t length_ = 0;
  Allocator allocator_{};
};

template <typename Char, typename Traits, typename Allocator>
void tHTBasicString<Char, Traits, Allocator>::Reserve(std::uint64_t wanted) {
  const std::uint64_t newCapacity = (wanted / 32 + 1) * 32;
  if (newCapacity <= capacity_) return;
  Char* fresh = new (std::nothrow) Char[newCapacity];
  if (fresh == nullptr) {
    error_ = 1;
    return;
  }
  for (std::uint64_t i = 0; i < length_; ++i) fresh[i] = data_[i];
  if (length_ == 0) fresh[0] = 0;
  delete[] data_;
  data_ = fresh;
  capacity_ = newCapacity;
}

template <typename Char, typename Traits, typename Allocator>
void tHTBasicString<Char, Traits, Allocator>::Assign(const Char* source, std::uint64_t count) {
  Reserve(count + 1);
  if (error_ != 0) return;
  // The source may overlap our own buffer (assigning a tail of ourselves):
  // copying forward byte by byte is safe for that case.
  std::uint64_t copied = 0;
  if (source != nullptr) {
    while (copied < count && source[copied] != 0) {
      data_[copied] = source[copied];
      ++copied;
    }
  }
  data_[copied] = 0;
  length_ = copied + 1;
}

template <typename Char, typename Traits, typename Allocator>
int tHTBasicString<Char, Traits, Allocator>::Compare(std::uint64_t position, std::uint64_t count,
                                                     const tHTBasicString& other,
                                                     std::uint64_t otherPosition,
                                                     std::uint64_t otherCount) const {
  const std::uint64_t mine = size();
  const std::uint64_t theirs = other.size();
  if (position > mine) position = mine;
  if (otherPosition > theirs) otherPosition = theirs;
  if (count > mine - position) count = mine - position;
  if (otherCount > theirs - otherPosition) otherCount = theirs - otherPosition;
  const std::uint64_t shorter = count < otherCount ? count : otherCount;
  const Char* a = c_str() + position;
  const Char* b = other.c_str() + otherPosition;
  for (std::uint64_t i = 0; i < shorter; ++i) {
    const auto x = static_cast<signed char>(a[i]);
    const auto y = static_cast<signed char>(b[i]);
    if (x < y) return -1;
    if (x > y) return 1;
  }
  if (count < otherCount) return -1;
  if (count > otherCount) return 1;
  return 0;
}

class CFGString : public tHTBasicString<char, char, tHTAllocator<char>> {
 public:
  using Base = tHTBasicString<char, char, tHTAllocator<char>>;
  CFGString() = default;
  CFGString(const char* text) : Base(text) {}  // NOLINT: implicit by design, like a std::string
  CFGString(const CFGString&) = default;
  CFGString& operator=(const CFGString&) = default;
  CFGString& operator=(const char* text) { AssignText(text); return *this; }
  virtual ~CFGString() = default;

  // Appends the flat form: u32 character count, then the characters.
  virtual Status Flatten(ByteStream* stream) const;
  // Reads the flat form. A count of 0 leaves the string as it was; an embedded
  // zero byte cuts the text but the cursor still advances by the full count.
  virtual Status Unflatten(ByteStream* stream);

  bool operator==(const CFGString& other) const { return Compare(other) == 0; }
  bool operator<(const CFGString& other) const { return Compare(other) < 0; }
};

// Copies a text result into a caller's buffer: min(length, size - 1)
// characters and a terminator, where a size of 0 means no limit at all. A
// null buffer drops the text.
void CopyText(const CFGString& text, char* buffer, std::uint32_t size);

// printf-style formatting into a CFGString of any length.
CFGString FormatString(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace keld
