// The target's half of the remote protocol, for a server that feeds remote
// clients' commands into this process's local sessions. Sessions made here
// are ordinary sessions of the registry, keyed by the client name the peer
// sent; a command holds its session for as long as it runs, so a close from
// another connection takes effect when the command returns.
#pragma once

#include <cstdint>

#include "foundation/byte_stream.h"
#include "foundation/status.h"

namespace keld::frames {

// Creates (does not open) a local session for a remote client; a session of
// the same client, driver and interface is closed first.
Status CreateServerSession(std::uint32_t driverType, const char* clientName, const char* interfaceName,
                           std::uint32_t* sessionId);
// Runs one command on a session. The input is read where it lies, from its
// start; the output's block belongs to the caller afterwards.
Status ExecuteServerCommand(std::uint32_t sessionId, std::uint32_t command, ByteStream* input, ByteStream* output);
// 0 while the session exists, 0xBFFF8009 otherwise.
Status PingServerSession(std::uint32_t sessionId);
// Takes the session out of the registry; 0xBFFF8009 for an unknown id.
Status CloseServerSession(std::uint32_t sessionId);
// The most bytes a command's reply may ask for (registers, blocks, tables)
// in this process; larger requests answer 0xBFFF8005. 256 MiB unless set.
void SetLargestServerReply(std::uint64_t bytes);

}  // namespace keld::frames
