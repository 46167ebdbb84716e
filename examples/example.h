/* What both examples share: start and finish, failing with the SDK's text, saving a PGM. */
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

/* Initialises the SDK, opens the first scanner attached, sets the capture mode and
 * allocates an image of *width by *height pixels (every kind of image has that size). */
static uint8_t* start(uint32_t mode, LS_KX2_HANDLE* scanner, char serial[17], uint64_t* width,
                      uint64_t* height)
{
  char names[16 * 8];
  uint64_t count = 8;
  check(LS_KX2Initialize(NULL), "LS_KX2Initialize");
  check(LS_KX2QueryScanners(names, &count), "LS_KX2QueryScanners");
  if (count == 0) {
    fprintf(stderr, "no scanner attached\n");
    exit(1);
  }
  memset(serial, 0, 17);
  memcpy(serial, names, 16); /* a name of 16 characters has no terminator */
  check(LS_KX2OpenScanner(serial, scanner), "LS_KX2OpenScanner");
  check(LS_KX2GetImageSize(*scanner, width, height), "LS_KX2GetImageSize");
  uint8_t* image = malloc((size_t)(*width * *height));
  if (!image) {
    fprintf(stderr, "out of memory\n");
    exit(1);
  }
  check(LS_KX2SetCaptureMode(*scanner, mode), "LS_KX2SetCaptureMode");
  return image;
}

/* Closes the scanner and lets go of the SDK. */
static void finish(LS_KX2_HANDLE* scanner, uint8_t* image)
{
  free(image);
  check(LS_KX2CloseScanner(scanner), "LS_KX2CloseScanner");
  check(LS_KX2Uninitialize(), "LS_KX2Uninitialize");
}

/* Columns from the leftmost to the rightmost one with finger samples (240 and darker) in
 * a tenth of the rows or more: the width of a roll so far. 0 without finger, and for a
 * picture without background (no roll image yet). Inline: the plain example does not use
 * it and would warn. */
static inline int roll_width(const uint8_t* image, uint64_t width, uint64_t height)
{
  uint64_t x, y, finger = 0;
  int first = -1, last = -1;
  for (x = 0; x < width; ++x) {
    uint64_t count = 0;
    for (y = 0; y < height; ++y)
      count += image[y * width + x] <= 240;
    finger += count;
    if (count * 10 >= height) {
      first = first < 0 ? (int)x : first;
      last = (int)x;
    }
  }
  if (finger * 100 > width * height * 99)
    return 0;
  return first < 0 ? 0 : last - first + 1;
}

/* Writes 8-bit grey pixels, rows top down, as a binary PGM file. */
static void save_pgm(const char* path, const uint8_t* pixels, uint64_t width, uint64_t height)
{
  FILE* f = fopen(path, "wb");
  size_t n = (size_t)(width * height);
  if (!f ||
      fprintf(f, "P5\n%llu %llu\n255\n", (unsigned long long)width, (unsigned long long)height) <
          0 ||
      fwrite(pixels, 1, n, f) != n || fclose(f) != 0) {
    perror(path);
    exit(1);
  }
}

#endif
