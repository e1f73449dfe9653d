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

void ImageBlocks::KeepAsSpareLocked(ByteStream* stream) {
  if (spare_.data == nullptr) {
    MoveBlock(stream, &spare_);
  } else {
    stream->Reset();
  }
}

void ImageBlocks::Lent(const std::uint8_t* block) {
  std::lock_guard<std::mutex> guard(lock_);
  // An earlier image given is superseded.
  if (returned_.data != nullptr) KeepAsSpareLocked(&returned_);
  newest_ = block;
}

void ImageBlocks::TakeBack(ByteStream* stream) {
  {
    std::lock_guard<std::mutex> guard(lock_);
    if (stream->data == nullptr || stream->data != newest_) {
      KeepAsSpareLocked(stream);  // an older image's block
      return;
    }
    newest_ = nullptr;
    if (returned_.data != nullptr) KeepAsSpareLocked(&returned_);
    MoveBlock(stream, &returned_);
  }
  back_.notify_all();
}

void ImageBlocks::Retire() {
  std::lock_guard<std::mutex> guard(lock_);
  newest_ = nullptr;  // comes back as a spare
  if (returned_.data != nullptr) KeepAsSpareLocked(&returned_);
}

void ImageBlocks::TakeSpare(ByteStream* stream) {
  if (stream->data != nullptr) return;
  std::lock_guard<std::mutex> guard(lock_);
  MoveBlock(&spare_, stream);
}

void ImageBlocks::TakeReturned(ByteStream* stream) {
  if (stream->data != nullptr) return;
  std::unique_lock<std::mutex> guard(lock_);
  back_.wait(guard, [this] { return newest_ == nullptr; });
  MoveBlock(&returned_, stream);
}

}  // namespace keld
