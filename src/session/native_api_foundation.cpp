// Exported functions of the foundation: error texts and closing a session.
#include <cstring>

#include "foundation/error_text.h"
#include "keldcfgc/keldcfgc.h"
#include "session/native_frame.h"
#include "session/session_registry.h"

using namespace keld;

extern "C" {

KELDCFGC_API int32_t cfgGetErrorText(uint32_t status, char* text) {
  EnterNativeFrame();
  CFGString sentence;
  const Status result = GetErrorText(status, &sentence);
  CopyText(sentence, text, kFixedTextSize);
  return static_cast<int32_t>(result);
}

KELDCFGC_API int32_t cfgClose(uint32_t session) {
  EnterNativeFrame();
  ConfigSession* found = nullptr;
  const Status status = GetSession(&found, session);
  CloseSession(found);
  return static_cast<int32_t>(status);
}

}  // extern "C"
