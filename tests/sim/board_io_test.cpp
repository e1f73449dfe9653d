// Registers, block memory, FPGA classes, trigger lines, pulse generators,
// the camera's serial link and light-head limits of the simulated driver.
#include <cmath>

#include "sim_fixture.h"

namespace keldsim_test {
namespace {

class BoardIoTest : public SimTest {};

uint32_t ReadRegister(uint32_t serial, uint32_t region, uint32_t offset) {
  uint32_t value = 0xDEADBEEF;
  EXPECT_EQ(kldRead(serial, region, offset, 4, &value), kOk);
  return value;
}

TEST_F(BoardIoTest, RegistersIdentifyTheBoardAndKeepWhatIsWritten) {
  EXPECT_EQ(ReadRegister(kBoard7109, 0, 0x0000), 0x7109u);
  EXPECT_EQ(ReadRegister(kBoard7109, 0, 0x0004), kBoard7109);
  EXPECT_EQ(ReadRegister(kBoard7109, 0, 0x0008), 3u);
  EXPECT_EQ(ReadRegister(kBoard7109, 0, 0x0010), 0u);  // no data FPGA
  EXPECT_EQ(ReadRegister(kBoard7109, 0, 0x0014), 2u);  // advanced look-up tables
  const uint32_t value = 0x12345678;
  ASSERT_EQ(kldWrite(kBoard7109, 0, 0x0040, 4, &value), kOk);
  EXPECT_EQ(ReadRegister(kBoard7109, 0, 0x0040), 0x12345678u);
  EXPECT_EQ(ReadRegister(kBoard7105, 0, 0x0040), 0u);          // each board its own
  ASSERT_EQ(kldWrite(kBoard7109, 0, 0x0000, 4, &value), kOk);  // read-only: ignored
  EXPECT_EQ(ReadRegister(kBoard7109, 0, 0x0000), 0x7109u);
  ASSERT_EQ(kldWrite(kBoard7109, 1, 0xFFFFFC, 4, &value), kOk);  // the last word of 16 MiB
  EXPECT_EQ(ReadRegister(kBoard7109, 1, 0xFFFFFC), 0x12345678u);
  uint32_t out = 0;
  EXPECT_EQ(kldRead(kBoard7109, 1, 0x1000000, 4, &out), kAddressOutOfRange);
  EXPECT_EQ(kldRead(kBoard7109, 0, 0x10000, 4, &out), kAddressOutOfRange);
  EXPECT_EQ(kldRead(kBoard7109, 2, 0, 4, &out), kAddressOutOfRange);
  EXPECT_EQ(kldRead(kBoard7109, 0, 0x0042, 4, &out), kInvalidArgument);
  EXPECT_EQ(kldRead(kBoard7109, 0, 0x0040, 2, &out), kInvalidArgument);
  EXPECT_EQ(kldRead(kBoard7109, 0, 0x0040, 4, nullptr), kInvalidArgument);
  EXPECT_EQ(kldRead(0x1234, 0, 0x0040, 4, &out), kBoardNotFound);
}

TEST_F(BoardIoTest, StatusRegisterChangesFromOneReadToTheNext) {
  const uint32_t first = ReadRegister(kBoard7105, 0, 0x0020);
  const uint32_t second = ReadRegister(kBoard7105, 0, 0x0020);
  EXPECT_EQ(second, first + 1);
}

TEST_F(BoardIoTest, DescriptionDecidesTheDataFpgaAndTheLookUpTables) {
  ASSERT_EQ(keldsimAddBoard(R"({"serial": 81, "model": "OD PCI-7108", "interface_types": 2})"), kOk);
  EXPECT_EQ(ReadRegister(81, 0, 0x0010), 0xDF007108u);
  EXPECT_EQ(ReadRegister(81, 0, 0x0014), 1u);
  ASSERT_EQ(keldsimAddBoard(R"({"serial": 82, "model": "OD PCI-7108", "interface_types": 2,
                                "data_fpga": false, "advanced_lut": true})"),
            kOk);
  EXPECT_EQ(ReadRegister(82, 0, 0x0010), 0u);
  EXPECT_EQ(ReadRegister(82, 0, 0x0014), 2u);
}

TEST_F(BoardIoTest, FirmwareBlocksAreWrittenAndReadBack) {
  std::vector<uint8_t> erased(64);
  ASSERT_EQ(odkelduReadBlock(kBoard7105, 0, 0x1000, 1, 64, erased.data()), kOk);
  EXPECT_EQ(erased, std::vector<uint8_t>(64, 0xFF));  // flash never written
  std::vector<uint8_t> image(10000);
  for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(i * 7 + 3);
  // In two chunks, as an update goes, across pages.
  ASSERT_EQ(odkelduWriteBlock(kBoard7105, 0, 0x3F00, 1, 6000, image.data()), kOk);
  ASSERT_EQ(odkelduWriteBlock(kBoard7105, 0, 0x3F00 + 6000, 1, 4000, image.data() + 6000), kOk);
  std::vector<uint8_t> back(10000);
  ASSERT_EQ(odkelduReadBlock(kBoard7105, 0, 0x3F00, 1, 10000, back.data()), kOk);
  EXPECT_EQ(back, image);
  std::vector<uint8_t> other(16);
  ASSERT_EQ(odkelduReadBlock(kBoard7109, 0, 0x3F00, 1, 16, other.data()), kOk);
  EXPECT_EQ(other, std::vector<uint8_t>(16, 0xFF));
  uint32_t words[2] = {};
  ASSERT_EQ(odkelduReadBlock(kBoard7105, 1, 0, 4, 2, words), kOk);
  EXPECT_EQ(words[0], 0u);  // the EEPROM starts cleared
  EXPECT_EQ(odkelduReadBlock(kBoard7105, 0, 0x800000 - 8, 1, 16, back.data()), kAddressOutOfRange);
  EXPECT_EQ(odkelduReadBlock(kBoard7105, 1, 0x10000, 1, 1, back.data()), kAddressOutOfRange);
  EXPECT_EQ(odkelduReadBlock(kBoard7105, 0, 1, 2, 1, back.data()), kInvalidArgument);
  EXPECT_EQ(odkelduReadBlock(kBoard7105, 0, 0, 3, 1, back.data()), kInvalidArgument);
  EXPECT_EQ(odkelduReadBlock(kBoard7105, 0, 0, 1, 1, nullptr), kInvalidArgument);
  EXPECT_EQ(odkelduReadBlock(0x100000000ull | kBoard7105, 0, 0, 1, 1, back.data()), kBoardNotFound);
}

TEST_F(BoardIoTest, FpgaClassesOfTheBoard) {
  const uint32_t sid = Open(ClaimInterface(kBoard7105));
  uint32_t supported = 9;
  ASSERT_EQ(odkelduIsFPGAClassNumberSupported(sid, 0x710501, &supported), kOk);
  EXPECT_EQ(supported, 1u);
  ASSERT_EQ(odkelduIsFPGAClassNumberSupported(sid, 0x710901, &supported), kOk);
  EXPECT_EQ(supported, 0u);
  EXPECT_EQ(odkelduIsFPGAClassNumberSupported(sid, 1, nullptr), kInvalidArgument);
}

TEST_F(BoardIoTest, TriggerSettingsAreReadBack) {
  const uint32_t sid = Open(ClaimInterface(kBoard7105));
  uint32_t w[5] = {};
  double time = -1;
  uint32_t flags = 9;
  ASSERT_EQ(kldSessionTriggerGet(sid, 3, &w[0], &w[1], &w[2], &w[3], &w[4], &time, &flags), kOk);
  EXPECT_EQ(w[0], 3u);
  EXPECT_EQ(w[2], 0u);
  EXPECT_EQ(time, 0.0);
  ASSERT_EQ(kldSessionTriggerConfigure3(sid, 3, 1, 3, 2, 500, 0.25, 1), kOk);
  ASSERT_EQ(kldSessionTriggerGet(sid, 3, &w[0], &w[1], &w[2], &w[3], &w[4], &time, &flags), kOk);
  EXPECT_EQ(std::vector<uint32_t>(w, w + 5), (std::vector<uint32_t>{3, 1, 3, 2, 500}));
  EXPECT_EQ(time, 0.25);
  EXPECT_EQ(flags, 1u);
  ASSERT_EQ(kldSessionTriggerConfigure(sid, 4, 0, 1, 0), kOk);
  ASSERT_EQ(kldSessionTriggerConfigure2(sid, 5, 1, 2, 1, 100), kOk);
  ASSERT_EQ(kldSessionTriggerGet(sid, 5, &w[0], &w[1], &w[2], &w[3], &w[4], &time, &flags), kOk);
  EXPECT_EQ(std::vector<uint32_t>(w, w + 5), (std::vector<uint32_t>{5, 1, 2, 1, 100}));
  EXPECT_EQ(kldSessionTriggerConfigure(sid, 16, 0, 1, 0), kInvalidTrigger);
  EXPECT_EQ(kldSessionTriggerConfigure(sid, 1, 2, 1, 0), kInvalidTrigger);
  EXPECT_EQ(kldSessionTriggerConfigure3(sid, 1, 0, 1, 0, 0, -1.0, 0), kInvalidTrigger);
  EXPECT_EQ(kldSessionTriggerGet(sid, 3, nullptr, &w[1], &w[2], &w[3], &w[4], &time, &flags), kInvalidArgument);
  ASSERT_EQ(kldSessionTriggerClear(sid), kOk);
  ASSERT_EQ(kldSessionTriggerGet(sid, 3, &w[0], &w[1], &w[2], &w[3], &w[4], &time, &flags), kOk);
  EXPECT_EQ(w[2], 0u);
  EXPECT_EQ(kldSessionLineTrigSource2(sid, 2, 0, 1, 4), kOk);
  EXPECT_EQ(kldSessionLineTrigSource2(sid, 2, 0, 1, 0), kInvalidTrigger);
}

uint32_t Level(uint32_t sid, uint32_t line, uint32_t polarity = 0) {
  uint32_t level = 9;
  EXPECT_EQ(kldSessionTriggerRead2(sid, line, 0, polarity, &level), kOk);
  return level;
}

TEST_F(BoardIoTest, LinesShowWhatDrivesThem) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  EXPECT_EQ(Level(sid, 2), 0u);
  EXPECT_EQ(Level(sid, 2, 1), 1u);  // active low reads the idle line as asserted
  ASSERT_EQ(kldSessionTriggerDrive2(sid, 2, 0, 1, 0), kOk);
  EXPECT_EQ(Level(sid, 2), 1u);
  ASSERT_EQ(kldSessionTriggerDrive2(sid, 2, 0, 1, 1), kOk);  // driven inverted
  EXPECT_EQ(Level(sid, 2), 0u);
  ASSERT_EQ(kldSessionTriggerRoute2(sid, 7, 1, 2, 0), kOk);
  EXPECT_EQ(Level(sid, 7), 0u);
  ASSERT_EQ(kldSessionTriggerDrive2(sid, 2, 0, 3, 0), kOk);  // "acquisition in progress"
  EXPECT_EQ(Level(sid, 7), 0u);
  ASSERT_EQ(kldGrabSetup(sid, 1), kOk);
  EXPECT_EQ(Level(sid, 7), 1u);
  ASSERT_EQ(kldSessionStopAcquisition(sid), kOk);
  EXPECT_EQ(Level(sid, 7), 0u);
  EXPECT_EQ(kldSessionTriggerRoute2(sid, 7, 0, 7, 0), kInvalidTrigger);
  EXPECT_EQ(kldSessionTriggerDrive2(sid, 2, 0, 6, 0), kInvalidTrigger);
  uint32_t level = 0;
  EXPECT_EQ(kldSessionTriggerRead2(sid, 2, 0, 0, nullptr), kInvalidArgument);
  EXPECT_EQ(kldSessionTriggerRead2(sid, 20, 0, 0, &level), kInvalidTrigger);
  ASSERT_EQ(kldSessionTriggerClear(sid), kOk);
  EXPECT_EQ(Level(sid, 7), 0u);
}

