#include "session/session_registry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "local/keld/local_keld_config_session.h"
#include "local/keld1394/local_keldfw_config_session.h"
#include "local/keldnv/local_keldnv_config_session.h"
#include "platform/host.h"
#include "remote/remote_lookup.h"
#include "session/session_factory.h"
#include "support/recording_session.h"

namespace keld {
namespace {

using test::RecordingSession;
using test::ScopedRecordingFactory;
using test::SessionEvents;

// Creates a session and hands back a plain pointer: the test holds no
// reference, so the registry alone keeps it, as for an API caller.
DeviceConfigSession* Create(std::uint32_t driverType, const char* host, const char* name, Status* status) {
  std::shared_ptr<ConfigSession> session;
  *status = CreateSession(&session, driverType, GetLocalClientName().c_str(), host, name);
  return session == nullptr ? nullptr : dynamic_cast<DeviceConfigSession*>(session.get());
}

TEST(ClientName, IsHostNameAndProcessId) {
  const std::string expected = std::string(GetHostName().c_str()) + ":" + std::to_string(GetCurrentProcessId());
  EXPECT_EQ(GetLocalClientName().c_str(), expected);
}

TEST(ClientName, FailingHostNameGivesLocalhostLiteral) {
  testing::SimulateHostNameFailure(true);
  const std::string name = GetLocalClientName().c_str();
  testing::SimulateHostNameFailure(false);
  EXPECT_EQ(name, "LOCALHOST:" + std::to_string(GetCurrentProcessId()));
}

TEST(Registry, KeyHasClientHostDriverAndInterface) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events);
  std::shared_ptr<ConfigSession> session;
  ASSERT_EQ(CreateSession(&session, kDriverKELDnv, "LABPC:4012", nullptr, "cam0"), kSuccess);
  EXPECT_STREQ(session->key.c_str(), "LABPC:4012:127.0.0.1:KELDnv:cam0");
  ASSERT_EQ(CreateSession(&session, kDriverKELD1394, "LABPC:4012", "10.1.2.3", "cam0"), kSuccess);
  EXPECT_STREQ(session->key.c_str(), "LABPC:4012:10.1.2.3:KELD1394:cam0");
  ASSERT_EQ(CreateSession(&session, kDriverKELD, "LABPC:4012", "", "img0"), kSuccess);
  EXPECT_STREQ(session->key.c_str(), "LABPC:4012::KELD:img0");
}

TEST(Registry, LongNamesAreNotTruncated) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events);
  const std::string longName(2000, 'n');
  std::shared_ptr<ConfigSession> session;
  ASSERT_EQ(CreateSession(&session, kDriverKELD, "client", nullptr, longName.c_str()), kSuccess);
  EXPECT_EQ(std::string(session->key.c_str()), "client:127.0.0.1:KELD:" + longName);
}

TEST(Registry, UnknownDriverTypeIsRefused) {
  std::shared_ptr<ConfigSession> session;
  EXPECT_EQ(CreateSession(&session, 3, "c", nullptr, "x"), kUnknownSessionType);
  EXPECT_EQ(session, nullptr);
  EXPECT_EQ(CreateSession(&session, 0xFFFFFFFF, "c", nullptr, "x"), kUnknownSessionType);
}

TEST(Registry, ReopeningSameInterfaceInvalidatesFirstId) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events);
  Status status = 0;
  DeviceConfigSession* first = Create(kDriverKELD, nullptr, "img0", &status);
  ASSERT_EQ(status, kSuccess);
  const std::uint32_t firstId = first->id;
  DeviceConfigSession* second = Create(kDriverKELD, nullptr, "img0", &status);
  ASSERT_EQ(status, kSuccess);
  EXPECT_NE(second->id, firstId);
  EXPECT_EQ(events.closes.load(), 1);
  std::shared_ptr<DeviceConfigSession> found;
  EXPECT_EQ(GetDeviceSession(&found, firstId), kInvalidSession);
  ASSERT_EQ(GetDeviceSession(&found, second->id), kSuccess);
  EXPECT_EQ(found.get(), second);
}

