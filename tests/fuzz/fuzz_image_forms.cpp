// Feeds a peer's bytes to the image carrier's readers: the stream form
// (first byte even) or the record form, into an image of the library's own.
// A read that succeeds must give an image that flattens again.
#include <cstdint>
#include <cstdlib>

#include "foundation/byte_stream.h"
#include "image/cfg_image.h"

using namespace keld;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool streamForm = (data[0] & 1) == 0;
  ByteStream in;
  if (in.AppendBytes(data + 1, size - 1) != kSuccess) return 0;
  in.Rewind();
  CfgImage image;
  if (image.EnsureImage() != kSuccess) std::abort();
  const Status status = image.Unflatten(&in, streamForm);
  // The record form keeps the write lock after a failed read, by design.
  if (status != kSuccess && !streamForm) IgnoreStatus(image.Unlock());
  if (status == kSuccess) {
    ByteStream out;
    if (image.Flatten(&out, streamForm) != kSuccess) std::abort();
    out.Reset();
  }
  in.Reset();
  return 0;
}
