#pragma once
// The binding to the device library: loads it once per process, fills g_KXScanAPI and
// keeps old library versions in the process for good.
#include "device/DynamicLibraryLoader.h"
#include "device/KXScanAPI.h"

#include <atomic>
#include <string>

class ClVeltranoKX1Wrapper : public ClDynamicLibraryLoader
{
public:
  static constexpr const char* szLibraryFile = "libkxScanAPI.so";

  // Loads szFile (see ClDynamicLibraryLoader::Load) and resolves the table: -200 when the
  // library is missing, -206 with the entry's name when a mandatory entry is.
  ClVeltranoKX1Wrapper(const char* szSearchPath, const char* szFile);
  ~ClVeltranoKX1Wrapper() override;

  // Creates the process-wide binding unless it exists. A failure leaves none, so the
  // next call tries again. Run by the SDK object's first use, every device wrapper and
  // every enumeration.
  static void Start();
  // Ends the binding for good, as the process exits: the pointer and the table are
  // cleared before the library goes, so that a late call (a static destructor, a thread
  // still running) gets -2 rather than a jump into unmapped code. Start gives -2 after it.
  static void End();
  static ClVeltranoKX1Wrapper* Instance() { return s_pInstance.load(std::memory_order_acquire); }
  // Module of the second load that keeps a library older than version 10 loaded.
  static void* PinnedModule() { return s_hPinned.load(std::memory_order_acquire); }

private:
  friend class ClKXCall;
  void ResolveTable();
  void Pin();

  static std::atomic<ClVeltranoKX1Wrapper*> s_pInstance;
  static std::atomic<void*> s_hPinned;
};

[[noreturn]] void KXRaiseUnbound();

// One call into the device library, counted while it lasts: End waits for the calls that
// passed the gate before it unloads, so none runs into unmapped code.
class ClKXCall
{
public:
  ClKXCall();
  ~ClKXCall();
  ClKXCall(const ClKXCall&) = delete;
  ClKXCall& operator=(const ClKXCall&) = delete;
  // Null when there is no binding (not started, or ended).
  const ClKXScanAPITable* Table() const { return m_pTable; }
  // -2 when there is no binding.
  const ClKXScanAPITable* operator->() const
  {
    if (!m_pTable)
      KXRaiseUnbound();
    return m_pTable;
  }
  // True once no call is inside, false if some still are when the time is up.
  static bool WaitIdle(int32_t nMs);

private:
  const ClKXScanAPITable* m_pTable = nullptr;
};

// The table of the live binding for the length of one call: KXApi()->ftrScan...(...).
inline ClKXCall KXApi() { return ClKXCall(); }

// Trail of the binding and the enumeration; off unless switched on in a debugger or a
// test. Lines go to the debug output, which is the SDK's logging.
extern std::atomic<bool> g_bKXDebugTrail;
void KXTrail(const char* szText);

// "1.2.3" from one to four version numbers; any other count is -35.
std::string KXJoinNumbers(const uint16_t* pNumbers, int nCount);
