// Images of the simulated driver, checked pixel by pixel against what the
// camera must deliver: snaps into the driver's memory and the caller's,
// windows and areas, the three pixel formats, raw Bayer mosaics (and their
// decoding by the pattern table of the window), the board's own decoding,
// grabs, buffer lists, rings, sequences and copies by number.
#include <array>

#include "pattern_oracle.h"
#include "sim_fixture.h"

namespace keldsim_test {
namespace {

class AcquisitionTest : public SimTest {
 protected:
  // Faster frames than the camera's own, so that the tests wait little.
  void FastFrames(uint32_t sid, double rate = 500.0) { ASSERT_EQ(Configure(sid, 0x3FF600D9, rate), kOk); }

  std::vector<uint8_t> Snap(uint32_t sid, uint32_t width, uint32_t height, uint32_t pixelBytes) {
    std::vector<uint8_t> image(std::size_t{width} * height * pixelBytes);
    void* pixels = image.data();
    EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, height, width, width), kOk);
    return image;
  }
};

std::vector<uint8_t> Crop(const std::vector<uint8_t>& image, uint32_t width, uint32_t pixelBytes, uint32_t top,
                          uint32_t left, uint32_t cropWidth, uint32_t cropHeight) {
  std::vector<uint8_t> out;
  for (uint32_t y = 0; y < cropHeight; ++y) {
    const auto* row = image.data() + ((std::size_t{top} + y) * width + left) * pixelBytes;
    out.insert(out.end(), row, row + std::size_t{cropWidth} * pixelBytes);
  }
  return out;
}

TEST_F(AcquisitionTest, SnapIntoTheDriversMemory) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  uint32_t bytes = 0;
  ASSERT_EQ(kldSessionGetBufferSize(sid, &bytes), kOk);
  EXPECT_EQ(bytes, 640u * 480u);
  void* first = nullptr;
  ASSERT_EQ(kldSnapArea(sid, &first, 0, 0, 480, 640, 640), kOk);
  ASSERT_NE(first, nullptr);
  EXPECT_TRUE(SameImage(Expected(kMono640, 0, 0, 0, 640, 480), static_cast<uint8_t*>(first), 640, 480, 1, 640));
  // The next snap: the next frame, in the memory the driver kept.
  void* second = nullptr;
  ASSERT_EQ(kldSnapArea(sid, &second, 0, 0, 480, 640, 640), kOk);
  EXPECT_EQ(second, first);
  EXPECT_EQ(Counter(static_cast<uint8_t*>(second), 0, 8), 1u);
  EXPECT_TRUE(SameImage(Expected(kMono640, 1, 0, 0, 640, 480), static_cast<uint8_t*>(second), 640, 480, 1, 640));
}

TEST_F(AcquisitionTest, SnapOfAnAreaIntoPaddedLines) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  constexpr uint32_t kRow = 700;
  std::vector<uint8_t> target(kRow * 100, 0xAB);
  void* pixels = target.data();
  ASSERT_EQ(kldSnapArea(sid, &pixels, 10, 20, 100, 200, kRow), kOk);
  EXPECT_EQ(pixels, target.data());
  const auto whole = Expected(kMono640, 0, 0, 0, 640, 480);
  EXPECT_TRUE(SameImage(Crop(whole, 640, 1, 10, 20, 200, 100), target.data(), 200, 100, 1, kRow));
  for (uint32_t y = 0; y < 100; ++y) {
    for (uint32_t x = 200; x < kRow; ++x) ASSERT_EQ(target[y * kRow + x], 0xAB) << y << " " << x;
  }
  EXPECT_EQ(kldSnapArea(sid, &pixels, 400, 0, 100, 200, kRow), kInvalidArgument);  // below the window
  EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, 10, 200, 100), kInvalidArgument);      // lines shorter than the area
  EXPECT_EQ(kldSnapArea(sid, nullptr, 0, 0, 10, 10, 10), kInvalidArgument);
}

