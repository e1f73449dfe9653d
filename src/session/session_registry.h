// The process-wide registry of open sessions. Callers hold only the u32 id;
// a look-up hands out a counted reference that keeps the session alive for
// as long as the caller holds it, normally the length of one call.
//
// Closing a session takes it out of the registry at once: from then on no
// look-up finds its id (0xBFFF8009). The session itself is closed (its Close
// runs, its answer not looked at) and destroyed when the last reference
// goes, which is at once where no call is inside it, or when the last such
// call returns. No registry lock is held while a session closes.
#pragma once

#include <cstdint>
#include <memory>

#include "foundation/cfg_string.h"
#include "session/config_session.h"

namespace keld {

class DeviceList;

// "%s:%u" of the host name and the process id.
CFGString GetLocalClientName();

// Builds, registers and returns a not yet opened session. A session with the
// same key is closed first, even where the new one then fails; the new one
// is built only once the old one has gone.
Status CreateSession(std::shared_ptr<ConfigSession>* out, std::uint32_t driverType, const char* clientName,
                     const char* host, const char* interfaceName);
// Plain look-up by id.
Status GetSession(std::shared_ptr<ConfigSession>* out, std::uint32_t id);
// Look-up for the device frames: the session's driver type must be 0, 1 or 2
// and the session a device session; every failure is 0xBFFF8009.
Status GetDeviceSession(std::shared_ptr<DeviceConfigSession>* out, std::uint32_t id);
// Takes the session out of the registry; it closes when the last reference
// goes. Accepts null and sessions no longer registered.
void CloseSession(ConfigSession* session);
// Fills `out` through a throw-away session that is never opened.
Status EnumerateDriverDevices(std::uint32_t driverType, const char* host, DeviceList* out);

// Takes every registered session out, in ascending id order. Runs at unload.
void CloseAllSessions();

// Running numbers of throw-away sessions; plain integers, by design unlocked.
extern std::uint32_t enumerationCounter;
extern std::int32_t cameraStatusCounter;

namespace testing {
void SetNextSessionId(std::uint32_t next);
std::size_t RegisteredSessionCount();
}  // namespace testing

}  // namespace keld
