#pragma once
// ClTpIpFilterMin: running minimum over a clipped window, row pass then column pass.
// The minimum is rescanned only when it leaves the window. Instances: uint8, float32.
#include "imaging/filters/TpIpFilterExtreme.h"

template <class T>
class ClTpIpFilterMin : public ClTpIpFilterExtreme<ClTpIpFilterMin<T>, T, TpMinPolicy>
{
public:
  using InType = T;
};
