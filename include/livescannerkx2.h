/*
 * Live scanner SDK for KX2 fingerprint scanners: the public C interface.
 *
 * Every function but the two LS_KX2GetErrorDescription ones returns 0 on success and a
 * negative code otherwise; LS_KX2GetErrorDescriptionA/W give the text of any code. On a
 * failure the outputs are left as the function left them: nothing is rolled back.
 * Images are 800 by 750 pixels, 8 bits, one byte per pixel, rows top down, 500 dpi.
 *
 * Every function that takes a scanner handle can also return:
 *   -42 for a NULL handle (tested before anything else, except in the property
 *       functions, where -2 comes first when the SDK is not initialised),
 *   -43 for a pointer that is not an open handle of this library (closed, foreign or
 *       damaged),
 *   -2  once the SDK is no longer initialised (LS_KX2Uninitialize with handles open
 *       leaves them unusable),
 * and every function that logs can return -49 when its log line cannot be formed.
 *
 * Threads. Any thread may call any function, and several threads may use one handle at
 * once: the SDK's own workers turn frames into images in the background, and only the
 * application's calls drive the device. LS_KX2TriggerScanner may run on one thread while
 * another waits in LS_KX2GetPreviewImage or LS_KX2GetRollImage; those two wait for the
 * next frame's result (up to 10 and 30 seconds, then -60) and do not hold up a trigger.
 * LS_KX2SetCaptureMode and LS_KX2GetImage are serialised per handle: LS_KX2GetImage in
 * LS_KX2_MODE_TRIGGERED waits up to 30 seconds for a triggered frame, and a mode change
 * waits until it is done. LS_KX2CloseScanner (and LS_KX2Uninitialize) ends every call
 * still waiting on the handle at once with -60; afterwards the handle is refused with
 * -43. Do not close a handle while another thread may still start a call with it.
 *
 * A plain capture; every call's result is checked, so that a scanner that went away
 * (-60) ends the loop instead of spinning:
 *
 *   LS_KX2_HANDLE h = NULL;
 *   char names[16 * 4];
 *   uint64_t count = 4;
 *   uint8_t image[800 * 750], finger = 0;
 *   double score;
 *   int32_t status, rc;
 *   char serial[17] = {0};
 *   if ((rc = LS_KX2Initialize(NULL)) != 0) // -200: no device library on the loader's path
 *     return rc;
 *   if ((rc = LS_KX2QueryScanners(names, &count)) != 0 || count == 0) // 16-byte records
 *     goto done;
 *   memcpy(serial, names, 16);
 *   if ((rc = LS_KX2OpenScanner(serial, &h)) != 0 ||  // -61: another program has it
 *       (rc = LS_KX2SetCaptureMode(h, LS_KX2_MODE_PLAIN)) != 0)
 *     goto done;
 *   while (rc == 0 && !finger) {                 // until the finger lies still
 *     rc = LS_KX2TriggerScanner(h);
 *     if (rc == 0)
 *       rc = LS_KX2GetPreviewImage(h, image, &score, &finger, &status);
 *   }
 *   if (rc == 0)
 *     rc = LS_KX2GetImage(h, image, &score, &finger, &status);
 * done:
 *   if (h)
 *     LS_KX2CloseScanner(&h);
 *   LS_KX2Uninitialize();
 *
 * A roll, on an open handle. The roll takes any finger it sees for the roll: let a finger
 * still on the platen be lifted first, then have the finger placed and held still and
 * rolled once the roll image shows it steady (the examples' roll_capture.c does this).
 *
 *   rc = LS_KX2SetCaptureMode(h, LS_KX2_MODE_ROLL);
 *   if (rc == 0)
 *     rc = LS_KX2SetPropertyLongA(h, "nResetImage", 1); // a new roll, also after one
 *   finger = 0;
 *   while (rc == 0 && !finger) {                 // until the roll is finished
 *     rc = LS_KX2TriggerScanner(h);
 *     if (rc == 0)
 *       rc = LS_KX2GetRollImage(h, image, &score, &finger, &status); // the roll so far
 *   }
 *   // With rc 0, status: 0 for a good roll, -801 to -810 for what was wrong with it.
 */
#ifndef LIVESCANNERKX2_H
#define LIVESCANNERKX2_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#include "livescannerkx2_errors.h"
#include "livescannerkx2_version.h"

