#pragma once
#include "sdk/Exceptions.h"

#include <cstring>
#include <string>

// Code of the ClException that fn throws, 0 when it throws none.
template <class F>
int32_t CodeOf(F fn)
{
  try {
    fn();
  } catch (const ClException& e) {
    return e.GetCode();
  }
  return 0;
}

// The specific text after the catalogue line of a ClException.
template <class F>
std::string DetailOf(F fn)
{
  try {
    fn();
  } catch (const ClException& e) {
    const char* s = e.GetMessage();
    const char* nl = s ? std::strchr(s, '\n') : nullptr;
    return nl ? std::string(nl + 1) : std::string();
  }
  return "<no exception>";
}
