// Descriptive records: the rule of bounds, choices, and the serialised form with its
// kind-1 asymmetry and the name test of Read.
#include "model/MemoryStream.h"
#include "parameters/ParameterInterface.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>

#include <cstring>

using Record = ClParameterInterface::ClParameter;

TEST(ParameterInterface, SentinelBoundsFollowThePresentValue)
{
  ClParameterInterface itf;
  int32_t nPos = 30, nNeg = -30, nZero = 0;
  Record* p = itf.AddInteger(&nPos, "nPos", "In: positive", 0, 1.0, -1.0);
  EXPECT_DOUBLE_EQ(20.0, p->m_dMin);
  EXPECT_DOUBLE_EQ(40.0, p->m_dMax);
  EXPECT_EQ(30.0, p->m_dDefault);
  EXPECT_EQ(0u, p->m_nFixed);
  p = itf.AddInteger(&nNeg, "nNeg", "In: negative", 0, 1.0, -1.0);
  EXPECT_DOUBLE_EQ(-40.0, p->m_dMin);
  EXPECT_DOUBLE_EQ(-20.0, p->m_dMax);
  p = itf.AddInteger(&nZero, "nZero", "In: zero", 0, 1.0, -1.0);
  EXPECT_EQ(1u, p->m_nFixed);

  double d = 5;
  p = itf.AddDouble(&d, "dOne", "In: one", 0, 1.0, 1.0);
  EXPECT_EQ(1.0, p->m_dMin);
  EXPECT_EQ(1.0, p->m_dMax);
  EXPECT_EQ(1u, p->m_nFixed);
  ClParameterInterface::SetRange(p, -255, 255);
  EXPECT_EQ(1u, p->m_nFixed);

  // Declaration order is kept.
  EXPECT_EQ(4u, itf.GetCount());
  EXPECT_STREQ("nPos", itf.GetFirst()->m_pName);
  EXPECT_STREQ("dOne", itf.GetFirst()->m_pNext->m_pNext->m_pNext->m_pName);
}

TEST(ParameterInterface, ChoicesAndBooleans)
{
  ClParameterInterface itf;
  int32_t nMode = 0;
  bool bFlag = true;
  Record* pNone = itf.AddChoice(&nMode, "eMode", "In: mode", nullptr, 0);
  EXPECT_EQ(9u, pNone->m_nKind);
  EXPECT_EQ(nullptr, pNone->m_pChoices);
  Record* pBool = itf.AddBool(&bFlag, "SizeMustBeEqual", "Bool: Size must be equal", 0);
  EXPECT_EQ(8u, pBool->m_nKind);
  ASSERT_EQ(2u, pBool->ChoiceCount());
  EXPECT_STREQ("True", pBool->m_pChoices + 6);
}

TEST(ParameterInterface, RecordsRoundTripThroughAStream)
{
  ClParameterInterface out;
  int32_t nWidth = 11;
  double dOffset = -2.5;
  uint8_t nByte = 200;
  out.AddInteger(&nWidth, "nWidth", "In: width", 0, 1, 99);
  out.AddDouble(&dOffset, "Offset", "In: Offset Value", 0, -255, 255);
  Record* pByte = out.AddGeneric(&nByte, "nByte", "In: byte", 1, 0, 0);
  ClParameterInterface::SetRange(pByte, 0, 255);
  pByte->m_bFlagA = 1;
  ClMemoryStream stream;
  for (Record* p = out.GetFirst(); p; p = p->m_pNext)
    p->Write(stream);
  // name (4 + text), 2 bytes, 3 doubles, 2 flags, kind, value.
  EXPECT_EQ((4 + 7 + 29 + 4) + (4 + 7 + 29 + 8) + (4 + 6 + 29 + 1), stream.Size());

  ClParameterInterface in;
  int32_t nWidth2 = 0;
  double dOffset2 = 0;
  uint8_t nByte2 = 0;
  Record* r1 = in.AddInteger(&nWidth2, "nWidth", "In: width", 0, 0, 0);
  Record* r2 = in.AddDouble(&dOffset2, "Offset", "In: Offset Value", 0, 0, 0);
  Record* r3 = in.AddGeneric(&nByte2, "nByte", "In: byte", 1, 0, 0);
  EXPECT_EQ(0, r1->Read(stream));
  EXPECT_EQ(0, r2->Read(stream));
  EXPECT_EQ(0, r3->Read(stream));
  EXPECT_EQ(11, nWidth2);
  EXPECT_EQ(-2.5, dOffset2);
  EXPECT_EQ(200, nByte2);
  EXPECT_EQ(99.0, r1->m_dMax);
  EXPECT_EQ(-255.0, r2->m_dMin);
  EXPECT_EQ(255.0, r3->m_dMax);
  EXPECT_EQ(1, r3->m_bFlagA);
  EXPECT_EQ(0, r3->m_bFlagB);
  EXPECT_EQ(0u, stream.Remaining());
}

TEST(ParameterInterface, ReadUnderAnotherNameConsumesOnlyTheName)
{
  ClParameterInterface out;
  double dValue = 7;
  out.AddDouble(&dValue, "Offset", "In: Offset Value", 0, -255, 255);
  ClMemoryStream stream;
  out.GetFirst()->Write(stream);

  ClParameterInterface in;
  double dOther = 1;
  Record* p = in.AddDouble(&dOther, "offset", "In: Offset Value", 0, 0, 10);
  EXPECT_EQ(-33, p->Read(stream));
  EXPECT_EQ(4u + 7u, stream.ReadPosition());
  EXPECT_EQ(10.0, p->m_dMax);
  EXPECT_EQ(1.0, dOther);
}

TEST(ParameterInterface, KindOneWritesTwoBytesAndReadsFour)
{
  ClParameterInterface itf;
  uint16_t nValue = 0x1234;
  itf.AddGeneric(&nValue, "nShort", "In: short", 0, 1, 0);
  ClMemoryStream stream;
  itf.GetFirst()->Write(stream);
  EXPECT_EQ(4u + 7u + 29u + 2u, stream.Size());
  // The two missing bytes make the record's own read run off the end.
  EXPECT_CL_THROW(itf.GetFirst()->Read(stream), -201, nullptr);

  stream.Rewind();
  const uint8_t extra[2] = {0xAA, 0xBB};
  stream.WriteBlock(extra, 2);
  nValue = 0;
  EXPECT_EQ(0, itf.GetFirst()->Read(stream));
  EXPECT_EQ(0x1234, nValue);
}
