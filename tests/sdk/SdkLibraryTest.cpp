// The exports that need no scanner, through the shared library itself.
#include "livescannerkx2.h"

#include <gtest/gtest.h>

TEST(SdkLibrary, CompatibilityAnswers)
{
  EXPECT_EQ(LS_KX2CompatibilityCheck(nullptr), -701);
  EXPECT_EQ(LS_KX2CompatibilityCheck("abc"), -44);
  EXPECT_EQ(LS_KX2CompatibilityCheck("1"), -44);
  EXPECT_EQ(LS_KX2CompatibilityCheck(""), -44);
  EXPECT_EQ(LS_KX2CompatibilityCheck("1.3"), -103);
  EXPECT_EQ(LS_KX2CompatibilityCheck("0.9"), -103);
  EXPECT_EQ(LS_KX2CompatibilityCheck("-1.9"), -103);
  EXPECT_EQ(LS_KX2CompatibilityCheck("1.4"), 0);
  EXPECT_EQ(LS_KX2CompatibilityCheck("1.10"), 0);
  EXPECT_EQ(LS_KX2CompatibilityCheck("2.0"), 0);
  EXPECT_EQ(LS_KX2CompatibilityCheck("1.4beta"), 0);
}

TEST(SdkLibrary, InitializeCountsReferences)
{
  EXPECT_EQ(LS_KX2Uninitialize(), -2);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(LS_KX2Initialize(nullptr), 0);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(LS_KX2Uninitialize(), 0);
  EXPECT_EQ(LS_KX2Uninitialize(), -2);
  // The object can come back after it was gone.
  EXPECT_EQ(LS_KX2Initialize(reinterpret_cast<void*>(0x1234)), 0);
  EXPECT_EQ(LS_KX2Uninitialize(), 0);
}
