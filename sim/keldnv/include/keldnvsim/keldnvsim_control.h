/* Control of the simulated network and USB camera driver, for tests.
 *
 * libodkeldnv.so exports these functions beside the driver's own. A test
 * links libodkeldnv.so (or loads it before the library does) and steers the
 * simulated cameras through them: which cameras exist, which data folder
 * holds the driver's files, which driver version is simulated, which
 * function fails or is slow. Every function returns 0 or one of the driver's
 * statuses (0xBFF69000 to 0xBFF690FF); KELDnvGetErrorString gives their
 * texts.
 *
 * Where the description comes from, unless keldnvsimResetWith names it:
 *   KELDNVSIM_CONFIG  path of a JSON description of the cameras; without it
 *                     the built-in description (four cameras) is used.
 *   KELDNVSIM_DATA    data folder; without it $XDG_DATA_HOME/keldnvsim, else
 *                     $HOME/.local/share/keldnvsim, else /tmp/keldnvsim-<uid>.
 * Both are read at the first call of any function, and again at every
 * reset. A data folder that does not exist or is empty is created and seeded
 * with camera-link camera files. The driver keeps what a camera remembers
 * (its name, its user sets, a camera-link camera's file and board) in the
 * data folder.
 *
 * A description:
 *   { "driver_version": "0x04500000",
 *     "cameras": [ { "interface": "cam0", "serial": "0x00A1000000000001",
 *                    "vendor": "Orvane Devices", "model": "OD GC-640M",
 *                    "interface_type": "network",     (or "usb", "cameralink", or a number)
 *                    "flags": 1,                      (bit 0: listed)
 *                    "width": 640, "height": 480,     (the sensor)
 *                    "pixel_formats": ["Mono8", "Mono12", "Mono16", "BGRa8"],
 *                    "frame_rate": 60,                (0: as fast as images are asked for)
 *                    "noise": 0, "reserved": false,   (reserved: held by another host)
 *                    "board": "img0",                 (a camera-link camera's board)
 *                    "driver_name": "...",
 *                    "extra_attributes": 0,           (that many more, generated)
 *                    "attributes": [ { "name": "CameraAttributes::Test::Level",
 *                                      "type": "u32", (i64 f64 string enum bool command)
 *                                      "value": 5, "min": 0, "max": 10, "inc": 1,
 *                                      "units": "", "representation": 0,
 *                                      "visibility": "0x1000", "readable": true,
 *                                      "writable": true, "dynamic": false,
 *                                      "tooltip": "", "description": "", "display_name": "",
 *                                      "choices": [ { "name": "A", "value": -1 } ] } ] } ] }
 * Numbers may be JSON numbers or texts such as "0x8000000".
 *
 * All functions are safe to call from any thread. */
#ifndef KELDNVSIM_CONTROL_H
#define KELDNVSIM_CONTROL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define KELDNVSIM_API __attribute__((visibility("default")))
#else
#define KELDNVSIM_API
#endif

/* ---- State ------------------------------------------------------------------ */
/* Closes every handle, forgets every injected status, delay, attribute
 * fault and stall, and reads the description and data folder again as at
 * the first use. The call log is kept. A description that cannot be read
 * leaves the driver without cameras: every driver function then answers
 * 0xBFF6903F until a good reset. */
KELDNVSIM_API uint32_t keldnvsimReset(void);
/* The same with a description given as JSON text and a data folder; a null
 * argument takes what keldnvsimReset would take. */
KELDNVSIM_API uint32_t keldnvsimResetWith(const char* descriptionJson, const char* dataFolder);
/* Why the last reset failed (empty after a good one); `size` bytes at most. */
KELDNVSIM_API uint32_t keldnvsimGetLastError(char* text, uint32_t size);

/* ---- Cameras ------------------------------------------------------------------ */
/* Adds a camera given as the JSON object of one entry of "cameras". */
KELDNVSIM_API uint32_t keldnvsimAddCamera(const char* cameraJson);
/* Unplugs a camera: its handles stay open but every call on them answers
 * 0xBFF69006, KELDnvCloseCamera excepted. */
KELDNVSIM_API uint32_t keldnvsimRemoveCamera(const char* interfaceName);
/* The simulated driver version word. libodkeldnv.so takes any word;
 * libodkeldnv_noversion.so, which has no KELDnvGetDriverVersion, words
 * below 0x03010000. */
KELDNVSIM_API uint32_t keldnvsimSetDriverVersion(uint32_t version);
KELDNVSIM_API uint32_t keldnvsimGetDriverVersion(uint32_t* version);

/* ---- Faults ------------------------------------------------------------------ */
/* The next `calls` calls of the named driver function return `status`
 * without doing anything; `calls` 0 withdraws it. An unknown name gives
 * 0xBFF69002. */
KELDNVSIM_API uint32_t keldnvsimInjectStatus(const char* function, uint32_t status, uint32_t calls);
/* Every call of the named function waits `milliseconds` first; 0 ends it. */
KELDNVSIM_API uint32_t keldnvsimSetDelay(const char* function, uint32_t milliseconds);
/* Reads of the value of one attribute of a camera (by the camera's
 * interface name and the attribute's full name) answer `status`; 0 ends it. */
KELDNVSIM_API uint32_t keldnvsimSetAttributeStatus(const char* interfaceName, const char* attribute,
                                                   uint32_t status);
/* A stalled camera sends no images: every wait for one ends after the
 * camera's time-out (AcquisitionAttributes::Timeout) with 0xBFF69015. */
KELDNVSIM_API uint32_t keldnvsimStallCamera(const char* interfaceName, uint32_t stalled);

/* ---- Call log ------------------------------------------------------------------ */
/* The driver functions called since the last clear, one per line, oldest
 * first (the newest 100000 are kept); a call whose arguments matter to tests
 * carries them behind its name ("KELDnvGetImage mode=2 number=7"). With a
 * null `text`, *size becomes the bytes needed, terminator included;
 * otherwise up to *size bytes are written, terminated, and *size is set as
 * well. */
KELDNVSIM_API uint32_t keldnvsimGetCallLog(char* text, uint32_t* size);
/* Calls of one function since the last clear. */
KELDNVSIM_API uint32_t keldnvsimGetCallCount(const char* function, uint32_t* count);
KELDNVSIM_API uint32_t keldnvsimClearCallLog(void);

#ifdef __cplusplus
}
#endif

#endif /* KELDNVSIM_CONTROL_H */
