// Exported host-level functions: version, password and MTU of a target.
#include <cstring>

#include "keldcfgc/keldcfgc.h"
#include "remote/host_queries.h"
#include "session/library_version.h"
#include "session/native_frame.h"

using namespace keld;

namespace {
// This computer is meant where the host is absent or exactly "127.0.0.1".
bool IsLocalHost(const char* host) { return host == nullptr || std::strcmp(host, "127.0.0.1") == 0; }
}  // namespace

extern "C" {

KELDCFGC_API int32_t cfgQueryVersion(const char* host, uint32_t* version) {
  EnterNativeFrame();
  if (version == nullptr) return static_cast<int32_t>(kBadPointer);
  *version = 0x01200000;  // stays where the remote call fails
  if (IsLocalHost(host)) {
    *version = kCurrentVersion;
    return 0;
  }
  return static_cast<int32_t>(QueryRemoteVersion(host, version));
}

KELDCFGC_API int32_t cfgCheckPassword(const char* host, const char* /*password*/) {
  EnterNativeFrame();
  return static_cast<int32_t>(CheckRemotePassword(host));
}

KELDCFGC_API int32_t cfgGetNetworkInterfaceMTU(const char* host, const char* adapter, uint32_t* mtu) {
  EnterNativeFrame();
  return static_cast<int32_t>(GetRemoteMTU(host, adapter, mtu));
}

KELDCFGC_API int32_t cfgSetNetworkInterfaceMTU(const char* host, const char* adapter, uint32_t mtu) {
  EnterNativeFrame();
  return static_cast<int32_t>(SetRemoteMTU(host, adapter, mtu));
}

}  // extern "C"
