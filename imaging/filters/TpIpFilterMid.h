#pragma once
// ClTpIpFilterMid: box mean over a clipped window. With m_bRunningSum2D (the default) one
// running sum per column and a walk along each row give the window sum, divided by the
// number of samples in the window and truncated, without a rounding term. Otherwise a
// row pass and a column pass, each with its size forced odd and a rounding term of half
// the size (for integer sums) that stays when the window shrinks at the border.
// Instances: uint8 with uint32 sums, float32 with double sums.
#include "imaging/TpIpFilterSeparable.h"
#include "imaging/filters/FilterWork.h"
#include "imaging/filters/MeanKernels.h"

#include <limits>
#include <type_traits>

template <class T, class Intern>
class ClTpIpFilterMid : public ClTpIpFilterSeparable<ClTpIpFilterMid<T, Intern>>
{
public:
  using InType = T;

  int32_t DoProcess() override
  {
    ClImage& in = *this->m_pInImage;
    ClImage& out = *this->m_pOutImage;
    const int32_t nWidth = this->m_nFilterWidth, nHeight = this->m_nFilterHeight;
    if (!m_bRunningSum2D)
      return Separable(in, out, nWidth, nHeight);
    // The limits of the types as numeric_limits gives them: for floating types the
    // smallest positive normal value.
    const double dArea = double(nWidth) * double(nHeight);
    if (dArea * double(std::numeric_limits<T>::max()) >
            double(std::numeric_limits<Intern>::max()) ||
        dArea * double(std::numeric_limits<T>::min()) < double(std::numeric_limits<Intern>::min()))
      LSKX2_THROW_MSG("Intern type size is too small.", eErrInvalidParameter);
    out.CreateLike(in);
    if (!in.Data() || !out.Data())
      return 0;
    const int32_t w = in.Width(), h = in.Height();
    const int32_t hx = nWidth / 2 < 0 ? 0 : nWidth / 2, hy = nHeight / 2 < 0 ? 0 : nHeight / 2;
    if constexpr (std::is_same<T, uint8_t>::value && std::is_same<Intern, uint32_t>::value) {
      BoxMeanU8(in.Data(), in.LineElements(), out.Data(), out.LineElements(), w, h, hx, hy,
                m_Work.Get<uint32_t>(2 * size_t(w)));
    } else if constexpr (std::is_same<T, float>::value && std::is_same<Intern, double>::value) {
      BoxMeanF32(in.Pixels<float>(), in.LineElements(), out.Pixels<float>(), out.LineElements(), w,
                 h, hx, hy, m_Work.Get<double>(2 * size_t(w)));
    } else {
      struct Sink
      {
        T* pOut;
        ptrdiff_t nStride;
        int32_t nWidth, nHalf;
        void Row(int32_t y, const Intern* pSums, int32_t nRows)
        {
          T* o = pOut + y * nStride;
          for (int32_t x = 0; x < nWidth; ++x)
            o[x] = static_cast<T>(pSums[x] /
                                  static_cast<Intern>(ClippedCount(x, nHalf, nWidth) * nRows));
        }
      } sink{out.Pixels<T>(), out.LineElements(), w, hx};
      Intern* p = m_Work.Get<Intern>(2 * size_t(w));
      BoxSums2D<T, Intern>(in.Pixels<T>(), in.LineElements(), w, h, hx, hy, p, p + w, sink);
    }
    return 0;
  }

  bool m_bRunningSum2D = true;

private:
  // One pass along lines of nCount samples, nLines of them, with the given steps.
  struct LineVisitor
  {
    const T* pIn;
    T* pOut;
    ptrdiff_t nInStep, nOutStep;
    Intern s;
    void Add(int32_t j) { s += static_cast<Intern>(pIn[j * nInStep]); }
    void Sub(int32_t j) { s -= static_cast<Intern>(pIn[j * nInStep]); }
    void Store(int32_t i, int32_t n)
    {
      pOut[i * nOutStep] = static_cast<T>(s / static_cast<Intern>(n));
    }
    void StoreFull(int32_t i) { pOut[i * nOutStep] = static_cast<T>(s / nFull); }
    Intern nFull;
  };

  static void Pass(const ClImage& in, ClImage& out, int32_t nSize, bool bRows)
  {
    const int32_t nHalf = (nSize | 1) / 2;
    const Intern round = std::is_integral<Intern>::value ? static_cast<Intern>(nHalf) : Intern(0);
    const ptrdiff_t si = in.LineElements(), so = out.LineElements();
    const int32_t nLines = bRows ? in.Height() : in.Width();
    const int32_t nCount = bRows ? in.Width() : in.Height();
    for (int32_t k = 0; k < nLines; ++k) {
      LineVisitor v{in.Pixels<T>() + (bRows ? k * si : k),
                    out.Pixels<T>() + (bRows ? k * so : k),
                    bRows ? 1 : si,
                    bRows ? 1 : so,
                    round,
                    static_cast<Intern>(2 * nHalf + 1)};
      WalkWindow(nCount, nHalf, v);
    }
  }

  int32_t Separable(ClImage& in, ClImage& out, int32_t nWidth, int32_t nHeight)
  {
    if (nWidth < 0 || nWidth == 1) {
      m_Temp.Share(in);
    } else {
      m_Temp.CreateLike(in);
      if (in.Data())
        Pass(in, m_Temp, nWidth, true);
    }
    out.CreateLike(in);
    if (nHeight >= 0 && nHeight != 1) {
      if (in.Data())
        Pass(m_Temp, out, nHeight, false);
    } else {
      out.Copy(m_Temp);
    }
    if (nWidth < 0 || nWidth == 1)
      m_Temp.Clear();
    return 0;
  }

  ClImage m_Temp;
  ClFilterWork m_Work;
};
