// The process-wide registry of open sessions and the factory that builds
// them. Callers hold only the u32 id; a look-up hands out a plain pointer for
// the length of one call. The registry owns every session from registration
// until CloseSession.
#pragma once

#include <cstdint>
#include <functional>

#include "foundation/cfg_string.h"
#include "session/config_session.h"

namespace keld {

class RemoteDeviceConfigSession;

// "%s:%u" of the host name and the process id.
CFGString GetLocalClientName();

// Builds, registers and returns a not yet opened session. A session with the
// same key is closed first, even where the new one then fails.
Status CreateSession(ConfigSession** out, std::uint32_t driverType, const char* clientName, const char* host,
                     const char* interfaceName);
Status GetSession(ConfigSession** out, std::uint32_t id);
Status GetDeviceSession(DeviceConfigSession** out, std::uint32_t id);
Status GetRemoteSession(RemoteDeviceConfigSession** out, std::uint32_t id);
// Removes the session from the registry, closes and destroys it. Accepts null.
void CloseSession(ConfigSession* session);
// Fills `out` through a throw-away session that is never opened.
Status EnumerateDriverDevices(std::uint32_t driverType, const char* host, DeviceList* out);

// Closes every registered session in ascending id order. Runs at unload.
void CloseAllSessions();

// Running numbers of throw-away sessions; plain integers, by design unlocked.
extern std::uint32_t enumerationCounter;
extern std::int32_t cameraStatusCounter;

namespace testing {
// Builds the session object in place of the six concrete classes; return null
// to fall back to them. Test only.
using SessionBuilder =
    std::function<DeviceConfigSession*(std::uint32_t driverType, const char* host, const char* interfaceName,
                                       Status* status)>;
void SetSessionBuilder(SessionBuilder builder);
void SetNextSessionId(std::uint32_t next);
std::size_t RegisteredSessionCount();
}  // namespace testing

}  // namespace keld
