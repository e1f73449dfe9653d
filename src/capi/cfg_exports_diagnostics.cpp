// Exported functions of the board self test and of firmware updates.
#include "capi/frames.h"
#include "capi/native_call.h"
#include "keldcfgc/keldcfgc.h"

using namespace keld;
using keld::capi::kFixedTextSize;
using keld::capi::NativeCall;

extern "C" {

KELDCFGC_API int32_t cfgInitializeDiagnostics(uint32_t session, uint32_t* first, uint32_t* second) {
  return NativeCall([&] { return frames::InitializeDiagnostics(session, first, second); });
}

KELDCFGC_API int32_t cfgRunDiagnostics(uint32_t session, uint32_t index, uint32_t* count) {
  return NativeCall([&] { return frames::RunDiagnostics(session, index, count); });
}

KELDCFGC_API int32_t cfgGetDiagnosticResults(uint32_t session, uint32_t index, char* name, char* result) {
  return NativeCall([&] {
    CFGString nameText;
    CFGString resultText;
    const Status status = frames::GetDiagnosticResults(session, index, &nameText, &resultText);
    CopyText(nameText, name, kFixedTextSize);
    CopyText(resultText, result, kFixedTextSize);
    return status;
  });
}

KELDCFGC_API int32_t cfgGetUpdateFileHeaderInfo(const char* path, uint32_t* count, uint8_t* header) {
  return NativeCall([&] { return frames::GetUpdateFileHeaderInfo(path, count, header); });
}

KELDCFGC_API int32_t cfgWriteUpdateFileChunk(uint32_t session, uint32_t blockHigh, uint32_t blockLow, const char* path,
                                             uint32_t offset, uint32_t length) {
  return NativeCall([&] { return frames::WriteUpdateFileChunk(session, blockHigh, blockLow, path, offset, length); });
}

KELDCFGC_API int32_t cfgVerifyUpdate(uint32_t session, uint32_t blockHigh, uint32_t blockLow, const char* path,
                                     uint32_t* matches) {
  return NativeCall([&] { return frames::VerifyUpdate(session, blockHigh, blockLow, path, matches); });
}

KELDCFGC_API int32_t cfgIsFPGAClassNumSupported(uint32_t session, uint32_t classNumber, uint32_t* supported) {
  return NativeCall([&] { return frames::IsFPGAClassNumSupported(session, classNumber, supported); });
}

}  // extern "C"