TEST_F(BoardIoTest, EncoderCountsFromItsReset) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  const uint32_t all = 1;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60502, &all), kOk);
  std::vector<uint8_t> image(640 * 480);
  void* pixels = image.data();
  ASSERT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kOk);
  ASSERT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60180), 200u);
  ASSERT_EQ(kldEncoderResetPosition(sid), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60180), 0u);
  ASSERT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60180), 100u);
}

TEST_F(BoardIoTest, PulseGeneratorsFromCreationToDisposal) {
  const uint32_t sid = Open(ClaimInterface(kBoard7105));
  uint32_t timebase = 9, delay = 0, width = 0;
  ASSERT_EQ(kldPulseRate(0.001, 0.0005, &timebase, &delay, &width), kOk);
  EXPECT_EQ(timebase, 0u);  // 50 MHz
  EXPECT_EQ(delay, 50000u);
  EXPECT_EQ(width, 25000u);
  ASSERT_EQ(kldPulseRate(100.0, 1.0, &timebase, &delay, &width), kOk);
  EXPECT_EQ(timebase, 1u);  // 1 MHz: 100 s do not fit the finest
  EXPECT_EQ(delay, 100000000u);
  EXPECT_EQ(kldPulseRate(0.0, 1e-9, &timebase, &delay, &width), kInvalidPulse);
  EXPECT_EQ(kldPulseRate(-1.0, 1.0, &timebase, &delay, &width), kInvalidPulse);
  EXPECT_EQ(kldPulseRate(NAN, 1.0, &timebase, &delay, &width), kInvalidPulse);

  uint32_t pulse = 0;
  ASSERT_EQ(kldPulseCreate2(timebase, delay, width, 0xFFFFFFFF, 0, 9, 0, 1, 0, 0, &pulse), kOk);
  EXPECT_NE(pulse, 0u);
  KeldsimPulseState state{};
  ASSERT_EQ(keldsimGetPulseState(pulse, &state), kOk);
  EXPECT_EQ(state.parameters[1], delay);
  EXPECT_EQ(state.parameters[5], 9u);
  EXPECT_EQ(state.running, 0u);
  EXPECT_EQ(Level(sid, 9), 0u);
  ASSERT_EQ(kldPulseStart(pulse, sid), kOk);
  ASSERT_EQ(keldsimGetPulseState(pulse, &state), kOk);
  EXPECT_EQ(state.running, 1u);
  EXPECT_EQ(state.session, sid);
  EXPECT_EQ(Level(sid, 9), 1u);  // its output line
  ASSERT_EQ(kldPulseSetDutyCycle(pulse, sid, 300, 700), kOk);
  ASSERT_EQ(keldsimGetPulseState(pulse, &state), kOk);
  EXPECT_EQ(state.parameters[2], 300u);
  EXPECT_EQ(state.parameters[1], 700u);
  EXPECT_EQ(kldPulseSetDutyCycle(pulse, sid, 0, 700), kInvalidPulse);
  EXPECT_EQ(kldPulseSetDutyCycle(pulse, 0x1234, 1, 1), kInvalidId);
  ASSERT_EQ(kldPulseStop(pulse), kOk);
  ASSERT_EQ(keldsimGetPulseState(pulse, &state), kOk);
  EXPECT_EQ(state.running, 0u);
  EXPECT_EQ(Level(sid, 9), 0u);
  ASSERT_EQ(kldPulseDispose(pulse), kOk);
  EXPECT_EQ(keldsimGetPulseState(pulse, &state), kInvalidId);
  EXPECT_EQ(kldPulseStart(pulse, sid), kInvalidId);
  EXPECT_EQ(kldPulseDispose(pulse), kInvalidId);
  EXPECT_EQ(kldPulseCreate2(3, 1, 1, 0, 0, 0, 0, 0, 0, 0, &pulse), kInvalidPulse);  // no such timebase
  EXPECT_EQ(kldPulseCreate2(0, 1, 0, 0, 0, 0, 0, 0, 0, 0, &pulse), kInvalidPulse);  // no width
  EXPECT_EQ(kldPulseCreate2(0, 1, 1, 0, 0, 0, 0, 0, 0, 0, nullptr), kInvalidArgument);
}

