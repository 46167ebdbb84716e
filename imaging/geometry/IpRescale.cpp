// Entry of ClIpRescale: settings, destination, plane split and the choice of kernel.
// The kernels themselves are in RescaleKernels.
#include "imaging/geometry/IpRescale.h"

#include "imaging/ImageArguments.h"
#include "imaging/geometry/RescaleKernels.h"
#include "imaging/SampleConvert.h"
#include "parameters/ParameterContainer.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int64_t nOne = RescaleKernels::nFixOne;

bool HasGeometry(const ClImage& image)
{
  return (image.PelsX() > 0 && image.PelsY() > 0) || (image.Width() > 0 && image.Height() > 0);
}

// The byte kernels keep the sign of the input's type.
EDataType ByteType(const ClImage& image)
{
  return static_cast<uint32_t>(image.DataType()) < 128 ? eUInt8 : eInt8;
}

int32_t ClampToInt32(int64_t n)
{
  return static_cast<int32_t>(std::clamp<int64_t>(n, INT32_MIN, INT32_MAX));
}

// Whole-number factor between two resolutions: positive to enlarge, negative to reduce,
// rounded to the nearer whole number.
int32_t WholeFactor(int32_t nNew, int32_t nIn)
{
  if (nNew > nIn)
    return nNew / nIn + (nNew % nIn > nIn / 2 ? 1 : 0);
  if (nNew < nIn)
    return -(nIn / nNew + (nIn % nNew > nNew / 2 ? 1 : 0));
  return 0;
}

// The input's first width bytes of each row, packed, with two spare zero bytes behind.
void PackBytes(const ClImage& in, std::vector<uint8_t>& pack)
{
  const int32_t nW = in.Width(), nH = in.Height();
  pack.resize(static_cast<size_t>(nW) * nH + 2);
  for (int32_t y = 0; y < nH; ++y)
    std::memcpy(pack.data() + static_cast<size_t>(y) * nW,
                in.Data() + static_cast<int64_t>(y) * in.LineBytes(), static_cast<size_t>(nW));
  pack[pack.size() - 2] = pack[pack.size() - 1] = 0;
}

void SpareBytes(std::vector<uint8_t>& pack, size_t nUsed)
{
  pack.resize(nUsed + 2);
  pack[nUsed] = pack[nUsed + 1] = 0;
}

} // namespace

ClIpRescale::ClIpRescale() { SetDefaultParameters(); }

const char* ClIpRescale::ModeText(eProcessingMode eMode)
{
  switch (eMode) {
  case WholeNumbered:
    return "WholeNumbered";
  case NearestNeighbour:
    return "NearestNeighbour";
  case BiLinear:
    return "BiLinear";
  case BiCubic:
    return "BiCubic";
  case BiLinearFantMar:
    return "BiLinearFantMar";
  }
  return "InvalidMode";
}

void ClIpRescale::DescribeArguments(ClProcessorArguments& a)
{
  using A = ClProcessorArguments;
  static const char szModes[] = "ModeWholeNumbered\0ModeNearestNeighbour\0ModeBiLinear\0"
                                "ModeBiCubic\0ModeBiLinearFantMar\0";
  static const int32_t anModes[] = {WholeNumbered, NearestNeighbour, BiLinear, BiCubic,
                                    BiLinearFantMar};
  a.Image(&m_pInImage, "InImage", "pInImage", "In: Original Image", 1, 3, 1);
  a.Image(&m_pOutImage, "OutImage", "pOutImage", "Out: Rescaled Image", 1, 1, 2,
          A::eOut | A::eNoDefault);
  a.Int32(&m_nNewWidth, "NewWidth", "NewWidth", "In: New Image Width", 0, -2147483648.0,
          2147483647.0, A::eBindRange);
  a.Int32(&m_nNewHeight, "NewHeight", "NewHeight", "In: New Image Height", 0, -2147483648.0,
          2147483647.0, A::eBindRange);
  a.Int32(&m_nNewPelsX, "NewPelsX", "NewPelsX", "In: New Horizontal Resolution In Pels", 0,
          -2147483648.0, 2147483647.0, A::eBindRange);
  a.Int32(&m_nNewPelsY, "NewPelsY", "NewPelsY", "In: New Vertical Resolution In Pels", 0,
          -2147483648.0, 2147483647.0, A::eBindRange);
  // The list's choices carry no values; the container's do.
  a.Choice(&m_eMode, "Mode", "eMode", "In: Interpolation Mode", BiLinear, szModes, anModes,
           A::eValueless);
  a.Double(&m_dConvParameter1, nullptr, "dConvParameter1", nullptr, -0.75, 0, 0);
}

