#pragma once
// Conversions between 64-bit floats and samples as the pixel loops need them: truncation
// toward zero, with an overflow wrapping into the sample's width instead of trapping.
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

// Truncation toward zero to 64 bits; out of range and NaN give the processor's
// "integer indefinite" value, as the hardware conversion does.
inline int64_t TruncToInt64(double dValue)
{
  if (dValue > -9223372036854775808.0 && dValue < 9223372036854775808.0)
    return static_cast<int64_t>(dValue);
  return std::numeric_limits<int64_t>::min();
}

// Truncation toward zero to 32 bits, with the 32-bit indefinite value out of range.
inline int32_t TruncToInt32(double dValue)
{
  if (dValue > -2147483649.0 && dValue < 2147483648.0)
    return static_cast<int32_t>(dValue);
  return std::numeric_limits<int32_t>::min();
}

// Integer sample: truncated, then reduced to the sample's width (a wrap on overflow).
// Floating sample: a plain conversion.
template <class T>
inline T TruncToSample(double dValue)
{
  if constexpr (std::is_floating_point<T>::value)
    return static_cast<T>(dValue);
  else
    return static_cast<T>(static_cast<uint64_t>(TruncToInt64(dValue)));
}

// Sum and difference in the width of T, wrapping, without signed overflow.
template <class T>
inline T WrapAdd(T a, T b)
{
  if constexpr (std::is_integral<T>::value) {
    using U = typename std::make_unsigned<T>::type;
    return static_cast<T>(static_cast<U>(static_cast<U>(a) + static_cast<U>(b)));
  } else {
    return a + b;
  }
}

template <class T>
inline T WrapSub(T a, T b)
{
  if constexpr (std::is_integral<T>::value) {
    using U = typename std::make_unsigned<T>::type;
    return static_cast<T>(static_cast<U>(static_cast<U>(a) - static_cast<U>(b)));
  } else {
    return a - b;
  }
}

template <class T>
inline T WrapMul(T a, T b)
{
  if constexpr (std::is_integral<T>::value) {
    using U = typename std::make_unsigned<T>::type;
    using W = typename std::conditional<(sizeof(U) < sizeof(unsigned)), unsigned, U>::type;
    return static_cast<T>(
        static_cast<U>(static_cast<W>(static_cast<U>(a)) * static_cast<W>(static_cast<U>(b))));
  } else {
    return a * b;
  }
}
