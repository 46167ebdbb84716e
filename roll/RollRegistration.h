#pragma once
// ClRollRegistration: where the skin of a new frame lies against the rolled image in the
// band behind the seam, and the frame warped onto it.
//
// Rolling skin stretches behind the centre line of the contact, so the same ridges lie a
// few pixels apart in the rolled image and in the next frame; blended as they are, they
// double. The displacement is measured by block matching (normalised correlation, whole
// pixels within a small range, then a parabola through the peak) on a grid that follows
// the centre line: rows every kStep pixels, nodes at kNodes distances behind the seam.
// Neighbouring correlation surfaces are added before the peak is taken, which pins blocks
// of parallel ridges; a median over the grid rejects outliers. A node without ridges, with
// a weak peak or with its peak at the edge of the range is not trusted and keeps the frame
// as it is.
//
// Ahead of the seam, where the frame is copied in, the displacement fades out over kLead
// pixels, so that the copy joins the registered band without a step and the frame beyond
// is taken as it lies: displacements do not pile up from frame to frame.
//
// A slip is a jump, not a stretch. Skin at the centre line hardly moves between frames,
// so when the seam as a whole moved by more than about two pixels the finger slipped:
// that common move is left in, and only the stretch on top of it is registered. A jump
// beyond the range matches nothing. Either way the slip stays a discontinuity for the
// checks.
//
// Prepare sizes every buffer; Estimate and Warp allocate nothing.
#include <cstddef>
#include <cstdint>
#include <vector>

class ClImage;

class ClRollRegistration
{
public:
  // Grid rows are this far apart; nodes lie this far apart behind the seam.
  static constexpr int32_t kStep = 16;
  static constexpr int32_t kNodeSpacing = 14;
  static constexpr int32_t kNodes = 4;
  // Blocks are kBlock square; displacements are searched within +-kRange pixels.
  static constexpr int32_t kBlock = 24;
  static constexpr int32_t kRange = 6;
  // Pixels ahead of the seam over which the displacement fades out.
  static constexpr int32_t kLead = 16;

  // One node of the grid: its displacement and whether it is trusted.
  struct StNode
  {
    float dx = 0.0f, dy = 0.0f;
    bool bTrusted = false;
  };

  // Buffers for frames of nWidth by nHeight.
  void Prepare(int32_t nWidth, int32_t nHeight);
  // The field of frame against rolled around the seam. pCenter holds the seam column of
  // every row; nTop, nBottom are the finger's rows; nDirection 0 rolls towards larger x
  // (the band lies at smaller x), 1 towards smaller x. Only nodes on both masks count.
  // Answers the number of trusted nodes.
  int32_t Estimate(const ClImage& rolled, const ClImage& frame, const ClImage& rolledMask,
                   const ClImage& frameMask, const int* pCenter, int32_t nTop, int32_t nBottom,
                   int32_t nDirection);
  // out = frame, except in the band of nBand pixels behind the seam and kLead ahead of it,
  // where each sample is taken from frame at its displaced place (cubic). out must
  // have frame's size.
  void Warp(const ClImage& frame, const int* pCenter, int32_t nBand, ClImage& out) const;

  // Share of the finger's samples in the band of nBand pixels behind the seam in which
  // rolled and the warped frame differ by more than kMismatch. Registered good frames
  // stay below kSlipShare (up to 0.13 on calibrated skin, 0.31 on strong skin at the
  // narrow start of a roll); the frame of a 15 pixel slip reaches 0.42.
  double Mismatch(const ClImage& rolled, const ClImage& warped, const ClImage& frameMask,
                  const int* pCenter, int32_t nBand) const;
  static constexpr int32_t kMismatch = 96;
  static constexpr double kSlipShare = 0.35;

  // The node of grid row i (row nTop + i * kStep) at distance j * kNodeSpacing.
  const StNode& Node(int32_t i, int32_t j) const { return m_aNodes[size_t(i) * kNodes + j]; }
  int32_t Rows() const { return m_nRows; }
  // With too few trusted nodes the whole frame is blended as it is.
  static constexpr int32_t kLeastTrusted = 6;
  // A registered frame is cross-faded over this many pixels behind the seam, less than a
  // frame's advance, so that each sample mixes one or two frames: every frame more that
  // overlays a sample, however well registered, softens its ridge edges.
  static constexpr int32_t kMixBand = 8;

private:
  static constexpr int32_t kSpan = 2 * kRange + 1;
  static constexpr int32_t kWindow = kBlock + 2 * kRange;
  static constexpr int32_t kMaxRows = 1024;

  // The correlation surface of one block; false when the block has no ridges.
  bool Surface(const ClImage& rolled, const ClImage& frame, int32_t xc, int32_t yc, float* pOut);
  // The displacement of a node from its surface and its neighbours'.
  void Peak(int32_t i, int32_t j);
  // A seam that moved as a whole is a slip: its move is taken out of the field.
  void HoldSlip();
  // Outliers against the median of their neighbours take that median.
  void RejectOutliers();
  // Displacement at row y, distance o behind the seam, 0 where not trusted.
  void FieldAt(int32_t y, float o, float& dx, float& dy) const;

  int32_t m_nWidth = 0, m_nHeight = 0;
  int32_t m_nTop = 0, m_nRows = 0, m_nDirection = 0;
  std::vector<StNode> m_aNodes;
  std::vector<float> m_aSurfaces;
  std::vector<uint8_t> m_aHasSurface;
  std::vector<StNode> m_aFiltered;
  std::vector<int16_t> m_aBlock, m_aWindow;
  std::vector<int32_t> m_aSum, m_aSum2;
};
