// Debug notes of the library: things a peer did that the library tolerated
// but someone tracing a problem would want to know. The library reads no
// environment or file of its own to switch them on: a program that wants
// them (the server at its debug log level, a test) installs a sink; without
// one they cost a load of a flag and nothing is formatted.
#pragma once

#include <functional>
#include <string>

namespace keld {

// printf-style; the text is formatted only when a sink is installed.
void DebugLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Sends every note to `sink` until called again with an empty function.
void SetDebugSink(std::function<void(const std::string&)> sink);

}  // namespace keld
