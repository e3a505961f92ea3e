/*
 * whole_buffer FROM TO INPUT OUTPUT: converts the whole input in one
 * NLS_Iconv call with an output buffer that cannot fill, then ends the text
 * (the call with a null input). This is the reference that nlsconv's
 * block-by-block output must equal. Exits 0 when both calls succeeded. The
 * data directory comes from QV_NLS_DATADIRECTORY.
 */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "nlscnv.h"

int main(int argc, char** argv) {
  if (argc != 5) {
    fprintf(stderr, "usage: %s FROM TO INPUT OUTPUT\n", argv[0]);
    return 2;
  }
  FILE* in = fopen(argv[3], "rb");
  if (in == NULL) {
    perror(argv[3]);
    return 2;
  }
  size_t capacity = 1 << 16, length = 0, n;
  char* input = malloc(capacity);
  while (input != NULL && (n = fread(input + length, 1, capacity - length, in)) > 0) {
    length += n;
    if (length == capacity) {
      capacity *= 2;
      char* grown = realloc(input, capacity);
      if (grown == NULL) free(input);
      input = grown;
    }
  }
  fclose(in);
  /* No encoding writes more than six bytes per input byte (a Latin-1 byte
   * as an escape "\u00E9"). */
  const size_t size = 6 * length + 64;
  char* output = malloc(size);
  if (input == NULL || output == NULL) {
    fprintf(stderr, "out of memory\n");
    return 2;
  }

  NLS_EncInitialize(NULL, NULL);
  NLS_Iconv_t cd = NLS_IconvOpen(argv[2], argv[1]);
  if (cd == (NLS_Iconv_t)-1) {
    fprintf(stderr, "cannot open %s -> %s\n", argv[1], argv[2]);
    return 1;
  }
  char* src = input;
  char* dst = output;
  size_t left = length, room = size;
  int status = 0;
  if (NLS_Iconv(cd, &src, &left, &dst, &room) == (size_t)-1 ||
      NLS_Iconv(cd, NULL, NULL, &dst, &room) == (size_t)-1) {
    fprintf(stderr, "%s at input byte %zu\n", strerror(errno), (size_t)(src - input));
    status = 1;
  }
  NLS_IconvClose(cd);
  NLS_EncTerminate();
  FILE* out = fopen(argv[4], "wb");
  const size_t produced = (size_t)(dst - output);
  if (out == NULL || fwrite(output, 1, produced, out) != produced || fclose(out) != 0) {
    perror(argv[4]);
    return 2;
  }
  free(output);
  free(input);
  return status;
}
