// Renders what the sensor sees: the empty platen, plus the lit part of a finger, shaded
// from the finger's precomputed ridge texture by windowing. Costs a pass over the frame
// and one over the finger; nothing is allocated per frame once the sizes are known.
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

class ClFrameRenderer {
 public:
  // The scene (platen) is nSceneWidth by nSceneHeight pixels at 500 dpi, normally the size
  // of the device's normal image. nPlatenSeed places latent marks and dust.
  ClFrameRenderer(int nSceneWidth, int nSceneHeight, uint32_t nPlatenSeed = 1);
  ~ClFrameRenderer();

  int SceneWidth() const { return m_nSceneWidth; }
  int SceneHeight() const { return m_nSceneHeight; }

  // One sensor frame of nWidth by nHeight into pOut (rows packed). Other sizes than the
  // scene's show the same scene scaled, as a raw frame does. nDose is the exposure step
  // (2 for normal frames, 9 for full-dose raw frames: brighter). nFrame picks the noise.
  // Sizes (scene and frame) are 1 to 4000000 pixels; others throw std::invalid_argument.
  void Render(const ClScene& scene, int nWidth, int nHeight, int nDose, uint64_t nFrame,
              EOrientation eOrientation, uint8_t* pOut);

  // The same scene without noise or residue. With bFullContact the finger shows perfect
  // contact wherever it touches (the ideal print); otherwise its pressure profile.
  // pMask, if not null, receives 255 where the finger touches (contact of a tenth or
  // more: fainter rims show nothing) and 0 elsewhere.
  void RenderIdeal(const ClScene& scene, int nWidth, int nHeight, int nDose, bool bFullContact,
                   EOrientation eOrientation, uint8_t* pOut, uint8_t* pMask = nullptr);

  // Platen pixels (at scene resolution) that the finger touches, as the mask counts them.
  int64_t ContactPixels(const ClScene& scene);

 private:
  struct ClShadeKey {
    double dPressure, dMoisture, dPlaced;
    bool bFake, bFull;
    int nDose;
    bool operator==(const ClShadeKey& o) const {
      return dPressure == o.dPressure && dMoisture == o.dMoisture && dPlaced == o.dPlaced &&
             bFake == o.bFake && bFull == o.bFull && nDose == o.nDose;
    }
  };

  void CheckSize(int nWidth, int nHeight, const uint8_t* pOut) const;
  void UseTexture(const ClFinger& finger);
  // Fills the per-row and per-column tables of the scene, at scene resolution.
  void Prepare(const ClScene& scene);
  // Columns [xl, xr] of scene row y that may hold finger; false when none.
  bool Span(int y, int& xl, int& xr) const;
  void BuildShading(const ClShadeKey& key);
  // Brightness above the background of scene row y, columns xl..xr, into pV (and 255 into
  // pMask where the finger touches).
  template <bool bDry>
  void ShadeRow(int y, int xl, int xr, uint8_t* pV, uint8_t* pMask) const;
  void ShadeRow(int y, int xl, int xr, uint8_t* pV, uint8_t* pMask) const;
  // Shades the whole scene into m_aSceneV and m_aSceneMask; false when no finger shows.
  bool ShadeScene(bool bMask);
  // Output pixel to scene pixel tables of a scaled output size.
  void PrepareScaling(int nWidth, int nHeight);
  // Composes output rows from the background, the shading and the noise (null for none).
  void Compose(int nWidth, int nHeight, EOrientation eOrientation, const uint8_t* pBg,
               size_t nBgRowStep, const int8_t* pNoise, uint8_t* pOut, uint8_t* pMask);

  int m_nSceneWidth, m_nSceneHeight;
  uint32_t m_nSeed;
  ClPlatenBackground m_Background;
  std::shared_ptr<const ClFingerTexture> m_pTexture;
  const int8_t* m_pRidges = nullptr;
  int m_nDryGain = 0;           // 0..256, strength of ridge breaks
  bool m_bFinger = false;

  // Scene tables of the prepared frame.
  double m_dOutlineX = 0, m_dOutlineA = 1;   // outline centre and half width
  int m_nBandL = 0, m_nBandR = -1;           // columns lit by a roll patch
  std::vector<int32_t> m_aColQ, m_aColBand, m_aColT, m_aRowQ, m_aRowT;

  // Shaded scene for scaled output sizes, and its extent.
  std::vector<uint8_t> m_aSceneV, m_aSceneMask, m_aRowV;
  std::vector<uint16_t> m_aBlend;            // two scene rows blended, weights in 1/256
  int m_nShadeX0 = 0, m_nShadeX1 = -1, m_nShadeY0 = 0, m_nShadeY1 = -1;
  int m_nScaleW = 0, m_nScaleH = 0;
  std::vector<int32_t> m_aOutX0, m_aOutF;    // per output column: scene column and weight
  std::vector<int32_t> m_aOutY0, m_aOutFY;   // per display row

  // Shading table: brightness above the background by contact level and ridge value.
  static constexpr int kLevels = 64;
  std::vector<uint8_t> m_aShade;
  ClShadeKey m_ShadeKey{-1, -1, -1, false, false, -1};
  std::vector<uint8_t> m_aFlat;              // flat background for ideal pictures
};

}  // namespace kxsim
