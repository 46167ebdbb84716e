/* Plain capture: waits until a finger lies still on the first scanner attached and saves
 * its image.  usage: plain_capture [FILE.pgm]   (default plain.pgm) */
#include "example.h"

/* Gives up after this many frames, about a minute at the scanner's pace. */
#define MAX_FRAMES 2000

int main(int argc, char** argv)
{
  const char* path = argc > 1 ? argv[1] : "plain.pgm";
  LS_KX2_HANDLE scanner = NULL;
  char serial[17];
  uint64_t width, height;
  uint8_t* image = start(LS_KX2_MODE_PLAIN, &scanner, serial, &width, &height);
  uint8_t finger = 0;
  double score;
  int32_t status;
  int frames = 0;

  printf("%s: put a finger on the scanner\n", serial);
  /* The application sets the pace: one trigger per frame, then the newest preview. */
  while (!finger) {
    if (++frames > MAX_FRAMES) {
      fprintf(stderr, "no finger held still\n");
      return 1;
    }
    check(LS_KX2TriggerScanner(scanner), "LS_KX2TriggerScanner");
    check(LS_KX2GetPreviewImage(scanner, image, &score, &finger, &status), "LS_KX2GetPreviewImage");
  }
  /* The finger lies still: take the plain image. */
  check(LS_KX2GetImage(scanner, image, &score, &finger, &status), "LS_KX2GetImage");
  save_pgm(path, image, width, height);
  printf("finger still after %d frames; plain image %llux%llu in %s\n", frames,
         (unsigned long long)width, (unsigned long long)height, path);
  finish(&scanner, image);
  return 0;
}
