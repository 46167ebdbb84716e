#pragma once
// ClTpIpFilterMax: running maximum over a clipped window, row pass then column pass.
// The maximum is rescanned only when it leaves the window. Instances: uint8, float32.
#include "imaging/filters/TpIpFilterExtreme.h"

template <class T>
class ClTpIpFilterMax : public ClTpIpFilterExtreme<ClTpIpFilterMax<T>, T, TpMaxPolicy>
{
public:
  using InType = T;
};
