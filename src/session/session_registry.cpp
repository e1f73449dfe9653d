#include "session/session_registry.h"

#include <boost/multi_index/global_fun.hpp>
#include <boost/multi_index/indexed_by.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/tag.hpp>
#include <boost/multi_index_container.hpp>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "platform/host.h"
#include "platform/recursive_lock.h"
#include "session/session_factory.h"

namespace keld {

std::uint32_t enumerationCounter = 0;
std::int32_t cameraStatusCounter = 0;

namespace {

namespace bmi = boost::multi_index;

// Set once the session behind it has been closed and destroyed; a reopen
// waits for it before it builds the new session.
class ClosedLatch {
 public:
  void Set() {
    {
      std::lock_guard<std::mutex> guard(lock_);
      closed_ = true;
    }
    done_.notify_all();
  }
  void Wait() {
    std::unique_lock<std::mutex> guard(lock_);
    done_.wait(guard, [this] { return closed_; });
  }

 private:
  std::mutex lock_;
  std::condition_variable done_;
  bool closed_ = false;
};

// What the last reference to a session does: close it, its answer not looked
// at, destroy it, and tell whoever waits for it.
struct SessionCloser {
  std::shared_ptr<ClosedLatch> latch;
  void operator()(ConfigSession* session) const {
    // The session goes whatever its close answers.
    IgnoreStatus(session->Close());
    delete session;
    latch->Set();
  }
};

using SessionRef = std::shared_ptr<ConfigSession>;

std::uint32_t IdOf(const SessionRef& session) { return session->id; }
const CFGString& KeyOf(const SessionRef& session) { return session->key; }

struct ById {};
struct ByKey {};

// Orders keys byte by byte as signed chars; a shorter prefix sorts first.
struct KeyOrder {
  bool operator()(const CFGString& a, const CFGString& b) const { return a.Compare(b) < 0; }
};

using SessionContainer = bmi::multi_index_container<
    SessionRef,
    bmi::indexed_by<bmi::ordered_unique<bmi::tag<ById>, bmi::global_fun<const SessionRef&, std::uint32_t, &IdOf>>,
                    bmi::ordered_unique<bmi::tag<ByKey>,
                                        bmi::global_fun<const SessionRef&, const CFGString&, &KeyOf>, KeyOrder>>>;

// The lock comes to life before the map and goes after it: the map's
// destructor takes the sessions that are left out under this lock.
RecursiveLock sessionMapLock;

class ConfigSessionMap {
 public:
  ConfigSessionMap() = default;
  ConfigSessionMap(const ConfigSessionMap&) = delete;
  ConfigSessionMap& operator=(const ConfigSessionMap&) = delete;
  virtual ~ConfigSessionMap() { CloseAll(); }

  // Takes every session out in ascending id order; each closes as its last
  // reference goes, outside the lock.
  void CloseAll() {
    std::vector<SessionRef> leaving;
    {
      ScopedLock guard(sessionMapLock);
      for (const SessionRef& session : sessions.get<ById>()) leaving.push_back(session);
      sessions.clear();
    }
    for (SessionRef& session : leaving) session.reset();
  }

