// ImageBlocks: where the blocks of a target's grab replies come back to. The
// background image thread lends its newest flattened image to the reply of
// the grab that takes it; once the reply is sent the block returns here. It
// stays the last image given until the thread has a newer one, so that a
// grab after the thread's failure can still answer with it, and is then the
// spare the thread flattens its next image into, which spares a fresh block
// (and fresh pages) for every image. At most one spare and one returned
// block are kept; a block beyond those is freed.
#pragma once

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

  void TakeBack(ByteStream* stream) override;
  // The thread has a newer image: the last image given becomes the spare.
  void Retire();
  // Moves the spare into an empty `stream`; leaves it empty where there is none.
  void TakeSpare(ByteStream* stream);
  // Moves the last image given into an empty `stream`; leaves it empty where
  // it has not come back.
  void TakeReturned(ByteStream* stream);

 private:
  std::mutex lock_;
  ByteStream returned_;
  ByteStream spare_;
};

}  // namespace keld
