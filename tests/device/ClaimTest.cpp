#include "device/InterprocessLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// Sets an environment variable for one scope.
struct ClEnv
{
  ClEnv(const char* szName, const char* szValue) : m_szName(szName)
  {
    const char* old = std::getenv(szName);
    m_bHad = old != nullptr;
    if (old)
      m_sOld = old;
    if (szValue)
      setenv(szName, szValue, 1);
    else
      unsetenv(szName);
  }
  ~ClEnv()
  {
    if (m_bHad)
      setenv(m_szName, m_sOld.c_str(), 1);
    else
      unsetenv(m_szName);
  }
  const char* m_szName;
  bool m_bHad = false;
  std::string m_sOld;
};

// A lock folder open to every user, as /run/lock is, inside this run's own folder.
struct ClSharedLockDir
{
  ClSharedLockDir()
  {
    // The other user must be able to pass through this run's folder to reach it.
    const char* base = std::getenv(ClInterprocessLock::szDirVariable);
    struct stat st;
    if (!base || !*base || stat(base, &st) != 0 || !(st.st_mode & S_IXOTH))
      base = "/tmp";
    sPath = std::string(base) + "/shared-" + std::to_string(getpid());
    mkdir(sPath.c_str(), 0700);
    chmod(sPath.c_str(), 01777);
  }
  ~ClSharedLockDir() { rmdir(sPath.c_str()); }
  std::string sPath;
};

// Names of their own, so that test runs of other builds never meet these; the files
// that carry the claims go when the test ends.
struct ClTestName
{
  explicit ClTestName(const char* szTag)
    : sName(std::string("KX2 ") + szTag + std::to_string(getpid()))
  {}
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

TEST(Claim, BrokenNamesAndFoldersReadAsNotClaimed)
{
  ClInterprocessLock a("no/such/dir");
  EXPECT_FALSE(a.TryLock());
  EXPECT_FALSE(a.IsHeld());
  a.Unlock();
  ClEnv dir(ClInterprocessLock::szDirVariable, "/no/such/lock/folder");
  ClInterprocessLock b("KX2 21234567");
  EXPECT_FALSE(b.TryLock());
}

TEST(Claim, OneFolderForEveryUser)
{
  ClEnv runtime("XDG_RUNTIME_DIR", "/tmp");
  ClEnv dir(ClInterprocessLock::szDirVariable, nullptr);
  struct stat st;
  const std::string expected =
      stat("/run/lock", &st) == 0 && S_ISDIR(st.st_mode) ? "/run/lock/" : "/tmp/";
  EXPECT_EQ(ClInterprocessLock::LockPath("KX2 21234567"), expected + "VltLock_KX2_21234567");
}

namespace {

// Claims the name in a child process switched to the given user: 0 granted, 1 refused,
// anything else a failure of the child.
int ClaimAsUser(const std::string& sName, uid_t nUser)
{
  pid_t pid = fork();
  if (pid == 0) {
    if (setgid(nUser) != 0 || setuid(nUser) != 0)
      _exit(3);
    ClInterprocessLock lock(sName.c_str());
    _exit(lock.TryLock() ? 0 : 1);
  }
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
    return -1;
  return WEXITSTATUS(status);
}

} // namespace

TEST(Claim, OtherUserRefusedWhileHeldAndGrantedAfter)
{
  if (geteuid() != 0)
    GTEST_SKIP() << "switching to another user needs root";
  const uid_t nobody = 65534;
  ClSharedLockDir shared;
  ClEnv dir(ClInterprocessLock::szDirVariable, shared.sPath.c_str());
  ClTestName name("U");
  {
    // A strict umask of the first claimant must not lock the file away from others.
    mode_t old = umask(077);
    ClInterprocessLock mine(name.c_str());
    bool bHeld = mine.TryLock();
    umask(old);
    ASSERT_TRUE(bHeld);
    EXPECT_EQ(ClaimAsUser(name.sName, nobody), 1) << "refused while held";
  }
  EXPECT_EQ(ClaimAsUser(name.sName, nobody), 0) << "granted once released";

  // The other way round: the file belongs to the other user, in a sticky folder.
  ClTestName theirs("V");
  ASSERT_EQ(ClaimAsUser(theirs.sName, nobody), 0);
  ClInterprocessLock mine(theirs.c_str());
  EXPECT_TRUE(mine.TryLock());
}

TEST(Claim, OtherProcessHoldsUntilKilled)
{
  // Per-user runtime folders must not separate the claimants.
  ClEnv runtime("XDG_RUNTIME_DIR", "/tmp");
  ClTestName name("C");
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    close(fds[0]);
    setenv("XDG_RUNTIME_DIR", "/", 1);
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