void ClIpRescale::GetInfoString(char* pBuffer, size_t nSize) const
{
  if (m_nNewWidth < 1)
    FormatInfo(pBuffer, nSize, "X%d Y%d %s", m_nNewPelsX, m_nNewPelsY, ModeText(m_eMode));
  else
    FormatInfo(pBuffer, nSize, "W%d H%d %s", m_nNewWidth, m_nNewHeight, ModeText(m_eMode));
}

int32_t ClIpRescale::Rescale(ClImage* pIn, ClImage* pOut, int32_t nWidth, int32_t nHeight,
                             eProcessingMode eMode)
{
  m_pInImage = pIn;
  m_pOutImage = pOut;
  m_nNewWidth = nWidth;
  m_nNewHeight = nHeight;
  m_eMode = eMode;
  m_nNewPelsX = 0;
  m_nNewPelsY = 0;
  // Whole-numbered steps need a resolution, which a size request does not give.
  if (eMode == WholeNumbered || nWidth == 0 || nHeight == 0)
    return eErrInternal;
  return Run();
}

int32_t ClIpRescale::Initialize()
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("m_pInImage is not set", eErrBadPointer);
  const ClImage& in = *m_pInImage;
  if (!HasGeometry(in))
    return 0;
  m_nDestWidth = m_nNewWidth;
  m_nDestHeight = m_nNewHeight;
  m_nDestPelsX = m_nNewPelsX;
  m_nDestPelsY = m_nNewPelsY;
  if (m_nNewPelsX >= 1 && m_nNewPelsY >= 1) {
    if (m_nNewPelsX == in.PelsX() && m_nNewPelsY == in.PelsY()) {
      m_nDestWidth = in.Width();
      m_nDestHeight = in.Height();
    } else {
      // Rounded up but for a hair, so that exact results stay exact.
      m_nDestWidth =
          TruncToInt32(static_cast<double>(in.Width()) * m_nNewPelsX / in.PelsX() + 0.9999);
      m_nDestHeight =
          TruncToInt32(static_cast<double>(in.Height()) * m_nNewPelsY / in.PelsY() + 0.9999);
    }
    return 0;
  }
  if (m_nNewWidth < 1 || m_nNewHeight < 1)
    return eErrParamOutOfRange;
  if (m_nNewWidth == in.Width() && m_nNewHeight == in.Height()) {
    m_nDestPelsX = in.PelsX();
    m_nDestPelsY = in.PelsY();
  } else {
    m_nDestPelsX = in.Width() > 0
                       ? ClampToInt32(static_cast<int64_t>(in.PelsX()) * m_nNewWidth / in.Width())
                       : 0;
    m_nDestPelsY = in.Height() > 0
                       ? ClampToInt32(static_cast<int64_t>(in.PelsY()) * m_nNewHeight / in.Height())
                       : 0;
  }
  return 0;
}

int32_t ClIpRescale::Process()
{
  RequireImages(m_pInImage, m_pOutImage);
  const ClImage& in = *m_pInImage;
  if (!HasGeometry(in))
    return eErrParamOutOfRange;
  if (m_nDestWidth == in.Width() && m_nDestHeight == in.Height()) {
    m_pOutImage->Copy(in);
    return 0;
  }
  if (m_nDestWidth < 1 || m_nDestHeight < 1)
    return eErrParamOutOfRange;
  if (in.Planes() >= 2)
    return ProcessPlanes();
  if (!in.Data())
    return eErrParamOutOfRange;
  if (m_pOutImage != m_pInImage)
    return ProcessPlane(in, *m_pOutImage);
  const int32_t nStatus = ProcessPlane(in, m_Work);
  if (nStatus == 0)
    m_pOutImage->Swap(m_Work);
  return nStatus;
}

