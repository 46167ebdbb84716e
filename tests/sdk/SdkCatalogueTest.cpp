// The catalogue is looked up by number by callers of the whole component family: its
// order, its duplicates and every text this library reports are interface.
#include "base/ErrorCatalogue.h"
#include "livescannerkx2.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace {

struct Expected
{
  int32_t nCode;
  const char* szText;
};

const Expected s_Raised[] = {
    {0, "No errors occurred."},
    {-2, "Prior initialization is necessary."},
    {-10, "The input image is not valid."},
    {-31, "The compression FOCC is not supported."},
    {-32, "The header size of the Bitmap is unknown."},
    {-36, "Fileheader found but expected bitmapinfoheader."},
    {-11, "Number of image planes is invalid. (see documentation)."},
    {-12, "Pixel depth is invalid (see documentation)."},
    {-14, "The image is too small or too big."},
    {-15, "No Finger found in the image."},
    {-20, "The template is not valid."},
    {-21, "The size of the finger template is not valid."},
    {-23, "The template-pointer is not valid."},
    {-24, "Pointer to template-size is not valid."},
    {-33, "The required format is not supported."},
    {-35, "One of the parameters is out of range."},
    {-37, "One of the required parameter is missing."},
    {-39, "The input is corrupt; it can be a memoryblock or a file."},
    {-39, "The input is corrupt; it can be a memoryblock or a file."},
    {-42, "The handle parameter is set to NULL."},
    {-43, "The handle parameter is not a valid handle for that function."},
    {-44, "One(or more) parameter(s) is(are) invalid."},
    {-44, "One(or more) parameter(s) is(are) invalid."},
    {-46, "The given parameter is a duplicate of a previously given parameter."},
    {-47, "The requested parameter is read only."},
    {-49, "An error occurred in the log function, maybe log full."},
    {-50, "Function call is not possible in current state."},
    {-60, "Function call failed, because assigned device was disconnected."},
    {-61, "Failed to open device"},
    {-100, "Something unspecified went wrong."},
    {-101, "Internal error."},
    {-102, "Memory allocation failed or given mem-block too small."},
    {-103, "The feature is currently not supported."},
    {-105, "A error has occurred in a system function call. use the system errorfunction to get "
           "more info."},
    {-106, "The feature is not implemented."},
    {-201, "Unexpected end of file."},
    {-206, "A given parameter is unknown."},
    {-206, "A given parameter is unknown."},
    {-209, "The value for the parameter is out of range."},
    {-701, "The pointer is bad or invalid."},
    {-702, "Given size is too small."},
    {-725, "The version is incompatible."},
    {-800, "Very dry fingerprint detected. Moisten the fingerprint or increase the pressure."},
    {-801, "Finger has been shifted or slipped during rolling."},
    {-802, "Finger has been rolled too fast or an image has been missed."},
    {-803, "Finger has been rolled backwards contrary to the determined roll direction."},
    {-804, "Finger has been rotated or twisted during rolling."},
    {-805, "Size of rolled fingerprint is too small."},
    {-806, "Fingerprint was rolled outside of the roll capture area."},
    {-807, "Fingerprint was rolled outside the upper boundary of the roll capture area."},
    {-808, "Fingerprint was rolled outside the lower boundary of the roll capture area."},
    {-809, "Fingerprint was rolled outside the left boundary of the roll capture area."},
    {-810, "Fingerprint was rolled outside the right boundary of the roll capture area."},
    {-811, "Fingerprint has been lifted during rolling."},
};

std::string Narrow(const wchar_t* w)
{
  std::string s;
  for (; *w; ++w) {
    EXPECT_LT(static_cast<unsigned>(*w), 128u);
    s += static_cast<char>(*w);
  }
  return s;
}

} // namespace

TEST(SdkCatalogue, EveryReportedCodeHasItsTextInBothWidths)
{
  for (const Expected& e : s_Raised) {
    SCOPED_TRACE(e.nCode);
    EXPECT_STREQ(LS_KX2GetErrorDescriptionA(e.nCode), e.szText);
    EXPECT_EQ(Narrow(LS_KX2GetErrorDescriptionW(e.nCode)), e.szText);
  }
}

