#include "inventory/device_list.h"

#include "foundation/byte_stream.h"

namespace keld {

Status DeviceList::Flatten(ByteStream* stream) const {
  Status status = stream->AppendU32(static_cast<std::uint32_t>(size()));
  for (const Device& device : *this) {
    if (status != kSuccess) break;
    status = device.Flatten(stream);
  }
  return status;
}

Status DeviceList::Unflatten(ByteStream* stream) {
  clear();
  std::uint32_t count = 0;
  Status status = stream->ReadU32(&count);
  for (std::uint32_t i = 0; status == kSuccess && i < count; ++i) {
    Device device;
    status = device.Unflatten(stream);
    if (status == kSuccess) push_back(device);
  }
  return status;
}

bool DeviceList::operator==(const DeviceList& other) const {
  if (size() != other.size()) return false;
  for (size_type i = 0; i < size(); ++i) {
    if ((*this)[i] != other[i]) return false;
  }
  return true;
}

}  // namespace keld
