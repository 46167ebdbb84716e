// Single parameters: the write paths and their tests, text conversion both ways,
// enumerations, pointer ports and text parameters.
#include "parameters/ParameterContainer.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

template <class P>
std::string Text(const P& p)
{
  uint64_t n = 0;
  p.GetString(nullptr, n);
  std::string s(n, '\0');
  EXPECT_TRUE(p.GetString(&s[0], n));
  s.resize(std::strlen(s.c_str()));
  return s;
}

template <class T>
struct Bound
{
  explicit Bound(T init, uint8_t nFlags = 3, const char* szName = "n") : value(init)
  {
    p.SetName(szName);
    p.Bind(&value, nFlags);
  }
  T value;
  TpParameterNumeric<T, ClParameter> p;
};

} // namespace

TEST(ParameterNumeric, StrictRangeRefusesOnEveryPathAndKeepsTheValue)
{
  // Fresh: Min and Max both 0, so no range and strict does nothing.
  Bound<int> b(3, 67, "nMaskSensitivity");
  b.p.SetInteger(1000000);
  b.p.SetInteger(3);
  b.p.SetMin(0);
  b.p.SetMax(5);
  EXPECT_CL_THROW(b.p.SetInteger(6), -35, nullptr);
  EXPECT_CL_THROW(b.p.SetDouble(-1), -35, nullptr);
  EXPECT_CL_THROW(b.p.SetFromString("6"), -35, nullptr);
  EXPECT_CL_THROW(b.p.SetFromString("0x6"), -35, nullptr);
  EXPECT_EQ(3, b.value);
  // Truncation comes before the range test.
  b.p.SetDouble(5.9);
  EXPECT_EQ(5, b.value);
  // The default is set without a range test.
  b.p.SetDefault(9);
  EXPECT_EQ(9.0, b.p.GetDefault());
}

TEST(ParameterNumeric, ClampLimitsAndPlainRangeIsOnlyAdvice)
{
  Bound<int> clamp(3, 35);
  clamp.p.SetMin(0);
  clamp.p.SetMax(5);
  clamp.p.SetInteger(9);
  EXPECT_EQ(5, clamp.value);
  clamp.p.SetFromString("-2");
  EXPECT_EQ(0, clamp.value);

  Bound<int> plain(3, 3);
  plain.p.SetMin(0);
  plain.p.SetMax(5);
  plain.p.SetInteger(9);
  EXPECT_EQ(9, plain.value);
  EXPECT_FALSE(plain.p.IsCurrentInRange());
}

TEST(ParameterNumeric, DomainOfTheValueTypeIsTestedBeforeAnyWrite)
{
  Bound<unsigned int> u(7);
  EXPECT_CL_THROW(u.p.SetInteger(-1), -35, nullptr);
  EXPECT_CL_THROW(u.p.SetDouble(4294967296.0), -35, nullptr);
  EXPECT_CL_THROW(u.p.SetDefault(-1), -35, nullptr);
  EXPECT_EQ(7u, u.value);
  u.p.SetDouble(4294967295.0);
  EXPECT_EQ(4294967295u, u.value);

  Bound<unsigned char> c(1);
  EXPECT_CL_THROW(c.p.SetInteger(256), -35, nullptr);
  EXPECT_CL_THROW(c.p.SetFromString("256"), -35, nullptr);
  c.p.SetInteger(255);
  EXPECT_EQ(255, c.value);

  Bound<long> l(0);
  EXPECT_CL_THROW(l.p.SetDouble(2147483648.0), -35, nullptr);
  EXPECT_CL_THROW(l.p.SetFromString("99999999999999999999"), -35, nullptr);
}

