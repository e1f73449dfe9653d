// The target's command handlers of the local base. Those the operation table
// marks Handler are made from the codecs of their parameters; the others,
// which move attributes, images and raw blocks, are written out below.
#include <cstring>
#include <utility>

#include "attributes/attribute.h"
#include "datafile/light_head_record.h"
#include "inventory/device_list.h"
#include "foundation/lent_block.h"
#include "local/image_blocks.h"
#include "local/local_device_config_session.h"
#include "session/command_codecs.h"

namespace keld {

namespace {

using namespace acquisition_flags;

bool StreamForm(std::uint32_t flags) { return (flags & kStreamForm) != 0; }

// Room for `count` items of `size` bytes at the end of `output`; the address
// of that room goes to `room` (null when there is none to give).
Status GrowOutput(ByteStream* output, std::uint64_t count, std::uint64_t size, void** room) {
  const std::uint64_t bytes = count * size;
  if (size != 0 && bytes / size != count) return kOutOfMemory;
  const std::uint64_t largest = LargestReply();
  if (bytes > largest || bytes > largest - output->size) return kOutOfMemory;
  const std::uint32_t start = output->size;
  const Status status = output->Extend(static_cast<std::uint32_t>(bytes));
  if (status != kSuccess) return status;
  *room = bytes != 0 ? output->data + start : nullptr;
  return kSuccess;
}

// The input's bytes at its cursor, where at least `count` items of `size`
// bytes are left; a peer that sent fewer gets 0xBFFF8001.
Status InputBytes(ByteStream* input, std::uint64_t count, std::uint64_t size, const void** data) {
  const std::uint64_t bytes = count * size;
  if (size != 0 && bytes / size != count) return kByteStreamLoadFailed;
  if (input->Remaining() < bytes) return kByteStreamLoadFailed;
  *data = input->cursor;
  return kSuccess;
}

}  // namespace

// ---- Handlers made from the table --------------------------------------

#define KELD_HANDLER_BODY(group, name, command, handle, step, target, client, ...) \
  KELD_HANDLER_BODY_##target(name, __VA_ARGS__)
#define KELD_HANDLER_BODY_Handler(name, ...)                                                       \
  Status LocalDeviceConfigSession::Handle##name(ByteStream* input, ByteStream* output) {           \
    return wire::RunHandler<KELD_CODECS(__VA_ARGS__)>(                                             \
        input, output, [this](auto... arguments) -> Status { return name(arguments...); });       \
  }
#define KELD_HANDLER_BODY_HandlerCustom(name, ...)
#define KELD_HANDLER_BODY_HandlerWithFlags(name, ...)
#define KELD_HANDLER_BODY_Direct(name, ...)
#define KELD_HANDLER_BODY_KeldHandler(name, ...)
#define KELD_HANDLER_BODY_KeldHandlerCustom(name, ...)
#define KELD_HANDLER_BODY_NvHandlerCustom(name, ...)
#define KELD_HANDLER_BODY_NoTarget(name, ...)
KELD_DEVICE_OPERATIONS(KELD_HANDLER_BODY)

// ---- Attributes ---------------------------------------------------------

// The key alone is read: the rest of what the client sent is its custom.
Status LocalDeviceConfigSession::HandleReadAttribute(ByteStream* input, ByteStream* output) {
  std::uint32_t attributeKey = 0;
  Status status = input->ReadU32(&attributeKey);
  Attribute* attribute = nullptr;
  if (status == kSuccess) status = FindAttributeByKey(attributeKey, &attribute);
  if (status == kSuccess) status = ReadAttribute(attribute);
  if (status == kSuccess) status = attribute->Flatten(output, true);
  return status;
}

// The changed components arrive dirty and are written to the device.
Status LocalDeviceConfigSession::HandleWriteAttribute(ByteStream* input, ByteStream* /*output*/) {
  std::uint32_t attributeKey = 0;
  Status status = input->ReadU32(&attributeKey);
  Attribute* attribute = nullptr;
  if (status == kSuccess) status = FindAttributeByKey(attributeKey, &attribute);
  if (status == kSuccess) status = attribute->Unflatten(input, false);
  if (status == kSuccess) status = WriteAttribute(attribute);
  return status;
}

Status LocalDeviceConfigSession::HandleRefreshAttributes(ByteStream* /*input*/, ByteStream* output) {
  const Status status = RefreshAttributes();
  if (status != kSuccess) return status;
  return attributes.Flatten(output, true);
}

