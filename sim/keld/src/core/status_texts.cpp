// Texts of the driver's statuses, as kldShowError gives them.
#include <iterator>

#include "core/status.h"

namespace keldsim {
namespace {

struct StatusTextEntry {
  Status status;
  const char* text;
};

constexpr StatusTextEntry kTexts[] = {
    {st::kNoMemory, "Not enough memory is available for the operation."},
    {st::kInvalidArgument, "An argument is not valid: a null pointer or a value out of range."},
    {st::kInvalidId, "The session, interface, buffer list or pulse identifier is not valid."},
    {st::kAttributeNotSupported, "The attribute is not supported by this session or by this driver version."},
    {st::kAttributeOutOfRange, "The attribute value is out of range."},
    {st::kAttributeReadOnly, "The attribute is read-only."},
    {st::kTimeout, "The image did not arrive within the time-out."},
    {st::kInterfaceNotFound, "The interface file cannot be found."},
    {st::kBoardNotFound, "No board with this serial number is present."},
    {st::kUnitNotFound, "The board has no acquisition unit of this number."},
    {st::kFileFormat, "The file cannot be read or is not in the expected format."},
    {st::kFileWrite, "The file cannot be written."},
    {st::kCameraFileNotFound, "The camera file cannot be found."},
    {st::kCameraNotSuited, "The camera file does not suit the interface type of this board."},
    {st::kInvalidBufferList,
     "The buffer list is not valid: it is not locked, or an element lacks its address, size or command."},
    {st::kNotConfigured, "No acquisition has been set up on this session."},
    {st::kBufferOverwritten, "The buffer has already been overwritten by a newer image."},
    {st::kInvalidState, "There is no such execution state."},
    {st::kConfigurationInvalid,
     "The configuration is not valid: the acquisition window lies outside the sensor, or a port names no usable "
     "camera file."},
    {st::kNoActiveInterfaceFile, "The board has no active interface file."},
    {st::kWrongInterfaceType, "The interface file is for another type of board."},
    {st::kOtherBoard, "The interface file belongs to another board."},
    {st::kBoardInitFailed, "The board failed to initialise."},
    {st::kAddressOutOfRange, "The address lies outside the board's memory."},
    {st::kBufferTooSmall, "The buffer is too small."},
    {st::kNoImageYet, "No image has been acquired yet."},
    {st::kBoardRemoved, "The board is no longer present."},
    {st::kInvalidName, "The interface name is not valid for this driver."},
    {st::kNoMoreInterfaces, "There is no interface of this index."},
    {st::kPortNotFound, "The board or interface file has no port of this number."},
    {st::kNotSupported, "The function is not supported by this board or camera."},
    {st::kDataFolder, "The data folder cannot be created or read."},
    {st::kAcquiring, "An acquisition is in progress."},
    {st::kInvalidBuffer, "The buffer was not made by this driver, or belongs to the driver itself."},
    {st::kAcquisitionEnded, "The acquisition ended before this buffer."},
    {st::kFrameLost,
     "The image was lost: the camera's frame did not reach the board, and its buffer number was passed over."},
    {st::kTransferFailed, "The transfer of the image into memory failed."},
    {st::kCameraAttributeNotFound, "The camera has no attribute or value of this name or identifier."},
    {st::kCameraAttributeValue, "The camera does not accept this value."},
    {st::kCameraAttributeKind, "The camera attribute is of another kind."},
    {st::kInvalidTrigger, "The trigger line or its setting is not valid."},
    {st::kInvalidPulse, "The pulse identifier or its timing is not valid."},
    {st::kLightingData, "The light-head data is not valid for this board."},
    {st::kDescription, "The simulated driver's description of its boards cannot be read."},
    {st::kInternal, "An internal error occurred in the driver."},
    {st::kNotInThisState, "The operation is not allowed in the present execution state."},
    {st::kNotAvailableNow, "The attribute is not available in the present state."},
    {st::kUnitInUse, "The acquisition unit is in use by another session."},
    {st::kUpdateFileOpen, "The update file cannot be opened."},
    {st::kUpdateFileCheck, "The header of the update file fails its check word."},
};

}  // namespace

const char* StatusText(Status status) {
  for (const auto& entry : kTexts) {
    if (entry.status == status) return entry.text;
  }
  return nullptr;
}

}  // namespace keldsim
