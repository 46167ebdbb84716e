// The properties of a scanner handle and their bindings to the engine.
#include "capture/KX2LiveCaptureR2.h"
#include "sdk/KX2Handle.h"
#include "base/Exceptions.h"
#include "roll/IpAutoRoll5.h"
#include "livescannerkx2.h"

namespace {

constexpr uint8_t kReadWrite = eParamRead | eParamWrite;

} // namespace

void ClKX2Handle::RegisterParameters(ClParameterContainer* pTable)
{
  // Built at first use, which for an exported handle is after Open; without an engine
  // the plain fields are left unbound and the accessors answer -2.
  ClKX2LiveCaptureR2* pEngine = m_pCapture ? &Engine() : nullptr;

  if (pEngine) {
    pTable->CreateNumeric<unsigned int>(LS_KX2_PROPERTY_USE_FAST_MASK)
        ->Bind(&pEngine->m_nUseFastMask, kReadWrite);
    pTable->CreateNumeric<unsigned int>(LS_KX2_PROPERTY_ROLLED_POST_PROCESS)
        ->Bind(&pEngine->m_nRolledPostProcess, kReadWrite);
  } else {
    // Without an engine the fields have nothing to point at: accessors that answer -2.
    for (const char* szName : {LS_KX2_PROPERTY_USE_FAST_MASK, LS_KX2_PROPERTY_ROLLED_POST_PROCESS})
      pTable->CreateNumeric<unsigned int, ClKX2Handle>(szName)->Bind(
          &m_nUnopenedDefault, this, &SetUnopened<unsigned int>, &GetUnopened<unsigned int>,
          kReadWrite);
  }

  m_nAverageDefault = pEngine ? GetAverageLiveness(this) : 0;
  auto* pAverage =
      pTable->CreateNumeric<unsigned int, ClKX2Handle>(LS_KX2_PROPERTY_AVERAGE_LIVENESS_SCORE_MODE);
  pAverage->Bind(&m_nAverageDefault, this, &SetAverageLiveness, &GetAverageLiveness, kReadWrite);
  pAverage->SetMin(0);
  pAverage->SetMax(1);

  pTable->CreateNumeric<unsigned int, ClKX2Handle>(LS_KX2_PROPERTY_RESET_IMAGE)
      ->Bind(&m_nResetDefault, this, &SetResetImage, &GetResetImage, eParamWrite);

  // Out of range is refused, not clamped.
  if (pEngine) {
    auto* pSensitivity = pTable->CreateNumeric<int>(LS_KX2_PROPERTY_MASK_SENSITIVITY);
    pSensitivity->Bind(&pEngine->m_nMaskSensitivity, kReadWrite | eParamStrict);
    pSensitivity->SetMin(0);
    pSensitivity->SetMax(5);
  } else {
    auto* pSensitivity = pTable->CreateNumeric<int, ClKX2Handle>(LS_KX2_PROPERTY_MASK_SENSITIVITY);
    pSensitivity->Bind(&m_nUnopenedSensitivity, this, &SetUnopened<int>, &GetUnopened<int>,
                       kReadWrite | eParamStrict);
    pSensitivity->SetMin(0);
    pSensitivity->SetMax(5);
  }

  m_nSettlingDefault = pEngine ? GetStartSettling(this) : 1;
  pTable->CreateNumeric<unsigned int, ClKX2Handle>(LS_KX2_PROPERTY_ROLL_FINGER_START_MODE)
      ->Bind(&m_nSettlingDefault, this, &SetStartSettling, &GetStartSettling, kReadWrite);

  m_nMergeModeDefault = pEngine ? GetMergeMode(this) : 0;
  pTable->CreateNumeric<int, ClKX2Handle>(LS_KX2_PROPERTY_ROLL_MERGE_MODE)
      ->Bind(&m_nMergeModeDefault, this, &SetMergeMode, &GetMergeMode, kReadWrite);
}

uint32_t ClKX2Handle::GetAverageLiveness(ClKX2Handle* p)
{
  return p->Engine().GetAverageLiveness() ? 1 : 0;
}

void ClKX2Handle::SetAverageLiveness(ClKX2Handle* p, const uint32_t* pValue)
{
  p->Engine().SetAverageLiveness(*pValue);
}

uint32_t ClKX2Handle::GetResetImage(ClKX2Handle*) { return 0; }

// Any value restarts the roll.
void ClKX2Handle::SetResetImage(ClKX2Handle* p, const uint32_t*) { p->Engine().ResetRoll(true); }

int32_t ClKX2Handle::GetMergeMode(ClKX2Handle* p) { return p->Engine().GetRollMergeMode(); }

// Only the two merges exist; anything else is a bad value, not a clamp.
void ClKX2Handle::SetMergeMode(ClKX2Handle* p, const int32_t* pValue)
{
  if (*pValue != ClIpAutoRoll5::eMergeExact && *pValue != ClIpAutoRoll5::eMergeRegistered)
    LSKX2_THROW(eErrInvalidParameter);
  p->Engine().SetRollMergeMode(*pValue);
}

uint32_t ClKX2Handle::GetStartSettling(ClKX2Handle* p) { return p->Engine().GetStartSettling(); }

void ClKX2Handle::SetStartSettling(ClKX2Handle* p, const uint32_t* pValue)
{
  p->Engine().SetStartSettling(*pValue);
}
