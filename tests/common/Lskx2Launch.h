// Programs started by the tests as a user starts them: lskx2 of the build on the
// simulator, each test in a folder of its own that holds the scanner claim, the runtime
// files, the simulator configuration and the program's output.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

extern char** environ;

// A child process, killed if it still runs when dropped.
class ClChildProcess
{
public:
  ClChildProcess() = default;
  ClChildProcess(const ClChildProcess&) = delete;
  ClChildProcess& operator=(const ClChildProcess&) = delete;
  ~ClChildProcess() { Stop(SIGKILL); }

  // Starts args[0] (searched on PATH) with this process's environment less the
  // simulator's, the recorder's, the claim's and the logging variables and the runtime
  // folder, plus env. Standard output to sOut, standard error to sErr (empty: to sOut).
  bool Start(std::vector<std::string> args, const std::vector<std::string>& env,
             const std::string& sOut, const std::string& sErr = "")
  {
    std::vector<std::string> vars;
    for (char** e = environ; *e; ++e)
      if (std::strncmp(*e, "KXSIM_", 6) && std::strncmp(*e, "KXREC_", 6) &&
          std::strncmp(*e, "XDG_RUNTIME_DIR=", 16) && std::strncmp(*e, "VELTRANO_SDK_", 13))
        vars.push_back(*e);
    vars.insert(vars.end(), env.begin(), env.end());
    std::vector<char*> argv, envp;
    for (std::string& a : args)
      argv.push_back(&a[0]);
    for (std::string& v : vars)
      envp.push_back(&v[0]);
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, sOut.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (sErr.empty())
      posix_spawn_file_actions_adddup2(&actions, 1, 2);
    else
      posix_spawn_file_actions_addopen(&actions, 2, sErr.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                       0644);
    const int rc = posix_spawnp(&m_nPid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0)
      m_nPid = 0;
    return rc == 0;
  }

  pid_t Pid() const { return m_nPid; }
  // False once it has ended; Status() then tells how.
  bool Running()
  {
    int status = 0;
    if (m_nPid <= 0 || waitpid(m_nPid, &status, WNOHANG) == 0)
      return m_nPid > 0;
    Ended(status);
    return false;
  }
  // The exit status; -1 when killed or never started.
  int Status() const { return m_nStatus; }

  // Waits up to dSeconds for the end, calling pfnPoll every 50 ms meanwhile, then kills
  // it. The exit status.
  int Wait(double dSeconds, const std::function<void()>& pfnPoll = nullptr)
  {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(dSeconds);
    while (Running()) {
      if (std::chrono::steady_clock::now() > deadline) {
        kill(m_nPid, SIGKILL);
        int status = 0;
        waitpid(m_nPid, &status, 0);
        Ended(status);
        break;
      }
      if (pfnPoll)
        pfnPoll();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return m_nStatus;
  }
  // Sends nSignal and waits up to 30 s.
  int Stop(int nSignal)
  {
    if (m_nPid > 0)
      kill(m_nPid, nSignal);
    return Wait(30);
  }

private:
  void Ended(int status)
  {
    m_nPid = 0;
    m_nStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  pid_t m_nPid = 0;
  int m_nStatus = -1;
};

// A fresh folder per test, kept when the test failed.
class ClLskx2Fixture : public ::testing::Test
{
protected:
  void SetUp() override
  {
    std::string templ = "/tmp/lskx2-test-XXXXXX";
    ASSERT_TRUE(mkdtemp(&templ[0]));
    m_sDir = templ;
  }
  void TearDown() override
  {
    if (!HasFailure())
      std::system(("rm -rf '" + m_sDir + "'").c_str());
  }

  // Starts lskx2 of the build (LSKX2_BIN_DIR) with its claim and runtime files in the
  // test's folder and the simulator configuration sConfig (empty: the built-in one).
  bool Launch(ClChildProcess& p, std::vector<std::string> args, const std::string& sConfig,
              const std::string& sOut, const std::string& sErr = "",
              std::vector<std::string> env = {})
  {
    const char* bin = std::getenv("LSKX2_BIN_DIR");
    args.insert(args.begin(), std::string(bin ? bin : ".") + "/lskx2");
    env.push_back("XDG_RUNTIME_DIR=" + m_sDir);
    env.push_back("VELTRANO_SDK_LOCK_DIR=" + m_sDir);
    if (!sConfig.empty()) {
      std::ofstream(m_sDir + "/config.json") << sConfig;
      env.push_back("KXSIM_CONFIG=" + m_sDir + "/config.json");
    }
    return p.Start(args, env, sOut, sErr);
  }

  std::string m_sDir;
};