TEST_F(BoardIoTest, SerialErrorTextOfTheCamera) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  uint32_t size = 0;
  ASSERT_EQ(odkelduShowSerialError(sid, nullptr, &size), kOk);
  EXPECT_EQ(size, 1u);  // nothing has gone wrong
  EXPECT_EQ(kldSetCameraAttributeNumeric(sid, "Gain", 99.0), kCameraAttributeValue);
  ASSERT_EQ(odkelduShowSerialError(sid, nullptr, &size), kOk);
  std::vector<char> text(size);
  ASSERT_EQ(odkelduShowSerialError(sid, text.data(), &size), kOk);
  EXPECT_NE(std::string(text.data()).find("Gain"), std::string::npos) << text.data();
  char small[4];
  size = sizeof small;
  EXPECT_EQ(odkelduShowSerialError(sid, small, &size), kBufferTooSmall);
  EXPECT_EQ(std::strlen(small), 3u);
  ASSERT_EQ(keldsimSetSerialError(sid, "Camera answered NAK"), kOk);
  size = sizeof small;
  ASSERT_EQ(odkelduShowSerialError(sid, nullptr, &size), kOk);
  EXPECT_EQ(size, std::strlen("Camera answered NAK") + 1);
  EXPECT_EQ(odkelduShowSerialError(sid, small, nullptr), kInvalidArgument);
  EXPECT_EQ(keldsimSetSerialError(0x1234, "x"), kInvalidId);
}

