// Exported functions of the library as a whole and of the host: error
// texts, closing a session, versions, password and MTU of a target, and the
// release of blocks the library handed out.
#include <cstdlib>

#include "capi/frames.h"
#include "capi/native_call.h"
#include "keldcfgc/keldcfgc.h"

using namespace keld;
using keld::capi::kFixedTextSize;
using keld::capi::NativeCall;

extern "C" {

KELDCFGC_API int32_t cfgGetErrorText(uint32_t status, char* text) {
  return NativeCall([&] {
    CFGString sentence;
    const Status result = frames::GetErrorText(status, &sentence);
    CopyText(sentence, text, kFixedTextSize);
    return result;
  });
}

KELDCFGC_API int32_t cfgClose(uint32_t session) {
  return NativeCall([&] { return frames::Close(session); });
}

KELDCFGC_API int32_t cfgQueryVersion(const char* host, uint32_t* version) {
  return NativeCall([&] { return frames::QueryVersion(host, version); });
}

KELDCFGC_API int32_t cfgCheckPassword(const char* host, const char* password) {
  return NativeCall([&] { return frames::CheckPassword(host, password); });
}

KELDCFGC_API int32_t cfgGetNetworkInterfaceMTU(const char* host, const char* adapter, uint32_t* mtu) {
  return NativeCall([&] { return frames::GetNetworkInterfaceMTU(host, adapter, mtu); });
}

KELDCFGC_API int32_t cfgSetNetworkInterfaceMTU(const char* host, const char* adapter, uint32_t mtu) {
  return NativeCall([&] { return frames::SetNetworkInterfaceMTU(host, adapter, mtu); });
}

KELDCFGC_API int32_t cfgDispose(void* block) {
  return NativeCall([&] {
    if (block == nullptr) return kBadPointer;
    std::free(block);
    return kSuccess;
  });
}

}  // extern "C"
