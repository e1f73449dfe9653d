#include "foundation/lent_block.h"

#include <utility>

namespace keld {

namespace {

struct Loan {
  const ByteStream* stream = nullptr;
  const std::uint8_t* block = nullptr;
  std::shared_ptr<BlockHome> home;
};

thread_local Loan loan;
thread_local int loansComeBack = 0;

}  // namespace

LoanReturns::LoanReturns() { ++loansComeBack; }

LoanReturns::~LoanReturns() {
  --loansComeBack;
  if (loansComeBack == 0) ForgetLentOutput();
}

bool LoansComeBack() { return loansComeBack > 0; }

void LendOutput(const ByteStream& output, std::shared_ptr<BlockHome> home) {
  loan.stream = &output;
  loan.block = output.data;
  loan.home = output.data != nullptr ? std::move(home) : nullptr;
}

void ReturnLentOutput(ByteStream* stream) {
  Loan taken = std::move(loan);
  loan = Loan{};
  if (stream == nullptr || taken.home == nullptr || stream != taken.stream || stream->data != taken.block) return;
  taken.home->TakeBack(stream);
}

void ForgetLentOutput() { loan = Loan{}; }

}  // namespace keld
