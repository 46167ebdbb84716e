// Each limit of the JSON exchange, just at it and one past it.
#include "capture/KX2JsonBounds.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Repeat(const std::string& s, size_t n)
{
  std::string r;
  for (size_t i = 0; i < n; ++i)
    r += s;
  return r;
}

std::string Arrays(size_t nDepth) { return std::string(nDepth, '[') + std::string(nDepth, ']'); }

std::string Str(size_t nLength) { return "[\"" + std::string(nLength, 'x') + "\"]"; }

// n values in one array: the array itself counts as one more.
std::string Values(size_t n) { return "[" + Repeat("1,", n - 1) + "1]"; }

} // namespace

TEST(KX2JsonBounds, EachLimitHoldsAtItsValueAndRefusesOnePast)
{
  using B = ClKX2JsonBounds;
  struct StCase
  {
    const char* szWhat;
    std::string sText;
    bool bFits;
  } aCases[] = {
      {"depth", Arrays(B::eMaxDepth), true},
      {"depth", Arrays(B::eMaxDepth + 1), false},
      {"depth in objects",
       Repeat("{\"a\":", B::eMaxDepth + 1) + "1" + std::string(B::eMaxDepth + 1, '}'), false},
      {"closing does not lower below zero", "]]]]" + Arrays(B::eMaxDepth), true},
      {"string", Str(B::eMaxString), true},
      {"string", Str(B::eMaxString + 1), false},
      {"escaped quote stays inside", "[\"" + std::string(B::eMaxString - 2, 'x') + "\\\"\"]", true},
      {"number", "[" + std::string(B::eMaxNumber, '1') + "]", true},
      {"number", "[" + std::string(B::eMaxNumber + 1, '1') + "]", false},
      {"items", Values(B::eMaxItems - 1), true},
      {"items", Values(B::eMaxItems), false},
      {"size", std::string(B::eMaxBytes, ' '), true},
      {"size", std::string(B::eMaxBytes + 1, ' '), false},
  };
  for (const StCase& c : aCases)
    EXPECT_EQ(B::Fits(c.sText), c.bFits) << c.szWhat << ", " << c.sText.size() << " bytes";
}

TEST(KX2JsonBounds, ReadRefusesAsMalformed)
{
  boost::property_tree::ptree tree;
  EXPECT_THROW(ClKX2JsonBounds::Read(Arrays(1000), tree), boost::property_tree::ptree_error);
  EXPECT_THROW(ClKX2JsonBounds::Read("{", tree), boost::property_tree::ptree_error);
  ClKX2JsonBounds::Read(R"({"KX2":{"A":"1"}})", tree);
  EXPECT_EQ(tree.get<std::string>("KX2.A"), "1");
}
