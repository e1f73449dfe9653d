// The target's dispatcher: one table from command number to what runs it,
// made from the operation table, and ExecuteCommand over it.
#include <array>

#include "datafile/light_head_record.h"
#include "inventory/device_list.h"
#include "local/local_device_config_session.h"
#include "session/command_codecs.h"

namespace keld {

namespace {

using Runner = Status (*)(LocalDeviceConfigSession& session, ByteStream* input, ByteStream* output);

struct CommandEntry {
  Runner run = nullptr;
  CommandStep step = CommandStep::NoStep;
};

using CommandTable = std::array<CommandEntry, kLastCommand + 1>;

#define KELD_DISPATCH_ENTRY(group, name, command, handle, step, target, client, ...) \
  KELD_DISPATCH_##target(name, command, step, __VA_ARGS__)
// A handler of the session.
#define KELD_DISPATCH_HANDLER(name, command, step)                                                       \
  table[command] = {[](LocalDeviceConfigSession& s, ByteStream* input, ByteStream* output) -> Status { \
                      return s.Handle##name(input, output);                                             \
                    },                                                                                   \
                    CommandStep::step};
#define KELD_DISPATCH_Handler(name, command, step, ...) KELD_DISPATCH_HANDLER(name, command, step)
#define KELD_DISPATCH_HandlerCustom(name, command, step, ...) KELD_DISPATCH_HANDLER(name, command, step)
#define KELD_DISPATCH_KeldHandler(name, command, step, ...) KELD_DISPATCH_HANDLER(name, command, step)
#define KELD_DISPATCH_KeldHandlerCustom(name, command, step, ...) KELD_DISPATCH_HANDLER(name, command, step)
#define KELD_DISPATCH_NvHandlerCustom(name, command, step, ...) KELD_DISPATCH_HANDLER(name, command, step)
// The operation itself, its inputs read and its outputs written by their codecs.
#define KELD_DISPATCH_Direct(name, command, step, ...)                                                   \
  table[command] = {[](LocalDeviceConfigSession& s, ByteStream* input, ByteStream* output) -> Status { \
                      return wire::RunHandler<KELD_CODECS(__VA_ARGS__)>(                                 \
                          input, output, [&s](auto... arguments) -> Status { return s.name(arguments...); }); \
                    },                                                                                   \
                    CommandStep::step};
// One handler for two numbers: without and with the acquisition flags.
#define KELD_DISPATCH_HandlerWithFlags(name, command, step, ...)                                            \
  table[command] = {[](LocalDeviceConfigSession& s, ByteStream* input, ByteStream*) -> Status {          \
                      return s.Handle##name(input, false);                                                \
                    },                                                                                      \
                    CommandStep::step};                                                                     \
  table[kConfigureAcquisitionWithFlags] = {                                                                 \
      [](LocalDeviceConfigSession& s, ByteStream* input, ByteStream*) -> Status {                         \
        return s.Handle##name(input, true);                                                                 \
      },                                                                                                    \
      CommandStep::step};
#define KELD_DISPATCH_NoTarget(name, command, step, ...)

constexpr CommandTable MakeCommandTable() {
  CommandTable table{};
  KELD_DEVICE_OPERATIONS(KELD_DISPATCH_ENTRY)
  return table;
}

constexpr CommandTable kCommands = MakeCommandTable();

// Every number up to the last but the unused one has an entry.
constexpr bool EveryNumberServed() {
  for (std::uint32_t number = 0; number <= kLastCommand; ++number) {
    if ((kCommands[number].run == nullptr) != (number == kUnusedCommand)) return false;
  }
  return true;
}
static_assert(EveryNumberServed(), "the operation table must give every command number but the unused one");

}  // namespace

Status LocalDeviceConfigSession::ExecuteCommand(std::uint32_t command, ByteStream* input, ByteStream* output) {
  if (input == nullptr || output == nullptr) return kBadPointer;
  input->Rewind();
  output->Reset();
  if (command > kLastCommand || kCommands[command].run == nullptr) return kRemoteProcedureUnknown;
  const CommandEntry& entry = kCommands[command];
  if (entry.step == CommandStep::StopFirst) StopImageThread();
  const Status status = entry.run(*this, input, output);
  // Stopping after the operation does not change its answer.
  if (entry.step == CommandStep::After) StopImageThread();
  return status;
}

}  // namespace keld
