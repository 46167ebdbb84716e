#include "imaging/OutImageType.h"

#include "parameters/ParameterContainer.h"

#include <cstring>

const char ClOutImageType::s_szChoices[] =
    "unsigned char\0signed char\0unsigned short\0signed short\0"
    "unsigned int\0signed int\0float\0double\0default\0";
const int32_t ClOutImageType::s_anValues[9] = {1, 129, 2, 130, 4, 132, 196, 200, 255};

void ClOutImageType::Bind(ClParameterContainer& container, EDataType& eType)
{
  auto* pType = container.CreateEnum<unsigned char>("OutImageType");
  const char* szChoice = s_szChoices;
  for (int32_t nValue : s_anValues) {
    pType->AddEntry(static_cast<unsigned char>(nValue), szChoice);
    szChoice += std::strlen(szChoice) + 1;
  }
  // The member is an 8-bit enumeration, read and written as its byte.
  pType->Bind(reinterpret_cast<unsigned char*>(&eType), 3);
}
