// Turning a status into a sentence: a process-wide chain of text providers,
// asked in registration order (the three driver families first, the library's
// own table last), with a fixed fallback sentence where none knows the code.
#pragma once

#include <cstdint>

#include "foundation/cfg_string.h"

namespace keld {

// Assigns the text and sets *found where the provider knows the status;
// otherwise touches nothing.
using ErrorTextProvider = void (*)(Status status, CFGString* text, bool* found);

// Appends a provider to the chain. Returns 1, or 0 where appending failed.
std::uint32_t RegisterErrorTextProvider(ErrorTextProvider provider);

// Fills `text` with the first non-empty answer of the chain, or the fallback
// sentence. Always returns 0.
Status GetErrorText(Status status, CFGString* text);

// The provider for the library's own status table.
void LibraryErrorTextProvider(Status status, CFGString* text, bool* found);

extern const char* const kFallbackErrorText;

namespace testing {
// Puts a provider at the head of the chain, or removes it again. Test only.
void PushFrontErrorTextProvider(ErrorTextProvider provider);
void RemoveErrorTextProvider(ErrorTextProvider provider);
}  // namespace testing

}  // namespace keld
