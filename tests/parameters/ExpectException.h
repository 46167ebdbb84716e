#pragma once
// Runs a statement that must throw a ClException with the given code and, when given, a
// message that contains the given text.
#include "sdk/Exceptions.h"

#include <gtest/gtest.h>

#include <cstring>

#define EXPECT_CL_THROW(statement, code, text)                                               \
  do {                                                                                       \
    try {                                                                                    \
      statement;                                                                             \
      ADD_FAILURE() << "no exception from " #statement;                                      \
    } catch (const ClException& e) {                                                         \
      EXPECT_EQ((code), e.GetCode()) << e.GetMessage();                                      \
      const char* szWanted = (text);                                                         \
      if (szWanted) {                                                                        \
        EXPECT_NE(nullptr, std::strstr(e.GetMessage(), szWanted)) << e.GetMessage();         \
      }                                                                                      \
    }                                                                                        \
  } while (0)