Status LocalDeviceConfigSession::HandleCommitAttributes(ByteStream* input, ByteStream* /*output*/) {
  const Status status = attributes.Unflatten(input, false);
  if (status != kSuccess) return status;
  return CommitAttributes();
}

// ---- Images -------------------------------------------------------------

Status LocalDeviceConfigSession::HandleSnapImage(ByteStream* input, ByteStream* output) {
  const std::unique_lock<std::mutex> guard = LockCarrier();
  Status status = carrier.EnsureImage();
  std::uint32_t flags = 0;
  if (status == kSuccess) status = input->ReadU32(&flags);
  if (status == kSuccess) status = SnapImage(flags, carrier.GetImage());
  if (status == kSuccess && (flags & kShowImage) != 0) status = carrier.Show();
  if (status == kSuccess && (flags & kFlattenImage) != 0) status = carrier.Flatten(output, StreamForm(flags));
  return status;
}

Status LocalDeviceConfigSession::HandleSetupGrab(ByteStream* input, ByteStream* /*output*/) {
  std::uint32_t flags = 0;
  Status status = input->ReadU32(&flags);
  if (status == kSuccess) {
    acquisitionFlags = flags;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t typeOfImage = 0;
    // The target's display would switch to the image's mode here; this
    // build has no display, so the word is formed and goes nowhere.
    if ((flags & kShowImage) != 0 && GetImageGeometry(&width, &height, &typeOfImage)) {
      static_cast<void>(DisplayModeWord(width, height, typeOfImage));
    }
    status = SetupGrab(flags);
  }
  // A thread stopped by another command may still be in its last round.
  const std::unique_lock<std::mutex> guard = LockCarrier();
  if (status == kSuccess) status = carrier.EnsureImage();
  if (status == kSuccess) status = StartImageThread();
  return status;
}

Status LocalDeviceConfigSession::HandleGrabImage(ByteStream* /*input*/, ByteStream* output) {
  grabsArriving_.fetch_add(1);
  std::unique_lock<std::mutex> guard(imageLock_);
  grabsArriving_.fetch_sub(1);
  for (;;) {
    if (threadController_ != nullptr) {
      // The thread's newest image if no grab has had it yet; otherwise wait
      // for its next round, its failure or its stop. A successful reply
      // carries an image, so a grab before the first image waits for it.
      grabsAwaitingImage_.fetch_add(1);
      roundDone_.wait(guard, [this] {
        return threadController_ == nullptr || !threadRunning_ || replyStatus_ != kSuccess || replyFresh_ ||
               (acquisitionFlags & kFlattenImage) == 0;
      });
      grabsAwaitingImage_.fetch_sub(1);
    }
    if (threadController_ != nullptr) {
      // The image with its number first and the thread's status.
      const bool fresh = replyFresh_;
      replyFresh_ = false;
      answerReady_ = replyStatus_ != kSuccess;
      // A fresh image of a thread at work is answered by no other grab: its
      // block goes out as the reply itself, lent, and comes back once sent
      // (on a thread that gives blocks back; elsewhere the reply is a copy).
      if (fresh && replyStatus_ == kSuccess && threadRunning_ && output->size == 0 &&
          reply_.size >= sizeof lastBufferNumber && LoansComeBack()) {
        std::memcpy(reply_.data, &lastBufferNumber, sizeof lastBufferNumber);
        std::swap(*output, reply_);
        imageBlocks_->Lent(output->data);
        LendOutput(*output, imageBlocks_);
        return kSuccess;
      }
      // Otherwise every later grab answers with the same image: a copy. The
      // last image may be on its way back from an earlier reply.
      imageBlocks_->TakeReturned(&reply_);
      Status status = output->AppendU32(lastBufferNumber);
      if (status == kSuccess && reply_.size > sizeof lastBufferNumber) {
        status = output->AppendBytes(reply_.data + sizeof lastBufferNumber, reply_.size - sizeof lastBufferNumber);
      }
      return status != kSuccess ? status : replyStatus_;
    }
    // Without a thread the grab uses the carrier itself: a thread just
    // stopped by another command may still be in its last round.
    if (!threadInRound_) break;
    roundDone_.wait(guard);
  }
  Status status = carrier.EnsureImage();
  // The number goes first and is the one from before this grab.
  if (status == kSuccess) status = output->AppendU32(lastBufferNumber);
  if (status != kSuccess) return status;
  const std::uint32_t flags = acquisitionFlags;
  if ((flags & kNoSyncGrab) != 0) return kSuccess;
  status = GrabImage(&lastBufferNumber, carrier.GetImage());
  if (status == kSuccess) status = carrier.Flatten(output, StreamForm(flags));
  return status;
}

