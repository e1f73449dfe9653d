#include "session/session_registry.h"

#include <algorithm>
#include <boost/multi_index/indexed_by.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/tag.hpp>
#include <boost/multi_index_container.hpp>
#include <cstring>
#include <new>
#include <vector>

#include "local/keld/local_keld_config_session.h"
#include "local/keld1394/local_keldfw_config_session.h"
#include "local/keldnv/local_keldnv_config_session.h"
#include "platform/host.h"
#include "platform/recursive_lock.h"
#include "remote/remote_keld_config_session.h"
#include "remote/remote_keldfw_config_session.h"
#include "remote/remote_keldnv_config_session.h"

namespace keld {

std::uint32_t enumerationCounter = 0;
std::int32_t cameraStatusCounter = 0;

namespace {

namespace bmi = boost::multi_index;

struct ById {};
struct ByKey {};

// Orders keys byte by byte as signed chars; a shorter prefix sorts first.
struct KeyOrder {
  bool operator()(const CFGString& a, const CFGString& b) const { return a.Compare(b) < 0; }
};

using SessionContainer = bmi::multi_index_container<
    ConfigSession*,
    bmi::indexed_by<
        bmi::ordered_unique<bmi::tag<ById>, bmi::member<ConfigSession, std::uint32_t, &ConfigSession::id>>,
        bmi::ordered_unique<bmi::tag<ByKey>, bmi::member<ConfigSession, CFGString, &ConfigSession::key>,
                            KeyOrder>>>;

// The lock comes to life before the map and goes after it: the map's
// destructor closes the sessions that are left under this lock.
RecursiveLock sessionMapLock;

class ConfigSessionMap {
 public:
  ConfigSessionMap() = default;
  ConfigSessionMap(const ConfigSessionMap&) = delete;
  ConfigSessionMap& operator=(const ConfigSessionMap&) = delete;
  virtual ~ConfigSessionMap() { CloseAll(); }

  void CloseAll() {
    ScopedLock guard(sessionMapLock);
    while (!sessions.empty()) CloseSession(*sessions.get<ById>().begin());
    while (!unregistered.empty()) CloseSession(unregistered.front());
  }

  SessionContainer sessions;
  // Sessions that lost a registration race with an equal key: their callers
  // hold them, no id names them. They are kept here so that unload still
  // closes and frees them.
  std::vector<ConfigSession*> unregistered;
};

ConfigSessionMap sessionMap;

std::uint32_t nextSessionId = 1;
testing::SessionBuilder sessionBuilder;

const char* DriverWord(std::uint32_t driverType) {
  switch (driverType) {
    case kDriverKELD: return "KELD";
    case kDriverKELD1394: return "KELD1394";
    case kDriverKELDnv: return "KELDnv";
    default: return nullptr;
  }
}

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

ConfigSession* FindById(std::uint32_t id) {
  ScopedLock guard(sessionMapLock);
  auto& byId = sessionMap.sessions.get<ById>();
  auto it = byId.find(id);
  return it == byId.end() ? nullptr : *it;
}

}  // namespace

CFGString GetLocalClientName() {
  return FormatString("%s:%u", GetHostName().c_str(), GetCurrentProcessId());
}

Status CreateSession(ConfigSession** out, std::uint32_t driverType, const char* clientName, const char* host,
                     const char* interfaceName) {
  const char* driverWord = DriverWord(driverType);
  if (driverWord == nullptr) return kUnknownSessionType;
  const CFGString key =
      FormatString("%s:%s:%s:%s", clientName, host != nullptr ? host : "127.0.0.1", driverWord, interfaceName);

  {
    // Reopening rule: a new session on the same key replaces the old one,
    // whoever holds its id, before the new one is even built.
    ScopedLock guard(sessionMapLock);
    auto& byKey = sessionMap.sessions.get<ByKey>();
    auto it = byKey.find(key);
    if (it != byKey.end()) CloseSession(*it);
  }

  Status status = kSuccess;
  DeviceConfigSession* session = BuildSession(driverType, clientName, host, interfaceName, &status);
  if (session == nullptr) return kUnknownSessionType;
  if (status != kSuccess) {
    delete session;
    return status;
  }

  {
    ScopedLock guard(sessionMapLock);
    session->key = key;
    session->id = nextSessionId;
    nextSessionId = nextSessionId + 1 == 0 ? 1 : nextSessionId + 1;
    // A racing registration with an equal key or id is dropped silently.
    if (!sessionMap.sessions.insert(session).second) sessionMap.unregistered.push_back(session);
  }
  *out = session;
  return status;
}

Status GetSession(ConfigSession** out, std::uint32_t id) {
  ConfigSession* session = FindById(id);
  if (session == nullptr) return kInvalidSession;
  *out = session;
  return kSuccess;
}

Status GetDeviceSession(DeviceConfigSession** out, std::uint32_t id) {
  if (out == nullptr) return kBadPointer;
  ConfigSession* session = FindById(id);
  if (session == nullptr) return kInvalidSession;
  if (session->GetDriverType() > kDriverKELDnv) return kInvalidSession;
  auto* device = dynamic_cast<DeviceConfigSession*>(session);
  if (device == nullptr) return kInvalidSession;
  *out = device;
  return kSuccess;
}

Status GetRemoteSession(RemoteDeviceConfigSession** out, std::uint32_t id) {
  ConfigSession* session = FindById(id);
  if (session == nullptr) return kInvalidSession;
  if (!session->IsRemote()) return kInvalidSession;
  if (session->GetDriverType() > kDriverKELDnv) return kInvalidSession;
  auto* remote = dynamic_cast<RemoteDeviceConfigSession*>(session);
  if (remote == nullptr) return kInvalidSession;
  *out = remote;
  return kSuccess;
}

void CloseSession(ConfigSession* session) {
  if (session == nullptr) return;
  ScopedLock guard(sessionMapLock);
  auto& byId = sessionMap.sessions.get<ById>();
  auto it = byId.find(session->id);
  if (it != byId.end() && *it == session) {
    byId.erase(it);
  } else {
    auto& loose = sessionMap.unregistered;
    loose.erase(std::remove(loose.begin(), loose.end(), session), loose.end());
  }
  // The close's answer is not looked at: the session goes either way.
  IgnoreStatus(session->Close());
  delete session;
}

Status EnumerateDriverDevices(std::uint32_t driverType, const char* host, DeviceList* out) {
  if (driverType > kDriverKELDnv) return kSuccess;
  const std::uint32_t number = enumerationCounter++;
  const CFGString name = FormatString("Enumeration%u", number);
  ConfigSession* session = nullptr;
  Status status = CreateSession(&session, driverType, GetLocalClientName().c_str(), host, name.c_str());
  if (status == kSuccess) {
    auto* device = dynamic_cast<DeviceConfigSession*>(session);
    status = device != nullptr ? device->EnumerateDevices(out) : kInvalidSession;
  }
  CloseSession(session);
  return status;
}

void CloseAllSessions() { sessionMap.CloseAll(); }

namespace testing {

void SetSessionBuilder(SessionBuilder builder) { sessionBuilder = std::move(builder); }

void SetNextSessionId(std::uint32_t next) {
  ScopedLock guard(sessionMapLock);
  nextSessionId = next;
}

std::size_t RegisteredSessionCount() {
  ScopedLock guard(sessionMapLock);
  return sessionMap.sessions.size();
}

}  // namespace testing

}  // namespace keld
