/* Roll: assembles a rolled fingerprint on the first scanner attached, prints the roll's
 * result and saves the image.  usage: roll_capture [FILE.pgm]   (default roll.pgm) */
#include "example.h"

/* Gives up after this many frames, about a minute at the scanner's pace. */
#define MAX_FRAMES 2000

int main(int argc, char** argv)
{
  const char* path = argc > 1 ? argv[1] : "roll.pgm";
  LS_KX2_HANDLE scanner = NULL;
  char serial[17];
  uint64_t width, height;
  uint8_t* image = start(LS_KX2_MODE_ROLL, &scanner, serial, &width, &height);
  uint8_t finished = 0;
  double score;
  int32_t result;
  int frames = 0;

  printf("%s: roll a finger from one side to the other\n", serial);
  /* Each trigger adds a frame; the roll is finished once the finger is lifted. */
  while (!finished) {
    if (++frames > MAX_FRAMES) {
      fprintf(stderr, "no roll finished\n");
      return 1;
    }
    check(LS_KX2TriggerScanner(scanner), "LS_KX2TriggerScanner");
    check(LS_KX2GetRollImage(scanner, image, &score, &finished, &result), "LS_KX2GetRollImage");
  }
  save_pgm(path, image, width, height);
  /* 0 is a good roll; -800 to -811 say what was wrong with it. */
  printf("roll finished after %d frames: %d %s; image in %s\n", frames, (int)result,
         result == 0 ? "good roll" : LS_KX2GetErrorDescriptionA(result), path);
  /* The next roll would start with LS_KX2SetPropertyLongA(scanner, "nResetImage", 1). */
  finish(&scanner, image);
  return 0;
}
