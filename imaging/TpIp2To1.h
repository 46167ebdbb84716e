#pragma once
// Light frame for two inputs of one fixed sample type. As ClTpIp1To1: the derived class
// declares InType and OutType and supplies DoProcess. Process checks the inputs against
// each other and the template (all failures -44), and creates the output with the size
// of input 1 unless the run is in place with equal types. Input 2 is not compared in
// size with input 1: a DoProcess that reads it over input 1's size must check that.
#include "model/FpImage.h"
#include "base/Exceptions.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

template <class Derived>
class ClTpIp2To1
{
public:
  virtual ~ClTpIp2To1() = default;
  virtual int32_t Process();
  virtual int32_t DoProcess() = 0;

  ClImage* m_pInImage1 = nullptr;
  ClImage* m_pInImage2 = nullptr;
  ClImage* m_pOutImage = nullptr;
};

template <class Derived>
int32_t ClTpIp2To1<Derived>::Process()
{
  using TIn = typename Derived::InType;
  using TOut = typename Derived::OutType;
  ClImage* p1 = m_pInImage1;
  ClImage* p2 = m_pInImage2;
  if (!p1 || !p2)
    LSKX2_THROW_MSG("Input images must not be NULL.", eErrInvalidParameter);
  if (!m_pOutImage)
    LSKX2_THROW_MSG("Output image must not be NULL.", eErrInvalidParameter);
  if (p1->DataType() != p2->DataType())
    LSKX2_THROW_MSG("Input images must not differ in data type.", eErrInvalidParameter);
  if (p1->Planes() != p2->Planes())
    LSKX2_THROW_MSG("Input images must not differ in number of planes.", eErrInvalidParameter);
  // Resolutions count only when all four are known.
  if (p1->PelsX() > 0 && p1->PelsY() > 0 && p2->PelsX() > 0 && p2->PelsY() > 0 &&
      (p1->PelsX() != p2->PelsX() || p1->PelsY() != p2->PelsY()))
    LSKX2_THROW_MSG("Input images must not differ in resolution.", eErrInvalidParameter);
  if (p1->SampleSize() != sizeof(TIn))
    LSKX2_THROW_MSG("Datatype size of input images and processor configuration differs.",
                    eErrInvalidParameter);
  if (p1->Planes() != 1)
    LSKX2_THROW_MSG("Only single plane images supported.", eErrInvalidParameter);
  if (m_pOutImage == p1 || m_pOutImage == p2) {
    if (!std::is_same<TIn, TOut>::value)
      LSKX2_THROW_MSG("In place processing not possible with different in and out types.",
                      eErrInvalidParameter);
    return DoProcess();
  }
  m_pOutImage->Create(TpDataType<TOut>::value, p1->Width(), p1->Height(), 1, 0, 0);
  m_pOutImage->SetPels(std::max(p1->PelsX(), p2->PelsX()), std::max(p1->PelsY(), p2->PelsY()));
  return DoProcess();
}