int32_t ClIpRescale::ProcessPlanes()
{
  const EContent eContent = m_pInImage->Content();
  if (eContent == eUnknown)
    return eErrInternal;
  // A fourth plane is dropped; an "eRGBA" input therefore leaves three planes.
  return m_Planes.Run(m_pInImage, m_pOutImage, m_pOutImage, eContent == eRGBA ? eUnknown : eContent,
                      m_pLog != nullptr, [this] { return Process(); });
}

int32_t ClIpRescale::ProcessPlane(const ClImage& in, ClImage& out)
{
  switch (m_eMode) {
  case NearestNeighbour:
    Nearest(in, out);
    return 0;
  case BiLinear:
    Bilinear(in, out);
    return 0;
  case BiCubic:
    Bicubic(in, out);
    return 0;
  case BiLinearFantMar:
    FantMar(in, out);
    return 0;
  case WholeNumbered:
    return WholeNumberedSteps(in, out);
  }
  return eErrInternal;
}

void ClIpRescale::Nearest(const ClImage& in, ClImage& out)
{
  // Both resolution values of the output take the X value.
  // Both resolutions take the X value, as the output of this mode always has.
  out.Create(ByteType(in), m_nDestWidth, m_nDestHeight, in.Planes(), m_nDestPelsX, m_nDestPelsX);
  int64_t nStepX, nStepY;
  if (m_nDestPelsX > 0 && m_nDestPelsY > 0) {
    nStepX = static_cast<int64_t>(in.PelsX()) * nOne / m_nDestPelsX;
    nStepY = static_cast<int64_t>(in.PelsY()) * nOne / m_nDestPelsY;
  } else {
    nStepX = static_cast<int64_t>(in.Width()) * nOne / m_nDestWidth;
    nStepY = static_cast<int64_t>(in.Height()) * nOne / m_nDestHeight;
  }
  m_aColumns.resize(std::max<size_t>(m_aColumns.size(), static_cast<size_t>(m_nDestWidth)));
  RescaleKernels::Nearest(in.Data(), in.LineBytes(), in.Width(), in.Height(), out.Data(),
                          out.LineBytes(), m_nDestWidth, m_nDestHeight, nStepX, nStepY,
                          m_aColumns.data());
}

void ClIpRescale::Bilinear(const ClImage& in, ClImage& out)
{
  const bool bWidthFits = in.Width() <= m_nDestWidth;
  const bool bHeightFits = in.Height() <= m_nDestHeight;
  if (bWidthFits && bHeightFits) {
    BilinearEnlarge(in, out);
  } else if (bWidthFits) {
    ReduceY(in, m_Reduced);
    BilinearEnlarge(m_Reduced, out);
  } else if (!bHeightFits) {
    if (RatioX(in) == 2 * nOne && RatioY(in) == 2 * nOne) {
      // Both passes at once: the same pair means without the intermediate image.
      out.Create(ByteType(in), m_nDestWidth, m_nDestHeight, in.Planes(), m_nDestPelsX,
                 m_nDestPelsY);
      m_aPackA.resize(
          std::max<size_t>(m_aPackA.size(), 2 * (static_cast<size_t>(m_nDestWidth) + 1)));
      RescaleKernels::Halve(in.Data(), in.LineBytes(), in.Width(), in.Height(), out.Data(),
                            out.LineBytes(), m_nDestWidth, m_nDestHeight, m_aPackA.data());
      return;
    }
    ReduceX(in, m_Reduced);
    ReduceY(m_Reduced, out);
  } else {
    ReduceX(in, m_Reduced);
    BilinearEnlarge(m_Reduced, out);
  }
}

void ClIpRescale::BilinearEnlarge(const ClImage& in, ClImage& out)
{
  out.Create(ByteType(in), m_nDestWidth, m_nDestHeight, in.Planes(), m_nDestPelsX, m_nDestPelsY);
  m_aColumns.resize(std::max<size_t>(m_aColumns.size(), 2 * static_cast<size_t>(m_nDestWidth)));
  RescaleKernels::BilinearEnlarge(in.Data(), in.LineBytes(), in.Width(), in.Height(), out.Data(),
                                  out.LineBytes(), m_nDestWidth, m_nDestHeight, m_aColumns.data());
}