#if defined(LS_KX2_BUILDING)
#define LS_KX2_EXPORT __attribute__((visibility("default")))
#else
#define LS_KX2_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** An open scanner; NULL is never a valid handle. */
typedef struct LS_KX2_SCANNER* LS_KX2_HANDLE;

/** Capture modes of LS_KX2SetCaptureMode and LS_KX2GetCaptureMode. */
#define LS_KX2_MODE_PLAIN 0u    /**< previews, finger detection, plain image */
#define LS_KX2_MODE_ROLL 1u     /**< rolled fingerprint */
#define LS_KX2_MODE_LIVENESS 2u /**< as plain, with fake finger scores (optional library) */
#define LS_KX2_MODE_SINGLE_SHOT                                                                    \
  3u                             /**< one image per LS_KX2GetImage, no trigger; the mode
                                        of a freshly opened scanner */
#define LS_KX2_MODE_TRIGGERED 4u /**< one masked image per trigger */
#define LS_KX2_MODE_PREVIEW 5u   /**< previews without finger detection */

/** Ids of LS_KX2ExtendedScannerAccess. */
#define LS_KX2_ACCESS_GET_SCANNER_DATA 6 /**< read the JSON document */
#define LS_KX2_ACCESS_SET_SCANNER_DATA 7 /**< write thresholds and settings as JSON */

/** Property names of a scanner handle (the table before LS_KX2GetPropertyA). */
#define LS_KX2_PROPERTY_VERSION "Version"
#define LS_KX2_PROPERTY_USE_FAST_MASK "nUseFastMask"
#define LS_KX2_PROPERTY_ROLLED_POST_PROCESS "nRolledPostProcess"
#define LS_KX2_PROPERTY_AVERAGE_LIVENESS_SCORE_MODE "nAverageLivenessScoreMode"
#define LS_KX2_PROPERTY_RESET_IMAGE "nResetImage"
#define LS_KX2_PROPERTY_MASK_SENSITIVITY "nMaskSensitivity"
#define LS_KX2_PROPERTY_ROLL_FINGER_START_MODE "nRollFingerStartMode"
#define LS_KX2_PROPERTY_ROLL_MERGE_MODE "nRollMergeMode"

/**
 * Takes one reference on the SDK; the first starts the device library binding.
 * \param pReserved only logged.
 * \returns 0 on success, also for every further call.
 * \returns a negative code raised while starting the SDK (for instance -200 or -206 when
 *          the device library cannot be loaded or lacks an entry point).
 */
LS_KX2_EXPORT int32_t LS_KX2Initialize(void* pReserved);

/**
 * Drops one reference; the last destroys the SDK object (open handles then give -2).
 * \returns 0 on success.
 * \returns -2 if no reference is held.
 */
LS_KX2_EXPORT int32_t LS_KX2Uninitialize(void);

/**
 * Tells whether an application built for interface version szVersion ("major.minor") can
 * use this library. Needs no initialisation.
 * \returns 0 for any version from 1.4 up.
 * \returns -701 if szVersion is NULL.
 * \returns -44 if szVersion does not start with two numbers separated by '.'.
 * \returns -103 for a version below 1.4.
 */
LS_KX2_EXPORT int32_t LS_KX2CompatibilityCheck(const char* szVersion);

/**
 * Text of a result code, never NULL; "Unknown error code." for a code not in the table.
 * Needs no initialisation.
 */
LS_KX2_EXPORT const char* LS_KX2GetErrorDescriptionA(int32_t nCode);

/** The same as LS_KX2GetErrorDescriptionA in wide characters. */
LS_KX2_EXPORT const wchar_t* LS_KX2GetErrorDescriptionW(int32_t nCode);

/**
 * Lists the attached KX2 scanners by name ("KX2 21234567"), in 16-byte records laid back
 * to back; a name of 16 characters has no terminator in its record. Needs no
 * initialisation. Each attached device is opened, read and closed again; one that fails
 * is left out of the list.
 * \param pSerials room for *pnCount records; not looked at when no scanner is attached.
 * \param pnCount on entry the room in records, on return the number of scanners found.
 *        Passing NULL for pSerials with a count of 0 asks for the count.
 * \returns 0 on success, the records written (none when no scanner is attached).
 * \returns -701 if pnCount is NULL, or pSerials is NULL while a scanner is attached and
 *          the room suffices.
 * \returns -702 if more scanners are attached than the room allows; the number found is
 *          stored in *pnCount first.
 * \returns -200 if the device library cannot be loaded, -206 if it lacks an entry point.
 * \returns a device library failure while reading the list of interfaces (-101 by
 *          default; -202, -103, -204, -60, -601 or -701 by the library's error).
 */
