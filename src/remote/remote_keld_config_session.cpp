#include "remote/remote_keld_config_session.h"

#include "datafile/light_head_record.h"

namespace keld {

#define KELD_REMOTE_KELD_PROXY(...) KELD_PROXY_BODY(RemoteKELDConfigSession, KeldProxy, __VA_ARGS__)
KELD_DEVICE_OPERATIONS(KELD_REMOTE_KELD_PROXY)

// The stream holds `count` bytes of the table, not `count` entries: the
// target reads that many bytes into a table of `count` 8-byte entries and
// leaves the rest zero. Both ends work this way.
Status RemoteKELDConfigSession::KELDSequenceSetup(std::uint32_t count, void* table, std::uint32_t first,
                                                  std::uint32_t second) {
  ScopedByteStream input;
  ScopedByteStream output;
  Status status = input->AppendU32(count);
  if (status == kSuccess && count != 0) {
    status = table != nullptr ? input->AppendBytes(table, count) : kBadPointer;
  }
  if (status == kSuccess) status = input->AppendU32(first);
  if (status == kSuccess) status = input->AppendU32(second);
  if (status != kSuccess) return status;
  return RunCommand(static_cast<std::uint32_t>(operation::KELDSequenceSetup.command),
                    operation::KELDSequenceSetup.handle, input.get(), output.get());
}

}  // namespace keld
