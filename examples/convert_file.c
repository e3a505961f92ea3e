/*
 * convert_file: converts a file with the nlscnv C interface and writes the
 * result to standard output.
 *
 *     convert_file FROM TO [INPUT]
 *
 * The whole input is handed to one stream call with a small output buffer;
 * what does not fit is drained with NLS_ConverterGetOverflow. This shows the
 * complete streaming loop: stream, drain the overflow, reset, delete.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "nlscnv.h"

enum { kChunk = 4096 };

static unsigned char* read_all(FILE* in, unsigned int* length) {
  size_t capacity = kChunk, used = 0, n;
  unsigned char* data = malloc(capacity);
  if (data == NULL) return NULL;
  while ((n = fread(data + used, 1, capacity - used, in)) > 0) {
    used += n;
    if (used == capacity) {
      unsigned char* grown = realloc(data, capacity * 2);
      if (grown == NULL) {
        free(data);
        return NULL;
      }
      data = grown;
      capacity *= 2;
    }
  }
  *length = (unsigned int)used;
  return data;
}

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    fprintf(stderr, "usage: %s FROM TO [INPUT]\n", argv[0]);
    return 2;
  }
  FILE* in = argc == 4 ? fopen(argv[3], "rb") : stdin;
  if (in == NULL) {
    perror(argv[3]);
    return 1;
  }
  unsigned int length = 0;
  unsigned char* input = read_all(in, &length);
  if (in != stdin) fclose(in);
  if (input == NULL) {
    fprintf(stderr, "out of memory\n");
    return 1;
  }

  NLS_EncInitialize(NULL, NULL);
  NLS_ConverterHandle handle = NULL;
  int status = NLS_NewEncodingConverter(argv[1], argv[2], &handle);
  if (status != 1) {
    fprintf(stderr, "cannot convert from %s to %s (status %d)\n", argv[1], argv[2], status);
    free(input);
    NLS_EncTerminate();
    return 1;
  }

  unsigned int size = kChunk;
  unsigned char* output = malloc(size);
  unsigned int produced = 0;
  status = output == NULL ? -1002
                          : NLS_ConvertStreamBuffer(handle, input, length, output, size, &produced);
  if (status >= 1 || status == -1303 || status == -1304) fwrite(output, 1, produced, stdout);
  unsigned int lastNeed = 0xFFFFFFFFu;
  for (;;) {
    /* The size asked for counts the held input; a two-stage conversion may
     * also hold converted text, so never offer less than the usual buffer.
     * Conversion into UTF-8 or modified UTF-7 reports a full output with
     * -1304 or -1303: go on while the held input shrinks. */
    unsigned int need = 0;
    NLS_GetConversionOverflowSize(handle, &need);
    if (!(status == 2 || ((status == -1303 || status == -1304) && need > 0 && need < lastNeed)))
      break;
    lastNeed = need;
    if (need > size) {
      unsigned char* grown = realloc(output, need);
      if (grown == NULL) {
        status = -1002;
        break;
      }
      output = grown;
      size = need;
    }
    status = NLS_ConverterGetOverflow(handle, output, size, &produced);
    if (status >= 1 || status == -1303 || status == -1304) fwrite(output, 1, produced, stdout);
  }

  NLS_ResetEncodingConverter(handle);
  NLS_DeleteEncodingConverter(handle);
  NLS_EncTerminate();
  free(output);
  free(input);
  if (status != 1) {
    fprintf(stderr, "conversion failed with status %d\n", status);
    return 1;
  }
  return 0;
}
