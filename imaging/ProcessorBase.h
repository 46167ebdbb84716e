#pragma once
// Base of every parameterised image processor. A processor holds its image pointers
// (never owned) and settings as members, offers them as parameters, and is executed by
// Run(): Initialize, Process, Finalize, with optional logging and timing around them.
//
// Writing a processor on this frame:
//   - Derive from NewIpBase::ClIp1to1Base (one input, one output; type list and in-place
//     safety come with it), ClIp2to1Base (two inputs with offsets), or from this class
//     for anything else.
//   - Constructor: set m_bInPlace/m_bUseLookUp as needed, AddDataType(s) for the input
//     types accepted, then SetDefaultParameters().
//   - DescribeArguments calls the base, then declares each setting once in the table
//     (member, list and container names, text, default, range, flags); the base derives
//     DeclareInterface, SetDefaultParameters and BindParameters from it.
//   - Clone() returns CloneNew<ClIpX>(); GetName() the class name; GetInfoString a
//     summary through FormatInfo.
//   - The work goes into Process(), or for the 1-to-1 and 2-to-1 bases into
//     ProcessImage/ProcessImages: dispatch once per image with DispatchType(s) of
//     imaging/TpDispatch.h onto a kernel template over raw rows (LineElements()).
#include "imaging/ProcessorArguments.h"
#include "imaging/ProcessorLog.h"
#include "imaging/ProcessorTiming.h"
#include "parameters/ParameterProvider.h"
#include "base/Exceptions.h"

#include <cstddef>
#include <cstdint>
#include <new>

class ClParameterContainer;

class ClProcessorBase : public ClParameterProvider
{
public:
  ClProcessorBase();
  ~ClProcessorBase() override;

  // 0 or a negative status. A non-zero Initialize ends the run with its value; a
  // non-zero Finalize throws "Finalization failed" with that value as code.
  int32_t Run();

  // A fresh object of the class in its default state; settings are not copied.
  virtual ClProcessorBase* Clone() const = 0;
  virtual const char* GetName() const = 0;
  virtual bool IsReady() const { return false; }
  // Size 0 throws -101 "Unexpected zero-length string"; the base stores an empty text.
  virtual void GetInfoString(char* pBuffer, size_t nSize) const;
  // From the table of DescribeArguments.
  void DeclareInterface(ClParameterInterface& itf) override;
  void SetDefaultParameters() override;
  void BindParameters(ClParameterContainer& container) override;
  // Members keep their present values; the parameters' defaults get the factory values.
  virtual void CaptureDefaults(ClParameterContainer& container);
  virtual void SetLogging(bool bOn);
  virtual int32_t Initialize() { return 0; }
  virtual int32_t Finalize(int32_t nProcessStatus) { return 0; }
  virtual int32_t Process() = 0;

  // Process-wide sink and timing collector, read without a lock; set once if at all.
  static void SetDefaultLog(ClProcessorLog* pLog) { s_pDefaultLog = pLog; }
  static void SetTiming(ClProcessorTiming* pTiming) { s_pTiming = pTiming; }

  ClProcessorLog* GetLog() const { return m_pLog; }

protected:
  ClProcessorBase(const ClProcessorBase&) = delete;
  ClProcessorBase& operator=(const ClProcessorBase&) = delete;

  // Each argument once, after those of the base.
  virtual void DescribeArguments(ClProcessorArguments&) {}

  template <class P>
  static P* CloneNew()
  {
    P* p = new (std::nothrow) P();
    if (!p)
      throw ClExBadAlloc();
    return p;
  }

  // For GetInfoString overrides: formats into the buffer or throws -101
  // "String-Length exceeded available size" when the text does not fit.
  static void FormatInfo(char* pBuffer, size_t nSize, const char* szFormat, ...)
      __attribute__((format(printf, 3, 4)));

  ClProcessorLog* m_pLog;

private:
  static ClProcessorLog* s_pDefaultLog;
  static ClProcessorTiming* s_pTiming;
};
