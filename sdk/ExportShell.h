#pragma once
// The one shell every export runs in: Enter line, the body (null tests, handle, operation),
// Leave line; a ClException becomes its code with the catalogue's text in the Error line.
// Nothing else is caught here on purpose: other families pass through unconverted.
#include "base/ErrorCatalogue.h"
#include "base/Exceptions.h"
#include "sdk/LiveScannerKX2.h"

#include <cstdint>
#include <cstdio>
#include <tuple>

class ClExportShell
{
public:
  // szSignature is the argument part of the lines with the function name first, as
  // "%s(%p, %d)"; the arguments follow the function name.
  template <class TBody, class... TArgs>
  static int32_t Run(const char* szFunc, const char* szSignature, TBody&& body, TArgs... args)
  {
    return RunLines(szFunc, szSignature, std::make_tuple(args...), szSignature,
                    std::make_tuple(args...), static_cast<TBody&&>(body));
  }

  // The exports that log their name alone, with an empty second part: "%s%s Enter".
  template <class TBody>
  static int32_t RunNamed(const char* szFunc, TBody&& body)
  {
    return Run(szFunc, "%s%s", static_cast<TBody&&>(body), "");
  }

  // Where the Enter line also takes other arguments than the Leave and Error lines.
  template <class TBody, class TEnterArgs, class TExitArgs>
  static int32_t RunLines(const char* szFunc, const char* szEnterSignature,
                          const TEnterArgs& enterArgs, const char* szExitSignature,
                          const TExitArgs& exitArgs, TBody&& body)
  {
    char enter[128], leave[128];
    std::snprintf(enter, sizeof(enter), "%s Enter", szEnterSignature);
    std::snprintf(leave, sizeof(leave), "%s Leave", szExitSignature);
    try {
      std::apply([&](auto... a) { ClLiveScannerKX2::Log(7, enter, szFunc, a...); }, enterArgs);
      body();
      std::apply([&](auto... a) { ClLiveScannerKX2::Log(7, leave, szFunc, a...); }, exitArgs);
      return 0;
    } catch (const ClException& e) {
      int32_t code = e.GetCode();
      std::apply([&](auto... a) { LogError(szFunc, szExitSignature, code, a...); }, exitArgs);
      return code;
    }
  }

  // For the start-up exports: the body gives a plain code back, which then takes the path
  // of a raised one (no Leave line, the Error line).
  template <class TBody, class... TArgs>
  static int32_t RunCode(const char* szFunc, const char* szSignature, TBody&& body, TArgs... args)
  {
    return Run(
        szFunc, szSignature,
        [&] {
          if (const int32_t nCode = body())
            LSKX2_THROW(nCode);
        },
        args...);
  }

private:
  template <class... TArgs>
  static void LogError(const char* szFunc, const char* szSignature, int32_t nCode, TArgs... args)
  {
    char error[128];
    std::snprintf(error, sizeof(error), "%s Error(%%d): %%s", szSignature);
    try {
      ClLiveScannerKX2::Log(3, error, szFunc, args..., nCode, GetErrorDescriptionA(nCode));
    } catch (const ClException&) {
      // The code is what the caller needs; a line that cannot be formed is dropped.
    }
  }
};
