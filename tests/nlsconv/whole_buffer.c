/*
 * whole_buffer FROM TO INPUT OUTPUT: converts the whole input in one
 * NLS_ConvertBuffer call with an output buffer of NLS_GetResultBufferSize
 * bytes. This is the reference that nlsconv's piece-by-piece output must
 * equal. Prints the status; exits 0 when it is 1. The data directory comes
 * from QV_NLS_DATADIRECTORY.
 */
#include <stdio.h>
#include <stdlib.h>

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
  unsigned char* input = malloc(capacity);
  while (input != NULL && (n = fread(input + length, 1, capacity - length, in)) > 0) {
    length += n;
    if (length == capacity) {
      capacity *= 2;
      unsigned char* grown = realloc(input, capacity);
      if (grown == NULL) free(input);
      input = grown;
    }
  }
  fclose(in);
  if (input == NULL) {
    fprintf(stderr, "out of memory\n");
    return 2;
  }

  NLS_EncInitialize(NULL, NULL);
  unsigned int size = NLS_GetResultBufferSize(input, (unsigned int)length, argv[1], argv[2]);
  unsigned char* output = malloc(size + 1);
  unsigned int produced = 0;
  int status = size == 0 || output == NULL
                   ? -1014
                   : NLS_ConvertBuffer(argv[1], argv[2], input, (unsigned int)length, output, size,
                                       &produced);
  NLS_EncTerminate();
  FILE* out = fopen(argv[4], "wb");
  if (out == NULL || fwrite(output, 1, produced, out) != produced || fclose(out) != 0) {
    perror(argv[4]);
    return 2;
  }
  printf("%d\n", status);
  free(output);
  free(input);
  return status == 1 ? 0 : 1;
}