TEST_F(AcquisitionTest, SixteenBitCameraHonoursItsBitDepth) {
  const uint32_t sid = Open(ClaimInterface(kBoard7107));  // mono16: 12 bits
  EXPECT_EQ(U32(sid, 0x3FF600D8), 7u);
  EXPECT_EQ(U32(sid, 0x3FF60424), 12u);
  const auto image = Snap(sid, 1024, 768, 2);
  EXPECT_TRUE(SameImage(Expected(kMono16, 0, 0, 0, 1024, 768), image.data(), 1024, 768, 2, 1024));
  uint16_t highest = 0;
  for (std::size_t i = 0; i < image.size(); i += 2) {
    uint16_t value = 0;
    std::memcpy(&value, image.data() + i, 2);
    highest = std::max(highest, value);
  }
  EXPECT_LE(highest, 4095);
  EXPECT_GT(highest, 2048);
}

TEST_F(AcquisitionTest, ColourCameraDeliversRgb32) {
  const uint32_t sid = OpenWithCamera(kBoard7109, "rgb640.icd");
  EXPECT_EQ(U32(sid, 0x3FF600D8), 4u);
  const auto image = Snap(sid, 640, 480, 4);
  EXPECT_TRUE(SameImage(Expected(kRgb640, 0, 0, 0, 640, 480), image.data(), 640, 480, 4, 640));
  EXPECT_EQ(Counter(image.data(), 4, 8), 0u);
}

// The window moves the mosaic: the library finds the pattern of the window
// from the sensor's pattern and the parity of the window's offsets.
TEST_F(AcquisitionTest, RawBayerWindowDecodesWithThePatternOfItsOffsets) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109));  // bayer1280, pattern 0
  const uint32_t rect[6] = {3, 640, 1, 480, 643, 481};    // left 3, top 1
  ASSERT_EQ(Configure(sid, 0x3FF601A8, rect), kOk);
  EXPECT_EQ(U32(sid, 0x3FF601CB), 0u);  // the sensor's pattern, whatever the window
  const auto raw = Snap(sid, 640, 480, 1);
  EXPECT_TRUE(SameImage(Expected(kBayer1280, 0, 1, 3, 640, 480), raw.data(), 640, 480, 1, 640));

  // Row `pattern`, column (bit 0 of top) + 2 x (bit 0 of left).
  static const uint32_t kTable[4][4] = {{0, 2, 3, 1}, {1, 3, 2, 0}, {2, 0, 1, 3}, {3, 1, 0, 2}};
  const uint32_t effective = kTable[0][(1 & 1) + 2 * (3 & 1)];
  std::vector<uint8_t> colour(640 * 480 * 4);
  ASSERT_EQ(Gen_BayerColorDecode2(colour.data(), raw.data(), 480, 640, 640, 640, effective, 8, 0, 1, 4, 1.0, 1.0, 1.0),
            0u);
  for (uint32_t y = 0; y < 480; ++y) {
    for (uint32_t x = (y == 0 ? 4 : 0); x < 640; ++x) {
      ASSERT_EQ(colour[(y * 640 + x) * 4 + Filter(effective, x, y)], raw[y * 640 + x]) << x << ", " << y;
    }
  }
}

TEST_F(AcquisitionTest, SixteenBitBayerScalesToItsDepth) {
  const char* camera = R"([Camera]
Model = Bayer 10
InterfaceTypes = 0x4
Width = 64
Height = 48
ImageType = 7
BitDepth = 10
BayerPattern = 3
Noise = 2
)";
  WriteText(folder_ / "bayer10.icd", camera);
  const uint32_t sid = OpenWithCamera(kBoard7109, "bayer10.icd");
  const CameraKind kind{64, 48, 7, 10, 3, 2};
  const uint32_t rect[6] = {0, 64, 1, 47, 64, 48};  // one line down
  ASSERT_EQ(Configure(sid, 0x3FF601A8, rect), kOk);
  const auto image = Snap(sid, 64, 47, 2);
  EXPECT_TRUE(SameImage(Expected(kind, 0, 1, 0, 64, 47), image.data(), 64, 47, 2, 64));
}

