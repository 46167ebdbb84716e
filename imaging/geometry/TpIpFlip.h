#pragma once
// ClTpIpFlip: mirror a one-plane image horizontally, vertically or both (both is a turn
// by 180 degrees; neither is a copy). Input and output may be one image.
#include "imaging/TpIp1To1.h"
#include "imaging/TpDispatch.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

template <class TIn, class TOut>
class ClTpIpFlip : public ClTpIp1To1<ClTpIpFlip<TIn, TOut>>
{
public:
  using InType = TIn;
  using OutType = TOut;

  int32_t DoProcess() override;

  bool m_bFlipX = true;
  bool m_bFlipY = true;

private:
  void FlipInto(const ClImage& in, ClImage& out) const;

  // Result of an in-place run; its buffer is reused by the next one.
  ClImage m_Local;
};

template <class TIn, class TOut>
int32_t ClTpIpFlip<TIn, TOut>::DoProcess()
{
  const ClImage& in = *this->m_pInImage;
  // The result is a fresh image of the input's size and resolution: content, range and
  // tag are those of a new image.
  ClImage& target = (this->m_pInImage == this->m_pOutImage) ? m_Local : *this->m_pOutImage;
  target.Create(TpDataType<TOut>::value, in.Width(), in.Height(), 1, in.PelsX(), in.PelsY());
  target.SetImageTag(0);
  FlipInto(in, target);
  if (&target == &m_Local)
    this->m_pOutImage->Swap(m_Local);
  return 0;
}

template <class TIn, class TOut>
void ClTpIpFlip<TIn, TOut>::FlipInto(const ClImage& in, ClImage& out) const
{
  if (!in.Data() || !out.Data())
    return;
  const int32_t nW = in.Width(), nH = in.Height();
  const int64_t nInStride = in.LineElements(), nOutStride = out.LineElements();
  const TIn* s = in.Pixels<TIn>();
  TOut* pOut = out.Pixels<TOut>();
  for (int32_t y = 0; y < nH; ++y, s += nInStride) {
    TOut* d = pOut + (m_bFlipY ? nH - 1 - y : y) * nOutStride;
    if (m_bFlipX) {
      for (int32_t x = 0, r = nW - 1; x < nW; ++x, --r)
        d[r] = ConvertSample<TOut>(s[x]);
    } else if (std::is_same<TIn, TOut>::value) {
      std::memcpy(d, s, static_cast<size_t>(std::min(in.LineBytes(), out.LineBytes())));
    } else {
      for (int32_t x = 0; x < nW; ++x)
        d[x] = ConvertSample<TOut>(s[x]);
    }
  }
}
