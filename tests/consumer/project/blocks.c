/* Writes a block to a volume and reads it back, from C. */
#include <string.h>

#include "TqLibEmlFile.h"

int main(void) {
  const unsigned char written[] = "sixteen bytes...";
  unsigned char read[sizeof written] = {0};
  unsigned long count = 0;
  int code = 0;
  const int is_done =
      DirectWriteDataForDrive("V1", 0, 0, written, sizeof written, &count, &code, NULL, 0) &&
      DirectReadDataForDrive("V1", 0, 0, read, sizeof read, &count, &code, NULL, 0);
  return is_done && count == sizeof read && memcmp(read, written, sizeof read) == 0 ? 0 : 1;
}