TEST_F(AcquisitionTest, BoardDecodesTheMosaicWithTheGains) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109));
  const uint32_t decode = 1;
  ASSERT_EQ(Configure(sid, 0x3FF601D0, decode), kOk);
  EXPECT_EQ(U32(sid, 0x3FF600D8), 4u);
  EXPECT_EQ(U32(sid, 0x3FF60424), 8u);
  const double red = 1.5, blue = 0.5;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CC, &red), kOk);
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CE, &blue), kOk);
  const auto image = Snap(sid, 1280, 1024, 4);
  EXPECT_TRUE(SameImage(Expected(kBayer1280, 0, 0, 0, 1280, 1024, true, Gains{1.5, 1.0, 0.5}), image.data(), 1280, 1024,
                        4, 1280));
}

TEST_F(AcquisitionTest, FramesToSkipAreUsedUpByTheSnap) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  Snap(sid, 640, 480, 1);
  const uint32_t skip = 3;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60466, &skip), kOk);
  const auto image = Snap(sid, 640, 480, 1);
  EXPECT_EQ(Counter(image.data(), 0, 8), 4u);
  EXPECT_TRUE(SameImage(Expected(kMono640, 4, 0, 0, 640, 480), image.data(), 640, 480, 1, 640));
  EXPECT_EQ(U32(sid, 0x3FF60466), 0u);
}

TEST_F(AcquisitionTest, SnapNeedsTheReadyState) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  std::vector<uint8_t> image(640 * 480);
  void* pixels = image.data();
  EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kNotInThisState);
}

TEST_F(AcquisitionTest, GrabDeliversNewerFramesUntilStopped) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  FastFrames(sid);
  ASSERT_EQ(kldGrabSetup(sid, 1), kOk);
  uint32_t state = 0;
  ASSERT_EQ(odkelduGetExecutionState(sid, &state), kOk);
  EXPECT_EQ(state, 0x1000000u);
  EXPECT_EQ(U32(sid, 0x3FF60074), 1u);
  std::vector<uint8_t> image(640 * 480);
  void* pixels = image.data();
  uint32_t previous = 0;
  for (int round = 0; round < 3; ++round) {
    ASSERT_EQ(kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640), kOk);
    const uint32_t frame = Counter(image.data(), 0, 8);
    if (round > 0) {
      EXPECT_GT(frame, previous);
    }
    previous = frame;
    EXPECT_EQ(U32(sid, 0x3FF60120), frame);  // a new session: buffer numbers and frames agree
    EXPECT_TRUE(SameImage(Expected(kMono640, frame, 0, 0, 640, 480), image.data(), 640, 480, 1, 640));
  }
  EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kAcquiring);
  EXPECT_EQ(odkelduChangeExecutionState(sid, 16), kAcquiring);
  ASSERT_EQ(kldSessionStopAcquisition(sid), kOk);
  ASSERT_EQ(odkelduGetExecutionState(sid, &state), kOk);
  EXPECT_EQ(state, 256u);
  EXPECT_EQ(U32(sid, 0x3FF60074), 0u);
  EXPECT_EQ(kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640), kNotConfigured);
  // The camera went on counting.
  ASSERT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kOk);
  EXPECT_GT(Counter(image.data(), 0, 8), previous);
}

TEST_F(AcquisitionTest, GrabThatCannotWaitLongEnoughTimesOut) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  const double slow = 1.0;
  ASSERT_EQ(Configure(sid, 0x3FF600D9, slow), kOk);
  const uint32_t timeout = 0;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60070, &timeout), kOk);
  ASSERT_EQ(kldGrabSetup(sid, 1), kOk);
  std::vector<uint8_t> image(640 * 480);
  void* pixels = image.data();
  EXPECT_EQ(kldGrabArea(sid, &pixels, 1, 0, 0, 480, 640, 640), 0xBFF60007u);
  EXPECT_EQ(kldGrabArea(sid, &pixels, 0, 0, 0, 480, 640, 640), kNoImageYet);
  EXPECT_EQ(kldGrabSetup(sid, 2), kInvalidArgument);
}

struct BufferList {
  uint32_t id = 0;
  std::vector<void*> buffers;
};

