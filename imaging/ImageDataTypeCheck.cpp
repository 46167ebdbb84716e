#include "imaging/ImageDataTypeCheck.h"

#include "model/FpImage.h"
#include "base/Exceptions.h"

#include <cstdio>

namespace NewIpBase {

void ClImageDataTypeCheck::AddDataType(EDataType eType)
{
  for (uint32_t i = 0; i < m_DataTypes.Size(); ++i) {
    if (m_DataTypes[i] == eType)
      return;
  }
  m_DataTypes.Add(eType);
}

void ClImageDataTypeCheck::AddDataTypes(const EDataType* pTypes, uint32_t nCount)
{
  for (uint32_t i = 0; pTypes && i < nCount; ++i)
    AddDataType(pTypes[i]);
}

void ClImageDataTypeCheck::CheckDataType(const ClImage& image) const
{
  EDataType eType = image.DataType();
  for (uint32_t i = 0; i < m_DataTypes.Size(); ++i) {
    if (m_DataTypes[i] == eType)
      return;
  }
  char szText[128];
  std::snprintf(szText, sizeof(szText), "Input pixel type \"%s\" not supported by processor.",
                DataTypeName(eType));
  LSKX2_THROW_MSG(szText, eErrFormatNotsupported);
}

} // namespace NewIpBase
