#include "imaging/geometry/IpSubsample.h"

#include "imaging/TpDispatch.h"

#include <algorithm>
#include <type_traits>

namespace {

// Row pass sums in 16 bits and column pass sums in 32 bits, wrapping as such sums do.
template <class T>
using TpSum16 = typename std::conditional<std::is_signed<T>::value, int16_t, uint16_t>::type;
template <class T>
using TpSum32 = typename std::conditional<std::is_signed<T>::value, int32_t, uint32_t>::type;

template <class T>
void Pick(const ClImage& in, ClImage& out, int32_t nSubX, int32_t nSubY)
{
  const int32_t nOutW = out.Width(), nOutH = out.Height();
  const int64_t nInStride = in.LineElements(), nOutStride = out.LineElements();
  const T* pIn = in.Pixels<T>();
  T* pOut = out.Pixels<T>();
  for (int32_t y = 0; y < nOutH; ++y) {
    const T* s = pIn + static_cast<int64_t>(y) * nSubY * nInStride;
    T* d = pOut + y * nOutStride;
    for (int32_t x = 0; x < nOutW; ++x)
      d[x] = s[static_cast<int64_t>(x) * nSubX];
  }
}

// Means of blocks of nSub samples along a line of nLen samples at distance nStep; the
// last block takes what it has. kSub, when not 0, is nSub known to the compiler.
template <class T, class S, int32_t kSub>
void MeanLine(const T* s, int64_t nStep, int32_t nLen, int32_t nSub, T* d, int64_t nOutStep,
              int32_t nOut)
{
  if (kSub != 0)
    nSub = kSub;
  int32_t o = 0;
  int32_t nStart = 0;
  for (; o < nOut && nStart < nLen - nSub; ++o, nStart += nSub) {
    S sum = 0;
    for (int32_t i = 0; i < nSub; ++i)
      sum = WrapAdd<S>(sum, static_cast<S>(s[(nStart + i) * nStep]));
    d[o * nOutStep] = static_cast<T>(sum / static_cast<S>(nSub));
  }
  if (o < nOut && nStart < nLen) {
    const int32_t nCount = nLen - nStart;
    S sum = 0;
    for (int32_t i = 0; i < nCount; ++i)
      sum = WrapAdd<S>(sum, static_cast<S>(s[(nStart + i) * nStep]));
    d[o * nOutStep] = static_cast<T>(sum / static_cast<S>(nCount));
    ++o;
  }
  for (; o > 0 && o < nOut; ++o)
    d[o * nOutStep] = d[(o - 1) * nOutStep];
}

// The column pass walks the rows in order (columns side by side), which the caches like:
// every column gets the sums and divisions of MeanLine down its samples.
template <class T, class S, int32_t kSub>
void MeanColumns(const T* pWork, int64_t nWorkStride, int32_t nH, int32_t nSub, T* pOut,
                 int64_t nOutStride, int32_t nOutW, int32_t nOutH)
{
  if (kSub != 0)
    nSub = kSub;
  int32_t o = 0;
  for (int32_t nStart = 0; o < nOutH && nStart < nH; ++o, nStart += nSub) {
    const T* s = pWork + nStart * nWorkStride;
    T* d = pOut + o * nOutStride;
    if (nStart < nH - nSub) {
      for (int32_t x = 0; x < nOutW; ++x) {
        S sum = 0;
        for (int32_t i = 0; i < nSub; ++i)
          sum = WrapAdd<S>(sum, static_cast<S>(s[i * nWorkStride + x]));
        d[x] = static_cast<T>(sum / static_cast<S>(nSub));
      }
      continue;
    }
    const int32_t nCount = nH - nStart;
    for (int32_t x = 0; x < nOutW; ++x) {
      S sum = 0;
      for (int32_t i = 0; i < nCount; ++i)
        sum = WrapAdd<S>(sum, static_cast<S>(s[i * nWorkStride + x]));
      d[x] = static_cast<T>(sum / static_cast<S>(nCount));
    }
  }
  for (; o > 0 && o < nOutH; ++o)
    std::copy(pOut + (o - 1) * nOutStride, pOut + (o - 1) * nOutStride + nOutW,
              pOut + o * nOutStride);
}

template <class T, int32_t kSubX, int32_t kSubY>
void MeanWith(const ClImage& in, ClImage& work, ClImage& out, int32_t nSubX, int32_t nSubY)
{
  const int32_t nW = in.Width(), nH = in.Height();
  const int32_t nOutW = out.Width(), nOutH = out.Height();
  const int64_t nInStride = in.LineElements(), nWorkStride = work.LineElements();
  const T* pIn = in.Pixels<T>();
  T* pWork = work.Pixels<T>();
  for (int32_t y = 0; y < nH; ++y)
    MeanLine<T, TpSum16<T>, kSubX>(pIn + y * nInStride, 1, nW, nSubX, pWork + y * nWorkStride, 1,
                                   nOutW);
  MeanColumns<T, TpSum32<T>, kSubY>(pWork, nWorkStride, nH, nSubY, out.Pixels<T>(),
                                    out.LineElements(), nOutW, nOutH);
}

// The usual rates divide by a constant.
template <class T>
void Mean(const ClImage& in, ClImage& work, ClImage& out, int32_t nSubX, int32_t nSubY)
{
  if (nSubX == 4 && nSubY == 4)
    MeanWith<T, 4, 4>(in, work, out, nSubX, nSubY);
  else if (nSubX == 2 && nSubY == 2)
    MeanWith<T, 2, 2>(in, work, out, nSubX, nSubY);
  else
    MeanWith<T, 0, 0>(in, work, out, nSubX, nSubY);
}

} // namespace

