#pragma once
// ClTpIpOr: bit-wise or of two images. Instance in use: uint8.
#include "imaging/operators/TpIpCombine.h"

#include <functional>

template <class T>
using ClTpIpOr = ClTpIpCombine<T, ClTpBitwiseRows<T, std::bit_or<T>, OrU8>>;
