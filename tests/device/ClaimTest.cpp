#include "device/InterprocessLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// Names of their own, so that test runs of other builds never meet these; the files
// that carry the claims go when the test ends.
struct ClTestName
{
  explicit ClTestName(const char* szTag)
    : sName(std::string("KX2 ") + szTag + std::to_string(getpid())) {}
  ~ClTestName() { unlink(ClInterprocessLock::LockPath(sName).c_str()); }
  const char* c_str() const { return sName.c_str(); }
  std::string sName;
};

} // namespace

TEST(Claim, SecondClaimInSameProcessFailsUntilReleased)
{
  ClTestName name("A");
  ClInterprocessLock a(name.c_str()), b(name.c_str());
  ASSERT_TRUE(a.TryLock());
  EXPECT_FALSE(b.TryLock());
  EXPECT_FALSE(a.TryLock()) << "a held claim is not taken twice";
  EXPECT_TRUE(a.IsHeld());
  a.Unlock();
  EXPECT_TRUE(b.TryLock());
  b.Unlock();
  {
    ClInterprocessLock c(name.c_str());
    EXPECT_TRUE(c.TryLock());
  }
  EXPECT_TRUE(a.TryLock()) << "the destructor releases";
}

TEST(Claim, BlankAndUnderscoreCollide)
{
  ClTestName test("B ");
  std::string blank = test.sName;
  std::string underscore = blank;
  underscore[3] = '_';
  ClInterprocessLock a(blank.c_str()), b(underscore.c_str());
  EXPECT_EQ(ClInterprocessLock::LockPath(blank), ClInterprocessLock::LockPath(underscore));
  EXPECT_NE(ClInterprocessLock::LockPath(blank).find("VltLock_KX2_B_"), std::string::npos);
  ASSERT_TRUE(a.TryLock());
  EXPECT_FALSE(b.TryLock());
}

TEST(Claim, BrokenNamesReadAsNotClaimed)
{
  ClInterprocessLock a("no/such/dir");
  EXPECT_FALSE(a.TryLock());
  EXPECT_FALSE(a.IsHeld());
  a.Unlock();
}

TEST(Claim, OtherProcessHoldsUntilKilled)
{
  ClTestName name("C");
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    close(fds[0]);
    ClInterprocessLock holder(name.c_str());
    char c = holder.TryLock() ? '1' : '0';
    if (write(fds[1], &c, 1) != 1)
      _exit(2);
    for (;;)
      pause();
  }
  close(fds[1]);
  char c = 0;
  ASSERT_EQ(read(fds[0], &c, 1), 1);
  close(fds[0]);
  EXPECT_EQ(c, '1');

  ClInterprocessLock mine(name.c_str());
  EXPECT_FALSE(mine.TryLock());
  ASSERT_EQ(kill(pid, SIGKILL), 0);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  // The kernel dropped the claim with the holder: no waiting, no clean-up needed.
  EXPECT_TRUE(mine.TryLock());
}

TEST(Claim, ConcurrentClaimsHaveOneWinner)
{
  ClTestName name("D");
  const int nThreads = 8, nRounds = 16;
  for (int round = 0; round < nRounds; ++round) {
    std::atomic<int> winners{0}, ready{0};
    std::vector<std::thread> threads;
    std::vector<ClInterprocessLock*> locks;
    for (int i = 0; i < nThreads; ++i)
      locks.push_back(new ClInterprocessLock(name.c_str()));
    for (int i = 0; i < nThreads; ++i)
      threads.emplace_back([&, i] {
        ++ready;
        while (ready.load() < nThreads)
          std::this_thread::yield();
        if (locks[i]->TryLock())
          ++winners;
      });
    for (auto& t : threads)
      t.join();
    EXPECT_EQ(winners.load(), 1) << "round " << round;
    for (auto* l : locks)
      delete l;
  }
}
