#include "base/Exceptions.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

TEST(SdkException, CodeAloneCarriesTheCatalogueTextUnowned)
{
  ClExVeltrano e(-60, __FILE__, 12);
  EXPECT_STREQ(e.GetMessage(), "Function call failed, because assigned device was disconnected.");
  EXPECT_STREQ(e.what(), e.GetMessage());
  EXPECT_EQ(e.GetCode(), -60);
  EXPECT_EQ(e.GetLine(), 12);
  ClExVeltrano bare(-2);
  EXPECT_STREQ(bare.GetFile(), "Unknown");
  EXPECT_EQ(bare.GetLine(), -1);
}

TEST(SdkException, MessageIsCatalogueTextNewlineAndGivenText)
{
  // bOwn false is overridden by the forming step: the copy below must still be valid.
  ClException* first = new ClException("scanner disconnected", -60, false, __FILE__, __LINE__);
  EXPECT_STREQ(first->GetMessage(),
               "Function call failed, because assigned device was disconnected.\n"
               "scanner disconnected");
  ClException copy(*first);
  const char* before = first->GetMessage();
  delete first;
  EXPECT_NE(copy.GetMessage(), before);
  EXPECT_STREQ(copy.GetMessage(),
               "Function call failed, because assigned device was disconnected.\n"
               "scanner disconnected");

  ClException assigned = ClExVeltrano(-50);
  assigned = copy;
  EXPECT_EQ(assigned.GetCode(), -60);
  EXPECT_STREQ(assigned.GetMessage(), copy.GetMessage());
}

TEST(SdkException, CopiesOfUnownedTextShareIt)
{
  ClExVeltrano e(-50);
  ClException copy(e);
  EXPECT_EQ(copy.GetMessage(), e.GetMessage());
}

TEST(SdkException, FamiliesCatchAsClException)
{
  auto codeOf = [](auto&& thrower) {
    try {
      thrower();
    } catch (const ClException& e) {
      return e.GetCode();
    }
    return 0;
  };
  EXPECT_EQ(codeOf([] { throw ClExBadAlloc(); }), -102);
  EXPECT_EQ(codeOf([] { throw ClExRange("v", -35); }), -35);
  EXPECT_EQ(codeOf([] { throw ClExStreamUnexpectedEnd("end", -201); }), -201);
  EXPECT_EQ(codeOf([] { throw ClExSystem("open"); }), -105);
  EXPECT_EQ(codeOf([] { throw ClExDynamicLibraryLoadFail("entry", -206); }), -206);
  ClExBadAlloc bad;
  EXPECT_STREQ(bad.GetMessage(), "Memory allocation failed");
  EXPECT_STREQ(bad.GetFile(), "Unknown");
}

TEST(SdkException, SystemTextComesFirstWithoutTrailingLineEnds)
{
  errno = ENOENT;
  ClExSystem e("opening the device file");
  std::string expected = std::string(std::strerror(ENOENT)) + "\nopening the device file";
  EXPECT_EQ(e.GetMessage(), expected);
  EXPECT_EQ(e.GetCode(), -105);

  char text[] = "The system cannot find the file.\r\n";
  TrimSystemText(text);
  EXPECT_STREQ(text, "The system cannot find the file.");
}

TEST(SdkException, CodelessFamilyIsNotAClException)
{
  Vlt::CXSystemSpecificException e(ENOENT);
  EXPECT_STREQ(e.GetMessage(), std::strerror(ENOENT));
  // A second query frees and rebuilds the text.
  EXPECT_STREQ(e.what(), std::strerror(ENOENT));
  bool caughtAsCl = false;
  try {
    throw Vlt::CXSystemException(EINVAL);
  } catch (const ClException&) {
    caughtAsCl = true;
  } catch (const Vlt::ClVeltranoException&) {
  }
  EXPECT_FALSE(caughtAsCl);
}
