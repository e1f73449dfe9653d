#include <iterator>

#include "status.h"

namespace keldnvsim {

namespace {

struct StatusTextRow {
  Status status;
  const char* text;
};

constexpr StatusTextRow kTexts[] = {
    {st::kNoMemory, "The camera driver ran out of memory."},
    {st::kInvalidArgument, "An argument of the call is not valid."},
    {st::kInvalidHandle, "The camera handle is not valid or has been closed."},
    {st::kCameraNotFound, "No camera of that name or serial number is connected."},
    {st::kCameraInUse, "The camera is controlled by another session or host."},
    {st::kCameraRemoved, "The camera has been disconnected."},
    {st::kAttributeNotFound, "The camera has no attribute of that name."},
    {st::kWrongType, "The attribute has another type than the one asked for."},
    {st::kNotReadable, "The attribute cannot be read."},
    {st::kNotWritable, "The attribute cannot be written."},
    {st::kNotWritableNow, "The attribute cannot be written while the camera acquires."},
    {st::kOutOfRange, "The value lies outside the attribute's range."},
    {st::kOffIncrement, "The value does not lie on the attribute's increment."},
    {st::kNotAChoice, "The value is none of the attribute's choices."},
    {st::kNotNumeric, "The attribute has no numeric range."},
    {st::kNotEnumeration, "The attribute is not an enumeration."},
    {st::kNotConfigured, "No acquisition is configured."},
    {st::kAcquiring, "An acquisition is in progress."},
    {st::kNotAcquiring, "The acquisition is not running."},
    {st::kAcquisitionEnded, "The acquisition has ended: no more images will come."},
    {st::kTimeout, "No image came within the time-out."},
    {st::kUnsupportedImageType, "The driver cannot acquire into images of that type."},
    {st::kInvalidImage, "The image is not a valid image."},
    {st::kFileOpen, "The file cannot be opened."},
    {st::kFileFormat, "The file or text is not a valid attribute file."},
    {st::kAddressOutOfRange, "The register address lies outside the camera's register space."},
    {st::kReadOnlyRegister, "The register cannot be written."},
    {st::kUnalignedAddress, "Register addresses must be multiples of 4."},
    {st::kNotCameraLink, "The camera is not a camera-link camera."},
    {st::kCameraFileNotFound, "The camera file does not exist or does not suit the camera."},
    {st::kBoardNotFound, "No camera-link camera hangs on a board of that name."},
    {st::kInvalidName, "The name is empty or not valid."},
    {st::kNameInUse, "Another camera already has that name."},
    {st::kNotColour, "The camera is not a colour camera."},
    {st::kNotInThisVersion, "This version of the driver does not have that function."},
    {st::kMonitorAccess, "The camera is open for monitoring only."},
    {st::kBufferTooSmall, "The buffer is too small for the text."},
    {st::kDescription, "The driver's camera description cannot be read."},
    {st::kInternal, "An internal error occurred in the camera driver."},
};

}  // namespace

const char* StatusText(Status status) {
  for (const StatusTextRow& row : kTexts) {
    if (row.status == status) return row.text;
  }
  return nullptr;
}

}  // namespace keldnvsim
