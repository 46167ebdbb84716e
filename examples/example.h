/* What both examples need besides the SDK: failing with the SDK's text, saving a PGM. */
#ifndef LIVESCANNERKX2_EXAMPLE_H
#define LIVESCANNERKX2_EXAMPLE_H

#include <livescannerkx2.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Ends the program with the SDK's text for a failed call. */
static void check(int32_t rc, const char* what)
{
  if (rc != 0) {
    fprintf(stderr, "%s: %d %s\n", what, (int)rc, LS_KX2GetErrorDescriptionA(rc));
    exit(1);
  }
}

/* Opens the first scanner attached. */
static LS_KX2_HANDLE open_first_scanner(char serial[17])
{
  char names[16 * 8];
  uint64_t count = 8;
  LS_KX2_HANDLE scanner = NULL;
  check(LS_KX2QueryScanners(names, &count), "LS_KX2QueryScanners");
  if (count == 0) {
    fprintf(stderr, "no scanner attached\n");
    exit(1);
  }
  memset(serial, 0, 17);
  memcpy(serial, names, 16); /* a name of 16 characters has no terminator */
  check(LS_KX2OpenScanner(serial, &scanner), "LS_KX2OpenScanner");
  return scanner;
}

/* Writes 8-bit grey pixels, rows top down, as a binary PGM file. */
static void save_pgm(const char* path, const uint8_t* pixels, uint64_t width, uint64_t height)
{
  FILE* f = fopen(path, "wb");
  size_t n = (size_t)(width * height);
  if (!f || fprintf(f, "P5\n%llu %llu\n255\n", (unsigned long long)width,
                    (unsigned long long)height) < 0 ||
      fwrite(pixels, 1, n, f) != n || fclose(f) != 0) {
    perror(path);
    exit(1);
  }
}

#endif