TEST(SdkCatalogue, TableShapeAndOrder)
{
  size_t n = 0;
  const TpErrorCatalogueRow* rows = GetErrorCatalogue(&n);
  ASSERT_EQ(n, 191u);
  // No row has different texts in its two widths, and names match too.
  for (size_t i = 0; i < n; ++i) {
    EXPECT_EQ(Narrow(rows[i].wszText), rows[i].szText) << i;
    EXPECT_EQ(Narrow(rows[i].wszName), rows[i].szName) << i;
    EXPECT_GT(std::strlen(rows[i].szText), 0u) << i;
  }
  EXPECT_EQ(rows[0].nCode, 0);
  // -31, -32, -36 stand between -10 and -11.
  size_t i10 = 0;
  while (rows[i10].nCode != -10)
    ++i10;
  EXPECT_EQ(rows[i10 + 1].nCode, -31);
  EXPECT_EQ(rows[i10 + 2].nCode, -32);
  EXPECT_EQ(rows[i10 + 3].nCode, -36);
  EXPECT_EQ(rows[i10 + 4].nCode, -11);
  EXPECT_STREQ(rows[n - 3].szName, "E_INVALIDARG");
  EXPECT_EQ(rows[n - 3].nCode, -2147024809);
  EXPECT_STREQ(rows[n - 2].szName, "DISP_E_BADVARTYPE");
  EXPECT_EQ(rows[n - 2].nCode, -2147352568);
  EXPECT_STREQ(rows[n - 1].szName, "DISP_E_ARRAYISLOCKED");
  EXPECT_EQ(rows[n - 1].nCode, -2147352563);
  EXPECT_STREQ(LS_KX2GetErrorDescriptionA(-2147352563),
               "The variant contains an array that is locked.");
  // Names are unique even where codes repeat.
  std::set<std::string> names;
  for (size_t k = 0; k < n; ++k)
    EXPECT_TRUE(names.insert(rows[k].szName).second) << rows[k].szName;
}

TEST(SdkCatalogue, DuplicateCodesResolveToTheFirstRow)
{
  size_t n = 0;
  const TpErrorCatalogueRow* rows = GetErrorCatalogue(&n);
  auto firstName = [&](int32_t code) -> std::string {
    for (size_t i = 0; i < n; ++i)
      if (rows[i].nCode == code)
        return rows[i].szName;
    return "";
  };
  EXPECT_EQ(firstName(-206), "FPC_ERROR_UNKNOWN_PARAMETER");
  EXPECT_EQ(firstName(-39), "FPC_ERROR_CORRUPT_DATA");
  EXPECT_EQ(firstName(-44), "FPC_ERROR_INVALID_PARAMETER");
  EXPECT_EQ(firstName(-38), "FPC_ERROR_CORRUPT_BYTECODE");
  EXPECT_EQ(firstName(-830), "FPC_ERROR_FR_NO_SUBJECT_FOUND");
  // -830's two rows differ in text; lookup gives the first one's.
  const char* fr = nullptr;
  const char* fd = nullptr;
  for (size_t i = 0; i < n; ++i) {
    if (!std::strcmp(rows[i].szName, "FPC_ERROR_FR_NO_SUBJECT_FOUND"))
      fr = rows[i].szText;
    if (!std::strcmp(rows[i].szName, "FPC_ERROR_FD_NO_SUBJECT_FOUND"))
      fd = rows[i].szText;
  }
  ASSERT_TRUE(fr && fd);
  EXPECT_STRNE(fr, fd);
  EXPECT_STREQ(LS_KX2GetErrorDescriptionA(-830), fr);
}

TEST(SdkCatalogue, UnknownCodesNeverGiveNull)
{
  for (int32_t code : {1, 12345, -3, -99999, INT32_MIN, INT32_MAX}) {
    EXPECT_STREQ(LS_KX2GetErrorDescriptionA(code), "Unknown error code.");
    EXPECT_EQ(Narrow(LS_KX2GetErrorDescriptionW(code)), "Unknown error code.");
  }
}
