/*
 * Live scanner SDK for KX2 fingerprint scanners: the public C interface.
 *
 * Every function but the two LS_KX2GetErrorDescription ones returns 0 on success and a
 * negative code otherwise; LS_KX2GetErrorDescriptionA/W give the text of any code.
 * Images are 800 by 750 pixels, 8 bits, 500 dpi.
 */
#ifndef LIVESCANNERKX2_H
#define LIVESCANNERKX2_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#if defined(LS_KX2_BUILDING)
#define LS_KX2_EXPORT __attribute__((visibility("default")))
#else
#define LS_KX2_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

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

#ifdef __cplusplus
}
#endif

#endif /* LIVESCANNERKX2_H */
