#include "remote/remote_device_config_session.h"

#include <cstring>

#include "attributes/attribute.h"
#include "datafile/light_head_record.h"
#include "image/cfg_image.h"
#include "inventory/device_list.h"

namespace keld {

namespace {

// Bits of the acquisition flags the client looks at.
constexpr std::uint32_t kFlattenImage = 1u << 0;
constexpr std::uint32_t kGrabBits = 0x7;  // flatten, show, no synchronous grab
constexpr std::uint32_t kStreamForm = 1u << 3;

// Command number and binding handle of an operation, from the table.
#define KELD_COMMAND_OF(name) static_cast<std::uint32_t>(operation::name.command), operation::name.handle

// `count` items of `size` bytes from the reply into `target`; a reply that
// holds fewer is refused rather than read past its end.
Status CopyOut(ByteStream* output, std::uint64_t count, std::uint64_t size, void* target) {
  const std::uint64_t bytes = count * size;
  if (size != 0 && bytes / size != count) return kByteStreamLoadFailed;
  if (bytes == 0 || target == nullptr) return kSuccess;
  return output->ReadBytes(target, bytes);
}

// `count` items of `size` bytes from `source` onto the input.
Status CopyIn(ByteStream* input, std::uint64_t count, std::uint64_t size, const void* source) {
  const std::uint64_t bytes = count * size;
  if (size != 0 && bytes / size != count) return kOutOfMemory;
  if (bytes == 0) return kSuccess;
  if (source == nullptr) return kBadPointer;
  return input->AppendBytes(source, bytes);
}

}  // namespace

RemoteDeviceConfigSession::RemoteDeviceConfigSession(const char* clientName, const char* hostName,
                                                     std::uint32_t driverType, const char* name, Status* status)
    : RemoteSession(clientName, hostName, driverType, name, status), DeviceConfigSession(name, status) {}

RemoteDeviceConfigSession::RemoteDeviceConfigSession(const char* name, std::uint32_t targetVersion)
    : RemoteSession(DefaultRemoteTimeout), DeviceConfigSession(name, nullptr) {
  remoteVersion = targetVersion;
}

RemoteDeviceConfigSession::~RemoteDeviceConfigSession() = default;

Status RemoteDeviceConfigSession::RunCommand(std::uint32_t command, int handle, ByteStream* input,
                                             ByteStream* output) {
  CommandCall call(sessionId, command, input, output);
  return ExecuteCall(call, handle);
}

Status RemoteDeviceConfigSession::ReceiveImage(ByteStream* output, Image* image, std::uint32_t flags) {
  // The caller's image is borrowed for the read, never owned.
  CfgImage borrowed;
  borrowed.Attach(image);
  return borrowed.Unflatten(output, (flags & kStreamForm) != 0);
}

// ---- Proxies made from the table ---------------------------------------

#define KELD_REMOTE_PROXY(...) KELD_PROXY_BODY(RemoteDeviceConfigSession, Proxy, __VA_ARGS__)
KELD_DEVICE_OPERATIONS(KELD_REMOTE_PROXY)

// ---- Attributes ---------------------------------------------------------

// The attribute goes in its delta form, of which the target reads the key;
// the full form comes back and must be of the same key and type.
Status RemoteDeviceConfigSession::ReadAttribute(Attribute* attribute) {
  if (attribute == nullptr) return kBadPointer;
  ScopedByteStream input;
  ScopedByteStream output;
  Status status = attribute->Flatten(input.get(), false);
  if (status != kSuccess) return status;
  status = RunCommand(KELD_COMMAND_OF(ReadAttribute), input.get(), output.get());
  if (status != kSuccess) return status;
  output->Rewind();
  std::uint32_t repliedKey = 0;
  std::uint32_t repliedType = 0;
  status = output->ReadU32(&repliedKey);
  if (status == kSuccess) status = output->ReadU32(&repliedType);
  if (status != kSuccess) return status;
  if (repliedKey != attribute->GetKey() || repliedType != attribute->GetType()) return kIncompatibleAttributeTypes;
  // Arrives clean: what the device holds now.
  return attribute->Unflatten(output.get(), true);
}

// The changed components go; the marks are cleared whatever the target said.
Status RemoteDeviceConfigSession::WriteAttribute(Attribute* attribute) {
  if (attribute == nullptr) return kBadPointer;
  ScopedByteStream input;
  ScopedByteStream output;
  const Status flattened = attribute->Flatten(input.get(), false);
  if (flattened != kSuccess) return flattened;
  const Status status = RunCommand(KELD_COMMAND_OF(WriteAttribute), input.get(), output.get());
  attribute->SetDirty(0);
  return status;
}

Status RemoteDeviceConfigSession::RefreshAttributes() {
  ScopedByteStream input;
  ScopedByteStream output;
  const Status status = RunCommand(KELD_COMMAND_OF(RefreshAttributes), input.get(), output.get());
  if (status != kSuccess) return status;
  output->Rewind();
  return attributes.Unflatten(output.get(), true);
}

// One command for the whole map's changes. The client's marks stay until the
// next refresh replaces the map.
Status RemoteDeviceConfigSession::CommitAttributes() {
  ScopedByteStream input;
  ScopedByteStream output;
  const Status status = attributes.Flatten(input.get(), false);
  if (status != kSuccess) return status;
  return RunCommand(KELD_COMMAND_OF(CommitAttributes), input.get(), output.get());
}

// ---- Images -------------------------------------------------------------

Status RemoteDeviceConfigSession::SnapImage(std::uint32_t flags, Image* image) {
  const std::uint32_t sent = TargetTakesStreamForm() ? flags | kStreamForm : flags;
  ScopedByteStream input;
  ScopedByteStream output;
  Status status = input->AppendU32(sent);
  if (status != kSuccess) return status;
  status = RunCommand(KELD_COMMAND_OF(SnapImage), input.get(), output.get());
  if (status != kSuccess || (sent & kFlattenImage) == 0) return status;
  output->Rewind();
  return ReceiveImage(output.get(), image, sent);
}

// The flags are kept before the call, whatever it answers.
Status RemoteDeviceConfigSession::SetupGrab(std::uint32_t flags) {
  const std::uint32_t sent = TargetTakesStreamForm() ? flags | kStreamForm : flags;
  acquisitionFlags = sent;
  ScopedByteStream input;
  ScopedByteStream output;
  const Status status = input->AppendU32(sent);
  if (status != kSuccess) return status;
  return RunCommand(KELD_COMMAND_OF(SetupGrab), input.get(), output.get());
}

Status RemoteDeviceConfigSession::GrabImage(std::uint32_t* bufferNumber, Image* image) {
  ScopedByteStream input;
  ScopedByteStream output;
  Status status = RunCommand(KELD_COMMAND_OF(GrabImage), input.get(), output.get());
  if (status != kSuccess) return status;
  output->Rewind();
  status = output->ReadU32(bufferNumber);
  const std::uint32_t flags = acquisitionFlags;
  if (status != kSuccess || (flags & kFlattenImage) == 0) return status;
  return ReceiveImage(output.get(), image, flags);
}

// Bits 0 to 2 of an earlier set-up go: from now on a grab reads no image
// here, while a copy still does.
Status RemoteDeviceConfigSession::ConfigureAcquisition(std::uint32_t continuous, std::uint32_t bufferCount) {
  std::uint32_t flags = acquisitionFlags & ~kGrabBits;
  ScopedByteStream input;
  ScopedByteStream output;
  Status status = input->AppendU32(continuous);
  if (status == kSuccess) status = input->AppendU32(bufferCount);
  auto command = static_cast<std::uint32_t>(operation::ConfigureAcquisition.command);
  if (TargetTakesStreamForm()) {
    flags |= kStreamForm;
    command = kConfigureAcquisitionWithFlags;
    if (status == kSuccess) status = input->AppendU32(flags);
  }
  acquisitionFlags = flags;
  if (status != kSuccess) return status;
  return RunCommand(command, operation::ConfigureAcquisition.handle, input.get(), output.get());
}

Status RemoteDeviceConfigSession::CopyImage(std::uint32_t* bufferNumber, Image* image) {
  if (bufferNumber == nullptr) return kBadPointer;
  ScopedByteStream input;
  ScopedByteStream output;
  Status status = input->AppendU32(*bufferNumber);
  if (status != kSuccess) return status;
  status = RunCommand(KELD_COMMAND_OF(CopyImage), input.get(), output.get());
  if (status != kSuccess) return status;
  output->Rewind();
  status = output->ReadU32(bufferNumber);
  if (status != kSuccess) return status;
  return ReceiveImage(output.get(), image, acquisitionFlags);
}

// The flags are kept whatever the target answers; the stream-form bit is
// not added here.
Status RemoteDeviceConfigSession::SetAcquisitionFlags(std::uint32_t flags) {
  acquisitionFlags = flags;
  ScopedByteStream input;
  ScopedByteStream output;
  const Status status = input->AppendU32(flags);
  if (status != kSuccess) return status;
  return RunCommand(KELD_COMMAND_OF(SetAcquisitionFlags), input.get(), output.get());
}

// ---- Registers and blocks ----------------------------------------------

// The values travel as a raw array of u32 both ways.
Status RemoteDeviceConfigSession::ReadU32(std::uint32_t space, std::uint32_t address, std::uint32_t count,
                                          std::uint32_t* values) {
  // Nowhere to put the values: nothing is read, as WriteU32 sends nothing.
  if (values == nullptr && count != 0) return kBadPointer;
  ScopedByteStream input;
  ScopedByteStream output;
  Status status = input->AppendU32(space);
  if (status == kSuccess) status = input->AppendU32(address);
  if (status == kSuccess) status = input->AppendU32(count);
  if (status != kSuccess) return status;
  status = RunCommand(KELD_COMMAND_OF(ReadU32), input.get(), output.get());
  if (status != kSuccess) return status;
  output->Rewind();
  return CopyOut(output.get(), count, sizeof(std::uint32_t), values);
}

Status RemoteDeviceConfigSession::WriteU32(std::uint32_t space, std::uint32_t address, std::uint32_t count,
                                           const std::uint32_t* values) {
  ScopedByteStream input;
  ScopedByteStream output;
  Status status = input->AppendU32(space);
  if (status == kSuccess) status = input->AppendU32(address);
  if (status == kSuccess) status = input->AppendU32(count);
  if (status == kSuccess) status = CopyIn(input.get(), count, sizeof(std::uint32_t), values);
  if (status != kSuccess) return status;
  return RunCommand(KELD_COMMAND_OF(WriteU32), input.get(), output.get());
}

namespace {

Status AppendBlockHead(ByteStream* input, std::uint64_t block, std::uint32_t first, std::uint32_t second,
                       std::uint32_t width, std::uint32_t height) {
  Status status = input->AppendU64(block);
  if (status == kSuccess) status = input->AppendU32(first);
  if (status == kSuccess) status = input->AppendU32(second);
  if (status == kSuccess) status = input->AppendU32(width);
  if (status == kSuccess) status = input->AppendU32(height);
  return status;
}

}  // namespace

Status RemoteDeviceConfigSession::WriteBlock(std::uint64_t block, std::uint32_t first, std::uint32_t second,
                                             std::uint32_t width, std::uint32_t height, const void* data) {
  ScopedByteStream input;
  ScopedByteStream output;
  Status status = AppendBlockHead(input.get(), block, first, second, width, height);
  if (status == kSuccess) status = CopyIn(input.get(), width, height, data);
  if (status != kSuccess) return status;
  return RunCommand(KELD_COMMAND_OF(WriteBlock), input.get(), output.get());
}

// The reply's first width x height bytes go to `data`, where there is a
// buffer and something to copy.
Status RemoteDeviceConfigSession::ReadBlock(std::uint64_t block, std::uint32_t first, std::uint32_t second,
                                            std::uint32_t width, std::uint32_t height, void* data) {
  ScopedByteStream input;
  ScopedByteStream output;
  Status status = AppendBlockHead(input.get(), block, first, second, width, height);
  if (status != kSuccess) return status;
  status = RunCommand(KELD_COMMAND_OF(ReadBlock), input.get(), output.get());
  if (status != kSuccess) return status;
  output->Rewind();
  return CopyOut(output.get(), width, height, data);
}

// The answer is cleared first and filled only by a successful command.
Status RemoteDeviceConfigSession::SupportsRingAcquisition(std::uint32_t imageType, std::uint32_t* supported) {
  if (supported == nullptr) return kBadPointer;
  *supported = 0;
  return Proxy<wire::In<std::uint32_t>, wire::Out<std::uint32_t*>>(KELD_COMMAND_OF(SupportsRingAcquisition),
                                                                   imageType, supported);
}

}  // namespace keld
