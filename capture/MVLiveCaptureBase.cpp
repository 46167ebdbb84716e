#include "capture/MVLiveCaptureBase.h"

#include "device/RDMVScanAPIHandleBase.h"
#include "base/Exceptions.h"

#include <cstdio>
#include <cstring>
#include <string>

ClMVLiveCaptureBase::~ClMVLiveCaptureBase() = default;

void ClMVLiveCaptureBase::SetDevice(ClRDMVScanAPIHandleBase* pDevice) { m_pDevice = pDevice; }

void ClMVLiveCaptureBase::GetVersionInfo(uint32_t nId, char* pText, uint64_t* pnSize)
{
  if (!m_pDevice)
    LSKX2_THROW(eErrNotInitialized);
  if (nId == 0) {
    m_pDevice->GetApiVersionText(pText, pnSize);
    return;
  }
  if (!pnSize)
    LSKX2_THROW(eErrBadPointer);
  char text[256] = {};
  uint64_t nRoom = sizeof(text);
  m_pDevice->GetVersionText(text, &nRoom);
  text[sizeof(text) - 1] = 0;

  const char* szLabel;
  switch (nId) {
  case 1:
    szLabel = "FW:";
    break;
  case 2:
    szLabel = "FPGA:";
    break;
  case 3:
    szLabel = "HW:";
    break;
  case 4:
    szLabel = "LIB:";
    break;
  default:
    LSKX2_THROW_MSG("VersionId not supported.", eErrInvalidParameter);
  }
  const size_t nLength = std::strlen(text);
  const char* pHit = std::strstr(text, szLabel);
  // A label that is missing leaves the position at the end of the text.
  const size_t nValue = pHit ? size_t(pHit - text) + std::strlen(szLabel) : nLength;
  if (nValue >= nLength)
    LSKX2_THROW_MSG("Version information not found.", eErrUnsupportedFeature);

  char word[256] = {};
  if (std::sscanf(text + nValue, "%255s", word) != 1)
    LSKX2_THROW_MSG("Version information not found.", eErrUnsupportedFeature);
  const uint64_t nNeeded = std::strlen(word) + 1;
  const uint64_t nOld = *pnSize;
  *pnSize = nNeeded;
  if (nOld < nNeeded || !pText)
    LSKX2_THROW_MSG("The given string is too small.", eErrSizeTooSmall);
  std::memcpy(pText, word, nNeeded);
}

void ClMVLiveCaptureBase::ForwardToDevice(uint32_t nA, void* pB, void* pC)
{
  if (!m_pDevice)
    LSKX2_THROW(eErrNotInitialized);
  m_pDevice->Reserved(nA, pB, pC);
}
