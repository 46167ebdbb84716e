/* Roll: assembles a rolled fingerprint on the first scanner attached, prints the roll's
 * result and saves the image.  usage: roll_capture [FILE.pgm]   (default roll.pgm)
 *
 * The roll processor takes any finger it sees for the roll, so the loop guides the
 * operator: a finger already on the platen is lifted first; then the finger is placed and
 * held still, and rolled once the processor has settled on it. A finger placed and lifted
 * without rolling starts the roll again instead of ending it with a defect. */
#include "example.h"

/* Gives up after this many frames, about a minute at the scanner's pace. */
#define MAX_FRAMES 2000
/* Frames after a new start before the roll image shows the platen as it is now. */
#define START_FRAMES 2
/* The finger has settled once its contact grew by no more than SETTLED_JITTER pixels over
 * the last SETTLED_FRAMES frames. */
#define SETTLED_FRAMES 4
#define SETTLED_JITTER 8
/* A finished roll that grew less than this beyond the settled finger was never rolled. */
#define MIN_GROWTH 40

enum step { LOOKING, LIFT, PLACE, ROLL };

struct roll
{
  enum step step;
  int since_start, finger_frames, base_width, max_width;
  int recent[SETTLED_FRAMES];
};

/* Starts a new roll: also after a finished one, the next starts afresh. */
static void restart(LS_KX2_HANDLE scanner, struct roll* r)
{
  memset(r, 0, sizeof(*r));
  r->step = LOOKING;
  r->base_width = -1;
  check(LS_KX2SetPropertyLongA(scanner, "nResetImage", 1), "LS_KX2SetPropertyLongA");
}

static void ask(struct roll* r, enum step step)
{
  static const char* const words[] = {"", "lift the finger", "place the finger and hold it still",
                                      "roll now"};
  r->step = step;
  printf("%s\n", words[step]);
}

/* Whether the last SETTLED_FRAMES frames all had a finger of about the same width. */
static int settled(const struct roll* r)
{
  int lo = r->recent[0], hi = r->recent[0], i;
  for (i = 1; i < SETTLED_FRAMES; ++i) {
    lo = r->recent[i] < lo ? r->recent[i] : lo;
    hi = r->recent[i] > hi ? r->recent[i] : hi;
  }
  return r->finger_frames >= SETTLED_FRAMES && hi - lo <= SETTLED_JITTER;
}

int main(int argc, char** argv)
{
  const char* path = argc > 1 ? argv[1] : "roll.pgm";
  LS_KX2_HANDLE scanner = NULL;
  char serial[17];
  uint64_t width, height;
  uint8_t* image = start(LS_KX2_MODE_ROLL, &scanner, serial, &width, &height);
  uint8_t finished = 0;
  double score;
  int32_t result = 0;
  int frames = 0, shown = 0, done = 0;
  struct roll r;

  printf("%s: roll a finger from one side to the other\n", serial);
  restart(scanner, &r);
  /* Each trigger adds a frame; the roll image shows the roll so far. */
  while (!done) {
    int w;
    if (++frames > MAX_FRAMES) {
      fprintf(stderr, "no roll finished\n");
      return 1;
    }
    check(LS_KX2TriggerScanner(scanner), "LS_KX2TriggerScanner");
    check(LS_KX2GetRollImage(scanner, image, &score, &finished, &result), "LS_KX2GetRollImage");
    w = roll_width(image, width, height);
    if (r.step == LOOKING) {
      if (++r.since_start >= START_FRAMES)
        ask(&r, w > 0 ? LIFT : PLACE);
      continue;
    }
    if (r.step == LIFT) {
      /* That roll ends once the finger has gone; then the platen is looked at afresh. */
      if (finished)
        restart(scanner, &r);
      continue;
    }
    r.finger_frames = w > 0 ? r.finger_frames + 1 : 0;
    r.recent[r.finger_frames % SETTLED_FRAMES] = w;
    r.max_width = w > r.max_width ? w : r.max_width;
    if (r.finger_frames == 1 && r.base_width < 0)
      r.base_width = w;
    if (r.step == PLACE && settled(&r)) {
      r.base_width = w;
      ask(&r, ROLL);
    }
    if (w >= shown + 20 || (w == 0 && shown > 0)) {
      printf("  rolled width %d px\n", w);
      shown = w;
    }
    if (finished && result != 0 &&
        r.max_width - (r.base_width > 0 ? r.base_width : 0) < MIN_GROWTH) {
      printf("the finger was lifted without rolling\n");
      restart(scanner, &r);
      shown = 0;
    } else {
      done = finished;
    }
  }
  save_pgm(path, image, width, height);
  /* 0 is a good roll; -800 to -811 say what was wrong with it. */
  printf("roll finished after %d frames: %d %s; image in %s\n", frames, (int)result,
         result == 0 ? "good roll" : LS_KX2GetErrorDescriptionA(result), path);
  finish(&scanner, image);
  return result == 0 ? 0 : 1;
}
