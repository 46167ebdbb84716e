#pragma once
// Light frame for inner loops: one fixed input and output sample type, public members,
// no parameters. The derived class names its types and supplies DoProcess:
//
//   template <class TIn, class TOut>
//   class ClTpIpInvert : public ClTpIp1To1<ClTpIpInvert<TIn, TOut>>
//   {
//   public:
//     using InType = TIn;
//     using OutType = TOut;
//     int32_t DoProcess() override;  // loops over rows by LineElements()
//   };
//
// Process checks the pair (all failures -44) and creates the output unless the run is
// in place with equal types.
#include "model/FpImage.h"
#include "imaging/ImageArguments.h"
#include "base/Exceptions.h"

#include <cstdint>
#include <type_traits>

template <class Derived>
class ClTpIp1To1
{
public:
  virtual int32_t Process();
  virtual int32_t DoProcess() = 0;

  ClImage* m_pInImage = nullptr;
  ClImage* m_pOutImage = nullptr;

protected:
  ~ClTpIp1To1() = default;
};

template <class Derived>
int32_t ClTpIp1To1<Derived>::Process()
{
  using TIn = typename Derived::InType;
  using TOut = typename Derived::OutType;
  CheckTemplateImages(m_pInImage, m_pOutImage, sizeof(TIn));
  if (m_pInImage == m_pOutImage) {
    if (!std::is_same<TIn, TOut>::value)
      LSKX2_THROW_MSG("In place processing not possible with different in and out types.",
                      eErrInvalidParameter);
    return DoProcess();
  }
  m_pOutImage->Create(TpDataType<TOut>::value, m_pInImage->Width(), m_pInImage->Height(), 1, 0, 0);
  m_pOutImage->SetPels(m_pInImage->PelsX(), m_pInImage->PelsY());
  return DoProcess();
}