TEST(Registry, NullHostAndLoopbackShareAKeyEmptyHostDoesNot) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events);
  Status status = 0;
  Create(kDriverKELDnv, nullptr, "cam", &status);
  Create(kDriverKELDnv, "127.0.0.1", "cam", &status);
  EXPECT_EQ(events.closes.load(), 1);  // the second replaced the first
  Create(kDriverKELDnv, "", "cam", &status);
  EXPECT_EQ(events.closes.load(), 1);  // different key, nothing replaced
  EXPECT_EQ(testing::RegisteredSessionCount(), 2u);
}

TEST(Registry, FactoryChoosesClassByDriverAndPlace) {
  // The real classes: local ones are built, the remote open fails as there is
  // no target behind the host.
  Status status = 1;
  DeviceConfigSession* keld = Create(kDriverKELD, nullptr, "classK", &status);
  ASSERT_EQ(status, kSuccess);
  EXPECT_NE(dynamic_cast<LocalKELDConfigSession*>(keld), nullptr);
  DeviceConfigSession* fw = Create(kDriverKELD1394, "127.0.0.1", "classW", &status);
  ASSERT_EQ(status, kSuccess);
  EXPECT_NE(dynamic_cast<LocalKELDFWConfigSession*>(fw), nullptr);
  DeviceConfigSession* nv = Create(kDriverKELDnv, nullptr, "classN", &status);
  ASSERT_EQ(status, kSuccess);
  EXPECT_NE(dynamic_cast<LocalKELDNVConfigSession*>(nv), nullptr);
  EXPECT_EQ(keld->GetDriverType(), 0u);
  EXPECT_EQ(fw->GetDriverType(), 1u);
  EXPECT_EQ(nv->GetDriverType(), 2u);
  EXPECT_FALSE(keld->IsRemote());
  CloseAllSessions();
}

TEST(Registry, FailedConstructionRegistersNothingAndDestroys) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events, kRemoteException);
  Status status = 0;
  EXPECT_EQ(Create(kDriverKELD, "target", "img0", &status), nullptr);
  EXPECT_EQ(status, kRemoteException);
  EXPECT_EQ(events.destructions.load(), 1);
  EXPECT_EQ(events.closes.load(), 0);  // destroyed without Close
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
}

TEST(Registry, FailedReopenLeavesNoSessionAtAll) {
  SessionEvents events;
  bool failNext = false;
  testing::SetSessionBuilder([&events, &failNext](std::uint32_t type, const char*, const char* name,
                                                  Status* s) -> DeviceConfigSession* {
    auto* session = new RecordingSession(type, name, s, &events);
    if (failNext) *s = kRemoteException;
    return session;
  });
  Status status = 0;
  DeviceConfigSession* first = Create(kDriverKELDnv, "target", "cam", &status);
  ASSERT_EQ(status, kSuccess);
  const std::uint32_t firstId = first->id;
  failNext = true;
  EXPECT_EQ(Create(kDriverKELDnv, "target", "cam", &status), nullptr);
  EXPECT_EQ(status, kRemoteException);
  std::shared_ptr<DeviceConfigSession> found;
  EXPECT_EQ(GetDeviceSession(&found, firstId), kInvalidSession);
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
  EXPECT_EQ(events.closes.load(), 1);        // the first was closed
  EXPECT_EQ(events.destructions.load(), 2);  // and the failed second destroyed
  testing::SetSessionBuilder(nullptr);
}

