// The machine-wide claim of a scanner between two processes: the second open is refused
// while the first lives, and succeeds at once when the first is killed.
#include "livescannerkx2.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

extern char** environ;

namespace {

// Starts the probe that opens the scanner and holds it; its first line says how it went.
pid_t StartHolder(std::string& sFirstLine)
{
  int fds[2];
  if (pipe(fds) != 0)
    return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  const std::string sPath = LSKX2_TEST_BIN_DIR "/lskx2_logprobe";
  char* argv[] = {const_cast<char*>(sPath.c_str()), const_cast<char*>("hold"), nullptr};
  pid_t pid = -1;
  if (posix_spawn(&pid, sPath.c_str(), &actions, nullptr, argv, environ) != 0)
    pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  close(fds[1]);
  FILE* in = fdopen(fds[0], "r");
  char line[64] = {};
  if (in && std::fgets(line, sizeof(line), in))
    sFirstLine = line;
  if (in)
    std::fclose(in);
  return pid;
}

} // namespace

TEST(ScannerClaim, SecondProcessIsRefusedUntilTheFirstDies)
{
  std::string sLine;
  const pid_t pid = StartHolder(sLine);
  ASSERT_GT(pid, 0);
  ASSERT_EQ(sLine, "open 0\n");

  ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
  LS_KX2_HANDLE h = reinterpret_cast<LS_KX2_HANDLE>(uintptr_t(1));
  EXPECT_EQ(LS_KX2OpenScanner("KX2 21234567", &h), -61);
  EXPECT_EQ(h, nullptr);

  ASSERT_EQ(kill(pid, SIGKILL), 0);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  // No wait and no retry: the claim went with the process.
  EXPECT_EQ(LS_KX2OpenScanner("KX2 21234567", &h), 0);
  EXPECT_NE(h, nullptr);
  EXPECT_EQ(LS_KX2CloseScanner(&h), 0);
  EXPECT_EQ(LS_KX2Uninitialize(), 0);
}