  SessionContainer sessions;
};

ConfigSessionMap sessionMap;
std::uint32_t nextSessionId = 1;

const char* DriverWord(std::uint32_t driverType) {
  switch (driverType) {
    case kDriverKELD: return "KELD";
    case kDriverKELD1394: return "KELD1394";
    case kDriverKELDnv: return "KELDnv";
    default: return nullptr;
  }
}

SessionRef FindById(std::uint32_t id) {
  ScopedLock guard(sessionMapLock);
  auto& byId = sessionMap.sessions.get<ById>();
  auto it = byId.find(id);
  return it == byId.end() ? nullptr : *it;
}

// Takes the session out of both indices; the caller drops the reference
// outside the lock.
SessionRef TakeOut(ConfigSession* session) {
  ScopedLock guard(sessionMapLock);
  auto& byId = sessionMap.sessions.get<ById>();
  auto it = byId.find(session->id);
  if (it == byId.end() || it->get() != session) return nullptr;
  SessionRef taken = *it;
  byId.erase(it);
  return taken;
}

}  // namespace

CFGString GetLocalClientName() {
  return FormatString("%s:%u", GetHostName().c_str(), GetCurrentProcessId());
}

Status CreateSession(std::shared_ptr<ConfigSession>* out, std::uint32_t driverType, const char* clientName,
                     const char* host, const char* interfaceName) {
  const char* driverWord = DriverWord(driverType);
  if (driverWord == nullptr) return kUnknownSessionType;
  const CFGString key =
      FormatString("%s:%s:%s:%s", clientName, host != nullptr ? host : "127.0.0.1", driverWord, interfaceName);

  // Reopening rule: a new session on the same key replaces the old one,
  // whoever holds its id, before the new one is even built. A call still
  // inside the old one finishes first; then it closes, and only then is the
  // device opened again.
  SessionRef replaced;
  {
    ScopedLock guard(sessionMapLock);
    auto& byKey = sessionMap.sessions.get<ByKey>();
    auto it = byKey.find(key);
    if (it != byKey.end()) {
      replaced = *it;
      byKey.erase(it);
    }
  }
  if (replaced != nullptr) {
    const std::shared_ptr<ClosedLatch> latch = std::get_deleter<SessionCloser>(replaced)->latch;
    replaced.reset();
    latch->Wait();
  }

  Status status = kSuccess;
  DeviceConfigSession* built = BuildSession(driverType, clientName, host, interfaceName, &status);
  if (built == nullptr) return kUnknownSessionType;
  if (status != kSuccess) {
    // Never registered, never opened: destroyed without a close.
    delete built;
    return status;
  }
  SessionRef session;
  try {
    session = SessionRef(built, SessionCloser{std::make_shared<ClosedLatch>()});
  } catch (const std::bad_alloc&) {
    delete built;
    return kUnknownSessionType;
  }

  {
    ScopedLock guard(sessionMapLock);
    session->key = key;
    session->id = nextSessionId;
    nextSessionId = nextSessionId + 1 == 0 ? 1 : nextSessionId + 1;
    // A racing registration with an equal key or id is dropped silently:
    // the caller still holds its session, which closes with its reference.
    static_cast<void>(sessionMap.sessions.insert(session));
  }
  *out = std::move(session);
  return kSuccess;
}

Status GetSession(std::shared_ptr<ConfigSession>* out, std::uint32_t id) {
  SessionRef session = FindById(id);
  if (session == nullptr) return kInvalidSession;
  *out = std::move(session);
  return kSuccess;
}

Status GetDeviceSession(std::shared_ptr<DeviceConfigSession>* out, std::uint32_t id) {
  if (out == nullptr) return kBadPointer;
  SessionRef session = FindById(id);
  if (session == nullptr) return kInvalidSession;
  if (session->GetDriverType() > kDriverKELDnv) return kInvalidSession;
  auto* device = dynamic_cast<DeviceConfigSession*>(session.get());
  if (device == nullptr) return kInvalidSession;
  *out = std::shared_ptr<DeviceConfigSession>(std::move(session), device);
  return kSuccess;
}

void CloseSession(ConfigSession* session) {
  if (session == nullptr) return;
  // Dropped here, outside the lock: the close runs now unless a call is
  // still inside the session.
  SessionRef taken = TakeOut(session);
}

Status EnumerateDriverDevices(std::uint32_t driverType, const char* host, DeviceList* out) {
  if (driverType > kDriverKELDnv) return kSuccess;
  const std::uint32_t number = enumerationCounter++;
  const CFGString name = FormatString("Enumeration%u", number);
  std::shared_ptr<ConfigSession> session;
  Status status = CreateSession(&session, driverType, GetLocalClientName().c_str(), host, name.c_str());
  if (status == kSuccess) {
    auto* device = dynamic_cast<DeviceConfigSession*>(session.get());
    status = device != nullptr ? device->EnumerateDevices(out) : kInvalidSession;
  }
  CloseSession(session.get());
  return status;
}

void CloseAllSessions() { sessionMap.CloseAll(); }

namespace testing {

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
