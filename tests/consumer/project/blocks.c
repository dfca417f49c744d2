/* Writes a block to a volume and reads it back, from C. */
#include <string.h>

#include "TqLibEmlFile.h"

int main(void) {
  const unsigned char written[] = "sixteen bytes...";
  unsigned char read[sizeof written] = {0};
  unsigned long count = 0;
  int code = 0;
  char text[64] = "";
  if (!DirectWriteDataForDrive("VOL001", 0, 0, written, sizeof written, &count, &code, text,
                               (int)sizeof text) ||
      count != sizeof written) {
    return 1;
  }
  if (!DirectReadDataForDrive("VOL001", 0, 0, read, sizeof read, &count, &code, text,
                              (int)sizeof text) ||
      count != sizeof read || memcmp(read, written, sizeof read) != 0) {
    return 2;
  }
  /* A name that is no path component: refused, with its code. */
  return DirectReadDataForDrive("..", 0, 0, read, sizeof read, &count, &code, text,
                                (int)sizeof text) == 0 &&
                 code == 993
             ? 0
             : 3;
}