int64_t ClIpRescale::RatioX(const ClImage& in) const
{
  // Without resolutions the sizes give the ratio.
  return (m_nDestPelsX > 0 && in.PelsX() > 0)
             ? static_cast<int64_t>(in.PelsX()) * nOne / m_nDestPelsX
             : static_cast<int64_t>(in.Width()) * nOne / m_nDestWidth;
}

int64_t ClIpRescale::RatioY(const ClImage& in) const
{
  int64_t nRatio = static_cast<int64_t>(in.Height()) * nOne / m_nDestHeight;
  if (m_nDestPelsY > 0 && in.PelsY() > 0)
    nRatio = std::max(nRatio, static_cast<int64_t>(in.PelsY()) * nOne / m_nDestPelsY);
  return nRatio;
}

void ClIpRescale::ReduceX(const ClImage& in, ClImage& out)
{
  out.Create(ByteType(in), m_nDestWidth, in.Height(), in.Planes(), m_nDestPelsX, in.PelsY());
  RescaleKernels::ReduceX(in.Data(), in.LineBytes(), in.Width(), in.Height(), out.Data(),
                          out.LineBytes(), m_nDestWidth, RatioX(in));
}

void ClIpRescale::ReduceY(const ClImage& in, ClImage& out)
{
  out.Create(ByteType(in), in.Width(), m_nDestHeight, in.Planes(), in.PelsX(), m_nDestPelsY);
  const int64_t nRatio = RatioY(in);
  m_aSums.resize(std::max<size_t>(m_aSums.size(), static_cast<size_t>(in.Width())));
  RescaleKernels::ReduceY(in.Data(), in.LineBytes(), in.Width(), in.Height(), out.Data(),
                          out.LineBytes(), m_nDestHeight, nRatio, m_aSums.data());
}

void ClIpRescale::Bicubic(const ClImage& in, ClImage& out)
{
  // Only the first run with a positive parameter takes the fast path: the member keeps
  // the negated value.
  const bool bFast = m_dConvParameter1 > 0;
  if (bFast)
    m_dConvParameter1 = -m_dConvParameter1;
  out.Create(ByteType(in), m_nDestWidth, m_nDestHeight, in.Planes(), m_nDestPelsX, m_nDestPelsX);
  if (bFast) {
    PackBytes(in, m_aPackA);
    RescaleKernels::BicubicFast(m_aPackA.data(), in.Width(), in.Height(), out.Data(),
                                out.LineBytes(), m_nDestWidth, m_nDestHeight, m_dConvParameter1);
    return;
  }
  const int32_t nW = in.Width(), nH = in.Height();
  m_aPackD.resize(static_cast<size_t>(nW) * nH);
  for (int32_t y = 0; y < nH; ++y) {
    const uint8_t* s = in.Data() + static_cast<int64_t>(y) * in.LineBytes();
    double* d = m_aPackD.data() + static_cast<size_t>(y) * nW;
    for (int32_t x = 0; x < nW; ++x)
      d[x] = s[x];
  }
  RescaleKernels::BicubicExact(m_aPackD.data(), nW, nH, out.Data(), out.LineBytes(), m_nDestWidth,
                               m_nDestHeight, m_dConvParameter1);
}

void ClIpRescale::Log(const char* szWhat, const char* szStep) const
{
  if (m_pLog)
    m_pLog->Write("%s %s", szWhat, szStep);
}

