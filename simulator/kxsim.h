/* Inspection and control exports of the simulated device library (libkxScanAPI.so).
 * They sit beside the device entry points in the same file; a test reaches them with
 * dlopen of that file and dlsym of the names below (the KXSIM_... typedefs help).
 * Interfaces are the device's interface numbers; frames count delivered images. */
#ifndef KXSIM_H
#define KXSIM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct kxsimDeviceState
{
  uint32_t nSize; /* the caller sets sizeof(kxsimDeviceState) */
  int32_t bConnected;
  int32_t nOpenHandles;
  uint64_t nFrames;    /* images delivered so far */
  uint8_t aDiodes[2];  /* last diode status, 0 or 255 each */
  uint8_t aControl[7]; /* control byte block */
  int8_t nControlFlag; /* flag of the last save, -1 when never saved */
  uint32_t nOptions;   /* option bits; bit 0 is the fake replica check */
  int32_t nLastDose;   /* -1 before the first image */
  int32_t nLastMode;   /* 0 none yet, 1 normal image, 2 raw image */
} kxsimDeviceState;

typedef struct kxsimFrameInfo
{
  uint32_t nSize;    /* the caller sets sizeof(kxsimFrameInfo) */
  int32_t nStep;     /* step of the script, -1 for an empty script */
  int32_t nStepKind; /* 0 empty, 1 place, 2 still, 3 lift, 4 roll */
  int32_t nFrameInStep;
  int32_t nKindIndex; /* n-th step of its kind */
  int32_t nContact;   /* 0 no finger, 1 flat finger, 2 roll patch */
  int32_t bFake;
  int64_t nContactPixels; /* platen pixels touched, at the normal size */
  double dPlaced;         /* 0..1 while placing or lifting */
  double dPatchX;         /* roll patch centre column (display coordinates) */
  double dResidue;
  double dPressure;
  int32_t nShiftX, nShiftY; /* ridge pattern offset after a slip */
} kxsimFrameInfo;

/* Each returns 1 on success and 0 on failure unless said otherwise. */

/* Replaces the configuration by a JSON text and resets all state; NULL goes back to
 * KXSIM_CONFIG or the built-in configuration. A broken text prints its message to
 * stderr, keeps it for kxsimGetConfigError, and leaves no device. */
int kxsimLoadConfig(const char* szJson);
int kxsimLoadConfigFile(const char* szPath);
/* The message of a broken configuration, "" when it is fine. Valid until the next call. */
const char* kxsimGetConfigError(void);
/* Devices anew from the present configuration: frames 0, memory, faults, counts; open
 * handles become invalid. */
void kxsimReset(void);
/* Calls of an entry point since the last load or reset; -1 for an unknown name. */
int64_t kxsimGetCallCount(const char* szEntry);
/* Minimum duration of an image call in milliseconds; negative: the configured value. */
int kxsimSetFrameInterval(int nMs);
int kxsimGetDeviceState(int nInterface, kxsimDeviceState* pState);
int kxsimSetFrameCounter(int nInterface, uint64_t nFrame);
/* Unplugs (0) or plugs back (1) a device. */
int kxsimSetConnected(int nInterface, int bConnected);
int kxsimGetFrameInfo(int nInterface, uint64_t nFrame, kxsimFrameInfo* pInfo);
/* Frame nFrame of the device's script without advancing anything. nOrientation 0 is the
 * device's row order, 1 the SDK's (flipped); nDose -1 takes 2 or 9. */
int kxsimRenderFrame(int nInterface, uint64_t nFrame, int bRaw, int nDose, int nOrientation,
                     uint8_t* pOut, uint64_t nSize);
/* Ground truth at the normal size: nKind 0 the ideal rolled image of the nIndex-th roll
 * step, 1 the ideal plain image of the nIndex-th still step, 2 the rolled image of the
 * nIndex-th roll as the frames showed it (each skin point from the frame whose centre line
 * passed closest to it, distortion and drift included: what a perfect merge rebuilds; for
 * a rigid finger that does not drift it equals kind 0). Width and height are stored
 * first; pImage and pMask (255 where the finger touched) may be NULL; nSize is the
 * capacity of each. */
int kxsimGetGroundTruth(int nInterface, int nKind, int nIndex, int nOrientation, uint8_t* pImage,
                        uint8_t* pMask, uint64_t nSize, int32_t* pnWidth, int32_t* pnHeight);
/* For tests: how far the skin's distortion and the finger's drift move the print in frame
 * nFrame. The normal image is cut into nBlock by nBlock blocks (columns width / nBlock,
 * rows height / nBlock, stored first); for each, row by row, pDx and pDy receive the
 * offset in pixels from where the undistorted print lies to where the frame shows the skin
 * point seen at the block's centre, and pTouched 255 where the finger touches that centre.
 * Slips are not included. Any of the three may be NULL; nCount is the capacity of each. */
int kxsimGetDisplacementField(int nInterface, uint64_t nFrame, int nBlock, int nOrientation,
                              float* pDx, float* pDy, uint8_t* pTouched, uint64_t nCount,
                              int32_t* pnCols, int32_t* pnRows);
/* What ftrScanGlobalSetOptions was last given; 0 if it was never called. */
int kxsimGetGlobalOption(int32_t* pnOption, uint32_t* pnValue);

typedef int (*KXSIM_LOADCONFIG)(const char*);
typedef int (*KXSIM_LOADCONFIGFILE)(const char*);
typedef const char* (*KXSIM_GETCONFIGERROR)(void);
typedef void (*KXSIM_RESET)(void);
typedef int64_t (*KXSIM_GETCALLCOUNT)(const char*);
typedef int (*KXSIM_SETFRAMEINTERVAL)(int);
typedef int (*KXSIM_GETDEVICESTATE)(int, kxsimDeviceState*);
typedef int (*KXSIM_SETFRAMECOUNTER)(int, uint64_t);
typedef int (*KXSIM_SETCONNECTED)(int, int);
typedef int (*KXSIM_GETFRAMEINFO)(int, uint64_t, kxsimFrameInfo*);
typedef int (*KXSIM_RENDERFRAME)(int, uint64_t, int, int, int, uint8_t*, uint64_t);
typedef int (*KXSIM_GETGROUNDTRUTH)(int, int, int, int, uint8_t*, uint8_t*, uint64_t, int32_t*,
                                    int32_t*);
typedef int (*KXSIM_GETDISPLACEMENTFIELD)(int, uint64_t, int, int, float*, float*, uint8_t*,
                                          uint64_t, int32_t*, int32_t*);
typedef int (*KXSIM_GETGLOBALOPTION)(int32_t*, uint32_t*);

/* The liveness stub (libveltranofakefingerdetectionkx2.so) takes its settings from the
 * environment when it is initialised, or from this export of its own file, which takes a
 * JSON object (keys in simulator/README.md; NULL restores the defaults). */
int kxsimfdConfigure(const char* szJson);
typedef int (*KXSIMFD_CONFIGURE)(const char*);

#ifdef __cplusplus
}
#endif

#endif
