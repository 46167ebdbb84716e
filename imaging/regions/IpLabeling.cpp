#include "imaging/regions/IpLabeling.h"

int32_t ClIpLabeling::Process()
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("Inputimage is missing", eErrParamIsMissing);
  if (!m_pOutImage)
    LSKX2_THROW_MSG("Outputimage is missing", eErrParamIsMissing);
  m_pOutImage->CreateSized<int32_t>(*m_pInImage);
  m_pOutImage->Fill(0);
  m_nLabels = 0;

  const ClImage& in = *m_pInImage;
  m_pIn = in.Data();
  m_nInStride = in.LineBytes();
  m_pLabels = m_pOutImage->Pixels<int32_t>();
  m_nLabelStride = m_pOutImage->LineElements();
  m_nWidth = in.Width();
  m_nHeight = in.Height();
  if (!m_pIn || !m_pLabels)
    return 0;
  for (int32_t y = 0; y < m_nHeight; ++y) {
    const uint8_t* s = m_pIn + y * m_nInStride;
    const int32_t* l = m_pLabels + y * m_nLabelStride;
    for (int32_t x = 0; x < m_nWidth; ++x) {
      // One test that is rarely true, instead of two that alternate on noisy masks.
      if ((s[x] | l[x]) == 0)
        Fill(x, y, ++m_nLabels);
    }
  }
  return 0;
}

// Scanline flood fill, 4-connected: each popped seed grows to its whole run, and every
// run of open pixels above and below it is pushed once, by its first pixel. A seed
// whose run is labelled already is dropped: its walk pushed all it could.
void ClIpLabeling::Fill(int32_t nSeedX, int32_t nSeedY, int32_t nLabel)
{
  ClLineParts& stack = m_oLineParts;
  stack.Reset();
  stack.Push(nSeedX, nSeedY);
  const int32_t nW = m_nWidth, nLastRow = m_nHeight - 1;
  while (!stack.IsEmpty()) {
    const StPos pos = stack.Pop();
    const int32_t y = pos.y;
    const uint8_t* s = m_pIn + y * m_nInStride;
    int32_t* l = m_pLabels + y * m_nLabelStride;
    int32_t x = pos.x;
    while (x > 0 && s[x - 1] == 0)
      --x;
    if (l[x] == nLabel)
      continue;
    const int32_t x0 = x;
    const bool bBelow = y<nLastRow, bAbove = y> 0;
    const uint8_t* sBelow = bBelow ? s + m_nInStride : s;
    const int32_t* lBelow = bBelow ? l + m_nLabelStride : l;
    const uint8_t* sAbove = bAbove ? s - m_nInStride : s;
    const int32_t* lAbove = bAbove ? l - m_nLabelStride : l;
    bool bOpenBelow = false, bOpenAbove = false;
    for (; x < nW && s[x] == 0; ++x) {
      if (bBelow) {
        const bool bOpen = (sBelow[x] | lBelow[x]) == 0;
        if (bOpen && !bOpenBelow)
          stack.Push(x, y + 1);
        bOpenBelow = bOpen;
      }
      if (bAbove) {
        const bool bOpen = (sAbove[x] | lAbove[x]) == 0;
        if (bOpen && !bOpenAbove)
          stack.Push(x, y - 1);
        bOpenAbove = bOpen;
      }
      l[x] = nLabel;
    }
    OnRun(nLabel, y, x0, x - 1);
  }
}
