#pragma once
// ClTpIpAnd: bit-wise and of two images. Instance in use: uint8.
#include "imaging/operators/TpIpCombine.h"

#include <functional>

template <class T>
using ClTpIpAnd = ClTpIpCombine<T, ClTpBitwiseRows<T, std::bit_and<T>, AndU8>>;