TEST(ParameterNumeric, TextIsHexBehindTheLastXElseDecimalStoppingSilently)
{
  Bound<unsigned int> u(0);
  const struct
  {
    const char* szText;
    unsigned int nValue;
  } cases[] = {{"0x10", 16}, {"10", 10}, {"zzx1F", 31}, {"0X1f", 31},
               {"x", 0},     {"1e2", 1}, {"3.7", 3},    {"4294967295", 4294967295u}};
  for (const auto& c : cases) {
    u.p.SetFromString(c.szText);
    EXPECT_EQ(c.nValue, u.value) << c.szText;
  }
  EXPECT_CL_THROW(u.p.SetFromString("abc"), -44, nullptr);
  EXPECT_CL_THROW(u.p.SetFromString("0x1G"), -44, nullptr);
  EXPECT_CL_THROW(u.p.SetFromString("12 "), -44, nullptr);
  EXPECT_CL_THROW(u.p.SetFromString("1e999"), -35, nullptr);
  EXPECT_CL_THROW(u.p.SetFromString(nullptr), -20, nullptr);
  // Hex is sign-extended from 32 bits before the domain test.
  EXPECT_CL_THROW(u.p.SetFromString("0xFFFFFFFF"), -35, nullptr);
  EXPECT_CL_THROW(u.p.SetFromString("0x80000000"), -35, nullptr);
  EXPECT_EQ(4294967295u, u.value);

  Bound<int> i(0);
  i.p.SetFromString("0xFFFFFFFF");
  EXPECT_EQ(-1, i.value);
  // A sign behind the x negates within 32 bits; a magnitude beyond them saturates.
  const struct
  {
    const char* szText;
    int nValue;
  } signed_cases[] = {{"0x-2", -2}, {"0x-80000000", INT32_MIN}, {"0x+7f", 127},
                      {"0x-0", 0},  {"0x-1FFFFFFFF", -1},       {"0x123456789", -1}};
  for (const auto& c : signed_cases) {
    i.p.SetFromString(c.szText);
    EXPECT_EQ(c.nValue, i.value) << c.szText;
  }
  EXPECT_CL_THROW(u.p.SetFromString("0x-2"), -35, nullptr);

  Bound<double> d(0);
  d.p.SetFromString("0xFFFFFFFF");
  EXPECT_EQ(-1.0, d.value);
  d.p.SetFromString("2.75");
  EXPECT_EQ(2.75, d.value);
  d.p.SetFromString("1e2");
  EXPECT_EQ(100.0, d.value);
  EXPECT_CL_THROW(d.p.SetFromString("1e999"), -35, nullptr);
}

TEST(ParameterNumeric, OutputCutsTrailingZerosAndFollowsTheSizeProtocol)
{
  Bound<double> d(1.5);
  EXPECT_EQ("1.5", Text(d.p));
  d.value = 2.0;
  EXPECT_EQ("2.0", Text(d.p));
  d.value = 100.0;
  EXPECT_EQ("100.0", Text(d.p));
  // The default keeps its zeros.
  char buf[32];
  uint64_t n = sizeof(buf);
  ASSERT_TRUE(d.p.GetDefaultString(buf, n));
  EXPECT_STREQ("1.500000", buf);
  EXPECT_EQ(9u, n);

  Bound<int> i(100);
  EXPECT_EQ("100", Text(i.p));
  n = 4;
  ASSERT_TRUE(i.p.GetString(buf, n));
  EXPECT_STREQ("100", buf);
  std::memset(buf, '#', sizeof(buf));
  n = 3;
  EXPECT_FALSE(i.p.GetString(buf, n));
  EXPECT_EQ(4u, n);
  EXPECT_EQ('#', buf[0]);
  n = 0;
  EXPECT_FALSE(i.p.GetString(nullptr, n));
  EXPECT_EQ(4u, n);
}

TEST(ParameterNumeric, StarFormatGoesThroughTheDouble)
{
  Bound<long> l((1L << 53) + 1);
  l.p.SetFormat("%.*f");
  l.p.SetPrecision(0);
  EXPECT_EQ("9007199254740992", Text(l.p));
}

namespace {

struct Owner
{
  unsigned int nStored = 4;
  int nSetCalls = 0;
  static unsigned int Get(Owner* p) { return p->nStored; }
  static void Set(Owner* p, const unsigned int* pValue)
  {
    p->nStored = *pValue;
    ++p->nSetCalls;
  }
};

} // namespace

TEST(ParameterNumeric, AccessorsWinOverTheDummyAndSwapReadsFirst)
{
  Owner owner;
  unsigned int dummy = 9;
  TpParameterNumeric<unsigned int, Owner> p;
  p.SetName("nAccessor");
  p.Bind(&dummy, &owner, &Owner::Set, &Owner::Get, 3);
  EXPECT_EQ(4.0, p.GetDouble());
  p.SetInteger(6);
  EXPECT_EQ(6u, owner.nStored);
  EXPECT_EQ(9u, dummy);
  // The default came from the dummy; the swap writes it through the setter.
  p.SwapValueAndDefault();
  EXPECT_EQ(9u, owner.nStored);
  EXPECT_EQ(6.0, p.GetDefault());
  EXPECT_FALSE(p.IsDefault());
}

