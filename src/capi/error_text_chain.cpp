// The chain of error text providers, registered once at start-up in the
// order they are asked: the frame-grabber driver's texts of its own
// statuses first, then the drivers that follow it as they come, and the
// library's own table last. A driver asked first has the word even for the
// library's own codes; the first non-empty answer ends the search.
#include "foundation/error_text.h"
#include "local/keld/local_keld_config_session.h"
#include "local/keldnv/local_keldnv_config_session.h"

namespace keld {

namespace {

// Kept and never looked at again: a failed registration only makes a
// provider silent.
[[maybe_unused]] const std::uint32_t frameGrabberProviderRegistered =
    RegisterErrorTextProvider(&KeldDriverErrorText);
[[maybe_unused]] const std::uint32_t networkCameraProviderRegistered =
    RegisterErrorTextProvider(&KeldnvDriverErrorText);
[[maybe_unused]] const std::uint32_t tableProviderRegistered = RegisterErrorTextProvider(&LibraryErrorTextProvider);

}  // namespace

}  // namespace keld
