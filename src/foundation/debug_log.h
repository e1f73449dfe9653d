// Debug notes of the library: things a peer did that the library tolerated
// but someone tracing a problem would want to know. Silent unless the
// environment variable KELDCFGC_DEBUG is set (to anything but "0"), then one
// line per note on standard error, prefixed "keldcfgc: ".
#pragma once

#include <functional>
#include <string>

namespace keld {

// printf-style; the text is formatted only when notes are enabled.
void DebugLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

namespace testing {
// Sends every note to `sink` (enabled regardless of the environment) until
// called again with an empty function. Test only.
void SetDebugSink(std::function<void(const std::string&)> sink);
}  // namespace testing

}  // namespace keld
