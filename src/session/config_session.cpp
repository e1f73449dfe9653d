#include "session/config_session.h"

namespace keld {

DeviceConfigSession::DeviceConfigSession(const char* name, Status* /*status*/) : interfaceName(name) {}

DeviceConfigSession::~DeviceConfigSession() = default;

}  // namespace keld
