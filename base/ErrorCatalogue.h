#pragma once
// The catalogue of result codes shared by the whole family of biometric components.
#include <cstddef>
#include <cstdint>

// The codes by their internal names, raised as ClExVeltrano(eErrBadPointer) and so on.
enum ELsKX2Error : int32_t {
#define LSKX2_ERROR(code, name, id, text) id = code,
#include "base/ErrorCatalogue.def"
#undef LSKX2_ERROR
  // The device library's error 0x20000006 is raised as this code, which has no row (and
  // so no text) in the catalogue.
  eErrLibraryUncatalogued = -601,
};

struct TpErrorCatalogueRow
{
  int32_t nCode;
  const char* szText;
  const wchar_t* wszText;
  const char* szName;
  const wchar_t* wszName;
};

// Linear scan from the top: the first row with the code wins.
const char* GetErrorDescriptionA(int32_t nCode);
const wchar_t* GetErrorDescriptionW(int32_t nCode);

// Whole table in search order, for diagnostics and tests.
const TpErrorCatalogueRow* GetErrorCatalogue(size_t* pnRows);
