// Renders what the sensor sees: the empty platen, plus the lit part of a finger, shaded
// from the finger's precomputed ridge texture. The contact model of the frame is evaluated
// on a coarse grid of the platen; each output pixel interpolates it, samples the texture
// bilinearly at the skin point it shows and looks its brightness up in a shading table.
// Every output size is rendered at its own resolution (raw frames are not enlarged normal
// frames). Nothing is allocated per frame once the sizes are known.
//
// One renderer serves one thread at a time (it keeps tables and caches between frames).
#pragma once

#include "simulator/render/PlatenBackground.h"
#include "simulator/render/SimTypes.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kxsim {

class ClFingerTexture;

class ClFrameRenderer
{
public:
  // The scene (platen) is nSceneWidth by nSceneHeight pixels at 500 dpi, normally the size
  // of the device's normal image. nPlatenSeed places latent marks and dust.
  ClFrameRenderer(int nSceneWidth, int nSceneHeight, uint32_t nPlatenSeed = 1);
  ~ClFrameRenderer();

  int SceneWidth() const { return m_nSceneWidth; }
  int SceneHeight() const { return m_nSceneHeight; }

  // One sensor frame of nWidth by nHeight into pOut (rows packed). Other sizes than the
  // scene's show the same scene at that resolution, as a raw frame does. nDose is the
  // exposure step (2 for normal frames, 9 for full-dose raw frames: brighter). nFrame picks
  // the noise. Sizes (scene and frame) are 1 to 4000000 pixels; others throw
  // std::invalid_argument.
  void Render(const ClScene& scene, int nWidth, int nHeight, int nDose, uint64_t nFrame,
              EOrientation eOrientation, uint8_t* pOut);

  // The same scene without noise, residue, distortion or tremor. With bFullContact the
  // finger shows perfect contact wherever it touches (the ideal print); otherwise its
  // pressure profile. pMask, if not null, receives 255 where the finger touches (contact of
  // a tenth or more: fainter rims show nothing) and 0 elsewhere. bDistorted keeps the
  // skin's distortion (the print as a frame showed it).
  void RenderIdeal(const ClScene& scene, int nWidth, int nHeight, int nDose, bool bFullContact,
                   EOrientation eOrientation, uint8_t* pOut, uint8_t* pMask = nullptr,
                   bool bDistorted = false);

  // Platen pixels (at scene resolution) that the finger touches, as the mask counts them.
  int64_t ContactPixels(const ClScene& scene);

private:
  struct ClShadeKey
  {
    double dPressure, dMoisture, dPlaced, dContrast;
    bool bFake, bFull;
    int nDose;
    bool operator==(const ClShadeKey& o) const
    {
      return dPressure == o.dPressure && dMoisture == o.dMoisture && dPlaced == o.dPlaced &&
             dContrast == o.dContrast && bFake == o.bFake && bFull == o.bFull && nDose == o.nDose;
    }
  };
  struct ClModKey
  {
    const ClFingerTexture* pTexture;
    double dMoisture;
    int nCreases;
    bool operator==(const ClModKey& o) const
    {
      return pTexture == o.pTexture && dMoisture == o.dMoisture && nCreases == o.nCreases;
    }
  };

  void CheckSize(int nWidth, int nHeight, const uint8_t* pOut) const;
  void UseTexture(const ClFinger& finger);
  // Dry breaks, wet blotches and creases of the finger, as offsets of the ridge value.
  void BuildModifiers(const ClFinger& finger);
  // Evaluates the contact model of the scene on the grid.
  void Prepare(const ClScene& scene, bool bIdeal);
  void BuildShading(const ClShadeKey& key);
  // Output column to grid tables of an output width.
  void PrepareColumns(int nWidth);
  // Brightness above the background of output row y (display order) into m_aRowV over
  // [xl, xr], 255 into pMask where the finger touches; false when the row shows none.
  bool ShadeRow(int nWidth, int nHeight, int y, int& xl, int& xr, uint8_t* pMask);
  template <bool bMod>
  void ShadePixels(int il, int ir, int xl, int xr, uint8_t* pMask);
  // The print a lifted finger left, at scene resolution, for the background.
  const ClLatentMap* Latent(const ClScene& scene);
  // Composes output rows from the background, the shading and the noise (null for none).
  void Compose(int nWidth, int nHeight, EOrientation eOrientation, const uint8_t* pBg,
               size_t nBgRowStep, const int8_t* pNoise, uint8_t* pOut, uint8_t* pMask);

  int m_nSceneWidth, m_nSceneHeight;
  uint32_t m_nSeed;
  ClPlatenBackground m_Background;
  std::shared_ptr<const ClFingerTexture> m_pTexture;
  const int8_t* m_pRidges = nullptr;
  bool m_bFinger = false;

  // Grid of the prepared frame: nodes every kCell scene pixels, four fields per node.
  static constexpr int kCell = 16;
  int m_nNodesX = 0, m_nNodesY = 0;
  std::vector<int32_t> m_aNodeC, m_aNodeTX, m_aNodeTY, m_aNodeG;
  std::vector<int32_t> m_aNodeL, m_aNodeR; // per node row: node columns with contact
  // The current output row, interpolated between two node rows.
  std::vector<int32_t> m_aRowC, m_aRowTX, m_aRowTY, m_aRowG;
  std::vector<uint8_t> m_aRowV;
  int m_nColsW = 0;
  std::vector<int32_t> m_aOutNode, m_aOutW; // per output column: grid column and weight
  std::vector<int32_t> m_aSegStart;         // per grid column: first output column in its cell

  // Shading table: brightness above the background by contact level and ridge value.
  static constexpr int kLevels = 64;
  std::vector<uint8_t> m_aShade, m_aShadeOther;
  ClShadeKey m_ShadeKey{-1, -1, -1, -1, false, false, -1},
      m_ShadeKeyOther{-1, -1, -1, -1, false, false, -1};
  std::vector<int8_t> m_aMod;
  ClModKey m_ModKey{nullptr, 0.0, 0};
  bool m_bMod = false;
  std::vector<uint8_t> m_aFlat; // flat background for ideal pictures
  std::unique_ptr<ClLatentMap> m_pLatent;
  std::vector<uint8_t> m_aScratch;
};

} // namespace kxsim
