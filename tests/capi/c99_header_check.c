/* Includes the public header as a C99 program and calls through the library. */
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
  puts("c99 header check passed");
  return 0;
}
