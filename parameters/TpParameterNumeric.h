#pragma once
// Numeric parameters: int, unsigned int, unsigned char, long (32-bit domain) and double.
// Every write from outside passes the domain test of the value type, then the checked
// write, which is the only path that honours clamp (32) and strict (64), and only when
// the range is not empty (Min differs from Max). Text conversion keeps its old habits:
// hex after the last of the first 'x'/'X', "1e2" storing 1, trailing zeros cut on output.
#include "parameters/TpParameter.h"

#include <cctype>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>

template <class T>
struct TpNumericTraits;
template <>
struct TpNumericTraits<int>
{
  static constexpr const char* szFormat = "%d";
  static constexpr bool bFloat = false, bSigned = true;
  static constexpr double dLow = -2147483648.0, dHigh = 2147483647.0;
};
template <>
struct TpNumericTraits<unsigned int>
{
  static constexpr const char* szFormat = "%u";
  static constexpr bool bFloat = false, bSigned = false;
  static constexpr double dLow = 0.0, dHigh = 4294967295.0;
};
template <>
struct TpNumericTraits<unsigned char>
{
  static constexpr const char* szFormat = "%u";
  static constexpr bool bFloat = false, bSigned = false;
  static constexpr double dLow = 0.0, dHigh = 255.0;
};
// 32-bit in the interface even where the platform's long is wider.
template <>
struct TpNumericTraits<long>
{
  static constexpr const char* szFormat = "%ld";
  static constexpr bool bFloat = false, bSigned = true;
  static constexpr double dLow = -2147483648.0, dHigh = 2147483647.0;
};
template <>
struct TpNumericTraits<double>
{
  static constexpr const char* szFormat = "%f";
  static constexpr bool bFloat = true, bSigned = true;
  static constexpr double dLow = -DBL_MAX, dHigh = DBL_MAX;
};

// Truncation toward zero with a defined result for every double: NaN gives 0, values
// beyond 64 bits saturate there, narrower integers keep the low bits.
template <class T>
inline T ParameterTruncate(double dValue)
{
  if constexpr (std::is_floating_point<T>::value) {
    return static_cast<T>(dValue);
  } else {
    if (std::isnan(dValue))
      return T(0);
    int64_t n;
    if (dValue >= 9223372036854775808.0)
      n = INT64_MAX;
    else if (dValue < -9223372036854775808.0)
      n = INT64_MIN;
    else
      n = static_cast<int64_t>(dValue);
    return static_cast<T>(n);
  }
}

// Internal: message text of the numeric failures, and the -101 of a failed format.
std::string ParameterRangeText(const char* szName);
std::string ParameterSetFailedText(const char* szName, const char* szText);
[[noreturn]] void ThrowFormatFailure(int nErrno);
void CutTrailingZeros(char* szText);

template <class T, class O = ClParameter>
class TpParameterNumeric : public TpParameter<T, O>, public ClParameterNumericInterface
{
  using Traits = TpNumericTraits<T>;
  using Base = TpParameter<T, O>;

public:
  TpParameterNumeric()
  {
    SetFormat(Traits::szFormat);
    if (Traits::bFloat)
      m_nPrecision = 6;
  }

  ClParameter* Clone() const override
  {
    return this->template CloneWith<TpParameterNumeric>(
        [this](TpParameterNumeric* p) { CopyTo(p); });
  }

  void CopyTo(ClParameterBase* pTarget) const override
  {
    Base::CopyTo(pTarget);
    auto* pCast = dynamic_cast<TpParameterNumeric*>(pTarget);
    if (!pCast)
      LSKX2_THROW_MSG("pCast is not set", eErrBadPointer);
    pCast->m_Min = m_Min;
    pCast->m_Max = m_Max;
    pCast->m_bFloat = m_bFloat;
    pCast->m_bSigned = m_bSigned;
  }

  ClParameterNumericInterface* AsNumeric() override { return this; }
  bool IsNumeric() const override { return true; }
  bool IsSigned() const { return m_bSigned; }
  bool IsValueInRange(T value) const { return !HasRange() || (m_Min <= value && value <= m_Max); }

  // --- numeric interface ---
  double GetDouble() const override { return static_cast<double>(this->ReadValue()); }
  void SetDouble(double dValue) override
  {
    TestDomain(dValue);
    WriteChecked(ParameterTruncate<T>(dValue));
  }
  int32_t GetInteger() const override
  {
    T value = this->ReadValue();
    if constexpr (std::is_floating_point<T>::value)
      return static_cast<int32_t>(ParameterTruncate<int64_t>(value));
    else
      return static_cast<int32_t>(value);
  }
  void SetInteger(int32_t nValue) override
  {
    int64_t n = nValue;
    TestDomain(n);
    WriteChecked(static_cast<T>(n));
  }
  double GetMin() const override { return static_cast<double>(m_Min); }
  void SetMin(double dValue) override { m_Min = ParameterTruncate<T>(dValue); }
  double GetMax() const override { return static_cast<double>(m_Max); }
  void SetMax(double dValue) override { m_Max = ParameterTruncate<T>(dValue); }
  double GetDefault() const override { return static_cast<double>(this->m_Default); }
  void SetDefault(double dValue) override
  {
    TestDomain(dValue);
    this->m_Default = ParameterTruncate<T>(dValue);
  }
  bool IsFloat() const override { return m_bFloat; }
  bool IsInteger() const override { return !m_bFloat; }
  bool IsInRange(double dValue) const override
  {
    return IsValueInRange(ParameterTruncate<T>(dValue));
  }
  bool IsCurrentInRange() const override { return IsValueInRange(this->ReadValue()); }
  bool HasRange() const override { return m_Min != m_Max; }

