// Output blocks lent by their producer. A command may answer with a large
// block it means to use again (a target's newest flattened image) instead of
// a copy of it: it lends the block to the reply and names the home the block
// goes back to once the reply has gone out. The loan is remembered on the
// thread that ran the command, which is also the thread that sends the
// reply; the sender gives the block back, or forgets the loan where the
// block goes elsewhere (to a caller who frees it), and the block is then
// freed with its stream as any other.
#pragma once

#include <memory>

#include "foundation/byte_stream.h"

namespace keld {

class BlockHome {
 public:
  virtual ~BlockHome() = default;
  // Takes over the block of `stream`, which is left empty.
  virtual void TakeBack(ByteStream* stream) = 0;
};

// Remembers `output` and its block as lent on this thread, in place of any
// loan before it.
void LendOutput(const ByteStream& output, std::shared_ptr<BlockHome> home);
// Where `stream` is the stream lent last on this thread and still holds its
// block, the block goes back to its home and `stream` is left empty. The loan
// is forgotten either way.
void ReturnLentOutput(ByteStream* stream);
// Forgets this thread's loan: its block is the stream owner's to free.
void ForgetLentOutput();

}  // namespace keld