BufferList MakeList(uint32_t sid, uint32_t count, bool continuous) {
  BufferList list;
  uint32_t bytes = 0;
  EXPECT_EQ(kldSessionGetBufferSize(sid, &bytes), kOk);
  EXPECT_EQ(kldCreateBufList(count, &list.id), kOk);
  for (uint32_t i = 0; i < count; ++i) {
    void* buffer = nullptr;
    EXPECT_EQ(kldCreateBuffer(sid, 0, bytes, &buffer), kOk);
    list.buffers.push_back(buffer);
    EXPECT_EQ(kldSetBufferElement2(list.id, i, 0x3FF6007E, buffer), kOk);
    EXPECT_EQ(kldSetBufferElement(list.id, i, 0x3FF60082, bytes), kOk);
    EXPECT_EQ(kldSetBufferElement(list.id, i, 0x3FF6007F, continuous && i + 1 == count ? 2u : 1u), kOk);
  }
  EXPECT_EQ(kldMemLock(list.id), kOk);
  return list;
}

void DisposeList(BufferList& list) {
  EXPECT_EQ(kldMemUnlock(list.id), kOk);
  for (void* buffer : list.buffers) EXPECT_EQ(kldDisposeBuffer(buffer), kOk);
  EXPECT_EQ(kldDisposeBufList(list.id, 0), kOk);
}

TEST_F(AcquisitionTest, OneShotBufferList) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  FastFrames(sid);
  BufferList list = MakeList(sid, 3, false);
  ASSERT_EQ(kldSessionConfigure(sid, list.id), kOk);
  ASSERT_EQ(kldSessionAcquire(sid, 1, 0), kOk);
  std::vector<uint8_t> image(640 * 480);
  for (uint32_t number = 0; number < 3; ++number) {
    uint32_t found = 99, bufferStatus = 99;
    ASSERT_EQ(kldSessionCopyAreaByNumber(sid, number, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus),
              kOk);
    EXPECT_EQ(found, number);
    EXPECT_EQ(bufferStatus, 0u);
    EXPECT_TRUE(SameImage(Expected(kMono640, number, 0, 0, 640, 480), image.data(), 640, 480, 1, 640));
    // The buffer itself holds it too.
    EXPECT_TRUE(SameImage(Expected(kMono640, number, 0, 0, 640, 480), static_cast<uint8_t*>(list.buffers[number]), 640,
                          480, 1, 640));
  }
  EXPECT_EQ(U32(sid, 0x3FF60074), 0u);  // all three are in
  EXPECT_EQ(U32(sid, 0x3FF60120), 2u);
  uint32_t found = 0, bufferStatus = 0;
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 3, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus),
            kAcquisitionEnded);
  // By index, as drivers before 0x03800000 were asked.
  std::vector<uint8_t> area(100 * 50);
  ASSERT_EQ(kldSessionCopyArea(sid, 1, 5, 7, 50, 100, area.data(), 100, 1), kOk);
  EXPECT_TRUE(
      SameImage(Crop(Expected(kMono640, 1, 0, 0, 640, 480), 640, 1, 5, 7, 100, 50), area.data(), 100, 50, 1, 100));
  EXPECT_EQ(kldSessionCopyArea(sid, 3, 0, 0, 50, 100, area.data(), 100, 1), kInvalidArgument);

  // Synchronous this time: back when the last buffer is full.
  ASSERT_EQ(kldSessionAcquire(sid, 0, 0), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60074), 0u);
  EXPECT_EQ(U32(sid, 0x3FF60120), 2u);
  EXPECT_EQ(Counter(static_cast<uint8_t*>(list.buffers[0]), 0, 8), 3u);
  EXPECT_EQ(Counter(static_cast<uint8_t*>(list.buffers[2]), 0, 8), 5u);
  DisposeList(list);
}