void ClIpSubsample::GetInfoString(char* pBuffer, size_t nSize) const
{
  FormatInfo(pBuffer, nSize, "SubX%ld,SubY%ld,Mid=%s", static_cast<long>(m_nSubX),
             static_cast<long>(m_nSubY), m_bMid ? "Yes" : "No");
}

int32_t ClIpSubsample::Subsample(ClImage* pIn, int32_t nRate, ClImage* pOut, bool bMid)
{
  m_pInImage = pIn;
  m_nRate = nRate;
  m_pOutImage = pOut;
  m_bMid = bMid;
  m_nSubX = 0;
  m_nSubY = 0;
  return Run();
}

int32_t ClIpSubsample::Process()
{
  if (m_nRate != 0) {
    m_nSubX = m_nRate;
    m_nSubY = m_nRate;
  }
  if (m_nSubX < 1 || m_nSubY < 1)
    LSKX2_THROW_MSG("rate parameter out of range (1..n)", eErrInvalidParameter);
  if (m_pInImage && m_pInImage->Planes() > 1)
    return ProcessPlanes();
  if (m_pInImage) {
    const EDataType eType = m_pInImage->DataType();
    if (eType != eUInt8 && eType != eInt8 && eType != eUInt16 && eType != eInt16)
      LSKX2_THROW_MSG("unsupported image type", eErrUnsupportedFeature);
  }
  // Written out here rather than shared: the mean loop below measured slower that way.
  if (!m_pInImage)
    LSKX2_THROW_MSG("m_pInImage is not set", eErrBadPointer);
  if (!m_pOutImage)
    LSKX2_THROW_MSG("m_pOutImage is not set", eErrBadPointer);

  // A share keeps the input readable when the output is the same object.
  m_Keep.Share(*m_pInImage);
  const ClImage& in = m_Keep;
  const int32_t nSubX = m_nSubX, nSubY = m_nSubY;
  try {
    const int32_t nOutW =
        static_cast<int32_t>((static_cast<int64_t>(in.Width()) + nSubX - 1) / nSubX);
    const int32_t nOutH =
        static_cast<int32_t>((static_cast<int64_t>(in.Height()) + nSubY - 1) / nSubY);
    m_pOutImage->Create(in.DataType(), nOutW, nOutH, in.Planes(), in.PelsX() / nSubX,
                        in.PelsY() / nSubY);
    if (in.Data() && m_pOutImage->Data()) {
      if (m_bMid)
        m_Work.Create(in.DataType(), nOutW, in.Height(), in.Planes(), in.PelsX(), in.PelsY());
      auto run = [&](auto tag) {
        using T = typename decltype(tag)::Type;
        if (m_bMid)
          Mean<T>(in, m_Work, *m_pOutImage, nSubX, nSubY);
        else
          Pick<T>(in, *m_pOutImage, nSubX, nSubY);
      };
      switch (in.DataType()) {
      case eUInt8:
        run(TpTypeTag<uint8_t>{});
        break;
      case eInt8:
        run(TpTypeTag<int8_t>{});
        break;
      case eUInt16:
        run(TpTypeTag<uint16_t>{});
        break;
      default:
        run(TpTypeTag<int16_t>{});
        break;
      }
    }
  } catch (...) {
    m_Keep.Clear();
    throw;
  }
  m_Keep.Clear();
  if (m_nRate != 0) {
    m_nSubX = 0;
    m_nSubY = 0;
  }
  return 0;
}

int32_t ClIpSubsample::ProcessPlanes()
{
  // Each plane's run takes the rates afresh and clears them again as a one-plane run does.
  return m_Planes.Run(m_pInImage, m_pOutImage, m_pOutImage, eRGB, m_pLog != nullptr,
                      [this] { return Process(); });
}
