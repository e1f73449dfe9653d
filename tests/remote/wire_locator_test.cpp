// LocateService and ComposeBinding against a local HTTP stand-in of the
// service locator.
#include <gtest/gtest.h>

#include "remote/remote_session.h"
#include "remote/service_locator.h"
#include "support_servers.h"

namespace keld {
namespace {

using testsupport::HttpStandIn;
using testsupport::ScopedLocatorPort;
using testsupport::ScopedRegistryPort;

const char* kHeader = "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\n";

std::uint16_t Locate(const std::string& body, std::vector<std::string>* requests = nullptr) {
  HttpStandIn standIn(std::string(kHeader) + body);
  ScopedLocatorPort redirect(standIn.port());
  const std::uint16_t port = LocateService("127.0.0.1", "myTarget", 7750);
  if (requests != nullptr) *requests = standIn.requests();
  return port;
}

TEST(LocateService, MappingFirstWins) { EXPECT_EQ(Locate("Mapping=1234\r\nPort=5678\r\n"), 1234); }
TEST(LocateService, PortFirstWins) { EXPECT_EQ(Locate("Port=5678\r\nMapping=1234\r\n"), 5678); }
TEST(LocateService, PortInsideALineDoesNotCount) { EXPECT_EQ(Locate("x Port=5678\r\n"), 0); }
TEST(LocateService, PortCutTo16Bits) { EXPECT_EQ(Locate("Port=70000\r\n"), static_cast<std::uint16_t>(70000)); }
TEST(LocateService, ReplyWithoutKeysGivesZero) { EXPECT_EQ(Locate("Nothing=1\r\n"), 0); }
TEST(LocateService, CloseAfterHeadersGivesZero) { EXPECT_EQ(Locate(""), 0); }

TEST(LocateService, LineOfMoreThan1023CharactersEndsReading) {
  EXPECT_EQ(Locate(std::string(1100, 'x') + "\r\nPort=5678\r\n"), 0);
}

TEST(LocateService, RequestLine) {
  std::vector<std::string> requests;
  Locate("Port=1\r\n", &requests);
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0],
            "GET Orvane%20Devices%2FFlowmere%20Real%2DTime%2FTargets%2FmyTarget%2FServices%2F7750 HTTP/1.0");
}

TEST(LocateService, NullTargetGivesZeroWithoutRequest) {
  HttpStandIn standIn(std::string(kHeader) + "Port=1\r\n");
  ScopedLocatorPort redirect(standIn.port());
  bool ok = true;
  EXPECT_EQ(LocateService("127.0.0.1", nullptr, 7750, &ok), 0);
  EXPECT_FALSE(ok);
  EXPECT_TRUE(standIn.requests().empty());
}

TEST(LocateService, NoLocatorGivesZeroAndNotOk) {
  ScopedLocatorPort redirect(testsupport::UnusedPort());
  bool ok = true;
  EXPECT_EQ(LocateService("127.0.0.1", "myTarget", 7750, &ok), 0);
  EXPECT_FALSE(ok);
}

TEST(LocateService, OkReportsOnlyThatTheRequestWentOut) {
  HttpStandIn standIn(kHeader);
  ScopedLocatorPort redirect(standIn.port());
  bool ok = false;
  EXPECT_EQ(LocateService("127.0.0.1", "myTarget", 7750, &ok), 0);
  EXPECT_TRUE(ok);
}

TEST(LocateService, DrainWaitsForTheServerToClose) {
  // The stand-in answers, then holds the connection; the look-up may only
  // return once the stand-in has closed it.
  HttpStandIn standIn(std::string(kHeader) + "Port=4321\r\n", 700);
  ScopedLocatorPort redirect(standIn.port());
  EXPECT_EQ(LocateService("127.0.0.1", "myTarget", 7750), 4321);
  EXPECT_TRUE(standIn.closedAfterHold.load());
}

// ComposeBinding: which address, which name, which port.
struct Composed {
  Status status;
  std::string address;
  std::uint32_t port;
  bool second;
  std::vector<std::string> requests;
};

Composed Compose(const char* host, const std::string& body = "Port=4444\r\n") {
  HttpStandIn standIn(std::string(kHeader) + body);
  ScopedLocatorPort redirect(standIn.port());
  ScopedRegistryPort registry(9123);
  RemoteSession session(1000);
  Composed result{session.ComposeBinding(host), "", 0, false, {}};
  if (session.bindings[0]) {
    result.address = session.bindings[0]->networkAddress();
    result.port = session.bindings[0]->port();
  }
  result.second = session.bindings[1] != nullptr;
  result.requests = standIn.requests();
  session.ReleaseBindings();
  return result;
}

TEST(ComposeBinding, EmptyHostIsEmptyAddressOnRegistryPort) {
  const Composed c = Compose("");
  EXPECT_EQ(c.status, kSuccess);
  EXPECT_EQ(c.address, "");
  EXPECT_EQ(c.port, 9123u);
  EXPECT_TRUE(c.requests.empty());
}

TEST(ComposeBinding, LoopbackAloneAsksNoLocator) {
  const Composed c = Compose("127.0.0.1");
  EXPECT_EQ(c.address, "127.0.0.1");
  EXPECT_EQ(c.port, 9123u);
  EXPECT_TRUE(c.requests.empty());
}

TEST(ComposeBinding, NamedTargetAsksTheLocator) {
  for (const char* host : {"127.0.0.1::myTarget", "127.0.0.1:myTarget"}) {
    const Composed c = Compose(host);
    EXPECT_EQ(c.address, "127.0.0.1");
    EXPECT_EQ(c.port, 4444u);
    ASSERT_EQ(c.requests.size(), 1u);
    EXPECT_NE(c.requests[0].find("%2FmyTarget%2FServices%2F9123 "), std::string::npos) << c.requests[0];
  }
}

TEST(ComposeBinding, PrefixTestMakesName00) {
  const Composed c = Compose("127.0.0.100");
  EXPECT_EQ(c.address, "127.0.0.1");
  ASSERT_EQ(c.requests.size(), 1u);
  EXPECT_NE(c.requests[0].find("Targets%2F00%2FServices"), std::string::npos);
}

TEST(ComposeBinding, FailedLookUpComposesPortZero) {
  const Composed c = Compose("127.0.0.1::myTarget", "nothing\r\n");
  EXPECT_EQ(c.status, kSuccess);
  EXPECT_EQ(c.port, 0u);
}

TEST(ComposeBinding, OtherHostsAreTheAddress) {
  const Composed c = Compose("localhost");
  EXPECT_EQ(c.address, "localhost");
  EXPECT_EQ(c.port, 9123u);
}

TEST(ComposeBinding, SecondHandleExists) { EXPECT_TRUE(Compose("127.0.0.1").second); }

TEST(ComposeBinding, UnparsableAddressGivesRuntimeStatus) {
  const Composed c = Compose("bad[host");
  EXPECT_EQ(c.status, 1700u);
}

}  // namespace
}  // namespace keld