LS_KX2_EXPORT int32_t LS_KX2QueryScanners(char* pSerials, uint64_t* pnCount);

/**
 * Opens an attached KX2 scanner by its name and claims it for this process.
 * \param szSerial the scanner name as LS_KX2QueryScanners lists it; only its first 16
 *        characters count.
 * \param phScanner receives the handle; NULL on every failure after the argument tests
 *        and the test that the SDK is initialised (left untouched on -2).
 * \returns 0 on success.
 * \returns -701 if szSerial or phScanner is NULL.
 * \returns -2 if the SDK is not initialised.
 * \returns -44 if no attached KX2 scanner has that name.
 * \returns -61 if the scanner is open already, in this or another process.
 * \returns a device library failure while listing or opening the scanner (-101 by
 *          default; -202, -103, -204, -60, -601 or -701 by the library's error).
 */
LS_KX2_EXPORT int32_t LS_KX2OpenScanner(const char* szSerial, LS_KX2_HANDLE* phScanner);

/**
 * Stops the capture, closes the device, releases the claim and frees the handle.
 * \param phScanner address of the handle; NULL is stored there on success.
 * \returns 0 on success.
 * \returns -701 if phScanner is NULL.
 * \returns -42 if *phScanner is NULL, -43 if it is not an open handle, -2 if the SDK is
 *          not initialised.
 */
LS_KX2_EXPORT int32_t LS_KX2CloseScanner(LS_KX2_HANDLE* phScanner);

/**
 * Chooses the capture mode (LS_KX2_MODE_...). Stops the work of the old mode, sets the
 * device up and starts the new one; setting the present mode again changes nothing but
 * restarting the scanner condition.
 * \returns 0 on success.
 * \returns -103 for a mode above 5.
 * \returns -103 for LS_KX2_MODE_LIVENESS when the fake finger library is not available;
 *          the scanner is then in LS_KX2_MODE_SINGLE_SHOT.
 * \returns -60 if the device went away, or another device library failure: -101 or -60
 *          (-202, -103, -204, -60, -601 or -701 by the library's error).
 * \returns -102 if the device library lacks the control-byte entry points.
 * A failure after the old mode's work stopped leaves LS_KX2_MODE_SINGLE_SHOT.
 */
LS_KX2_EXPORT int32_t LS_KX2SetCaptureMode(LS_KX2_HANDLE hScanner, uint32_t nMode);

/**
 * Reads the capture mode back.
 * \returns 0 on success.
 * \returns -701 if pnMode is NULL (tested after the handle).
 * \returns -103 in LS_KX2_MODE_TRIGGERED and LS_KX2_MODE_PREVIEW, which cannot be read
 *          back.
 */
LS_KX2_EXPORT int32_t LS_KX2GetCaptureMode(LS_KX2_HANDLE hScanner, uint32_t* pnMode);

/**
 * Takes one frame from the scanner on the calling thread; the library works on it in
 * the background. Without triggers no new frames arrive.
 * \returns 0 on success.
 * \returns -103 in LS_KX2_MODE_SINGLE_SHOT, which takes its image in LS_KX2GetImage.
 * \returns -60 if the scanner was disconnected, or another device library failure
 *          (-202, -103, -204, -60, -601 or -701 by the library's error).
 * \returns -44 if the device's image size changed under the mode's set-up (a failure
 *          of that set-up which the device library could not undo).
 */
LS_KX2_EXPORT int32_t LS_KX2TriggerScanner(LS_KX2_HANDLE hScanner);

/**
 * The final image of the plain, liveness, preview, single-shot and triggered modes.
 * \param pImage 800 * 750 bytes.
 * \param pdScore the fake finger score in LS_KX2_MODE_LIVENESS, else 0 or the last score.
 * \param pbFinger 1 if a finger was found on the image, else 0.
 * \param pnStatus 0 with a finger, -15 without. In LS_KX2_MODE_SINGLE_SHOT and
 *        LS_KX2_MODE_TRIGGERED the image is good but pbFinger is 0 and pnStatus -15:
 *        ignore both there.
 * \returns 0 on success.
 * \returns -701 if any of the four outputs is NULL.
 * \returns -103 in LS_KX2_MODE_ROLL.
 * \returns -60 in LS_KX2_MODE_TRIGGERED when no triggered frame arrives within 30
 *          seconds, or on a device failure; other device library failures: -101
 *          (-202, -103, -204, -60, -601 or -701 by the library's error).
 * \returns -102 if the device library lacks the control-byte entry points.
 * \returns -50 in LS_KX2_MODE_TRIGGERED when the mode changes during the wait.
 */