TEST_F(AcquisitionTest, BufferListsThatCannotBeUsed) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  uint32_t list = 0;
  ASSERT_EQ(kldCreateBufList(2, &list), kOk);
  EXPECT_EQ(kldSessionConfigure(sid, list), kInvalidBufferList);  // not locked
  ASSERT_EQ(kldMemLock(list), kOk);
  EXPECT_EQ(kldSessionConfigure(sid, list), kInvalidBufferList);  // no buffers
  std::vector<uint8_t> small(100);
  ASSERT_EQ(kldSetBufferElement2(list, 0, 0x3FF6007E, small.data()), kOk);
  ASSERT_EQ(kldSetBufferElement(list, 0, 0x3FF60082, 100), kOk);
  ASSERT_EQ(kldSetBufferElement(list, 0, 0x3FF6007F, 2), kOk);
  EXPECT_EQ(kldSessionConfigure(sid, list), 0xBFF60019u);  // too small for an image
  EXPECT_EQ(kldSetBufferElement(list, 0, 0x3FF6007F, 3), kInvalidArgument);
  EXPECT_EQ(kldSetBufferElement(list, 0, 0x3FF6007E, 1), kInvalidArgument);
  EXPECT_EQ(kldSetBufferElement2(list, 0, 0x3FF60082, small.data()), kInvalidArgument);
  EXPECT_EQ(kldSetBufferElement(list, 2, 0x3FF60082, 1), kInvalidArgument);
  EXPECT_EQ(kldSessionAcquire(sid, 1, 0), kNotConfigured);
  EXPECT_EQ(kldSessionStartAcquisition(sid), kNotConfigured);
  EXPECT_EQ(kldCreateBufList(0, &list), kInvalidArgument);
  EXPECT_EQ(kldSessionConfigure(sid, 0x1234), kInvalidId);
  void* buffer = nullptr;
  EXPECT_EQ(kldCreateBuffer(sid, 0, 0, &buffer), kInvalidArgument);
  EXPECT_EQ(kldCreateBuffer(0x1234, 0, 10, &buffer), kInvalidId);
}

TEST_F(AcquisitionTest, ContinuousListGoesRoundAndCopiesByNumber) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  FastFrames(sid, 1000.0);
  BufferList list = MakeList(sid, 2, true);
  ASSERT_EQ(kldSessionConfigure(sid, list.id), kOk);
  EXPECT_EQ(kldSessionAcquire(sid, 0, 0), kInvalidArgument);  // a loop never ends
  ASSERT_EQ(kldSessionAcquire(sid, 1, 0), kOk);
  uint32_t state = 0;
  ASSERT_EQ(odkelduGetExecutionState(sid, &state), kOk);
  EXPECT_EQ(state, 0x100000u);
  std::vector<uint8_t> image(640 * 480);
  uint32_t found = 0, bufferStatus = 99;
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 6, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus), kOk);
  EXPECT_EQ(found, 6u);
  EXPECT_TRUE(SameImage(Expected(kMono640, 6, 0, 0, 640, 480), image.data(), 640, 480, 1, 640));
  // Buffer 1 went round long ago.
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 1, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus),
            kOverwritten);
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 1, 0, 0, 480, 640, image.data(), 640, 3, &found, &bufferStatus), kOk);
  EXPECT_GE(found, 5u);
  EXPECT_EQ(bufferStatus, kOverwritten);
  EXPECT_EQ(Counter(image.data(), 0, 8), found);
  EXPECT_TRUE(SameImage(Expected(kMono640, found, 0, 0, 640, 480), image.data(), 640, 480, 1, 640));
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 1, &found, &bufferStatus), kOk);
  EXPECT_EQ(bufferStatus, 0u);
  EXPECT_GE(found, 6u);
  const uint32_t newest = found;
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 2, &found, &bufferStatus), kOk);
  EXPECT_GT(found, newest);
  EXPECT_EQ(Counter(image.data(), 0, 8), found);

  // The whole image into an image object, which the driver sizes.
  Image* object = nullptr;
  ASSERT_EQ(NewImage(&object, 7, 3, 3, 0), 0u);
  ASSERT_EQ(
      kldSessionCopyAreaByNumber(sid, 20, 0, 0, 0xFFFFFFFF, 0xFFFFFFFF, object, 0xFFFFFFFF, 3, &found, &bufferStatus),
      kOk);
  const auto* header = reinterpret_cast<const uint32_t*>(object);
  EXPECT_EQ(header[ODV_WORD_TYPE], 0u);
  EXPECT_EQ(header[ODV_WORD_WIDTH], 640u);
  EXPECT_EQ(header[ODV_WORD_HEIGHT], 480u);
  std::vector<uint8_t> rows(640 * 480);
  for (uint32_t y = 0; y < 480; ++y) {
    void* row = nullptr;
    ASSERT_EQ(GetImagePixel(object, 0, y, &row), 0u);
    std::memcpy(rows.data() + y * 640, row, 640);
  }
  EXPECT_EQ(Counter(rows.data(), 0, 8), found);
  EXPECT_TRUE(SameImage(Expected(kMono640, found, 0, 0, 640, 480), rows.data(), 640, 480, 1, 640));
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 20, 0, 0, 0xFFFFFFFF, 0xFFFFFFFF, image.data(), 0xFFFFFFFF, 3, &found,
                                       &bufferStatus),
            kInvalidArgument);  // not an image object
  DisposeImage(object);

  // Nothing that the running acquisition uses can go.
  EXPECT_EQ(kldDisposeBuffer(list.buffers[0]), kAcquiring);
  EXPECT_EQ(kldMemUnlock(list.id), kAcquiring);
  EXPECT_EQ(kldDisposeBufList(list.id, 0), kAcquiring);
  EXPECT_EQ(kldSessionConfigure(sid, list.id), kAcquiring);
  ASSERT_EQ(kldSessionStopAcquisition(sid), kOk);
  ASSERT_EQ(odkelduGetExecutionState(sid, &state), kOk);
  EXPECT_EQ(state, 256u);
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 10000, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus),
            kAcquisitionEnded);
  DisposeList(list);
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus),
            kNotConfigured);
}