// The light-head entry as the library hands it over.
struct LightHeadEntry {
  double version;
  char namePart1[64], namePart2[64], namePart3[32], namePart4[32];
  char signerName[64], signerPublicKey[1024], masterSignerName[64], keyStoreSignature[1024];
  char digitalSigner[64], digitalSignature[1024], binaryBlob[2048];
  uint32_t algorithm;
  double maximumCurrentContinuous, maximumDutyCycleStrobed;
  double curvePoints[32][2];
  uint64_t curvePointCount;
};
static_assert(sizeof(LightHeadEntry) == 6056);

LightHeadEntry Head() {
  LightHeadEntry entry{};
  std::strcpy(entry.namePart1, "Lumen");
  std::strcpy(entry.namePart2, "Ring");
  std::strcpy(entry.namePart3, "R70");
  std::strcpy(entry.namePart4, "White");
  entry.maximumCurrentContinuous = 2.5;
  entry.maximumDutyCycleStrobed = 25;
  entry.curvePointCount = 2;
  entry.curvePoints[0][0] = 0;
  entry.curvePoints[0][1] = 0;
  entry.curvePoints[1][0] = 1;
  entry.curvePoints[1][1] = 100;
  return entry;
}

uint32_t Crc32(const std::string& text) {
  uint32_t crc = 0xFFFFFFFF;
  for (const char c : text) {
    crc ^= static_cast<uint8_t>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? (crc >> 1) ^ 0xEDB88320u : crc >> 1;
  }
  return ~crc;
}