LS_KX2_EXPORT int32_t LS_KX2GetImage(LS_KX2_HANDLE hScanner, uint8_t* pImage, double* pdScore,
                                     uint8_t* pbFinger, int32_t* pnStatus);

/**
 * The newest preview of the plain, liveness and preview modes, masked. Waits up to 10
 * seconds for a frame newer than the last one returned.
 * \param pbFinger 1 once a finger lies still (then call LS_KX2GetImage), else 0.
 * \param pnStatus 0 with pbFinger 1, else -15.
 * \returns 0 on success.
 * \returns -701 if any of the four outputs is NULL.
 * \returns -50 outside LS_KX2_MODE_PLAIN, LS_KX2_MODE_LIVENESS and LS_KX2_MODE_PREVIEW.
 * \returns -60 if no new frame arrives within 10 seconds (no triggers, or the device is
 *          gone).
 */
LS_KX2_EXPORT int32_t LS_KX2GetPreviewImage(LS_KX2_HANDLE hScanner, uint8_t* pImage,
                                            double* pdScore, uint8_t* pbFinger, int32_t* pnStatus);

/**
 * The rolled image so far, masked. Waits up to 30 seconds for the next composite.
 * \param pbFinger 1 once the roll is finished; reading that result clears it, so the
 *        next call reports 0 until the roll is restarted with "nResetImage".
 * \param pnStatus with pbFinger 1: 0 for a good roll or -800 to -811 for what was
 *        wrong with it; with pbFinger 0: -15.
 * \returns 0 on success.
 * \returns -701 if any of the four outputs is NULL.
 * \returns -50 outside LS_KX2_MODE_ROLL.
 * \returns -60 if no composite arrives within 30 seconds.
 */
LS_KX2_EXPORT int32_t LS_KX2GetRollImage(LS_KX2_HANDLE hScanner, uint8_t* pImage, double* pdScore,
                                         uint8_t* pbFinger, int32_t* pnStatus);

/**
 * Sizes of the three kinds of image in pixels: always 800 wide and 750 high, in every
 * mode and before any is set.
 * \returns 0 on success.
 * \returns -701 if pnWidth or pnHeight is NULL.
 */
LS_KX2_EXPORT int32_t LS_KX2GetImageSize(LS_KX2_HANDLE hScanner, uint64_t* pnWidth,
                                         uint64_t* pnHeight);
/** As LS_KX2GetImageSize. */
LS_KX2_EXPORT int32_t LS_KX2GetPreviewImageSize(LS_KX2_HANDLE hScanner, uint64_t* pnWidth,
                                                uint64_t* pnHeight);
/** As LS_KX2GetImageSize. */
LS_KX2_EXPORT int32_t LS_KX2GetRollImageSize(LS_KX2_HANDLE hScanner, uint64_t* pnWidth,
                                             uint64_t* pnHeight);

/**
 * Resolutions of the three kinds of image in dots per inch: always 500 by 500.
 * \returns 0 on success.
 * \returns -701 if pnX or pnY is NULL.
 */
LS_KX2_EXPORT int32_t LS_KX2GetImageDPI(LS_KX2_HANDLE hScanner, uint64_t* pnX, uint64_t* pnY);
/** As LS_KX2GetImageDPI. */
LS_KX2_EXPORT int32_t LS_KX2GetPreviewImageDPI(LS_KX2_HANDLE hScanner, uint64_t* pnX,
                                               uint64_t* pnY);
/** As LS_KX2GetImageDPI. */
LS_KX2_EXPORT int32_t LS_KX2GetRollImageDPI(LS_KX2_HANDLE hScanner, uint64_t* pnX, uint64_t* pnY);

/**
 * How dirty the platen is, 0 (clean) to 100, judged from the frames without a finger of
 * the plain, liveness, roll and preview modes; 0 in the other modes and after a mode is
 * set.
 * \param pnReserved always 0.
 * \returns 0 on success.
 * \returns -701 if pnCondition or pnReserved is NULL.
 */
