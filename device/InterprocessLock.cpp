#include "device/InterprocessLock.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

ClInterprocessLock::ClInterprocessLock(const char* szName) : m_sName(szName ? szName : "")
{
}

ClInterprocessLock::~ClInterprocessLock()
{
  Unlock();
}

std::string ClInterprocessLock::LockPath(const std::string& sName)
{
  std::string name = "VltLock_" + sName;
  for (char& c : name)
    if (c == ' ')
      c = '_';
  const char* dir = std::getenv("XDG_RUNTIME_DIR");
  return std::string(dir && *dir ? dir : "/tmp") + '/' + name;
}

bool ClInterprocessLock::TryLock()
{
  if (m_nFile >= 0)
    return false;
  try {
    std::string path = LockPath(m_sName);
    // Read access is enough for flock, so a file left by another user can still carry
    // the claim. The file stays behind on release: unlinking it would let two claimants
    // lock two different files of the same name.
    int fd = open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (fd < 0)
      return false;
    // The lock belongs to this open file description: a second claim in this very
    // process, by another descriptor, fails as one from another process does.
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
      close(fd);
      return false;
    }
    m_nFile = fd;
    return true;
  } catch (...) {
    return false;
  }
}

void ClInterprocessLock::Unlock()
{
  if (m_nFile < 0)
    return;
  close(m_nFile);
  m_nFile = -1;
}
