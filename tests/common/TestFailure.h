#pragma once
// What a statement throws: its code and whole message.
#include "base/Exceptions.h"

#include <gtest/gtest.h>

#include <string>

struct StFailure
{
  int32_t nCode = 0; // 0: nothing thrown
  std::string sMessage = "<no exception>";
  bool Says(const std::string& s) const { return sMessage.find(s) != std::string::npos; }
};

template <class F>
StFailure FailureOf(F fn)
{
  try {
    fn();
  } catch (const ClException& e) {
    return {e.GetCode(), e.GetMessage() ? e.GetMessage() : ""};
  }
  return {};
}

template <class F>
int32_t CodeOf(F fn)
{
  return FailureOf(fn).nCode;
}

inline ::testing::AssertionResult IsFailure(const StFailure& f, int32_t nCode, const char* szText)
{
  if (f.nCode != nCode)
    return ::testing::AssertionFailure()
           << "code " << f.nCode << " instead of " << nCode << ": " << f.sMessage;
  if (szText && !f.Says(szText))
    return ::testing::AssertionFailure() << "no \"" << szText << "\" in: " << f.sMessage;
  return ::testing::AssertionSuccess();
}

// The statement must throw a ClException with the code and, unless text is null, a
// message containing text.
#define EXPECT_CL_THROW(statement, code, text)                                                     \
  EXPECT_TRUE(IsFailure(FailureOf([&] { statement; }), (code), (text))) << #statement
