// NDR 2.0 reading and writing for the primitives this interface uses:
// integers with natural alignment, conformant varying strings of 8-bit
// characters, unique pointer referents and conformant byte arrays.
// Alignment is counted from the start of the buffer, which is the start of
// the stub data (itself 8-aligned in every request and response PDU). A
// writer may leave a bulk payload out of its buffer (Omit) for the sender
// to splice in; alignment then still counts the omitted bytes.
// The reader honours the integer byte order of the sender's data
// representation; the writer always writes little-endian. Every read is
// bounds-checked and raises RpcError(kRpcBadStubData) on short or
// inconsistent data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace keld::rpc {

class NdrWriter {
 public:
  explicit NdrWriter(std::vector<std::uint8_t>* out) : out_(out) {}

  void Align(std::size_t boundary);
  void U8(std::uint8_t value) { out_->push_back(value); }
  void U16(std::uint16_t value);
  void U32(std::uint32_t value);
  void Bytes(const void* data, std::size_t size);
  // A [string] char* passed by reference: max count, offset 0, actual
  // count, the characters and the terminating zero.
  void ConformantString(const char* text);
  // Counts `size` bytes as written without storing them: the sender puts
  // them in at this point of the stub from memory of its own.
  void Omit(std::size_t size) { omitted_ += size; }
  // Stub bytes written so far, omitted ones included.
  std::size_t position() const { return out_->size() + omitted_; }
  // Next referent id of a non-null unique pointer (0x00020000, +4, ...).
  std::uint32_t NextReferent() { return referent_ += 4; }

 private:
  std::vector<std::uint8_t>* out_;
  std::size_t omitted_ = 0;
  std::uint32_t referent_ = 0x0001FFFC;
};

class NdrReader {
 public:
  NdrReader(const std::uint8_t* data, std::size_t size, bool bigEndian = false)
      : data_(data), size_(size), bigEndian_(bigEndian) {}

  void Align(std::size_t boundary);
  std::uint8_t U8();
  std::uint16_t U16();
  std::uint32_t U32();
  std::int32_t I32() { return static_cast<std::int32_t>(U32()); }
  // Returns a pointer to the next `size` bytes and steps over them.
  const std::uint8_t* Bytes(std::size_t size);
  // Reads a conformant varying string; the text ends at its terminating
  // zero, which must be inside the transmitted characters.
  std::string ConformantString();
  std::size_t position() const { return position_; }
  std::size_t remaining() const { return size_ - position_; }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t position_ = 0;
  bool bigEndian_;
};

// Raises the stub-data error with a short reason.
[[noreturn]] void BadStubData(const char* reason);

}  // namespace keld::rpc
