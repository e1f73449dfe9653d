#include <stdio.h>
#include <keldcfgc/keldcfgc.h>

int main(void) {
  uint32_t version = 0, count = 0, i;
  char name[256] = "", text[255] = "";
  cfgQueryVersion(NULL, &version);
  printf("keldcfgc %u.%u.%u (0x%08X)\n", (unsigned)(version >> 24), (unsigned)((version >> 20) & 0xF),
         (unsigned)((version >> 16) & 0xF), (unsigned)version);
  cfgGetErrorText((uint32_t)cfgGetBoardCount(NULL, &count), text);
  printf("%u boards (%s)\n", (unsigned)count, text);
  for (i = 0; i < count; ++i)
    if (cfgQueryBoard(NULL, i, name, sizeof name, NULL, text, sizeof text) == 0) printf("%s: %s\n", name, text);
  return 0;
}
