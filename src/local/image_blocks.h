// ImageBlocks: where the blocks of a target's grab replies come back to. The
// background image thread lends its newest flattened image to the reply of
// the grab that takes it; once the reply is sent the block returns here. The
// block of the newest image given stays "the last image given" until the
// thread has a newer one, so that a grab after the thread's failure can
// still answer with it (waiting for it while its reply is still being
// sent); then it is the spare the thread flattens its next image into, which
// spares a fresh block (and fresh pages) for every image. A block that comes
// back late, after a newer image was given or the thread started anew, is
// only a spare. At most one spare and one returned block are kept; a block
// beyond those is freed.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "foundation/byte_stream.h"
#include "foundation/lent_block.h"

namespace keld {

class ImageBlocks : public BlockHome {
 public:
  ImageBlocks() = default;
  ImageBlocks(const ImageBlocks&) = delete;
  ImageBlocks& operator=(const ImageBlocks&) = delete;
  ~ImageBlocks() override;

  // The newest image given went out in `block`.
  void Lent(const std::uint8_t* block);
  void TakeBack(ByteStream* stream) override;
  // The last image given is not wanted any more: the thread has a newer one,
  // or starts anew. Its block is the spare (or is, when it comes back).
  void Retire();
  // Moves the spare into an empty `stream`; leaves it empty where there is none.
  void TakeSpare(ByteStream* stream);
  // Moves the last image given into an empty `stream`, first waiting for it
  // while it is still being sent (which ends with the send's own time-out);
  // leaves the stream empty where no image was given.
  void TakeReturned(ByteStream* stream);

 private:
  // Keeps `stream`'s block as the spare if there is none, else frees it.
  void KeepAsSpareLocked(ByteStream* stream);

  std::mutex lock_;
  std::condition_variable back_;
  ByteStream returned_;
  ByteStream spare_;
  const std::uint8_t* newest_ = nullptr;  // the last image given while it is away
};

}  // namespace keld
