// Acquisition of the network and USB camera session: snaps, grabs, buffered
// and ring acquisitions, copies of buffers by number or by the driver's
// modes, white-balance gains, the image geometry a target's display asks
// for, and command 74 on a target.
#include "foundation/byte_stream.h"
#include "local/keldnv/keldnv_driver.h"
#include "local/keldnv/local_keldnv_config_session.h"
#include "odvissvc/odvissvc.h"

namespace keld {

namespace {

// How the driver picks the buffer to copy: the high numbers that stand for a
// mode of their own; every other number is a buffer number (mode 2).
struct CopyMode {
  std::uint32_t bufferNumber;
  std::uint32_t mode;
};
constexpr CopyMode kCopyModes[] = {{0xFFFFFFFF, 0}, {0xFFFFFFFE, 1}, {0xFFFFFFFB, 3}, {0xFFFFFFFA, 4}};
constexpr std::uint32_t kCopyByNumber = 2;

std::uint32_t CopyModeOf(std::uint32_t bufferNumber) {
  for (const CopyMode& mode : kCopyModes) {
    if (mode.bufferNumber == bufferNumber) return mode.mode;
  }
  return kCopyByNumber;
}

// Wait for the next image in a grab.
constexpr std::uint32_t kWaitForNext = 1;
// Images of a ring that tells whether the driver can do rings.
constexpr std::uint32_t kProbeRingImages = 2;

}  // namespace

// The flags are not the driver's.
Status LocalKELDNVConfigSession::SnapImage(std::uint32_t /*flags*/, Image* image) {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvSnap, CameraHandle(), image); });
}

Status LocalKELDNVConfigSession::SetupGrab(std::uint32_t /*flags*/) {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvConfigureGrab, CameraHandle()); });
}

Status LocalKELDNVConfigSession::GrabImage(std::uint32_t* bufferNumber, Image* image) {
  return DriverGuard(
      [&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvGrab, CameraHandle(), image, kWaitForNext, bufferNumber); });
}

Status LocalKELDNVConfigSession::ConfigureAcquisition(std::uint32_t continuous, std::uint32_t count) {
  return DriverGuard([&]() -> Status {
    return KELDNV_DRIVER_CALL(KELDnvConfigureAcquisition, CameraHandle(), continuous, count);
  });
}

Status LocalKELDNVConfigSession::StartAcquisition() {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvStartAcquisition, CameraHandle()); });
}

Status LocalKELDNVConfigSession::CopyImage(std::uint32_t* bufferNumber, Image* image) {
  return DriverGuard([&]() -> Status {
    const std::uint32_t number = *bufferNumber;
    return KELDNV_DRIVER_CALL(KELDnvGetImage, CameraHandle(), image, CopyModeOf(number), number, bufferNumber);
  });
}

Status LocalKELDNVConfigSession::StopAcquisition() {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvStopAcquisition, CameraHandle()); });
}

Status LocalKELDNVConfigSession::UnconfigureAcquisition() {
  return DriverGuard([&]() -> Status { return KELDNV_DRIVER_CALL(KELDnvUnconfigureAcquisition, CameraHandle()); });
}

Status LocalKELDNVConfigSession::CalculateBayerGains(std::uint32_t selector, double* red, double* green,
                                                     double* blue) {
  return DriverGuard([&]() -> Status {
    return KELDNV_DRIVER_CALL(KELDnvCalculateBayerGains, CameraHandle(), selector, red, green, blue);
  });
}

// Whatever happened, the acquisition is taken down again and the images go.
Status LocalKELDNVConfigSession::SupportsRingAcquisition(std::uint32_t imageType, std::uint32_t* supported) {
  return DriverGuard([&]() -> Status {
    Image* images[kProbeRingImages] = {nullptr, nullptr};
    Status status = NewImage(&images[0], imageType, 0, 0, 0);
    if (status == kSuccess) status = NewImage(&images[1], imageType, 0, 0, 0);
    if (status == kSuccess) {
      status = KELDNV_DRIVER_CALL(KELDnvConfigureRingAcquisition, CameraHandle(), 0u, images, kProbeRingImages);
    }
    *supported = status == kSuccess ? 1 : 0;
    // The ring was only a question: taking it down answers nothing.
    IgnoreStatus(KELDNV_DRIVER_CALL(KELDnvUnconfigureAcquisition, CameraHandle()));
    for (Image* image : images) IgnoreStatus(DisposeImage(image));  // a null image is no image
    return status;
  });
}

bool LocalKELDNVConfigSession::GetImageGeometry(std::uint32_t* width, std::uint32_t* height,
                                                std::uint32_t* typeOfImage) {
  const Status status = DriverGuard([&]() -> Status {
    Status read = KELDNV_DRIVER_CALL(KELDnvGetAttribute, CameraHandle(), "Width", KELDNV_TYPE_U32,
                                     static_cast<void*>(width));
    if (read == kSuccess) {
      read = KELDNV_DRIVER_CALL(KELDnvGetAttribute, CameraHandle(), "Height", KELDNV_TYPE_U32,
                                static_cast<void*>(height));
    }
    if (read == kSuccess) {
      read = KELDNV_DRIVER_CALL(KELDnvGetAttribute, CameraHandle(), "AcquisitionAttributes::TypeOfImageInUse",
                                KELDNV_TYPE_U32, static_cast<void*>(typeOfImage));
    }
    return read;
  });
  return status == kSuccess;
}

// The answer goes back as 0 where the input or the test failed.
Status LocalKELDNVConfigSession::HandleSupportsRingAcquisition(ByteStream* input, ByteStream* output) {
  std::uint32_t imageType = 0;
  std::uint32_t supported = 0;
  Status status = input->ReadU32(&imageType);
  if (status == kSuccess) status = SupportsRingAcquisition(imageType, &supported);
  if (status != kSuccess) supported = 0;
  const Status written = output->AppendU32(supported);
  return status != kSuccess ? status : written;
}

}  // namespace keld
