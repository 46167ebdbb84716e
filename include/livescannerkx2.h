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

#ifdef __cplusplus
}
#endif

#endif /* LIVESCANNERKX2_H */
