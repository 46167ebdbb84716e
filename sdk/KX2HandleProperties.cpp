// The properties of a scanner handle and their bindings to the engine.
#include "capture/KX2LiveCaptureR2.h"
#include "sdk/KX2Handle.h"
#include "livescannerkx2.h"

namespace {

const uint8_t nReadWrite = eParamRead | eParamWrite;

} // namespace

void ClKX2Handle::RegisterParameters(ClParameterContainer* pTable)
{
  // Built at first use, which for an exported handle is after Open; without an engine
  // the plain fields are left unbound and the accessors answer -2.
  ClKX2LiveCaptureR2* pEngine = m_pCapture ? &Engine() : nullptr;

  pTable->CreateNumeric<unsigned int>(LS_KX2_PROPERTY_USE_FAST_MASK)
      ->Bind(pEngine ? &pEngine->m_nUseFastMask : nullptr, nReadWrite);
  pTable->CreateNumeric<unsigned int>(LS_KX2_PROPERTY_ROLLED_POST_PROCESS)
      ->Bind(pEngine ? &pEngine->m_nRolledPostProcess : nullptr, nReadWrite);

  m_nAverageDefault = pEngine ? GetAverageLiveness(this) : 0;
  auto* pAverage =
      pTable->CreateNumeric<unsigned int, ClKX2Handle>(LS_KX2_PROPERTY_AVERAGE_LIVENESS_SCORE_MODE);
  pAverage->Bind(&m_nAverageDefault, this, &SetAverageLiveness, &GetAverageLiveness, nReadWrite);
  pAverage->SetMin(0);
  pAverage->SetMax(1);

  pTable->CreateNumeric<unsigned int, ClKX2Handle>(LS_KX2_PROPERTY_RESET_IMAGE)
      ->Bind(&m_nResetDefault, this, &SetResetImage, &GetResetImage, eParamWrite);

  // Out of range is refused, not clamped.
  auto* pSensitivity = pTable->CreateNumeric<int>(LS_KX2_PROPERTY_MASK_SENSITIVITY);
  pSensitivity->Bind(pEngine ? &pEngine->m_nMaskSensitivity : nullptr, nReadWrite | eParamStrict);
  pSensitivity->SetMin(0);
  pSensitivity->SetMax(5);

  m_nSettlingDefault = pEngine ? GetStartSettling(this) : 1;
  pTable->CreateNumeric<unsigned int, ClKX2Handle>(LS_KX2_PROPERTY_ROLL_FINGER_START_MODE)
      ->Bind(&m_nSettlingDefault, this, &SetStartSettling, &GetStartSettling, nReadWrite);
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

uint32_t ClKX2Handle::GetStartSettling(ClKX2Handle* p) { return p->Engine().GetStartSettling(); }

void ClKX2Handle::SetStartSettling(ClKX2Handle* p, const uint32_t* pValue)
{
  p->Engine().SetStartSettling(*pValue);
}