LS_KX2_EXPORT int32_t LS_KX2GetScannerCondition(LS_KX2_HANDLE hScanner, uint32_t* pnCondition,
                                                uint32_t* pnReserved);

/**
 * The scanner's name, as LS_KX2QueryScanners lists it.
 * \param pSerial 16 bytes; a name of 16 characters fills them without terminator.
 * \returns 0 on success.
 * \returns -701 if pSerial is NULL.
 */
LS_KX2_EXPORT int32_t LS_KX2GetSerialNumber(LS_KX2_HANDLE hScanner, char* pSerial);

/**
 * Switches the scanner's LEDs.
 * \param nLed must be 0.
 * \param nState a mask of the two LEDs, 0 to 3.
 * \returns 0 on success.
 * \returns -35 if nLed is not 0 (the device is not touched) or nState is above 3.
 * \returns -60 if the device went away, or another device library failure
 *          (-202, -103, -204, -60, -601 or -701 by the library's error).
 */
LS_KX2_EXPORT int32_t LS_KX2SetLED(LS_KX2_HANDLE hScanner, uint8_t nLed, uint8_t nState);

/**
 * Exchanges the scanner's JSON document: id 6 reads the diagnostics (the last roll's
 * measures and thresholds in LS_KX2_MODE_ROLL under "KX2.ROLLFINGER", the fake finger
 * library's under "KX2.PAD" in LS_KX2_MODE_LIVENESS); id 7 writes thresholds and
 * settings in the same shape. Values are JSON strings.
 * \param pData id 6: room for *pnSize bytes; id 7: the text, terminated within *pnSize.
 * \param pnSize id 6: the room on entry, the text's size with its terminator on return;
 *        id 7: the size of the text with its terminator.
 * \returns 0 on success.
 * \returns -701 if pnSize is NULL (every id), or pData is NULL for id 7, or for id 6
 *          when the room suffices.
 * \returns -702 for id 6 if *pnSize is below the size needed, which is stored first; ask
 *          for the size with a small *pnSize (0), not with a NULL pData.
 * \returns -44 for id 7 if *pnSize is 0 or pData[*pnSize - 1] is not 0.
 * \returns -101 for id 7 if the text is not JSON, or lies beyond what is accepted: more
 *          than 16 MiB in all, objects and arrays nested more than 64 deep, more than
 *          131072 objects, arrays, strings and numbers in all, a string of more than
 *          4 MiB or a number (or true, false, null) of more than 64 characters. The same
 *          limits hold for the fake finger library's text read with id 6, where they give
 *          -101 too.
 * \returns -101 for id 7 if a "KX2.ROLLFINGER" value is not a number of its kind, or
 *          "BORDER_SIDE" lies outside 0 to 300 or "BORDER_TOP" outside 0 to 550 (the
 *          borders then keep their values).
 * \returns -101 for id 6 if the fake finger library's text is not JSON.
 * \returns a fake finger library code for id 7 if that library refuses the "KX2.PAD"
 *          settings.
 * \returns -206 for any other id.
 */
LS_KX2_EXPORT int32_t LS_KX2ExtendedScannerAccess(LS_KX2_HANDLE hScanner, int32_t nId,
                                                  uint8_t* pData, uint64_t* pnSize);

/**
 * The device's version text followed by " SAPI:" and this library's version.
 * \param pBuffer room for *pnSize characters and a terminator.
 * \param pnSize the room on entry; the text's length without terminator on return.
 * \returns 0 on success.
 * \returns -701 if pnSize is NULL.
 * \returns -702 if the text is longer than *pnSize; its length is stored first. A NULL
 *          pBuffer with *pnSize 0 asks for the length.
 * \returns -701 if pBuffer is NULL while *pnSize suffices.
 * \returns -60 if the device went away, or another device library failure: -101 or -60
 *          (-202, -103, -204, -60, -601 or -701 by the library's error).
 */
LS_KX2_EXPORT int32_t LS_KX2GetVersionString(LS_KX2_HANDLE hScanner, char* pBuffer,
                                             uint64_t* pnSize);

