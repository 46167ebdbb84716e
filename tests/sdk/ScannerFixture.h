#pragma once
// An initialised SDK with the simulated KX2 scanner opened, frames unpaced.
#include "livescannerkx2.h"
#include "tests/device/SimControl.h"

#include <gtest/gtest.h>

// What an application could find behind its handle: two tags around a pointer.
struct SafeBlock
{
  char szFrontTag[8];
  void* pObject;
  char szBackTag[8];
};

inline ClSimControl& Sim() { return ClSimControl::Get(); }

class ScannerExports : public ::testing::Test
{
protected:
  static constexpr const char* szName = "KX2 21234567";

  void SetUp() override
  {
    ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
    Sim().Load(R"({"frame_interval_ms":0,"devices":[{"interface":0}]})");
    ASSERT_EQ(LS_KX2OpenScanner(szName, &m_h), 0);
    ASSERT_NE(m_h, nullptr);
  }
  void TearDown() override
  {
    if (m_h) {
      EXPECT_EQ(LS_KX2CloseScanner(&m_h), 0);
    }
    EXPECT_EQ(LS_KX2Uninitialize(), 0);
  }

  LS_KX2_HANDLE m_h = nullptr;
};
