#pragma once
// Machine-wide claim of a scanner by name: a try-lock without waiting that the kernel
// drops when the holder's descriptor closes, however the holder ends.
#include <string>

class ClInterprocessLock
{
public:
  explicit ClInterprocessLock(const char* szName);
  ClInterprocessLock(const ClInterprocessLock&) = delete;
  ClInterprocessLock& operator=(const ClInterprocessLock&) = delete;
  virtual ~ClInterprocessLock();

  // Claims "VltLock_" + name, blanks read as '_'. Never raises: every failure of the
  // system, like a rival holder in this or another process, answers false.
  bool TryLock();
  void Unlock();

  bool IsHeld() const { return m_nFile >= 0; }
  // Environment variable naming the folder of the claims; without it /run/lock, or /tmp
  // where that is missing.
  static constexpr const char* szDirVariable = "VELTRANO_SDK_LOCK_DIR";
  // The file that carries the claim for a name.
  static std::string LockPath(const std::string& sName);

private:
  std::string m_sName;
  int m_nFile = -1; // open descriptor holding the lock, -1 while not held
};
