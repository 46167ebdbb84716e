#include "imaging/histogram/IpStretchRangeGlobal.h"

#include "imaging/SampleConvert.h"
#include "parameters/ParameterContainer.h"
#include "parameters/ParameterInterface.h"

ClIpStretchRangeGlobal::ClIpStretchRangeGlobal() { SetDefaultParameters(); }

void ClIpStretchRangeGlobal::SetDefaultParameters()
{
  m_nOldRangeFrom = 255;
  m_nOldRangeTo = 0;
  m_nNewRangeFrom = 0;
  m_nNewRangeTo = 255;
}

void ClIpStretchRangeGlobal::DeclareInterface(ClParameterInterface& itf)
{
  using I = ClParameterInterface;
  itf.AddImage(&m_pInImage, "InImage", "In: Original Image", I::eIn, 1, 1);
  itf.AddImage(&m_pOutImage, "OutImage", "Out: Stretched Imaged", I::eOut, 1, 1);
  const struct
  {
    uint8_t* pValue;
    const char* szName;
    const char* szText;
  } aRanges[] = {{&m_nOldRangeFrom, "OldRangeFrom", "In: Input Range Start"},
                 {&m_nOldRangeTo, "OldRangeTo", "In: Input Range End"},
                 {&m_nNewRangeFrom, "NewRangeFrom", "In: Stretch Range Start"},
                 {&m_nNewRangeTo, "NewRangeTo", "In: Stretch Range End"}};
  for (const auto& r : aRanges) {
    I::ClParameter* p = itf.AddGeneric(r.pValue, r.szName, r.szText, I::eIn, I::eKindUInt8, 0);
    I::SetRange(p, 0, 255);
    p->m_dDefault = *r.pValue;
  }
}

void ClIpStretchRangeGlobal::BindParameters(ClParameterContainer& container)
{
  container.CreatePointer<ClImage>("pInImage")->Bind(&m_pInImage, 1);
  container.CreatePointer<ClImage>("pOutImage")->Bind(&m_pOutImage, 2);
  const struct
  {
    uint8_t* pValue;
    const char* szName;
  } aRanges[] = {{&m_nOldRangeFrom, "OldRangeFrom"},
                 {&m_nOldRangeTo, "OldRangeTo"},
                 {&m_nNewRangeFrom, "NewRangeFrom"},
                 {&m_nNewRangeTo, "NewRangeTo"}};
  for (const auto& r : aRanges) {
    auto* p = container.CreateNumeric<unsigned char>(r.szName);
    p->SetMin(0);
    p->SetMax(255);
    p->Bind(r.pValue, 3);
  }
}

int32_t ClIpStretchRangeGlobal::Initialize()
{
  m_nUsedFrom = m_nOldRangeFrom;
  m_nUsedTo = m_nOldRangeTo;
  // Without an input there is nothing to measure; Process reports the missing input.
  if (m_nOldRangeFrom > m_nOldRangeTo && m_pInImage) {
    if (m_pInImage->Planes() == 1) {
      m_Histogram.Create(*m_pInImage);
      m_nUsedFrom = m_Histogram.FirstValue();
      m_nUsedTo = m_Histogram.LastValue();
    } else {
      m_nUsedFrom = 255;
      m_nUsedTo = 0;
      for (uint32_t p = 0; p < m_pInImage->Planes(); ++p) {
        m_pInImage->ExtractPlane(p, m_Plane);
        m_Histogram.Create(m_Plane);
        const uint8_t nFirst = m_Histogram.FirstValue(), nLast = m_Histogram.LastValue();
        if (nFirst < m_nUsedFrom)
          m_nUsedFrom = nFirst;
        if (nLast > m_nUsedTo)
          m_nUsedTo = nLast;
      }
    }
  }
  ComputeTable();
  return 0;
}

void ClIpStretchRangeGlobal::ComputeTable()
{
  // Fixed point in 1/4096; a one-value range divides by zero and truncates to the
  // processor's integer indefinite value.
  const double dStep = (m_nNewRangeTo + 0.9 - m_nNewRangeFrom) * 4096.0 /
                       static_cast<double>(m_nUsedTo - m_nUsedFrom);
  const int32_t nStep = TruncToInt32(dStep);
  for (int32_t i = 0; i < 256; ++i) {
    // 32-bit product as the table was always computed: an overflow wraps.
    const int32_t nProduct =
        static_cast<int32_t>(static_cast<uint32_t>(static_cast<int64_t>(i - m_nUsedFrom) * nStep));
    int32_t v = (nProduct >> 12) + m_nNewRangeFrom;
    if (v < m_nNewRangeFrom)
      v = m_nNewRangeFrom;
    if (v > m_nNewRangeTo)
      v = m_nNewRangeTo;
    m_aTable[i] = static_cast<uint8_t>(v);
  }
  m_bTableDone = true;
}
