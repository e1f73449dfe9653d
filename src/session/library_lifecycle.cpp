#include "session/library_lifecycle.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/version.h"
#include "session/library_version.h"

namespace keld {

namespace {

// The file name of this module, 260 bytes at most, or "Unknown".
std::string ModuleFileName() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&LibraryPackageCallback), &info) == 0 || info.dli_fname == nullptr) {
    return "Unknown";
  }
  std::string name = info.dli_fname;
  if (name.size() > 259) name.resize(259);
  return name;
}

void ReportFailure(const char* reason, std::int32_t status) {
  std::fprintf(stderr, "DllMain(%s) of %s failed with status %d\n", reason, ModuleFileName().c_str(), status);
}

}  // namespace

std::int32_t LibraryPackageCallback(std::uint32_t phase) {
  if (phase == 0) {
    // The version texts are formed and, with no package log here, not used further.
    const std::string current = tHTVersion(kCurrentVersion).toString();
    const std::string oldest = tHTVersion(kOldestCompatibleVersion).toString();
    static_cast<void>(current);
    static_cast<void>(oldest);
  }
  return 0;
}

bool ProcessAttach(AttachState& state, PackageCallback callback) {
  state = AttachState{};
  std::int32_t status = callback(0);
  if (status >= 0) {
    state.attachStarted = true;
    status = callback(2);
    if (status >= 0) {
      state.attachFinished = true;
      return true;
    }
  }
  ReportFailure("DLL_PROCESS_ATTACH", status);
  return false;
}

void ProcessDetach(const AttachState& state, PackageCallback callback) {
  if (state.attachFinished) callback(3);
  if (state.attachStarted) callback(1);
}

bool ThreadAttach(PackageCallback callback) {
  const std::int32_t status = callback(4);
  if (status < 0) {
    ReportFailure("DLL_THREAD_ATTACH", status);
    return false;
  }
  return true;
}

void ThreadDetach(PackageCallback callback) { callback(5); }

namespace {

// Runs the attach phases when the library is loaded and the detach phases
// when it is unloaded.
struct LibraryModule {
  AttachState state;
  LibraryModule() {
    if (!ProcessAttach(state, &LibraryPackageCallback)) _exit(1);
  }
  ~LibraryModule() { ProcessDetach(state, &LibraryPackageCallback); }
};

const LibraryModule libraryModule;

}  // namespace

}  // namespace keld