TEST_F(AcquisitionTest, CopyByNumberFollowsTheDriverVersion) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  FastFrames(sid);
  BufferList list = MakeList(sid, 2, true);
  ASSERT_EQ(kldSessionConfigure(sid, list.id), kOk);
  ASSERT_EQ(kldSessionAcquire(sid, 1, 0), kOk);
  std::vector<uint8_t> image(640 * 480);
  Image* object = nullptr;
  ASSERT_EQ(NewImage(&object, 0, 1, 1, 0), 0u);
  uint32_t found = 0, bufferStatus = 0;
  ASSERT_EQ(keldsimSetDriverVersion(0x04000000), kOk);
  EXPECT_EQ(
      kldSessionCopyAreaByNumber(sid, 0, 0, 0, 0xFFFFFFFF, 0xFFFFFFFF, object, 0xFFFFFFFF, 3, &found, &bufferStatus),
      kInvalidArgument);
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 3, &found, &bufferStatus), kOk);
  ASSERT_EQ(keldsimSetDriverVersion(0x037F0000), kOk);
  EXPECT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 3, &found, &bufferStatus),
            kNotSupported);
  // The older way: the buffer by its index, then the number of the newest.
  ASSERT_EQ(kldSessionCopyArea(sid, 5 % 2, 0, 0, 480, 640, image.data(), 640, 1), kOk);
  EXPECT_EQ(Counter(image.data(), 0, 8) % 2, 1u);
  DisposeImage(object);
  ASSERT_EQ(kldSessionStopAcquisition(sid), kOk);
  DisposeList(list);
}

