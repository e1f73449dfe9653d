/* keldcfgc: configuration client of the KELD family of image-acquisition
 * drivers. Plain C boundary over u32 session ids; every function returns a
 * 32-bit status (0 is success, the library's own errors start at 0xBFFF8000,
 * driver statuses pass unchanged). */
#ifndef KELDCFGC_H
#define KELDCFGC_H

#include <stdint.h>

#include "keldcfgc/records.h"

#if defined(_WIN32)
#define KELDCFGC_API __declspec(dllexport)
#else
#define KELDCFGC_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Image object of the image library; opaque here. */
typedef struct Image Image;

/* Text of a status, cut to 254 characters plus terminator; `text` must hold
 * 255 bytes and may be null (the text is then dropped). */
KELDCFGC_API int32_t cfgGetErrorText(uint32_t status, char* text);

/* Closes a session; 0xBFFF8009 for an id no session has. */
KELDCFGC_API int32_t cfgClose(uint32_t session);

/* Version word of the library (host null or "127.0.0.1") or of a target.
 * `version` is preset to 0x01200000, which stays there if the call fails. */
KELDCFGC_API int32_t cfgQueryVersion(const char* host, uint32_t* version);
/* Binds to the target and back; no password is sent. 0xBFFF8011 once bound. */
KELDCFGC_API int32_t cfgCheckPassword(const char* host, const char* password);
/* MTU of a named network adapter of a target. */
KELDCFGC_API int32_t cfgGetNetworkInterfaceMTU(const char* host, const char* adapter, uint32_t* mtu);
KELDCFGC_API int32_t cfgSetNetworkInterfaceMTU(const char* host, const char* adapter, uint32_t mtu);

#ifdef __cplusplus
}
#endif

#endif
