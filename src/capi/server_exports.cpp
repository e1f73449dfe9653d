// The server entries of the public header keldcfgc_server.h: thin adapters
// over the server frames, under the same guard as every export.
#include <cstdlib>

#include "capi/native_call.h"
#include "capi/server_frames.h"
#include "keldcfgc/keldcfgc_server.h"

using namespace keld;
using keld::capi::NativeCall;

extern "C" {

KELDCFGC_API int32_t keldsrvCreateSession(uint32_t driverType, const char* clientName, const char* interfaceName,
                                          uint32_t* sessionId) {
  return NativeCall([&] { return frames::CreateServerSession(driverType, clientName, interfaceName, sessionId); });
}

KELDCFGC_API int32_t keldsrvExecuteCommand(uint32_t sessionId, uint32_t command, const uint8_t* input,
                                           uint32_t inputSize, uint8_t** output, uint32_t* outputSize) {
  return NativeCall([&]() -> Status {
    if (output == nullptr || outputSize == nullptr || (input == nullptr && inputSize != 0)) return kBadPointer;
    *output = nullptr;
    *outputSize = 0;
    // The caller's bytes are read where they lie; the view never owns them.
    ByteStream arguments;
    arguments.data = const_cast<std::uint8_t*>(input);
    arguments.size = inputSize;
    ScopedByteStream results;
    const Status status = frames::ExecuteServerCommand(sessionId, command, &arguments, results.get());
    // Handed over: the caller frees it with keldsrvFreeStream.
    *output = results->data;
    *outputSize = results->data != nullptr ? results->size : 0;
    results->data = nullptr;
    results->size = 0;
    return status;
  });
}

KELDCFGC_API int32_t keldsrvPingSession(uint32_t sessionId) {
  return NativeCall([&] { return frames::PingServerSession(sessionId); });
}

KELDCFGC_API int32_t keldsrvCloseSession(uint32_t sessionId) {
  return NativeCall([&] { return frames::CloseServerSession(sessionId); });
}

KELDCFGC_API void keldsrvFreeStream(uint8_t* data) { std::free(data); }

}  // extern "C"
