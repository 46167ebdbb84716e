#include "imaging/ProcessorBase.h"

#include "imaging/StopWatch.h"
#include "parameters/ParameterContainer.h"

#include <cstdarg>
#include <cstdio>
#include <typeinfo>

ClProcessorLog* ClProcessorBase::s_pDefaultLog = nullptr;
ClProcessorTiming* ClProcessorBase::s_pTiming = nullptr;

ClProcessorBase::ClProcessorBase() : m_pLog(s_pDefaultLog) {}

ClProcessorBase::~ClProcessorBase() = default;

int32_t ClProcessorBase::Run()
{
  if (m_pLog)
    m_pLog->BeginRun(*this);
  Vlt::CXStopWatch watch;
  int32_t nStatus = Initialize();
  if (nStatus != 0)
    return nStatus;
  nStatus = Process();
  int32_t nFinal = Finalize(nStatus);
  if (nFinal != 0)
    LSKX2_THROW_MSG("Finalization failed", nFinal);
  if (ClProcessorTiming* pTiming = s_pTiming)
    pTiming->Add(typeid(*this), watch.Elapsed());
  if (m_pLog) {
    char szInfo[512];
    GetInfoString(szInfo, sizeof(szInfo));
    m_pLog->Write("%s %s", GetName(), szInfo);
  }
  return nStatus;
}

void ClProcessorBase::GetInfoString(char* pBuffer, size_t nSize) const
{
  if (nSize == 0)
    LSKX2_THROW_MSG("Unexpected zero-length string", eErrInternal);
  if (pBuffer)
    pBuffer[0] = 0;
}

void ClProcessorBase::FormatInfo(char* pBuffer, size_t nSize, const char* szFormat, ...)
{
  if (nSize == 0 || !pBuffer)
    LSKX2_THROW_MSG("Unexpected zero-length string", eErrInternal);
  va_list args;
  va_start(args, szFormat);
  int n = std::vsnprintf(pBuffer, nSize, szFormat, args);
  va_end(args);
  if (n < 0 || static_cast<size_t>(n) >= nSize) {
    pBuffer[0] = 0;
    LSKX2_THROW_MSG("String-Length exceeded available size", eErrInternal);
  }
}

void ClProcessorBase::CaptureDefaults(ClParameterContainer& container)
{
  // The swap parks the present values in the defaults while the factory values are
  // written, and the second swap puts both where they belong.
  BindParameters(container);
  container.SwapValueAndDefault();
  SetDefaultParameters();
  container.SwapValueAndDefault();
}

void ClProcessorBase::DeclareInterface(ClParameterInterface& itf)
{
  ClProcessorArguments args;
  DescribeArguments(args);
  args.Declare(itf);
}

void ClProcessorBase::SetDefaultParameters()
{
  ClProcessorArguments args;
  DescribeArguments(args);
  args.SetDefaults();
}

void ClProcessorBase::BindParameters(ClParameterContainer& container)
{
  ClProcessorArguments args;
  DescribeArguments(args);
  args.Bind(container);
}

void ClProcessorBase::SetLogging(bool bOn) { m_pLog = bOn ? s_pDefaultLog : nullptr; }
