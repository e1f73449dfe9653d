// Exported functions of the board self test.
#include "keldcfgc/keldcfgc.h"
#include "session/native_frame.h"
#include "session/native_lookup.h"
#include "session/session_timeout.h"

using namespace keld;

namespace {
// A self test takes long; remote calls wait this long for it.
constexpr std::uint32_t kDiagnosticsTimeout = 360000;
}  // namespace

extern "C" {

KELDCFGC_API int32_t cfgInitializeDiagnostics(uint32_t session, uint32_t* first, uint32_t* second) {
  EnterNativeFrame();
  return ToResult(WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.InitializeDiagnostics(first, second); }));
}

KELDCFGC_API int32_t cfgRunDiagnostics(uint32_t session, uint32_t index, uint32_t* count) {
  EnterNativeFrame();
  if (count == nullptr) return ToResult(kBadPointer);
  // Raise the time-out around the call: the default one for session 0, the
  // session's own where the id names a remote session; a local session has
  // none and the raising does nothing.
  std::uint32_t previous = 0;
  const bool raised = ReadSessionTimeout(session, &previous) == kSuccess;
  // Writing back where reading worked cannot fail: the same look-up succeeded.
  if (raised) IgnoreStatus(WriteSessionTimeout(session, kDiagnosticsTimeout));
  const Status status = WithDeviceSession(session, [&](DeviceConfigSession& s) { return s.RunDiagnostics(index, count); });
  if (raised) IgnoreStatus(WriteSessionTimeout(session, previous));
  return ToResult(status);
}

KELDCFGC_API int32_t cfgGetDiagnosticResults(uint32_t session, uint32_t index, char* name, char* result) {
  EnterNativeFrame();
  CFGString nameText;
  CFGString resultText;
  const Status status = WithDeviceSession(
      session, [&](DeviceConfigSession& s) { return s.GetDiagnosticResults(index, &nameText, &resultText); });
  CopyText(nameText, name, kFixedTextSize);
  CopyText(resultText, result, kFixedTextSize);
  return ToResult(status);
}

}  // extern "C"
