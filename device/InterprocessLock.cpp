#include "device/InterprocessLock.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// One folder for every user of the machine: a per-user one would let two users drive one
// scanner at once.
std::string LockDirectory()
{
  const char* dir = std::getenv(ClInterprocessLock::szDirVariable);
  if (dir && *dir)
    return dir;
  struct stat st;
  if (stat("/run/lock", &st) == 0 && S_ISDIR(st.st_mode))
    return "/run/lock";
  return "/tmp";
}

// Any user must meet the same file whatever the creator's umask and the kernel's
// protected-files setting: an existing file is opened without O_CREAT (read access is
// enough for flock), and only a missing one is created, exclusively, then opened to all.
int OpenLockFile(const std::string& sPath)
{
  const int flags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW;
  for (int attempt = 0; attempt < 3; ++attempt) {
    int fd = open(sPath.c_str(), flags);
    if (fd >= 0 || errno != ENOENT)
      return fd;
    fd = open(sPath.c_str(), flags | O_CREAT | O_EXCL, 0666);
    if (fd >= 0) {
      fchmod(fd, 0666);
      return fd;
    }
    // EEXIST: another claimant created it in between; open that one.
    if (errno != EEXIST)
      return -1;
  }
  return -1;
}

} // namespace

ClInterprocessLock::ClInterprocessLock(const char* szName) : m_sName(szName ? szName : "") {}

ClInterprocessLock::~ClInterprocessLock() { Unlock(); }

std::string ClInterprocessLock::LockPath(const std::string& sName)
{
  std::string name = "VltLock_" + sName;
  for (char& c : name)
    if (c == ' ')
      c = '_';
  return LockDirectory() + '/' + name;
}

bool ClInterprocessLock::TryLock()
{
  if (m_nFile >= 0)
    return false;
  try {
    // The file stays behind on release: unlinking it would let two claimants lock two
    // different files of the same name.
    int fd = OpenLockFile(LockPath(m_sName));
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
