#include "ProbeRunner.h"

#include <cstdlib>
#include <cstring>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

std::string BinDir() { return LSKX2_TEST_BIN_DIR; }

ClProbeResult RunProbe(const std::string& sVariant, const std::vector<std::string>& args)
{
  ClProbeResult r;
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e)
    if (std::strncmp(*e, "LD_LIBRARY_PATH=", 16) != 0 && std::strncmp(*e, "KXSIM_", 6) != 0)
      env.push_back(*e);
  if (!sVariant.empty())
    env.push_back("LD_LIBRARY_PATH=" + BinDir() + "/variants/" + sVariant);
  std::vector<std::string> argv = {BinDir() + "/device_probe"};
  argv.insert(argv.end(), args.begin(), args.end());

  std::vector<char*> cargv, cenv;
  for (auto& a : argv)
    cargv.push_back(&a[0]);
  cargv.push_back(nullptr);
  for (auto& e : env)
    cenv.push_back(&e[0]);
  cenv.push_back(nullptr);

  int fds[2];
  if (pipe(fds) != 0)
    return r;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  pid_t pid = -1;
  int rc = posix_spawn(&pid, cargv[0], &actions, nullptr, cargv.data(), cenv.data());
  posix_spawn_file_actions_destroy(&actions);
  close(fds[1]);
  if (rc == 0) {
    char buf[4096];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof(buf))) > 0)
      r.sOutput.append(buf, static_cast<size_t>(n));
    int status = 0;
    waitpid(pid, &status, 0);
    r.nExit = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  close(fds[0]);

  size_t pos = 0;
  while (pos < r.sOutput.size()) {
    size_t end = r.sOutput.find('\n', pos);
    if (end == std::string::npos)
      end = r.sOutput.size();
    std::string line = r.sOutput.substr(pos, end - pos);
    size_t eq = line.find('=');
    if (eq != std::string::npos)
      r.Values[line.substr(0, eq)] = line.substr(eq + 1);
    pos = end + 1;
  }
  return r;
}
