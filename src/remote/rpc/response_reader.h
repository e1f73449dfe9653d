// ResponseReader: the stub of one reply as the client receives it, read
// fragment by fragment straight into the caller's memory. The first
// fragment's header is read on construction; a fault PDU there raises its
// status as RpcError. Fragment headers are checked as they come: the type,
// the negotiated maximum length and the first and last flags. A connection
// carries one call at a time and is dropped after any failure, so a reply
// that names another call id can only be this call's: it is accepted with a
// debug note, as some runtimes number their replies their own way. A
// fragment with an authentication trailer the client never asked for is
// read whole and its trailer and padding skipped. Reading past the end of
// the stub is bad stub data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace keld::rpc {

// The most memory a client sets aside for a reply on the strength of the
// peer's allocation hint alone.
inline constexpr std::size_t kMaxHintedReserve = 64u * 1024 * 1024;

class Deadline;
struct PduHeader;
class RpcSocket;

class ResponseReader {
 public:
  ResponseReader(RpcSocket* socket, std::uint32_t callId, std::size_t maxFrag, const Deadline& deadline);
  ResponseReader(const ResponseReader&) = delete;
  ResponseReader& operator=(const ResponseReader&) = delete;

  // Integer byte order the peer announced in its first fragment.
  bool bigEndian() const { return bigEndian_; }
  // The first fragment's allocation hint: the peer's word for the stub's
  // size, to size memory by and never to trust.
  std::uint32_t allocHint() const { return allocHint_; }
  // Stub bytes read so far.
  std::size_t position() const { return position_; }

  // The next `size` stub bytes into `target`.
  void Read(std::uint8_t* target, std::size_t size);
  // Appends the rest of the stub, up to the end of the last fragment.
  void ReadRest(std::vector<std::uint8_t>* out);

 private:
  // Reads the next fragment's header.
  void NextFragment();
  // Reads the rest of a fragment that carries an authentication trailer and
  // keeps its stub bytes for Read.
  void BufferFragment(const PduHeader& header);
  // Reads a stretch of stub that runs past the current fragment with as few
  // receives as the data's arrival allows: on the assumption that the
  // fragments that follow are as long as the current one, as a peer sending
  // a large stub cuts them, their headers are received into a side buffer
  // and their bodies straight into the target, all in one gathering
  // receive. A header that belies the assumption is put back on the socket
  // with all that came after it, and the rest of the reply is read the
  // ordinary way.
  void ReadAcross(std::uint8_t*& target, std::size_t& size);

  RpcSocket* socket_;
  std::uint32_t callId_;
  std::size_t maxFrag_;
  const Deadline& deadline_;
  bool first_ = true;
  bool last_ = false;
  bool bigEndian_ = false;
  std::uint32_t allocHint_ = 0;
  std::size_t left_ = 0;  // stub bytes still to read in the current fragment
  std::size_t position_ = 0;
  bool noted_ = false;  // the other call id was noted once
  std::size_t fullLength_ = 0;  // of the fragments before the last, as the peer cuts them
  bool readAhead_ = true;       // until an assumption failed
  // Stub bytes of a fragment read whole; `buffered_` is empty otherwise.
  std::vector<std::uint8_t> buffered_;
  std::size_t bufferedAt_ = 0;
};

}  // namespace keld::rpc
