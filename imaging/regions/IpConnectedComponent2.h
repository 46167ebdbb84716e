#pragma once
// ClIpConnectedComponent2: labels the object pixels (value 0) of an image and measures
// each region: size, centre, bounding box, first pixel, second moments, eccentricity,
// orientation and, with a grey image, the mean grey value.
#include "model/FpImage.h"
#include "imaging/ProcessorBase.h"
#include "model/TpArray.h"
#include "model/Vector.h"
#include "imaging/regions/IpLabeling.h"

#include <vector>

class ClIpConnectedComponent2 : public ClProcessorBase
{
public:
  class ClComponent
  {
  public:
    virtual ~ClComponent() = default;

    ClVector m_oCenter{0, 0};
    ClVector m_oMin{0, 0};
    ClVector m_oMax{0, 0};
    ClVector m_oFirst{-1, -1};
    double m_dSize = 0;
    // 0 for a round object, 1 for a line.
    double m_dEccentricity = 0;
    double m_dMeanGrey = 0;
    // Direction of the main axis in radians.
    double m_dOrientation = 0;
    int32_t m_nId = 0;
    double m_dMomentXY = 0;
    double m_dMomentYY = 0;
    double m_dMomentXX = 0;
  };

  class ComponentsArray_t : public TpArrayDynamic<ClComponent, 10>
  {
  public:
    // Exactly nCount entries in use. Entries keep what they hold, also those between
    // the old used count and the capacity.
    void SetUsed(uint64_t nCount);
  };

  ClIpConnectedComponent2() = default;

  ClProcessorBase* Clone() const override { return CloneNew<ClIpConnectedComponent2>(); }
  const char* GetName() const override { return "ClIpConnectedComponent2"; }
  bool IsReady() const override;
  // -37 "Objectimage is missing", "Output object array is missing"; -44 for a grey
  // image of another size. Only centre sums, size and id are reset in a reused array:
  // moments, m_oFirst and the grey sums carry on.
  int32_t Process() override;

  ClImage* m_pInImage = nullptr;
  ClImage* m_pInImageGrey = nullptr;
  // Optional label image; a local one is used without it.
  ClImage* m_pOutImage = nullptr;
  ComponentsArray_t* m_pComponents = nullptr;
  // Off: no second moments, eccentricity or orientation; they keep what they hold.
  bool m_bShape = true;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;

private:
  // Sums, box and first pixel of each label, gathered run by run while labelling:
  // integer coordinates make these sums exact in any order.
  struct StFirstPass
  {
    double dSumX, dSumY, dSize;
    int32_t nMinX, nMinY, nMaxX, nMaxY;
    int32_t nFirstX, nFirstY;
  };
  class ClRunLabeling : public ClIpLabeling
  {
  public:
    std::vector<StFirstPass> m_aRuns;

  protected:
    void OnRun(int32_t nLabel, int32_t y, int32_t x0, int32_t x1) override;
  };
  // Accumulators of the moment pass, compact for the cache.
  struct StSecondPass
  {
    double dCenterX, dCenterY, dXY, dYY, dXX;
  };

  void TakeFirstPass(int32_t nLabels);
  void SecondPass(const int32_t* pLabels, int64_t nStride, int32_t nW, int32_t nH, int32_t nLabels);

  ClRunLabeling m_Labeling;
  ClImage m_Labels;
  std::vector<StSecondPass> m_aSecond;
};
