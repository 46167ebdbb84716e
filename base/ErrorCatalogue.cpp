#include "base/ErrorCatalogue.h"

namespace {

const char szUnknown[] = "Unknown error code.";
const wchar_t wszUnknown[] = L"Unknown error code.";

const TpErrorCatalogueRow s_Rows[] = {
#define LSKX2_ERROR(code, name, id, text) {code, text, L"" text, #name, L"" #name},
#include "base/ErrorCatalogue.def"
#undef LSKX2_ERROR
};

const TpErrorCatalogueRow* Find(int32_t nCode)
{
  for (const TpErrorCatalogueRow& row : s_Rows)
    if (row.nCode == nCode)
      return &row;
  return nullptr;
}

} // namespace

const char* GetErrorDescriptionA(int32_t nCode)
{
  const TpErrorCatalogueRow* row = Find(nCode);
  return row ? row->szText : szUnknown;
}

const wchar_t* GetErrorDescriptionW(int32_t nCode)
{
  const TpErrorCatalogueRow* row = Find(nCode);
  return row ? row->wszText : wszUnknown;
}

const TpErrorCatalogueRow* GetErrorCatalogue(size_t* pnRows)
{
  if (pnRows)
    *pnRows = sizeof(s_Rows) / sizeof(s_Rows[0]);
  return s_Rows;
}
