#pragma once
// Run-time choice of a pixel-type instantiation: one table lookup per image, then the
// kernel runs at its own types with no per-sample branch on type.
//
// A kernel is written once as a generic lambda (or functor) taking one TpTypeTag per
// image and returning an int32_t status:
//
//   return DispatchType(pIn->DataType(), [&](auto in) {
//     using T = typename decltype(in)::Type;
//     return OffsetRows<T>(*pIn, *pOut, m_dOffset);
//   });
//
// DispatchType, DispatchTypes(e1, e2, f) and DispatchTypes(e1, e2, e3, f) instantiate
// the kernel for all 8, 64 or 512 combinations of the sample types; a type outside the
// eight gives -101 without calling anything.
#include "model/DataType.h"
#include "imaging/SampleConvert.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>

template <class T>
struct TpTypeTag
{
  using Type = T;
};

// The eight sample types in the order of the dispatch tables.
using TpSampleTypes =
    std::tuple<unsigned char, signed char, unsigned short, short, unsigned int, int, float, double>;

// Position of a type in TpSampleTypes, or -1 for "unknown", "default" and anything else.
constexpr int SampleTypeIndex(EDataType eType)
{
  switch (eType) {
  case eUInt8:
    return 0;
  case eInt8:
    return 1;
  case eUInt16:
    return 2;
  case eInt16:
    return 3;
  case eUInt32:
    return 4;
  case eInt32:
    return 5;
  case eFloat32:
    return 6;
  case eDouble64:
    return 7;
  default:
    return -1;
  }
}

// Sample of one type from a sample of another: integers convert with a wrap, floating
// values to integers truncate toward zero (see TruncToSample).
template <class TOut, class TIn>
inline TOut ConvertSample(TIn value)
{
  if constexpr (std::is_floating_point<TIn>::value && !std::is_floating_point<TOut>::value)
    return TruncToSample<TOut>(static_cast<double>(value));
  else
    return static_cast<TOut>(value);
}

namespace TpDispatchDetail {

constexpr size_t Pow8(size_t n) { return n == 0 ? 1 : 8 * Pow8(n - 1); }

template <size_t I>
using SampleAt = typename std::tuple_element<I, TpSampleTypes>::type;

// Flat index i1 * 8^(N-1) + ... + iN, decoded digit by digit into type tags.
template <class F, size_t N, size_t Flat, size_t... K>
int32_t CallDecoded(F& f, std::index_sequence<K...>)
{
  return f(TpTypeTag<SampleAt<(Flat / Pow8(N - 1 - K)) % 8>>{}...);
}

template <class F, size_t N, size_t Flat>
int32_t Thunk(F& f)
{
  return CallDecoded<F, N, Flat>(f, std::make_index_sequence<N>{});
}

template <class F, size_t N, size_t... Flat>
constexpr std::array<int32_t (*)(F&), sizeof...(Flat)> MakeTable(std::index_sequence<Flat...>)
{
  return {{&Thunk<F, N, Flat>...}};
}

template <class F, size_t N>
struct TpTable
{
  static constexpr std::array<int32_t (*)(F&), Pow8(N)> s_aTable =
      MakeTable<F, N>(std::make_index_sequence<Pow8(N)>{});
};

template <size_t N, class F>
int32_t Dispatch(const EDataType (&aTypes)[N], F& f)
{
  size_t nFlat = 0;
  for (size_t i = 0; i < N; ++i) {
    int nIndex = SampleTypeIndex(aTypes[i]);
    if (nIndex < 0)
      return eErrInternal;
    nFlat = nFlat * 8 + static_cast<size_t>(nIndex);
  }
  return TpTable<F, N>::s_aTable[nFlat](f);
}

} // namespace TpDispatchDetail

template <class F>
int32_t DispatchType(EDataType eType, F&& f)
{
  const EDataType aTypes[1] = {eType};
  return TpDispatchDetail::Dispatch(aTypes, f);
}

template <class F>
int32_t DispatchTypes(EDataType eType1, EDataType eType2, F&& f)
{
  const EDataType aTypes[2] = {eType1, eType2};
  return TpDispatchDetail::Dispatch(aTypes, f);
}

template <class F>
int32_t DispatchTypes(EDataType eType1, EDataType eType2, EDataType eType3, F&& f)
{
  const EDataType aTypes[3] = {eType1, eType2, eType3};
  return TpDispatchDetail::Dispatch(aTypes, f);
}
