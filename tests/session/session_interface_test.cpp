// The defaults of the session interface and the answers of the concrete
// classes before their drivers are bound.
#include <gtest/gtest.h>

#include "foundation/byte_stream.h"
#include "local/keld/local_keld_config_session.h"
#include "local/keld1394/local_keldfw_config_session.h"
#include "local/keldnv/local_keldnv_config_session.h"
#include "remote/remote_keld_config_session.h"
#include "remote/remote_keldfw_config_session.h"
#include "remote/remote_keldnv_config_session.h"

namespace keld {
namespace {

TEST(SessionInterface, OperationsWithoutBodyAnswerNotSupported) {
  Status status = 0;
  LocalKELDFWConfigSession fw("cam", &status);
  std::uint8_t state = 7;
  std::uint32_t detail = 9;
  EXPECT_EQ(fw.GetCameraStatus("cam", &state, &detail), kNotSupported);
  EXPECT_EQ(state, 7);  // nothing touched
  EXPECT_EQ(detail, 9u);
  EXPECT_EQ(fw.SetOpenFlags(1), kNotSupported);
  EXPECT_EQ(fw.RenameInterface("x"), kNotSupported);
  EXPECT_EQ(fw.CalculateBayerColorLUT(), kNotSupported);
  std::uint32_t supported = 5;
  EXPECT_EQ(fw.SupportsRingAcquisition(0, &supported), kNotSupported);
  EXPECT_EQ(supported, 5u);
  EXPECT_EQ(fw.KELDPulseSetDutyCycle(1, 2, 3), kNotSupported);
  EXPECT_EQ(fw.KELDSessionTriggerClear(), kNotSupported);
  EXPECT_EQ(fw.RenameCameraLinkBoard("a", "b"), kNotSupported);
}

TEST(SessionInterface, DriverTypesOfLocalClasses) {
  Status status = 0;
  LocalKELDConfigSession k("a", &status);
  LocalKELDFWConfigSession w("b", &status);
  LocalKELDNVConfigSession n("c", &status);
  EXPECT_EQ(k.GetDriverType(), 0u);
  EXPECT_EQ(w.GetDriverType(), 1u);
  EXPECT_EQ(n.GetDriverType(), 2u);
  EXPECT_FALSE(k.IsRemote());
  EXPECT_STREQ(n.interfaceName.c_str(), "c");
  EXPECT_EQ(n.driverHandle, 0u);
}

TEST(SessionInterface, RemoteClassesMatchTheirLocalPartners) {
  // Nothing listens on 127.0.0.3, so the remote open fails; the objects still answer their
  // driver type and say they are remote.
  Status status = 0;
  RemoteKELDConfigSession k("client", "127.0.0.3", 0, "a", &status);
  EXPECT_NE(status, kSuccess);
  RemoteKELDFWConfigSession w("client", "127.0.0.3", 1, "b", &status);
  RemoteKELDNVConfigSession n("client", "127.0.0.3", 2, "c", &status);
  EXPECT_EQ(k.GetDriverType(), 0u);
  EXPECT_EQ(w.GetDriverType(), 1u);
  EXPECT_EQ(n.GetDriverType(), 2u);
  EXPECT_TRUE(k.IsRemote());
  EXPECT_TRUE(n.IsRemote());
}

TEST(SessionInterface, ExecuteCommandOnRemoteDoesNothing) {
  Status status = 0;
  RemoteKELDNVConfigSession n("client", "127.0.0.3", 2, "c", &status);
  ByteStream in;
  ByteStream out;
  EXPECT_EQ(n.ExecuteCommand(10, &in, &out), kSuccess);
  EXPECT_EQ(out.size, 0u);
  EXPECT_EQ(in.size, 0u);
}

TEST(SessionInterface, RemoteTimeoutComesFromDefault) {
  const std::uint32_t saved = DefaultRemoteTimeout;
  EXPECT_EQ(saved, 45000u);
  DefaultRemoteTimeout = 1234;
  Status status = 0;
  RemoteKELDConfigSession k("client", "127.0.0.3", 0, "a", &status);
  EXPECT_EQ(k.timeout, 1234u);
  DefaultRemoteTimeout = saved;
}

}  // namespace
}  // namespace keld
