#include "imaging/filters/IpFilterVariance.h"

#include "imaging/OutImageType.h"
#include "imaging/TpDispatch.h"
#include "imaging/filters/VarianceKernels.h"

#include <algorithm>
#include <new>
#include <type_traits>

ClIpFilterVariance::ClIpFilterVariance()
{
  const EDataType aTypes[] = {eUInt8, eInt8, eUInt16, eInt16, eUInt32, eInt32, eFloat32, eDouble64};
  AddDataTypes(aTypes, 8);
  SetDefaultParameters();
}

void ClIpFilterVariance::DescribeArguments(ClProcessorArguments& a)
{
  ClIp1to1Base::DescribeArguments(a);
  a.Int32(&m_nInFilterWidth, nullptr, "nInFilterWidth", nullptr, 11, 0, 0);
  a.OutImageType(&m_eOutImageType, nullptr, nullptr, eDouble64);
}

void ClIpFilterVariance::CheckInputType() const
{
  ClIp1to1Base::CheckInputType();
  if (m_pInImage->Planes() != 1)
    LSKX2_THROW_MSG("Input image has too many planes.", eErrInvalidParameter);
}

int32_t ClIpFilterVariance::Process()
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("Input image not assigned", eErrBadPointer);
  if (!m_pOutImage)
    LSKX2_THROW_MSG("Output image not assigned", eErrBadPointer);
  if (SampleTypeIndex(m_pInImage->DataType()) < 0)
    return eErrFormatNotsupported;
  if (SampleTypeIndex(m_eOutImageType) < 0)
    return 0;
  m_Keep.Share(*m_pInImage);
  struct Release
  {
    ClImage& keep;
    ~Release() { keep.Clear(); }
  } release{m_Keep};
  return DispatchTypes(m_Keep.DataType(), m_eOutImageType, [&](auto a, auto b) {
    return Compute<typename decltype(a)::Type, typename decltype(b)::Type>(m_Keep, *m_pOutImage);
  });
}

template <class TIn, class TOut>
int32_t ClIpFilterVariance::Compute(const ClImage& in, ClImage& out)
{
  out.Create(TpDataType<TOut>::value, in.Width(), in.Height(), 1, in.PelsX(), in.PelsY());
  if (!in.Data() || !out.Data() || in.Width() <= 0)
    return 0;
  const int32_t nHalf = std::max(m_nInFilterWidth / 2, 0);
  const int32_t nWidth = in.Width(), nHeight = in.Height();
  auto Reserve = [&](size_t nBytes) -> unsigned char* {
    if (m_aWork.size() < nBytes) {
      try {
        m_aWork.resize(nBytes);
      } catch (const std::bad_alloc&) {
        throw ClExBadAlloc();
      }
    }
    return m_aWork.data();
  };
  if constexpr (std::is_same<TIn, uint8_t>::value &&
                (std::is_same<TOut, float>::value || std::is_same<TOut, double>::value)) {
    if (VarianceU8IsExact(nHalf, std::is_same<TOut, double>::value)) {
      uint64_t* pWork = reinterpret_cast<uint64_t*>(Reserve(2 * sizeof(uint64_t) * size_t(nWidth)));
      if constexpr (std::is_same<TOut, float>::value)
        VarianceU8ToF32(in.Data(), in.LineBytes(), out.Pixels<float>(), out.LineElements(), nWidth,
                        nHeight, nHalf, pWork);
      else
        VarianceU8ToF64(in.Data(), in.LineBytes(), out.Pixels<double>(), out.LineElements(), nWidth,
                        nHeight, nHalf, pWork);
      return 0;
    }
  }
  const int32_t nRing = static_cast<int32_t>(std::min<int64_t>(2 * int64_t(nHalf) + 1, nHeight));
  const size_t nRingValues = size_t(nRing) * size_t(nWidth);
  TOut* p = reinterpret_cast<TOut*>(Reserve(sizeof(TOut) * (2 * nRingValues + 2 * size_t(nWidth))));
  TpVarianceRing<TOut> ring{p, p + nRingValues, p + 2 * nRingValues, p + 2 * nRingValues + nWidth,
                            nRing};
  VarianceImage<TIn, TOut>(in.Pixels<TIn>(), in.LineElements(), out.Pixels<TOut>(),
                           out.LineElements(), nWidth, nHeight, nHalf, ring);
  return 0;
}