  // --- text ---
  void SetFromString(const char* szText) override
  {
    if (!szText)
      LSKX2_THROW_MSG("value string is NULL pointer!", eErrTemplatePtr);
    const char* pX = std::strchr(szText, 'X');
    const char* px = std::strchr(szText, 'x');
    const char* pHex = (pX && px) ? (pX > px ? pX : px) : (pX ? pX : px);
    if (pHex) {
      // What stands in front of the x is ignored on purpose.
      char* pEnd = nullptr;
      errno = 0;
      unsigned long long n = std::strtoull(pHex + 1, &pEnd, 16);
      if (*pEnd)
        LSKX2_THROW_MSG(ParameterSetFailedText(this->m_pName, szText).c_str(),
                        eErrInvalidParameter);
      // A 32-bit unsigned conversion: a magnitude beyond 32 bits saturates, a sign negates
      // within 32 bits ("0x-2" is 0xFFFFFFFE); the result is sign-extended afterwards.
      const char* pDigits = pHex + 1;
      while (std::isspace(static_cast<unsigned char>(*pDigits)))
        ++pDigits;
      const bool bNegative = *pDigits == '-';
      const unsigned long long nMagnitude = errno == ERANGE ? ~0ull : bNegative ? 0ull - n : n;
      uint32_t n32 = 0xFFFFFFFFu;
      if (nMagnitude <= 0xFFFFFFFFull)
        n32 =
            bNegative ? 0u - static_cast<uint32_t>(nMagnitude) : static_cast<uint32_t>(nMagnitude);
      int64_t nValue = static_cast<int32_t>(n32);
      TestDomain(nValue);
      WriteChecked(static_cast<T>(nValue));
      return;
    }
    char* pEnd = nullptr;
    double d = std::strtod(szText, &pEnd);
    if (*pEnd)
      LSKX2_THROW_MSG(ParameterSetFailedText(this->m_pName, szText).c_str(), eErrInvalidParameter);
    if constexpr (std::is_floating_point<T>::value) {
      TestDomain(d);
      WriteChecked(static_cast<T>(d));
    } else {
      if (std::isinf(d))
        LSKX2_THROW_MSG(ParameterSetFailedText(this->m_pName, szText).c_str(), eErrParamOutOfRange);
      // Stops silently at the first unfit character: "3.7" gives 3, "1e2" gives 1.
      int64_t n = std::strtoll(szText, nullptr, 10);
      TestDomain(n);
      WriteChecked(static_cast<T>(n));
    }
  }

  bool GetString(char* pBuffer, uint64_t& nSize) const override
  {
    T value = this->ReadValue();
    int n = Format(nullptr, 0, value);
    uint64_t nNeeded = static_cast<uint64_t>(n) + 1;
    uint64_t nAvailable = nSize;
    nSize = nNeeded;
    if (nAvailable < nNeeded)
      return false;
    if (pBuffer) {
      Format(pBuffer, nNeeded, value);
      CutTrailingZeros(pBuffer);
    }
    return true;
  }

  bool GetDefaultString(char* pBuffer, uint64_t& nSize) const override
  {
    char text[512];
    Format(text, sizeof(text), this->m_Default);
    uint64_t nNeeded = std::strlen(text) + 1;
    uint64_t nAvailable = nSize;
    nSize = nNeeded;
    if (nAvailable < nNeeded)
      return false;
    if (pBuffer)
      std::memcpy(pBuffer, text, nNeeded);
    return true;
  }

protected:
  void TestDomain(double dValue) const
  {
    if (dValue < Traits::dLow || dValue > Traits::dHigh)
      LSKX2_THROW_AS(ClExRange, ParameterRangeText(this->m_pName).c_str(), eErrParamOutOfRange,
                     true);
  }
  void TestDomain(int64_t nValue) const { TestDomain(static_cast<double>(nValue)); }

  // The one path that honours clamp and strict; comparisons in T.
  void WriteChecked(T value)
  {
    if (m_Min != m_Max) {
      if (this->m_nFlags & eParamClamp) {
        if (value < m_Min)
          value = m_Min;
        if (m_Max < value)
          value = m_Max;
      }
      if ((this->m_nFlags & eParamStrict) && (value < m_Min || m_Max < value))
        LSKX2_THROW_AS(ClExRange, ParameterRangeText(this->m_pName).c_str(), eErrParamOutOfRange,
                       true);
    }
    this->WriteValue(value);
  }

  int Format(char* pBuffer, size_t nSize, T value) const
  {
    const char* szFormat = GetFormat();
    errno = 0;
    int n;
    if (std::strchr(szFormat, '*'))
      n = std::snprintf(pBuffer, nSize, szFormat, static_cast<int>(m_nPrecision),
                        static_cast<double>(value));
    else
      n = std::snprintf(pBuffer, nSize, szFormat, value);
    if (n < 0)
      ThrowFormatFailure(errno);
    return n;
  }

  T m_Min{};
  T m_Max{};
  bool m_bFloat = Traits::bFloat;
  bool m_bSigned = Traits::bSigned;
};
