#include "imaging/geometry/IpJoinPlanes.h"

#include "imaging/TpDispatch.h"
#include "parameters/ParameterContainer.h"
#include "parameters/ParameterInterface.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace {

// Planes of the output by content; -1 for a content that is refused.
int32_t PlanesOfContent(EContent eContent, int32_t nUnknownPlanes)
{
  switch (eContent) {
  case eUnknown:
    return nUnknownPlanes;
  case eGrayscale:
    return 1;
  case eRGB:
  case eHSV:
  case eCIELUV:
    return 3;
  case eRGBA:
    return 4;
  default:
    return -1;
  }
}

template <class TIn, class TOut>
void CopyIntoPlane(const ClImage& in, ClImage& out, uint32_t nPlane)
{
  const int32_t nW = std::min(in.Width(), out.Width());
  const int32_t nH = std::min(in.Height(), out.Height());
  const uint32_t nInPlanes = in.Planes(), nOutPlanes = out.Planes();
  const int64_t nInStride = in.LineElements(), nOutStride = out.LineElements();
  const TIn* pIn = in.Pixels<TIn>();
  TOut* pOut = out.Pixels<TOut>();
  for (int32_t y = 0; y < nH; ++y) {
    const TIn* s = pIn + y * nInStride;
    TOut* d = pOut + y * nOutStride + nPlane;
    for (int32_t x = 0; x < nW; ++x)
      d[static_cast<int64_t>(x) * nOutPlanes] =
          ConvertSample<TOut>(s[static_cast<int64_t>(x) * nInPlanes]);
  }
}

template <class T>
void FillPlane(ClImage& out, uint32_t nPlane, double dValue)
{
  const T value = TruncToSample<T>(dValue);
  const int32_t nW = out.Width(), nH = out.Height();
  const uint32_t nPlanes = out.Planes();
  const int64_t nStride = out.LineElements();
  T* pOut = out.Pixels<T>();
  for (int32_t y = 0; y < nH; ++y) {
    T* d = pOut + y * nStride + nPlane;
    for (int32_t x = 0; x < nW; ++x)
      d[static_cast<int64_t>(x) * nPlanes] = value;
  }
}

} // namespace

ClIpJoinPlanes::ClIpJoinPlanes() { SetDefaultParameters(); }

void ClIpJoinPlanes::DeclareInterface(ClParameterInterface& itf)
{
  itf.AddImage(&m_pOutImage, "OutImage", "Out: Joined Image", ClParameterInterface::eOut, 1, 1);
}

void ClIpJoinPlanes::SetDefaultParameters()
{
  for (int i = 0; i < 4; ++i) {
    m_apInPlane[i] = nullptr;
    m_adInFillcolors[i] = std::numeric_limits<double>::quiet_NaN();
  }
  m_pOutImage = nullptr;
  m_eOutContent = eUnknown;
  m_bFillEmptyPlanes = true;
}

void ClIpJoinPlanes::BindParameters(ClParameterContainer& container)
{
  char szName[32];
  for (int i = 0; i < 4; ++i) {
    std::snprintf(szName, sizeof(szName), "pInPlane[%d]", i);
    container.CreatePointer<ClImage>(szName)->Bind(&m_apInPlane[i], 5);
  }
  for (int i = 0; i < 4; ++i) {
    std::snprintf(szName, sizeof(szName), "dInFillcolors[%d]", i);
    container.CreateNumeric<double>(szName)->Bind(&m_adInFillcolors[i], 5);
  }
  container.CreatePointer<ClImage>("pOutImage")->Bind(&m_pOutImage, 2);
  auto* pContent = container.CreateEnum<EContent>("eOutContent");
  for (int i = eUnknown; i <= eCIELUV; ++i)
    pContent->AddEntry(static_cast<EContent>(i), ContentName(static_cast<EContent>(i)));
  pContent->Bind(&m_eOutContent, 5);
  auto* pFill = container.CreateEnum<bool>("bFillEmptyPlanes");
  pFill->AddEntry(false, "False");
  pFill->AddEntry(true, "True");
  pFill->Bind(&m_bFillEmptyPlanes, 5);
}

int32_t ClIpJoinPlanes::Process()
{
  const int32_t nPlanes = PlanesOfContent(m_eOutContent, m_nOutPlanes);
  if (nPlanes < 0)
    return eErrParamOutOfRange;
  if (!m_pOutImage)
    LSKX2_THROW_MSG("m_pOutImage is not set", eErrBadPointer);
  // Only four plane pointers exist; further planes count as empty.
  const int32_t nInputs = std::min(nPlanes, 4);
  int32_t nModel = 0;
  while (nModel < nInputs && !m_apInPlane[nModel])
    ++nModel;
  if (nModel == nInputs)
    return 0;

  for (int32_t p = 0; p < nInputs; ++p) {
    if (m_apInPlane[p])
      m_aKeep[p].Share(*m_apInPlane[p]);
  }
  auto release = [this]() {
    for (ClImage& keep : m_aKeep)
      keep.Clear();
  };
  try {
    ClImage& out = *m_pOutImage;
    const ClImage& first = m_aKeep[nModel];
    out.Create(first.DataType(), first.Width(), first.Height(), static_cast<uint32_t>(nPlanes),
               first.PelsX(), first.PelsY());
    if (m_eOutContent != eUnknown)
      out.SetContent(m_eOutContent);
    if (out.Data() && SampleTypeIndex(out.DataType()) >= 0) {
      for (int32_t p = 0; p < nInputs; ++p) {
        if (m_apInPlane[p]) {
          if (m_aKeep[p].Data())
            DispatchTypes(m_aKeep[p].DataType(), out.DataType(), [&](auto in, auto o) {
              CopyIntoPlane<typename decltype(in)::Type, typename decltype(o)::Type>(
                  m_aKeep[p], out, static_cast<uint32_t>(p));
              return 0;
            });
        } else if (m_bFillEmptyPlanes) {
          DispatchType(out.DataType(), [&](auto o) {
            FillPlane<typename decltype(o)::Type>(out, static_cast<uint32_t>(p),
                                                  m_adInFillcolors[p]);
            return 0;
          });
        }
      }
    }
  } catch (...) {
    release();
    throw;
  }
  release();
  return 0;
}

int32_t ClIpJoinPlanes::Join(ClImage* pOut, ClImage* pPlane0, ClImage* pPlane1, ClImage* pPlane2,
                             ClImage* pPlane3)
{
  m_pOutImage = pOut;
  m_apInPlane[0] = pPlane0;
  m_apInPlane[1] = pPlane1;
  m_apInPlane[2] = pPlane2;
  m_apInPlane[3] = pPlane3;
  return Run();
}