TEST(Registry, LookupsCheckInOrder) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events);
  Status status = 0;
  DeviceConfigSession* good = Create(kDriverKELD, nullptr, "good", &status);
  ASSERT_NE(good, nullptr);

  EXPECT_EQ(GetDeviceSession(nullptr, good->id), kBadPointer);
  EXPECT_EQ(GetDeviceSession(nullptr, 999999), kBadPointer);  // pointer first
  std::shared_ptr<DeviceConfigSession> device;
  EXPECT_EQ(GetDeviceSession(&device, 999999), kInvalidSession);
  EXPECT_EQ(device, nullptr);
  std::shared_ptr<ConfigSession> plain;
  EXPECT_EQ(GetSession(&plain, 999999), kInvalidSession);
  ASSERT_EQ(GetSession(&plain, good->id), kSuccess);
  EXPECT_EQ(plain.get(), good);
  // A local session is refused by the remote look-up.
  std::shared_ptr<RemoteDeviceConfigSession> remote;
  EXPECT_EQ(GetRemoteSession(&remote, good->id), kInvalidSession);
  EXPECT_EQ(remote, nullptr);
  EXPECT_EQ(GetSession(&plain, 0), kInvalidSession);
}

TEST(Registry, DriverTypeOutOfRangeFailsDeviceLookup) {
  SessionEvents events;
  Status status = 0;
  testing::SetSessionBuilder([&events](std::uint32_t, const char*, const char* name,
                                       Status* s) -> DeviceConfigSession* {
    return new RecordingSession(9, name, s, &events);  // answers an unknown driver type
  });
  DeviceConfigSession* odd = Create(kDriverKELD, nullptr, "odd-type", &status);
  ASSERT_NE(odd, nullptr);
  std::shared_ptr<DeviceConfigSession> device;
  EXPECT_EQ(GetDeviceSession(&device, odd->id), kInvalidSession);
  EXPECT_EQ(device, nullptr);
  std::shared_ptr<ConfigSession> plain;
  EXPECT_EQ(GetSession(&plain, odd->id), kSuccess);  // the plain look-up checks only the id
  plain.reset();
  testing::SetSessionBuilder(nullptr);
  CloseAllSessions();
}

TEST(Registry, IdCounterWrapsToOneNeverZero) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events);
  testing::SetNextSessionId(0xFFFFFFFF);
  Status status = 0;
  DeviceConfigSession* last = Create(kDriverKELD, nullptr, "last", &status);
  DeviceConfigSession* wrapped = Create(kDriverKELD, nullptr, "wrapped", &status);
  EXPECT_EQ(last->id, 0xFFFFFFFFu);
  EXPECT_EQ(wrapped->id, 1u);
  testing::SetNextSessionId(100);
}

TEST(Registry, CloseSessionAcceptsNullAndLeavesUnregisteredAlone) {
  CloseSession(nullptr);
  SessionEvents events;
  Status status = 0;
  auto* loose = new RecordingSession(0, "loose", &status, &events);
  CloseSession(loose);  // never registered: not the registry's to close
  EXPECT_EQ(events.closes.load(), 0);
  EXPECT_EQ(events.destructions.load(), 0);
  delete loose;
}

TEST(Registry, ClosedSessionLivesUntilTheLastHolderLetsGo) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events);
  Status status = 0;
  DeviceConfigSession* created = Create(kDriverKELD, nullptr, "held", &status);
  ASSERT_EQ(status, kSuccess);
  const std::uint32_t id = created->id;
  std::shared_ptr<DeviceConfigSession> held;
  ASSERT_EQ(GetDeviceSession(&held, id), kSuccess);
  CloseSession(held.get());
  // Gone for every look-up at once, but still whole for the call inside it.
  std::shared_ptr<DeviceConfigSession> again;
  EXPECT_EQ(GetDeviceSession(&again, id), kInvalidSession);
  EXPECT_EQ(events.closes.load(), 0);
  EXPECT_STREQ(held->interfaceName.c_str(), "held");
  held.reset();
  EXPECT_EQ(events.closes.load(), 1);
  EXPECT_EQ(events.destructions.load(), 1);
}

