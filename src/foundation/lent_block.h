// Output blocks lent by their producer. A command may answer with a large
// block it means to use again (a target's newest flattened image) instead of
// a copy of it: it lends the block to the reply and names the home the block
// goes back to once the reply has gone out. Blocks are lent only on a thread
// that has promised to give them back (a LoanReturns lives on it: the RPC
// server's connection threads, which run a command and then send its reply);
// elsewhere the command copies. The loan is remembered on that thread, and
// the sender gives the block back when it is done with the reply.
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

// For its lifetime, the calling thread gives every lent block back with
// ReturnLentOutput once it has sent the reply that holds it.
class LoanReturns {
 public:
  LoanReturns();
  LoanReturns(const LoanReturns&) = delete;
  LoanReturns& operator=(const LoanReturns&) = delete;
  ~LoanReturns();
};
// Whether a LoanReturns lives on the calling thread.
bool LoansComeBack();

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
