/* Includes the whole public header as a C99 program and calls through the
 * library. */
#include <stdio.h>
#include <string.h>

#include "keldcfgc/keldcfgc.h"

int main(void) {
  char text[255];
  int32_t status = cfgGetErrorText(0xBFFF8009u, text);
  if (status != 0 || strcmp(text, "The session you specified is invalid.") != 0) {
    fprintf(stderr, "unexpected text: %s\n", text);
    return 1;
  }
  if (cfgClose(0) != (int32_t)0xBFFF8009u) {
    fprintf(stderr, "cfgClose(0) did not report an invalid session\n");
    return 1;
  }
  {
    uint32_t version = 0;
    if (cfgQueryVersion(NULL, &version) != 0 || version != 0x1250C000u) {
      fprintf(stderr, "unexpected local version 0x%08x\n", (unsigned)version);
      return 1;
    }
    if (cfgQueryVersion(NULL, NULL) != (int32_t)0xBFFF8007u) {
      fprintf(stderr, "cfgQueryVersion accepted a null output\n");
      return 1;
    }
  }
  {
    /* The records keep their sizes in C as well. */
    LightHeadRecord record;
    uint32_t count = 1;
    memset(&record, 0, sizeof record);
    if (sizeof(LightHeadRecord) != 6064 || sizeof(CameraFileData) != 1548) return 1;
    if (cfgKELDEnumerateLightHeads(0, "", &record, &count) != (int32_t)0xBFFF8009u) {
      fprintf(stderr, "light-head listing of session 0 was not refused\n");
      return 1;
    }
  }
  puts("c99 header check passed");
  return 0;
}
