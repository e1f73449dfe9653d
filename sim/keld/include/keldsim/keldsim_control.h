/* Control of the simulated frame-grabber driver, for tests.
 *
 * libkeld.so exports these functions beside the driver's own. A test links
 * libkeld.so (or loads it before the library does) and steers the simulated
 * hardware through them: which boards exist, which data folder holds the
 * interface and camera files, which driver version is simulated, which
 * function fails or is slow. Every function returns 0 or one of the driver's
 * statuses (0xBFF60000 to 0xBFF60FFF); kldShowError gives their texts.
 *
 * Where the description comes from, unless keldsimResetWith names it:
 *   KELDSIM_CONFIG  path of a JSON description of the boards; without it the
 *                   description installed beside the driver
 *                   (keldcfgc/keld/boards.json), else the same one built in
 *                   (three boards).
 *   KELDSIM_DATA    data folder; without it $XDG_DATA_HOME/keldsim, else
 *                   $HOME/.local/share/keldsim, else /tmp/keldsim-<uid>.
 * The description and the data folder are read at the first call of any
 * function, and again at every reset. A data folder that does not exist or
 * is empty is created and seeded with camera files.
 *
 * All functions are safe to call from any thread. */
#ifndef KELDSIM_CONTROL_H
#define KELDSIM_CONTROL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define KELDSIM_API __attribute__((visibility("default")))
#else
#define KELDSIM_API
#endif

/* ---- State ------------------------------------------------------------------ */
/* Forgets every interface, session, buffer, buffer list and pulse (memory the
 * driver handed out is freed), every injected status, delay and board test
 * result set, and reads the description and data folder again as at the
 * first use. The call log is kept. A description that cannot be read leaves the driver without boards:
 * every driver function then answers 0xBFF6003F until a good reset. */
KELDSIM_API uint32_t keldsimReset(void);
/* The same with a description given as JSON text and a data folder; a null
 * argument takes what keldsimReset would take. */
KELDSIM_API uint32_t keldsimResetWith(const char* descriptionJson, const char* dataFolder);
/* Why the last reset failed (empty after a good one); `size` bytes at most. */
KELDSIM_API uint32_t keldsimGetLastError(char* text, uint32_t size);

/* ---- Boards ------------------------------------------------------------------ */
/* Adds a board given as the JSON object of one entry of "boards". */
KELDSIM_API uint32_t keldsimAddBoard(const char* boardJson);
/* Removes a board as if it had been unplugged: its sessions stay open but
 * every call on them answers 0xBFF6001B, kldClose excepted. */
KELDSIM_API uint32_t keldsimRemoveBoard(uint32_t serial);
/* Adds a board that failed to initialise with the given status. */
KELDSIM_API uint32_t keldsimAddFailedBoard(uint32_t serial, uint32_t status);
/* The simulated driver version word. libkeld.so takes words from 0x03100000
 * on, libkeld_old.so words below it; others give 0xBFF60002. */
KELDSIM_API uint32_t keldsimSetDriverVersion(uint32_t version);
KELDSIM_API uint32_t keldsimGetDriverVersion(uint32_t* version);

/* ---- Faults ------------------------------------------------------------------ */
/* The next `calls` calls of the named driver function return `status`
 * without doing anything; `calls` 0 withdraws it. An unknown name (or a
 * function this variant lacks) gives 0xBFF60002. */
KELDSIM_API uint32_t keldsimInjectStatus(const char* function, uint32_t status, uint32_t calls);
/* Every call of the named function waits `milliseconds` first; 0 ends it. */
KELDSIM_API uint32_t keldsimSetDelay(const char* function, uint32_t milliseconds);
/* Sets the text that odkelduShowSerialError gives on the session, as if the
 * camera had answered with an error. */
KELDSIM_API uint32_t keldsimSetSerialError(uint32_t sid, const char* text);

/* The session open on an acquisition unit of a board (0 if none), so that a
 * test that opened it through another library can address its faults. */
KELDSIM_API uint32_t keldsimGetUnitSession(uint32_t serial, uint32_t unit, uint32_t* sid);

/* Frame faults of a session's camera. They fall on the frames still to
 * come, in the order the frames come, whatever acquires them (snap, grab,
 * buffer list, ring, sequence):
 * - a lost frame never reaches the board: its buffer number is passed over
 *   (copies of it answer 0xBFF60025; the numbers show a gap; a snap takes
 *   the next frame instead);
 * - a failed transfer completes its buffer with a failure: copies of it,
 *   and the grab or snap that meets it, answer 0xBFF60026;
 * - a stalled camera sends nothing until it goes on again; every wait for
 *   an image ends in the session's time-out (attribute 0x3FF60070) with
 *   0xBFF60007.
 * Session 0 stands for every session open at the time of the call; a test
 * that reaches the driver through a library (or a server) does not know
 * the driver's session numbers. */
KELDSIM_API uint32_t keldsimLoseFrames(uint32_t sid, uint32_t frames);
KELDSIM_API uint32_t keldsimFailTransfers(uint32_t sid, uint32_t frames);
KELDSIM_API uint32_t keldsimStallCamera(uint32_t sid, uint32_t stalled);

/* ---- Call log ------------------------------------------------------------------ */
/* The names of the driver functions called since the last clear, one per
 * line, oldest first (the newest 100000 are kept). With a null `text`,
 * *size becomes the bytes needed, terminator included; otherwise up to
 * *size bytes are written, terminated, and *size is set as well. */
KELDSIM_API uint32_t keldsimGetCallLog(char* text, uint32_t* size);
/* Calls of one function since the last clear. */
KELDSIM_API uint32_t keldsimGetCallCount(const char* function, uint32_t* count);
KELDSIM_API uint32_t keldsimClearCallLog(void);

/* ---- Pulses ---------------------------------------------------------------------- */
typedef struct KeldsimPulseState {
  uint32_t parameters[10]; /* the ten values of kldPulseCreate2, duty changes applied */
  uint32_t running;        /* 1 between kldPulseStart and kldPulseStop */
  uint32_t session;        /* session of the last kldPulseStart, 0 before */
} KeldsimPulseState;
KELDSIM_API uint32_t keldsimGetPulseState(uint32_t pulse, KeldsimPulseState* state);

/* ---- Board test libraries ---------------------------------------------------------- */
/* Board tests results: 1 passed, 2 failed, 3 failed critically, 4 skipped.
 * Sets the result that the named test of the board's test library reports
 * (serial 0: every board), with `message` as its text; result 0 withdraws
 * the setting. The description can set them too ("board_tests"). */
KELDSIM_API uint32_t keldsimSetBoardTestResult(uint32_t serial, const char* test, uint32_t result,
                                               const char* message);
/* Asked by the test libraries: the result set for this test, 0 if none. */
KELDSIM_API uint32_t keldsimGetBoardTestResult(uint32_t serial, const char* test, uint32_t* result, char* message,
                                               uint32_t size);

#ifdef __cplusplus
}
#endif

#endif /* KELDSIM_CONTROL_H */
