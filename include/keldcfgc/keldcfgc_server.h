/* keldcfgc server entries: the target's half of the remote protocol, for an
 * RPC server process such as keldcfgd. A server creates local sessions on
 * behalf of its clients, feeds their numbered commands in and closes them.
 * Sessions made here are ordinary sessions of this process's registry, keyed
 * by the client name the peer sent. Every function returns a 32-bit status. */
#ifndef KELDCFGC_SERVER_H
#define KELDCFGC_SERVER_H

#include <stdint.h>

#include "keldcfgc/keldcfgc.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Creates (does not open) a local session of `driverType` (0 frame-grabber,
 * 1 IEEE 1394, 2 network and USB) on `interfaceName` for `clientName`, and
 * gives its id. A session with the same client, driver and interface is
 * closed first. Null texts or a null `sessionId` give 0xBFFF8007. */
KELDCFGC_API int32_t keldsrvCreateSession(uint32_t driverType, const char* clientName, const char* interfaceName,
                                          uint32_t* sessionId);

/* Runs one numbered command on a session: `input` holds `inputSize` bytes
 * of arguments (may be null when the size is 0). The results come back in a
 * block at *output of *outputSize bytes (null for none), released with
 * keldsrvFreeStream. Unknown ids give 0xBFFF8009. */
KELDCFGC_API int32_t keldsrvExecuteCommand(uint32_t sessionId, uint32_t command, const uint8_t* input,
                                           uint32_t inputSize, uint8_t** output, uint32_t* outputSize);

/* 0 while the session exists, 0xBFFF8009 otherwise. */
KELDCFGC_API int32_t keldsrvPingSession(uint32_t sessionId);

/* Closes and destroys a session; 0xBFFF8009 for an unknown id. */
KELDCFGC_API int32_t keldsrvCloseSession(uint32_t sessionId);

/* Releases a result block of keldsrvExecuteCommand; accepts null. */
KELDCFGC_API void keldsrvFreeStream(uint8_t* data);

#ifdef __cplusplus
}
#endif

#endif /* KELDCFGC_SERVER_H */
