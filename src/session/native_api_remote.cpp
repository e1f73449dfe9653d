// Exported functions that only make sense on a remote session: the ping and
// the time-out of remote calls.
#include "keldcfgc/keldcfgc.h"
#include "remote/remote_device_config_session.h"
#include "session/native_frame.h"
#include "session/native_lookup.h"
#include "session/session_timeout.h"

using namespace keld;

extern "C" {

KELDCFGC_API int32_t cfgPing(uint32_t session) {
  EnterNativeFrame();
  RemoteDeviceConfigSession* remote = nullptr;
  const Status status = GetRemoteSession(&remote, session);
  if (status != kSuccess) return ToResult(status);
  return ToResult(remote->Ping());
}

KELDCFGC_API int32_t cfgGetTimeout(uint32_t session, uint32_t* timeout) {
  EnterNativeFrame();
  if (timeout == nullptr) return ToResult(kBadPointer);
  return ToResult(ReadSessionTimeout(session, timeout));
}

KELDCFGC_API int32_t cfgSetTimeout(uint32_t session, uint32_t timeout) {
  EnterNativeFrame();
  return ToResult(WriteSessionTimeout(session, timeout));
}

}  // extern "C"
