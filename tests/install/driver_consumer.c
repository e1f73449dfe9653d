/* A program that uses the frame-grabber driver installed beside the
 * library, through the public header alone: it lists the boards, opens one
 * by its interface name, sets the red gain in the session's cache,
 * validates, reads the gain back from the board and closes, then opens a
 * board by its serial number and closes it; last it lists the cameras of the
 * network and USB camera driver installed beside it. It prints what it sees; any
 * failure ends it with status 1. With the argument "leave-open" it opens
 * the first board and ends without closing it: the library closes it as it
 * unloads, through the driver. */
#include <stdio.h>
#include <string.h>
#include <keldcfgc/keldcfgc.h>

#define RED_GAIN 0x3FF601CCu
#define SERIAL_NUMBER 0x3FF600C0u

static int ok(const char* what, int32_t status) {
  char text[255] = "";
  if (status == 0) return 1;
  cfgGetErrorText((uint32_t)status, text);
  printf("%s failed: 0x%08X %s\n", what, (unsigned)status, text);
  return 0;
}

int main(int argc, char** argv) {
  uint32_t count = 0, i, id = 0, serial = 0, read = 0;
  char name[256] = "", text[255] = "";
  double cached = 0, gain = 0;

  if (!ok("refresh", cfgRefreshBoards(NULL)) || !ok("count", cfgGetBoardCount(NULL, &count))) return 1;
  printf("%u boards\n", (unsigned)count);
  for (i = 0; i < count; ++i) {
    if (!ok("query", cfgQueryBoard(NULL, i, name, sizeof name, &serial, text, sizeof text))) return 1;
    printf("board %u: %s 0x%08X %s\n", (unsigned)i, name, (unsigned)serial, text);
  }
  if (count == 0) return 1;

  if (argc > 1 && strcmp(argv[1], "leave-open") == 0) {
    if (!ok("query", cfgQueryBoard(NULL, 0, name, sizeof name, NULL, NULL, 0))) return 1;
    if (!ok("open by name", cfgOpenBoard(NULL, name, 0, &id))) return 1;
    printf("left %s open\n", name);
    return 0;
  }

  /* The last board, by its name. */
  if (!ok("query", cfgQueryBoard(NULL, count - 1, name, sizeof name, &serial, NULL, 0))) return 1;
  if (!ok("open by name", cfgOpenBoard(NULL, name, 0, &id))) return 1;
  printf("opened %s\n", name);
  if (!ok("set cached", cfgSetAttributeDouble(id, RED_GAIN, 2.5, 1)) ||
      !ok("get cached", cfgGetAttributeDouble(id, RED_GAIN, &cached, 1)) ||
      !ok("validate", cfgValidateAttributes(id)) || !ok("get", cfgGetAttributeDouble(id, RED_GAIN, &gain, 0)))
    return 1;
  printf("red gain %.2f cached, %.2f on the board after validation\n", cached, gain);
  if (!ok("close", cfgClose(id))) return 1;

  /* The same board by its serial number, with no name. */
  if (!ok("open by serial", cfgOpenBoard(NULL, NULL, serial, &id)) ||
      !ok("get serial", cfgGetAttributeU32(id, SERIAL_NUMBER, &read, 0)))
    return 1;
  printf("opened serial 0x%08X: the board says 0x%08X\n", (unsigned)serial, (unsigned)read);
  if (!ok("close", cfgClose(id))) return 1;
  printf("closed\n");

  /* The network and USB cameras (driver type 2). */
  if (!ok("refresh cameras", cfgRefreshCameras2(NULL, 2)) || !ok("count cameras", cfgGetCameraCount2(NULL, 2, &count)))
    return 1;
  printf("%u cameras\n", (unsigned)count);
  for (i = 0; i < count; ++i) {
    uint32_t high = 0, low = 0, bus = 0;
    if (!ok("query camera", cfgQueryCamera2(NULL, 2, i, name, sizeof name, &high, &low, text, sizeof text, &bus)))
      return 1;
    printf("camera %u: %s 0x%08X%08X %s bus %u\n", (unsigned)i, name, (unsigned)high, (unsigned)low, text,
           (unsigned)bus);
  }
  return 0;
}
