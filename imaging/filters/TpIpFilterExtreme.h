#pragma once
#include "imaging/TpIpFilterSeparable.h"
#include "imaging/filters/FilterWork.h"
#include "imaging/filters/TpExtremePasses.h"
#include "model/FpImage.h"

#include <cstdint>

// ClTpIpFilterMin and ClTpIpFilterMax: a row pass into a temporary, then a column pass.
// A width that is negative or 1 skips the row pass (the temporary shares the input); a
// height that is negative or 1 skips the column pass (the output copies the temporary).
// Each pass forces its size odd by setting the lowest bit.
template <class Derived, class T, class P>
class ClTpIpFilterExtreme : public ClTpIpFilterSeparable<Derived>
{
public:
  int32_t DoProcess() override
  {
    ClImage& in = *this->m_pInImage;
    ClImage& out = *this->m_pOutImage;
    const int32_t nWidth = this->m_nFilterWidth, nHeight = this->m_nFilterHeight;
    const bool bVector = TpExtremePasses<P, T>::Vectorizable(in);
    if (nWidth < 0 || nWidth == 1) {
      m_Temp.Share(in);
    } else {
      m_Temp.CreateLike(in);
      TpExtremePasses<P, T>::Pass(in, m_Temp, (nWidth | 1) / 2, true, bVector, m_Work);
    }
    out.CreateLike(in);
    if (nHeight >= 0 && nHeight != 1)
      TpExtremePasses<P, T>::Pass(m_Temp, out, (nHeight | 1) / 2, false, bVector, m_Work);
    else
      out.Copy(m_Temp);
    // The temporary keeps its buffer for the next run unless it only shared the input.
    if (nWidth < 0 || nWidth == 1)
      m_Temp.Clear();
    return 0;
  }

protected:
  ~ClTpIpFilterExtreme() = default;

private:
  ClImage m_Temp;
  ClFilterWork m_Work;
};
