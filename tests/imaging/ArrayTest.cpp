#include "model/TpArray.h"
#include "model/Vector.h"
#include "tests/common/TestFailure.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace {

// Counts live objects, so construction on Resize and destruction on Clear show.
struct StCounted
{
  static inline int s_nLive = 0;
  int m_nValue = -1;
  StCounted() { ++s_nLive; }
  StCounted(const StCounted& o) : m_nValue(o.m_nValue) { ++s_nLive; }
  StCounted& operator=(const StCounted&) = default;
  ~StCounted() { --s_nLive; }
};

} // namespace

TEST(ArrayDynamic, GrowsByItsStep)
{
  TpArrayDynamic<int, 10> a;
  a.Add(1);
  EXPECT_EQ(a.Capacity(), 10u); // exactly the step on the first Add
  for (int i = 2; i <= 10; ++i)
    a.Add(i);
  EXPECT_EQ(a.Capacity(), 10u);
  a.Add(11);
  EXPECT_EQ(a.Capacity(), 20u);
  EXPECT_EQ(a.Size(), 11u);
  EXPECT_EQ(a[10], 11);
  EXPECT_EQ(a[0], 1);

  int* p = a.Data();
  a.Clear();
  EXPECT_EQ(a.Size(), 0u);
  a.Add(5); // capacity kept: no new block
  EXPECT_EQ(a.Data(), p);

  TpArrayDynamic<int, 3> b;
  b.Resize(4);
  EXPECT_EQ(b.Size(), 4u);
  for (int i = 0; i < 4; ++i)
    b[i] = i;
  b.Add(9);
  EXPECT_EQ(b.Capacity(), 7u);
  EXPECT_EQ(b[3], 3);
  EXPECT_EQ(b[4], 9);
  b.Resize(0);
  EXPECT_EQ(b.Size(), 0u);
  EXPECT_EQ(b.Data(), nullptr);
  EXPECT_EQ(b.Capacity(), 0u);
}

TEST(ArrayDynamic, ClassElementsLiveAndMove)
{
  {
    TpArrayDynamic<StCounted, 2> a;
    a.Resize(3);
    EXPECT_EQ(StCounted::s_nLive, 3);
    a[0].m_nValue = 7;
    a.Add(a[0]); // full: the element comes from the block being replaced
    EXPECT_EQ(a[3].m_nValue, 7);
    EXPECT_EQ(a[0].m_nValue, 7);
    EXPECT_EQ(a.Capacity(), 5u);

    TpArrayDynamic<StCounted, 2> copy(a);
    copy[0].m_nValue = 1;
    EXPECT_EQ(a[0].m_nValue, 7); // deep
    EXPECT_EQ(copy.Size(), 4u);
  }
  EXPECT_EQ(StCounted::s_nLive, 0);

  TpArrayStatic<StCounted> s;
  s.Resize(4);
  EXPECT_EQ(StCounted::s_nLive, 4);
  s.Clear();
  EXPECT_EQ(StCounted::s_nLive, 0);
  EXPECT_EQ(s.Size(), 0u);
}

TEST(ArrayStatic, FailedAllocations)
{
  TpArrayStatic<double> s;
  s.Resize(5);
  s[4] = 1.5;
  EXPECT_EQ(CodeOf([&] { s.Resize(UINT64_MAX / 4); }), -102);
  EXPECT_EQ(s.Data(), nullptr); // old elements gone
  EXPECT_EQ(s.Size(), 5u);      // size unchanged until the next good Resize
  s.Resize(2);
  EXPECT_EQ(s.Size(), 2u);

  TpArrayDynamic<ClVector, 10> d;
  d.Add(ClVector(1, 2));
  EXPECT_EQ(CodeOf([&] { d.Grow(UINT64_MAX / 8); }), -102);
  EXPECT_EQ(d.Capacity(), 10u); // restored, elements kept
  EXPECT_EQ(d[0], ClVector(1, 2));
  EXPECT_EQ(CodeOf([&] { d.Grow(UINT64_MAX); }), -102);
  EXPECT_EQ(d.Capacity(), 10u);
}