TEST_F(BoardIoTest, LightHeadLimitsAreCheckedAndKept) {
  const uint32_t sid = Open(ClaimInterface(kBoard7105));
  LightHeadEntry entry = Head();
  ASSERT_EQ(odkelduLoadLightingLimits(sid, &entry), kOk);
  EXPECT_EQ(Text(sid, 0x3FF6057B), "Lumen::Ring::R70::White");
  EXPECT_DOUBLE_EQ(F64(sid, 0x3FF6057C), 1.0);  // the board drives 1 A at most
  EXPECT_DOUBLE_EQ(F64(sid, 0x3FF6057D), 25.0);

  LightHeadEntry sealed = Head();
  std::strcpy(sealed.digitalSigner, "Factory");
  const std::string payload = "0011AABB";
  char check[9];
  std::snprintf(check, sizeof check, "%08X", Crc32(payload));
  std::strcpy(sealed.binaryBlob, (payload + check).c_str());
  ASSERT_EQ(odkelduLoadLightingLimits(sid, &sealed), kOk);
  EXPECT_EQ(Text(sid, 0x3FF6057B), "Lumen::Ring::R70::White::Factory");
  sealed.binaryBlob[0] = '1';
  EXPECT_EQ(odkelduLoadLightingLimits(sid, &sealed), kLightingData);

  for (auto spoil : std::vector<void (*)(LightHeadEntry&)>{
           [](LightHeadEntry& e) { e.namePart3[0] = '\0'; }, [](LightHeadEntry& e) { e.algorithm = 1; },
           [](LightHeadEntry& e) { e.curvePointCount = 0; }, [](LightHeadEntry& e) { e.curvePointCount = 33; },
           [](LightHeadEntry& e) { e.maximumDutyCycleStrobed = 120; },
           [](LightHeadEntry& e) { e.curvePoints[1][0] = -1; }}) {
    LightHeadEntry bad = Head();
    spoil(bad);
    EXPECT_EQ(odkelduLoadLightingLimits(sid, &bad), kLightingData);
  }
  EXPECT_EQ(odkelduLoadLightingLimits(sid, nullptr), kInvalidArgument);
  // A refused entry leaves the head that was loaded; other boards have none.
  EXPECT_EQ(Text(sid, 0x3FF6057B), "Lumen::Ring::R70::White::Factory");
  const uint32_t other = Open(ClaimInterface(kBoard7107));
  EXPECT_EQ(Text(other, 0x3FF6057B), "");
}

}  // namespace
}  // namespace keldsim_test
