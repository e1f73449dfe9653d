// The server entries: local sessions created, driven and closed on behalf
// of a remote client.
#include <cstdlib>

#include "foundation/byte_stream.h"
#include "keldcfgc/keldcfgc_server.h"
#include "session/native_frame.h"
#include "session/session_registry.h"

using namespace keld;

extern "C" {

KELDCFGC_API int32_t keldsrvCreateSession(uint32_t driverType, const char* clientName, const char* interfaceName,
                                          uint32_t* sessionId) {
  EnterNativeFrame();
  if (clientName == nullptr || interfaceName == nullptr || sessionId == nullptr) {
    return static_cast<int32_t>(kBadPointer);
  }
  ConfigSession* session = nullptr;
  const Status status = CreateSession(&session, driverType, clientName, nullptr, interfaceName);
  *sessionId = status == kSuccess ? session->id : 0;
  return static_cast<int32_t>(status);
}

KELDCFGC_API int32_t keldsrvExecuteCommand(uint32_t sessionId, uint32_t command, const uint8_t* input,
                                           uint32_t inputSize, uint8_t** output, uint32_t* outputSize) {
  EnterNativeFrame();
  if (output == nullptr || outputSize == nullptr || (input == nullptr && inputSize != 0)) {
    return static_cast<int32_t>(kBadPointer);
  }
  *output = nullptr;
  *outputSize = 0;
  ConfigSession* session = nullptr;
  Status status = GetSession(&session, sessionId);
  if (status != kSuccess) return static_cast<int32_t>(status);
  ScopedByteStream arguments;
  status = arguments->AppendBytes(input, inputSize);
  if (status != kSuccess) return static_cast<int32_t>(status);
  arguments->Rewind();
  ByteStream results;
  status = session->ExecuteCommand(command, arguments.get(), &results);
  *output = results.data;
  *outputSize = results.data != nullptr ? results.size : 0;
  return static_cast<int32_t>(status);
}

KELDCFGC_API int32_t keldsrvPingSession(uint32_t sessionId) {
  EnterNativeFrame();
  ConfigSession* session = nullptr;
  return static_cast<int32_t>(GetSession(&session, sessionId));
}

KELDCFGC_API int32_t keldsrvCloseSession(uint32_t sessionId) {
  EnterNativeFrame();
  ConfigSession* session = nullptr;
  const Status status = GetSession(&session, sessionId);
  if (status == kSuccess) CloseSession(session);
  return static_cast<int32_t>(status);
}

KELDCFGC_API void keldsrvFreeStream(uint8_t* data) { std::free(data); }

}  // extern "C"
