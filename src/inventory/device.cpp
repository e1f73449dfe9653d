#include "inventory/device.h"

#include "foundation/byte_stream.h"

namespace keld {

Status Device::Flatten(ByteStream* stream) const {
  Status status = name.Flatten(stream);
  if (status == kSuccess) status = stream->AppendU64(uniqueId);
  if (status == kSuccess) status = description.Flatten(stream);
  if (status == kSuccess) status = driverName.Flatten(stream);
  if (status == kSuccess) status = stream->AppendU32(driverVersion);
  if (status == kSuccess) status = stream->AppendU32(busType);
  return status;
}

Status Device::Unflatten(ByteStream* stream) {
  Status status = name.Unflatten(stream);
  if (status == kSuccess) status = stream->ReadU64(&uniqueId);
  if (status == kSuccess) status = description.Unflatten(stream);
  if (status == kSuccess) status = driverName.Unflatten(stream);
  if (status == kSuccess) status = stream->ReadU32(&driverVersion);
  if (status == kSuccess) status = stream->ReadU32(&busType);
  return status;
}

bool Device::operator==(const Device& other) const {
  return busType == other.busType && uniqueId == other.uniqueId && name == other.name &&
         driverName == other.driverName && driverVersion == other.driverVersion;
}

}  // namespace keld