/*
 * Properties of a scanner handle, by name (case ignored):
 *
 *   name                        kind     access      default  range   meaning
 *   "Version"                   text     read        the library's version, LS_KX2_VERSION_STRING
 *   "nUseFastMask"              integer  read/write  0        none    non-zero: faster,
 *                                                                     coarser preview mask
 *   "nRolledPostProcess"        integer  read/write  0        none    non-zero: roll
 *                                                                     post-processing from
 *                                                                     the next roll on
 *   "nAverageLivenessScoreMode" integer  read/write  library's 0 to 1 average the fake
 *                                                                     finger scores
 *   "nResetImage"               integer  write       -        none    any write restarts
 *                                                                     the roll; reads 0
 *   "nMaskSensitivity"          integer  read/write  3        0 to 5  mask sensitivity;
 *                                                                     out of range: -35
 *   "nRollFingerStartMode"      integer  read/write  1        none    settle before a roll
 *   "nRollMergeMode"            integer  read/write  0        0 or 1  how frames are merged
 *                                                                     into a rolled image,
 *                                                                     from the next roll on:
 *                                                                     0 as they lie, 1 with
 *                                                                     the skin stretched
 *                                                                     behind the seam
 *                                                                     registered first (less
 *                                                                     ghosting; a slip still
 *                                                                     shows); other values:
 *                                                                     -44
 *
 * Every property function can also return -44 for a NULL name and -206 for a name that
 * is not in this list; the handle tests of the top of this file come first.
 */

/**
 * A property's value as text.
 * \param pValue room for *pnSize bytes; cleared first when *pnSize is at least 2.
 * \param pnSize the room on entry, the size with terminator on return.
 * \returns 0 on success; a NULL pValue with enough room gives the size of a number.
 * \returns -24 if pnSize is NULL.
 * \returns -21 if the room is too small; the size needed is stored first.
 * \returns -701 for "Version" with a NULL pValue and enough room.
 */
LS_KX2_EXPORT int32_t LS_KX2GetPropertyA(LS_KX2_HANDLE hScanner, const char* szName, char* pValue,
                                         uint64_t* pnSize);

/**
 * Sets a property from text: decimal, or hexadecimal after an 'x' ("0x1F").
 * \returns 0 on success.
 * \returns -47 for a read-only property ("Version").
 * \returns -20 if szValue is NULL.
 * \returns -44 if szValue is not a number.
 * \returns -35 if the value is out of the property's range, or beyond 32 bits; the
 *          value is kept.
 * \returns -50 for "nAverageLivenessScoreMode" while in LS_KX2_MODE_LIVENESS.
 */
LS_KX2_EXPORT int32_t LS_KX2SetPropertyA(LS_KX2_HANDLE hScanner, const char* szName,
                                         const char* szValue);

/**
 * A property's integer value.
 * \returns 0 on success.
 * \returns -44 for a property that is not an integer ("Version").
 * \returns -701 if pnValue is NULL.
 */
LS_KX2_EXPORT int32_t LS_KX2GetPropertyLongA(LS_KX2_HANDLE hScanner, const char* szName,
                                             int32_t* pnValue);

/**
 * Sets a property's integer value.
 * \returns 0 on success.
 * \returns -44 for a property that is not an integer ("Version").
 * \returns -47 for a read-only property.
 * \returns -35 if the value is out of the property's range (or negative for an unsigned
 *          one); the value is kept.
 * \returns -50 for "nAverageLivenessScoreMode" while in LS_KX2_MODE_LIVENESS.
 */
LS_KX2_EXPORT int32_t LS_KX2SetPropertyLongA(LS_KX2_HANDLE hScanner, const char* szName,
                                             int32_t nValue);

/**
 * A floating-point property's value. A scanner handle has none: its properties all give
 * -44.
 * \returns 0 on success.
 * \returns -44 for a property that is not floating-point.
 * \returns -701 if pdValue is NULL.
 */
LS_KX2_EXPORT int32_t LS_KX2GetPropertyDoubleA(LS_KX2_HANDLE hScanner, const char* szName,
                                               double* pdValue);

/**
 * Sets a floating-point property's value.
 * \returns 0 on success.
 * \returns -44 for a property that is not floating-point (every one of a scanner handle).
 * \returns -47 for a read-only property.
 */
LS_KX2_EXPORT int32_t LS_KX2SetPropertyDoubleA(LS_KX2_HANDLE hScanner, const char* szName,
                                               double dValue);

#ifdef __cplusplus
}
#endif

#endif /* LIVESCANNERKX2_H */
