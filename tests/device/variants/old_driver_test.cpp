// A driver before 0x03100000 (libkeld_old.so): it cannot tell its version,
// so the library takes 0x03000000 and every older way: model names from the
// PCI table, no acquisition units in names, camera files tested with the
// older question.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "local/keld/local_keld_config_session.h"
#include "variant_support.h"

namespace keld::device {
namespace {

const VariantDriver& Driver() { return VariantDriver::Load("libkeld_old.so"); }

class OldDriver : public ::testing::TestWithParam<Side> {};
INSTANTIATE_TEST_SUITE_P(, OldDriver, ::testing::Values(Side::kLocal, Side::kRemote), SideParamName);

TEST_P(OldDriver, HasNoVersionQuery) {
  ASSERT_TRUE(Driver().loaded());
  EXPECT_EQ(Driver().Control<void>("odkelduGetDriverVersion"), nullptr);
  EXPECT_EQ(Driver().Control<void>("odkelduGetBoardName"), nullptr);
}

// The built-in boards: the PCIe-7109 has a PCI identity that the table does
// not know and is left out; the others are named from the table, and their
// interface names have no unit.
TEST_P(OldDriver, ListsTheBoardsByTheirPciIdentity) {
  VariantDevice device(&Driver(), GetParam());
  Driver().ClearCalls();
  ASSERT_EQ(cfgRefreshBoards(device.Host()), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{"'img0' 0x00A10002 'OD PCI-7105' 0x03000000",
                                                       "'img1' 0x00A10003 'OD PXB-7107' 0x03000000"}));
  EXPECT_EQ(Driver().CallCount("kldGetBoardPCIID"), 3u);
  // Whatever word the simulated driver stands for, the library cannot ask.
  auto* setVersion = Driver().Control<std::uint32_t(std::uint32_t)>("keldsimSetDriverVersion");
  ASSERT_NE(setVersion, nullptr);
  ASSERT_EQ(setVersion(0x03080000), 0u);
  ASSERT_EQ(cfgRefreshBoards(device.Host()), 0);
  EXPECT_EQ(device.Boards().front(), "'img0' 0x00A10002 'OD PCI-7105' 0x03000000");
}

TEST_P(OldDriver, OpensByNameAndBySerialWithoutUnits) {
  VariantDevice device(&Driver(), GetParam());
  for (const char* name : {"img0", "serial:00a10002", ""}) {
    std::uint32_t id = 0;
    ASSERT_EQ(cfgOpenBoard(device.Host(), name, 0x00A10003, &id), 0) << name;
    std::uint32_t serial = 0;
    EXPECT_EQ(cfgGetAttributeU32(id, 0x3FF600C0, &serial, 0), 0);
    EXPECT_EQ(serial, name[0] == 0 ? 0x00A10003u : 0x00A10002u) << name;
    EXPECT_EQ(cfgSetAttributeDouble(id, 0x3FF601CC, 2.0, 1), 0);
    EXPECT_EQ(cfgValidateAttributes(id), 0);
    double gain = 0;
    EXPECT_EQ(cfgGetAttributeDouble(id, 0x3FF601CC, &gain, 0), 0);
    EXPECT_EQ(gain, 2.0);
    EXPECT_EQ(cfgClose(id), 0);
  }
  // The driver refuses unit names, and the library does not make them.
  std::uint32_t id = 0;
  EXPECT_EQ(static_cast<std::uint32_t>(cfgOpenBoard(device.Host(), "img0::0", 0, &id)), 0xBFF6001Cu);
}

// The session takes the plain interface name after an open by serial number.
TEST(OldDriverSession, ASerialNameBecomesThePlainInterfaceName) {
  VariantDevice device(&Driver(), Side::kLocal);
  Status status = kSuccess;
  LocalKELDConfigSession session("serial:00a10003", &status);
  ASSERT_EQ(session.Open(), kSuccess);
  EXPECT_EQ(std::string(session.interfaceName.c_str()), "img1");
  EXPECT_EQ(session.Close(), kSuccess);
}

// A broken interface file is repaired with the camera file that the older
// question accepts.
TEST_P(OldDriver, RepairsAnInterfaceFileWithTheOlderQuestion) {
  VariantDevice device(&Driver(), GetParam());
  const std::filesystem::path file = device.folder() / "img0.iid";
  std::string text = ReadFile(file);
  const std::size_t port = text.find("Port0 = ");
  ASSERT_NE(port, std::string::npos) << text;
  text.replace(port, text.find('\n', port) - port, "Port0 = missing.icd");
  WriteFile(file, text);
  Driver().ClearCalls();
  ASSERT_EQ(cfgRefreshBoards(device.Host()), 0);
  EXPECT_EQ(device.Boards().size(), 2u);
  EXPECT_EQ(Driver().CallCount("odkelduStoreInterfaceConfig"), 1u);
  EXPECT_NE(Driver().CallCount("odkelduIsInterfaceSupported"), 0u);
  EXPECT_EQ(Driver().CallCount("odkelduGetCameraHeaderInfo"), 0u);
  const std::string repaired = ReadFile(file);
  EXPECT_EQ(repaired.find("missing.icd"), std::string::npos) << repaired;
  EXPECT_NE(repaired.find("Port0 = mono16.icd"), std::string::npos) << repaired;
}

TEST_P(OldDriver, ErrorTextsStillComeFromTheDriver) {
  VariantDevice device(&Driver(), GetParam());
  char text[256] = {};
  EXPECT_EQ(cfgGetErrorText(0xBFF60044, text), 0);
  EXPECT_STREQ(text, "The operation is not allowed in the present execution state.");
}

}  // namespace
}  // namespace keld::device
