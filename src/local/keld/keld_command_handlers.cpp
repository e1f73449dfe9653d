// The frame-grabber session's command handlers. Those the operation table
// marks KeldHandler are made from the codecs of their parameters; the
// sequence table and the trigger query are written out below.
#include <new>
#include <vector>

#include "datafile/light_head_record.h"
#include "local/keld/local_keld_config_session.h"
#include "session/command_codecs.h"

namespace keld {

#define KELD_KELD_HANDLER_BODY(group, name, command, handle, step, target, client, ...) \
  KELD_KELD_HANDLER_BODY_##target(name, __VA_ARGS__)
#define KELD_KELD_HANDLER_BODY_KeldHandler(name, ...)                                         \
  Status LocalKELDConfigSession::Handle##name(ByteStream* input, ByteStream* output) {        \
    return wire::RunHandler<KELD_CODECS(__VA_ARGS__)>(                                        \
        input, output, [this](auto... arguments) -> Status { return name(arguments...); });  \
  }
#define KELD_KELD_HANDLER_BODY_Handler(name, ...)
#define KELD_KELD_HANDLER_BODY_HandlerCustom(name, ...)
#define KELD_KELD_HANDLER_BODY_HandlerWithFlags(name, ...)
#define KELD_KELD_HANDLER_BODY_Direct(name, ...)
#define KELD_KELD_HANDLER_BODY_KeldHandlerCustom(name, ...)
#define KELD_KELD_HANDLER_BODY_NvHandlerCustom(name, ...)
#define KELD_KELD_HANDLER_BODY_NoTarget(name, ...)
KELD_DEVICE_OPERATIONS(KELD_KELD_HANDLER_BODY)

// `count` bytes of the stream fill the start of a table of `count` 8-byte
// entries; the rest of the table stays zero.
Status LocalKELDConfigSession::HandleKELDSequenceSetup(ByteStream* input, ByteStream* /*output*/) {
  constexpr std::size_t kEntryBytes = 8;
  Status status = carrier.EnsureImage();
  std::uint32_t count = 0;
  if (status == kSuccess) status = input->ReadU32(&count);
  // The bytes must be there before a table of their size is made.
  if (status == kSuccess && input->Remaining() < count) status = kByteStreamLoadFailed;
  if (status == kSuccess && std::uint64_t{count} * kEntryBytes > LargestReply()) status = kOutOfMemory;
  if (status != kSuccess) return status;
  std::vector<std::uint8_t> table;
  try {
    table.assign(static_cast<std::size_t>(count) * kEntryBytes, 0);
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }
  status = input->ReadBytes(table.data(), count);
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  if (status == kSuccess) status = input->ReadU32(&first);
  if (status == kSuccess) status = input->ReadU32(&second);
  if (status == kSuccess) status = KELDSequenceSetup(count, table.empty() ? nullptr : table.data(), first, second);
  return status;
}

// The results start from fixed values, so that what the driver leaves alone
// reads the same on every target.
Status LocalKELDConfigSession::HandleKELDSessionTriggerGet(ByteStream* input, ByteStream* output) {
  std::uint32_t trigger = 0;
  std::uint32_t words[6] = {0, 0xFFFFFFFF, 0, 0, 0, 5};
  double time = 0.0;
  Status status = input->ReadU32(&trigger);
  if (status == kSuccess) {
    status = KELDSessionTriggerGet(trigger, &words[0], &words[1], &words[2], &words[3], &words[4], &time, &words[5]);
  }
  for (int i = 0; i < 5 && status == kSuccess; ++i) status = output->AppendU32(words[i]);
  if (status == kSuccess) status = output->AppendF64(time);
  if (status == kSuccess) status = output->AppendU32(words[5]);
  return status;
}

}  // namespace keld
