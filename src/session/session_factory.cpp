#include "session/session_factory.h"

#include <cstring>
#include <new>

#include "local/keld/local_keld_config_session.h"
#include "local/keld1394/local_keldfw_config_session.h"
#include "local/keldnv/local_keldnv_config_session.h"
#include "remote/remote_keld_config_session.h"
#include "remote/remote_keldfw_config_session.h"
#include "remote/remote_keldnv_config_session.h"

namespace keld {

namespace {
testing::SessionBuilder sessionBuilder;
}  // namespace

DeviceConfigSession* BuildSession(std::uint32_t driverType, const char* clientName, const char* host,
                                  const char* interfaceName, Status* status) {
  if (sessionBuilder) {
    if (DeviceConfigSession* session = sessionBuilder(driverType, host, interfaceName, status)) return session;
  }
  const bool local = host == nullptr || std::strcmp(host, "127.0.0.1") == 0;
  if (local) {
    switch (driverType) {
      case kDriverKELD: return new (std::nothrow) LocalKELDConfigSession(interfaceName, status);
      case kDriverKELD1394: return new (std::nothrow) LocalKELDFWConfigSession(interfaceName, status);
      default: return new (std::nothrow) LocalKELDNVConfigSession(interfaceName, status);
    }
  }
  switch (driverType) {
    case kDriverKELD:
      return new (std::nothrow) RemoteKELDConfigSession(clientName, host, driverType, interfaceName, status);
    case kDriverKELD1394:
      return new (std::nothrow) RemoteKELDFWConfigSession(clientName, host, driverType, interfaceName, status);
    default:
      return new (std::nothrow) RemoteKELDNVConfigSession(clientName, host, driverType, interfaceName, status);
  }
}

namespace testing {
void SetSessionBuilder(SessionBuilder builder) { sessionBuilder = std::move(builder); }
}  // namespace testing

}  // namespace keld
