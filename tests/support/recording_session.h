// A device session for tests: records what the registry does with it and
// answers the operations it is asked to.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "local/local_device_config_session.h"
#include "session/session_registry.h"

namespace keld::test {

struct SessionEvents {
  std::atomic<int> closes{0};
  std::atomic<int> destructions{0};
  std::vector<std::string> closedNames;  // in closing order
};

class RecordingSession : public LocalDeviceConfigSession {
 public:
  RecordingSession(std::uint32_t driverType, const char* name, Status* status, SessionEvents* events)
      : LocalDeviceConfigSession(name, status), driverType_(driverType), events_(events) {}
  ~RecordingSession() override { ++events_->destructions; }

  Status Open() override { return kSuccess; }
  Status Close() override {
    ++events_->closes;
    events_->closedNames.emplace_back(interfaceName.c_str());
    return kSuccess;
  }
  std::uint32_t GetDriverType() override { return driverType_; }
  Status EnumerateDevices(DeviceList*) override {
    ++enumerations;
    return enumerateStatus;
  }

  int enumerations = 0;
  Status enumerateStatus = kSuccess;

 private:
  std::uint32_t driverType_;
  SessionEvents* events_;
};

// Installs a builder that makes RecordingSessions for every request and
// removes it again at the end of the scope.
class ScopedRecordingFactory {
 public:
  explicit ScopedRecordingFactory(SessionEvents* events, Status constructorStatus = kSuccess) {
    testing::SetSessionBuilder([events, constructorStatus](std::uint32_t driverType, const char*,
                                                           const char* name, Status* status) -> DeviceConfigSession* {
      auto* session = new RecordingSession(driverType, name, status, events);
      *status = constructorStatus;
      return session;
    });
  }
  ~ScopedRecordingFactory() {
    testing::SetSessionBuilder(nullptr);
    CloseAllSessions();
  }
  ScopedRecordingFactory(const ScopedRecordingFactory&) = delete;
  ScopedRecordingFactory& operator=(const ScopedRecordingFactory&) = delete;
};

}  // namespace keld::test
