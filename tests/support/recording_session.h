// A device session for tests: records what the registry does with it and
// answers the operations it is asked to.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "local/local_device_config_session.h"
#include "session/session_factory.h"
#include "session/session_registry.h"

namespace keld::test {

struct SessionEvents {
  std::atomic<int> closes{0};
  std::atomic<int> destructions{0};
  std::vector<std::string> closedNames;  // in closing order
  std::mutex lock;
  std::vector<std::string> order;  // "built name" and "closed name", as they happen

  void Note(const std::string& event) {
    std::lock_guard<std::mutex> guard(lock);
    order.push_back(event);
  }
  void Closed(const std::string& name) {
    std::lock_guard<std::mutex> guard(lock);
    closedNames.push_back(name);
    order.push_back("closed " + name);
  }
};

class RecordingSession : public LocalDeviceConfigSession {
 public:
  RecordingSession(std::uint32_t driverType, const char* name, Status* status, SessionEvents* events)
      : LocalDeviceConfigSession(name, status), driverType_(driverType), events_(events) {
    events_->Note(std::string("built ") + name);
  }
  ~RecordingSession() override { ++events_->destructions; }

  Status Open() override { return kSuccess; }
  Status Close() override {
    ++events_->closes;
    events_->Closed(interfaceName.c_str());
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
