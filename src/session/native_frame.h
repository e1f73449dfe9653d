// Pieces every exported cfg function shares: the thread set-up on entry and
// the copying of text results into caller buffers.
#pragma once

#include <cstdint>

#include "foundation/cfg_string.h"

namespace keld {

// Size of the fixed text results: 254 characters and the terminator.
inline constexpr std::uint32_t kFixedTextSize = 255;

// First step of every cfg function: the image library's thread set-up.
void EnterNativeFrame();

// Copies min(length, size - 1) characters and a terminator; size 0 means no
// limit. A null buffer drops the text.
void CopyText(const CFGString& text, char* buffer, std::uint32_t size);

}  // namespace keld