Status LocalDeviceConfigSession::HandleConfigureAcquisition(ByteStream* input, bool hasFlags) {
  Status status = carrier.EnsureImage();
  std::uint32_t continuous = 0;
  std::uint32_t bufferCount = 0;
  if (status == kSuccess) status = input->ReadU32(&continuous);
  if (status == kSuccess) status = input->ReadU32(&bufferCount);
  if (status == kSuccess && hasFlags) {
    std::uint32_t flags = 0;
    status = input->ReadU32(&flags);
    if (status == kSuccess) acquisitionFlags = flags;
  }
  if (status == kSuccess) status = ConfigureAcquisition(continuous, bufferCount);
  return status;
}

Status LocalDeviceConfigSession::HandleCopyImage(ByteStream* input, ByteStream* output) {
  const std::unique_lock<std::mutex> guard = LockCarrier();
  Status status = carrier.EnsureImage();
  std::uint32_t number = 0;
  if (status == kSuccess) status = input->ReadU32(&number);
  if (status == kSuccess) status = CopyImage(&number, carrier.GetImage());
  if (status == kSuccess) status = output->AppendU32(number);
  if (status == kSuccess) status = carrier.Flatten(output, StreamForm(acquisitionFlags));
  return status;
}

// ---- Registers and blocks ----------------------------------------------

// The output is grown before the read, which writes straight into it.
Status LocalDeviceConfigSession::HandleReadU32(ByteStream* input, ByteStream* output) {
  std::uint32_t space = 0;
  std::uint32_t address = 0;
  std::uint32_t count = 0;
  Status status = input->ReadU32(&space);
  if (status == kSuccess) status = input->ReadU32(&address);
  if (status == kSuccess) status = input->ReadU32(&count);
  void* room = nullptr;
  if (status == kSuccess) status = GrowOutput(output, count, sizeof(std::uint32_t), &room);
  if (status == kSuccess) status = ReadU32(space, address, count, static_cast<std::uint32_t*>(room));
  return status;
}

// The values are read in place, behind the three words.
Status LocalDeviceConfigSession::HandleWriteU32(ByteStream* input, ByteStream* /*output*/) {
  std::uint32_t space = 0;
  std::uint32_t address = 0;
  std::uint32_t count = 0;
  Status status = input->ReadU32(&space);
  if (status == kSuccess) status = input->ReadU32(&address);
  if (status == kSuccess) status = input->ReadU32(&count);
  const void* values = nullptr;
  if (status == kSuccess) status = InputBytes(input, count, sizeof(std::uint32_t), &values);
  if (status == kSuccess) status = WriteU32(space, address, count, static_cast<const std::uint32_t*>(values));
  return status;
}

namespace {

// The five leading values of both block commands.
struct BlockHead {
  std::uint64_t block = 0;
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

Status ReadBlockHead(ByteStream* input, BlockHead* head) {
  Status status = input->ReadU64(&head->block);
  if (status == kSuccess) status = input->ReadU32(&head->first);
  if (status == kSuccess) status = input->ReadU32(&head->second);
  if (status == kSuccess) status = input->ReadU32(&head->width);
  if (status == kSuccess) status = input->ReadU32(&head->height);
  return status;
}

}  // namespace

Status LocalDeviceConfigSession::HandleWriteBlock(ByteStream* input, ByteStream* /*output*/) {
  BlockHead head;
  Status status = ReadBlockHead(input, &head);
  const void* data = nullptr;
  if (status == kSuccess) status = InputBytes(input, head.width, head.height, &data);
  if (status == kSuccess) status = WriteBlock(head.block, head.first, head.second, head.width, head.height, data);
  return status;
}

Status LocalDeviceConfigSession::HandleReadBlock(ByteStream* input, ByteStream* output) {
  BlockHead head;
  Status status = ReadBlockHead(input, &head);
  void* room = nullptr;
  if (status == kSuccess) status = GrowOutput(output, head.width, head.height, &room);
  if (status == kSuccess) status = ReadBlock(head.block, head.first, head.second, head.width, head.height, room);
  return status;
}

}  // namespace keld
