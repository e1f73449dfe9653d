// The library's life cycle: what runs when the host process loads and
// unloads it. The package callback receives phases in a strict order:
// 0 then 2 at attach, 3 then 1 at detach; 4 and 5 at thread attach and
// detach. The platform's package log has no counterpart here, so its calls
// are dropped and only the phase order is kept.
#pragma once

#include <cstdint>

namespace keld {

// Receives one phase; returns a negative status on failure.
using PackageCallback = std::int32_t (*)(std::uint32_t phase);

// The library's own callback: phase 0 forms the text of both version words,
// the others do nothing. Always 0.
std::int32_t LibraryPackageCallback(std::uint32_t phase);

struct AttachState {
  bool attachStarted = false;
  bool attachFinished = false;
};

// Process attach: clears both flags, runs phase 0, then phase 2, each only
// while the previous succeeded. Returns false where a phase failed, after a
// line on standard error naming the module and the status.
bool ProcessAttach(AttachState& state, PackageCallback callback);
// Process detach: phase 3 if attach finished, then phase 1 if it started.
void ProcessDetach(const AttachState& state, PackageCallback callback);
// Thread attach and detach: phases 4 and 5.
bool ThreadAttach(PackageCallback callback);
void ThreadDetach(PackageCallback callback);

}  // namespace keld
