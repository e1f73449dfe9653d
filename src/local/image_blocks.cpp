#include "local/image_blocks.h"

#include <utility>

namespace keld {

namespace {

// Moves `from`'s block into `to`, whose own block is freed.
void MoveBlock(ByteStream* from, ByteStream* to) {
  to->Reset();
  *to = *from;
  *from = ByteStream{};
}

}  // namespace

ImageBlocks::~ImageBlocks() {
  returned_.Reset();
  spare_.Reset();
}

void ImageBlocks::TakeBack(ByteStream* stream) {
  std::lock_guard<std::mutex> guard(lock_);
  // An earlier image given is superseded; it is the spare if there is none.
  if (returned_.data != nullptr && spare_.data == nullptr) std::swap(returned_, spare_);
  MoveBlock(stream, &returned_);
}

void ImageBlocks::Retire() {
  std::lock_guard<std::mutex> guard(lock_);
  if (returned_.data == nullptr) return;
  if (spare_.data == nullptr) {
    std::swap(returned_, spare_);
  } else {
    returned_.Reset();
  }
}

void ImageBlocks::TakeSpare(ByteStream* stream) {
  if (stream->data != nullptr) return;
  std::lock_guard<std::mutex> guard(lock_);
  MoveBlock(&spare_, stream);
}

void ImageBlocks::TakeReturned(ByteStream* stream) {
  if (stream->data != nullptr) return;
  std::lock_guard<std::mutex> guard(lock_);
  MoveBlock(&returned_, stream);
}

}  // namespace keld