TEST_F(AcquisitionTest, RingWithTheDriversBuffersAndSkippedFrames) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  FastFrames(sid);
  std::vector<void*> buffers(4, nullptr);
  ASSERT_EQ(kldRingSetup(sid, 4, buffers.data(), 1, 1), kOk);  // at once, every second frame
  for (void* buffer : buffers) EXPECT_NE(buffer, nullptr);
  EXPECT_NE(buffers[0], buffers[1]);
  std::vector<uint8_t> image(640 * 480);
  uint32_t found = 0, bufferStatus = 0;
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 5, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus), kOk);
  EXPECT_EQ(Counter(image.data(), 0, 8), 10u);
  EXPECT_TRUE(SameImage(Expected(kMono640, 10, 0, 0, 640, 480), image.data(), 640, 480, 1, 640));
  // Buffer 5 went into the second of the four.
  EXPECT_EQ(Counter(static_cast<uint8_t*>(buffers[1]), 0, 8) % 8, 2u);
  EXPECT_EQ(kldRingSetup(sid, 4, buffers.data(), 1, 0), kAcquiring);
  ASSERT_EQ(kldSessionStopAcquisition(sid), kOk);
  EXPECT_GE(U32(sid, 0x3FF60120), 5u);
  // The ring starts again from its first buffer.
  ASSERT_EQ(kldSessionStartAcquisition(sid), kOk);
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 0, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus), kOk);
  EXPECT_EQ(found, 0u);
  EXPECT_EQ(kldSessionStartAcquisition(sid), kAcquiring);
  ASSERT_EQ(kldSessionStopAcquisition(sid), kOk);
  EXPECT_EQ(kldRingSetup(sid, 0, buffers.data(), 0, 0), kInvalidArgument);
}

TEST_F(AcquisitionTest, SequenceIntoTheCallersMemory) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  FastFrames(sid);
  std::array<std::vector<uint8_t>, 3> memory;
  std::vector<void*> buffers;
  for (auto& block : memory) {
    block.assign(640 * 480, 0);
    buffers.push_back(block.data());
  }
  const uint32_t skips[3] = {0, 2, 1};
  ASSERT_EQ(kldSequenceSetup(sid, 3, buffers.data(), skips, 0, 1), kOk);  // not yet; one frame skipped first
  EXPECT_EQ(U32(sid, 0x3FF60074), 0u);
  ASSERT_EQ(kldSessionStartAcquisition(sid), kOk);
  std::vector<uint8_t> image(640 * 480);
  uint32_t found = 0, bufferStatus = 0;
  ASSERT_EQ(kldSessionCopyAreaByNumber(sid, 2, 0, 0, 480, 640, image.data(), 640, 0, &found, &bufferStatus), kOk);
  const uint32_t frames[3] = {1, 4, 6};
  for (uint32_t i = 0; i < 3; ++i) {
    EXPECT_TRUE(SameImage(Expected(kMono640, frames[i], 0, 0, 640, 480), memory[i].data(), 640, 480, 1, 640)) << i;
  }
  EXPECT_EQ(U32(sid, 0x3FF60074), 0u);
  EXPECT_EQ(U32(sid, 0x3FF60120), 2u);
  // The camera's counter goes on after the sequence.
  std::vector<uint8_t> snap(640 * 480);
  void* pixels = snap.data();
  ASSERT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kOk);
  EXPECT_EQ(Counter(snap.data(), 0, 8), 7u);
}

TEST_F(AcquisitionTest, AutomaticExposureAimsAtTheMiddleOfTheScale) {
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  // A tenth of the default exposure: the frames would be far too dark.
  ASSERT_EQ(kldSetCameraAttributeNumeric(sid, "Exposure Time", 100.0), kOk);
  double level = 0, exposure = 0;
  ASSERT_EQ(odkelduAutoExposureNonSamsung(sid, &level, &exposure), kOk);
  double set = 0;
  ASSERT_EQ(kldGetCameraAttributeNumeric(sid, "Exposure Time", &set), kOk);
  EXPECT_DOUBLE_EQ(set, exposure);
  // The test scene's mean lies near the middle at the default exposure.
  EXPECT_NEAR(exposure, 1000.0, 100.0);
  EXPECT_NEAR(level, 50.0, 5.0);
  const uint32_t rgb = OpenWithCamera(kBoard7109, "rgb640.icd");  // no exposure attribute
  EXPECT_EQ(odkelduAutoExposureNonSamsung(rgb, &level, &exposure), kNotSupported);
  EXPECT_EQ(odkelduAutoExposureNonSamsung(rgb, nullptr, &exposure), kInvalidArgument);
}

}  // namespace
}  // namespace keldsim_test