void ClIpRescale::FantMar(const ClImage& in, ClImage& out)
{
  const int32_t nW = in.Width(), nH = in.Height();
  const int32_t nDW = m_nDestWidth, nDH = m_nDestHeight;
  Log("Enter", "Convert");
  PackBytes(in, m_aPackA);
  Log("Leave", "Convert");

  Log("Enter", "Resample");
  SpareBytes(m_aPackB, static_cast<size_t>(nDW) * nH);
  for (int32_t y = 0; y < nH; ++y)
    RescaleKernels::ResampleLine(m_aPackA.data() + static_cast<size_t>(y) * nW, nW,
                                 m_aPackB.data() + static_cast<size_t>(y) * nDW, nDW);
  Log("Leave", "Resample");

  Log("Enter", "FlipXY");
  SpareBytes(m_aPackA, static_cast<size_t>(nDW) * nH);
  RescaleKernels::Transpose(m_aPackB.data(), nDW, nH, m_aPackA.data());
  Log("Leave", "FlipXY");

  Log("Enter", "Resample");
  SpareBytes(m_aPackB, static_cast<size_t>(nDW) * nDH);
  for (int32_t x = 0; x < nDW; ++x)
    RescaleKernels::ResampleLine(m_aPackA.data() + static_cast<size_t>(x) * nH, nH,
                                 m_aPackB.data() + static_cast<size_t>(x) * nDH, nDH);
  Log("Leave", "Resample");

  Log("Enter", "FlipXY");
  SpareBytes(m_aPackA, static_cast<size_t>(nDW) * nDH);
  RescaleKernels::Transpose(m_aPackB.data(), nDH, nDW, m_aPackA.data());
  Log("Leave", "FlipXY");

  Log("Enter", "Convert");
  out.Create(eUInt8, nDW, nDH, 1, m_nDestPelsX, m_nDestPelsY);
  for (int32_t y = 0; y < nDH; ++y)
    std::memcpy(out.Data() + static_cast<int64_t>(y) * out.LineBytes(),
                m_aPackA.data() + static_cast<size_t>(y) * nDW, static_cast<size_t>(nDW));
  Log("Leave", "Convert");
}

int32_t ClIpRescale::WholeNumberedSteps(const ClImage& in, ClImage& out)
{
  // Factors come from resolutions alone; without them there is nothing to work from.
  if (m_nNewPelsX < 1 || m_nNewPelsY < 1 || in.PelsX() < 1 || in.PelsY() < 1)
    return eErrParamOutOfRange;
  const int32_t nFactorX = WholeFactor(m_nNewPelsX, in.PelsX());
  const int32_t nFactorY = WholeFactor(m_nNewPelsY, in.PelsY());

  const ClImage* pStage = &in;
  if (nFactorX != 0) {
    const int32_t k = nFactorX < 0 ? -nFactorX : nFactorX;
    const int32_t nPels =
        nFactorX < 0 ? in.PelsX() / k : ClampToInt32(static_cast<int64_t>(in.PelsX()) * k);
    m_Reduced.Create(eUInt8, m_nDestWidth, in.Height(), 1, nPels, in.PelsY());
    if (nFactorX < 0)
      RescaleKernels::MeanX(in.Data(), in.LineBytes(), in.Width(), in.Height(), m_Reduced.Data(),
                            m_Reduced.LineBytes(), m_nDestWidth, k);
    else
      RescaleKernels::RepeatX(in.Data(), in.LineBytes(), in.Width(), in.Height(), m_Reduced.Data(),
                              m_Reduced.LineBytes(), m_nDestWidth, k);
    pStage = &m_Reduced;
  }
  const ClImage& stage = *pStage;
  if (nFactorY == 0) {
    out.Copy(stage);
    return 0;
  }
  const int32_t k = nFactorY < 0 ? -nFactorY : nFactorY;
  const int32_t nPels =
      nFactorY < 0 ? stage.PelsY() / k : ClampToInt32(static_cast<int64_t>(stage.PelsY()) * k);
  out.Create(eUInt8, stage.Width(), m_nDestHeight, 1, stage.PelsX(), nPels);
  if (nFactorY < 0)
    RescaleKernels::MeanY(stage.Data(), stage.LineBytes(), stage.Width(), stage.Height(),
                          out.Data(), out.LineBytes(), m_nDestHeight, k);
  else
    RescaleKernels::RepeatY(stage.Data(), stage.LineBytes(), stage.Width(), stage.Height(),
                            out.Data(), out.LineBytes(), m_nDestHeight, k);
  return 0;
}
