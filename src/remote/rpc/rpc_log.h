// What the server side of the RPC layer and keldcfgd report, and how: a
// level and a short, stable event name per line. The name says what kind of
// thing happened ("fault", "refused", ...), so that a sink can count and
// rate-limit each kind on its own: a peer that provokes one kind of line a
// hundred thousand times must not drown the others.
#pragma once

#include <functional>
#include <string>

namespace keld::rpc {

enum class LogLevel { kError = 0, kWarning = 1, kInfo = 2, kDebug = 3 };

// A sink for diagnostic lines; `event` is one of the names below.
using LogFunction = std::function<void(LogLevel level, const char* event, const std::string& text)>;

namespace log_event {
inline constexpr const char* kListen = "listen";           // start, stop, drain
inline constexpr const char* kConnection = "connection";   // a connection opened or closed normally
inline constexpr const char* kProtocol = "protocol";       // a peer broke the protocol; its connection closed
inline constexpr const char* kIdle = "idle";               // a connection closed for silence
inline constexpr const char* kFault = "fault";             // a call answered with a fault
inline constexpr const char* kRefused = "refused";         // a connection refused at a limit
inline constexpr const char* kNotAllowed = "not-allowed";  // a peer not on the allow-list
inline constexpr const char* kTooLarge = "too-large";      // a request above the maximum or the memory budget
inline constexpr const char* kSession = "session";         // sessions opened and closed
inline constexpr const char* kSessionLimit = "session-limit";
inline constexpr const char* kReaped = "reaped";           // sessions of a client that went away
inline constexpr const char* kLocator = "locator";
inline constexpr const char* kFailure = "failure";         // something of the server's own failed
inline constexpr const char* kLibrary = "library";         // a debug note of the library
}  // namespace log_event

}  // namespace keld::rpc