TEST(Registry, ReopenWaitsUntilACallInsideTheOldSessionReturns) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events);
  Status status = 0;
  DeviceConfigSession* old = Create(kDriverKELD, nullptr, "busy", &status);
  ASSERT_NE(old, nullptr);
  std::shared_ptr<DeviceConfigSession> inside;  // a call in progress
  ASSERT_EQ(GetDeviceSession(&inside, old->id), kSuccess);
  std::atomic<bool> reopened{false};
  std::thread reopen([&] {
    Status s = 0;
    EXPECT_NE(Create(kDriverKELD, nullptr, "busy", &s), nullptr);
    reopened = true;
  });
  // However long the reopen has had, it cannot have finished: the old
  // session is held, so it is not closed, and the new one is not built.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(reopened.load());
  EXPECT_EQ(events.closes.load(), 0);
  inside.reset();
  reopen.join();
  EXPECT_TRUE(reopened.load());
  EXPECT_EQ(events.closes.load(), 1);
  // The old one was closed before the new one was built.
  ASSERT_EQ(events.order.size(), 3u);
  EXPECT_EQ(events.order[0], "built busy");
  EXPECT_EQ(events.order[1], "closed busy");
  EXPECT_EQ(events.order[2], "built busy");
}

TEST(Registry, CloseAllGoesInAscendingIdOrder) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events);
  testing::SetNextSessionId(50);
  Status status = 0;
  Create(kDriverKELD, nullptr, "b-second", &status);  // id 50
  Create(kDriverKELD, nullptr, "a-first", &status);   // id 51
  testing::SetNextSessionId(10);
  Create(kDriverKELD, nullptr, "c-lowest", &status);  // id 10
  CloseAllSessions();
  ASSERT_EQ(events.closedNames.size(), 3u);
  EXPECT_EQ(events.closedNames[0], "c-lowest");
  EXPECT_EQ(events.closedNames[1], "b-second");
  EXPECT_EQ(events.closedNames[2], "a-first");
  testing::SetNextSessionId(100);
}

TEST(Enumeration, UnknownDriverIsSilentSuccess) {
  DeviceList* untouched = nullptr;
  const std::uint32_t before = enumerationCounter;
  EXPECT_EQ(EnumerateDriverDevices(3, nullptr, untouched), kSuccess);
  EXPECT_EQ(enumerationCounter, before);
}

TEST(Enumeration, UsesAThrowAwaySessionWithRunningName) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events);
  const std::uint32_t number = enumerationCounter;
  EXPECT_EQ(EnumerateDriverDevices(kDriverKELDnv, nullptr, nullptr), kSuccess);
  EXPECT_EQ(EnumerateDriverDevices(kDriverKELDnv, nullptr, nullptr), kSuccess);
  ASSERT_EQ(events.closedNames.size(), 2u);
  EXPECT_EQ(events.closedNames[0], "Enumeration" + std::to_string(number));
  EXPECT_EQ(events.closedNames[1], "Enumeration" + std::to_string(number + 1));
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
}

TEST(Enumeration, FailedCreationIsReported) {
  SessionEvents events;
  ScopedRecordingFactory factory(&events, kRemoteException);
  EXPECT_EQ(EnumerateDriverDevices(kDriverKELD, "far-away", nullptr), kRemoteException);
}

TEST(Enumeration, StatusOfEnumerateDevicesIsTheResult) {
  SessionEvents events;
  testing::SetSessionBuilder([&events](std::uint32_t type, const char*, const char* name,
                                       Status* s) -> DeviceConfigSession* {
    auto* session = new RecordingSession(type, name, s, &events);
    session->enumerateStatus = 0xBFF60123;
    return session;
  });
  EXPECT_EQ(EnumerateDriverDevices(kDriverKELD, nullptr, nullptr), 0xBFF60123u);
  EXPECT_EQ(events.closes.load(), 1);
  testing::SetSessionBuilder(nullptr);
}

}  // namespace
}  // namespace keld