TEST(ParameterNumeric, CloneIsBoundToTheSameVariableAndOutlivesTheOriginal)
{
  int value = 5;
  auto* p = new TpParameterNumeric<int, ClParameter>();
  p->SetName("nValue");
  p->Bind(&value, 67);
  p->SetMax(10);
  ClParameter* pClone = p->Clone();
  delete p;
  pClone->AsNumeric()->SetInteger(8);
  EXPECT_EQ(8, value);
  EXPECT_CL_THROW(pClone->AsNumeric()->SetInteger(11), -35, nullptr);
  delete pClone;
}

TEST(ParameterEnum, NamesIgnoreCaseAndUnknownValuesAreRefused)
{
  long value = 1;
  TpParameterEnumPointer<long, ClParameter> p;
  p.SetName("eMode");
  p.Bind(&value, 3);
  EXPECT_EQ(nullptr, p.AsEnum());
  p.AddEntry(1, "Mode X");
  p.AddEntry(2, "Mode Y");
  ASSERT_NE(nullptr, p.AsEnum());
  p.SetFromString("MODE y");
  EXPECT_EQ(2, value);
  EXPECT_EQ("Mode Y", Text(p));
  EXPECT_CL_THROW(p.SetFromString("Mode Z"), -35, nullptr);
  EXPECT_CL_THROW(p.SetInteger(7), -35, nullptr);
  value = 7;
  EXPECT_CL_THROW(Text(p), -35, nullptr);

  EXPECT_CL_THROW(p.AddEntry(3, "mode x"), -46, nullptr);
  p.AddEntry(1, "Mode X");
  p.AddEntry(1, "Other X");
  EXPECT_EQ(4, p.GetCount());
  p.RemoveEntryByName("MODE X");
  EXPECT_EQ(3, p.GetCount());
  char buf[8];
  EXPECT_EQ(6u, p.GetEntryName(0, buf, 6));
  EXPECT_STREQ("", buf);
  p.RemoveEntryByValue(1);
  EXPECT_EQ(1, p.GetCount());
  p.SetInteger(2);
  EXPECT_EQ(2, p.GetInteger());
}

TEST(ParameterEnum, PointerPortsPrintNullAndAreSkippedByUnforcedCopies)
{
  int b = 0;
  int* pA = nullptr;
  int* pB = &b;
  TpParameterEnumPointer<int*, ClParameter> portA, portB;
  portA.Bind(&pA, 1);
  portB.Bind(&pB, 2);
  portA.SetPointer(true);
  portB.SetPointer(true);
  EXPECT_EQ("NULL", Text(portA));
  char expected[32];
  std::snprintf(expected, sizeof(expected), "%p", static_cast<void*>(&b));
  EXPECT_EQ(expected, Text(portB));
  portA.CopyValueFrom(&portB, false);
  EXPECT_EQ(nullptr, pA);
  portA.CopyValueFrom(&portB, true);
  EXPECT_EQ(&b, pA);
}

TEST(ParameterString, CapacityBoundsEveryWrite)
{
  char buffer[8] = "init";
  char* pText = buffer;
  TpParameterString<char*, ClParameter, 0> p;
  p.SetName("Version");
  p.Bind(&pText, 3);
  EXPECT_CL_THROW(p.SetFromString("a"), -21, nullptr);
  p.SetSize(sizeof(buffer));
  p.SetFromString("1234567");
  EXPECT_STREQ("1234567", buffer);
  EXPECT_CL_THROW(p.SetFromString("12345678"), -21, nullptr);
  EXPECT_CL_THROW(p.SetFromString(nullptr), -701, nullptr);
  EXPECT_EQ(buffer, pText);

  uint64_t n = 3;
  EXPECT_FALSE(p.GetString(nullptr, n));
  EXPECT_EQ(8u, n);
  EXPECT_CL_THROW(p.GetString(nullptr, n), -701, nullptr);
}
