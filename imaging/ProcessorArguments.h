#pragma once
// ClProcessorArguments: a processor's arguments, each declared once (member, the name in
// the descriptive list and in the live container, text, default, range, flags). The
// processor base derives DeclareInterface, SetDefaultParameters and BindParameters from
// it. Held on the stack with a fixed room, so that setting defaults never allocates.
#include <cstddef>
#include <cstdint>

class ClImage;
class ClParameterContainer;
class ClParameterInterface;
enum EDataType : uint8_t;

class ClProcessorArguments
{
public:
  enum EFlags : uint32_t {
    eOut = 1,         // an output in the descriptive list
    eBindRange = 2,   // the container keeps the range too
    eNoDefault = 4,   // SetDefaultParameters leaves the member as it is
    eValueless = 8,   // the list's choices carry no values
    eListDefault = 16 // the list's record states dListDefault as its default
  };
  enum EKind : uint8_t { eImage, eDouble, eInt32, eUInt8, eChoice, eBool, eOutImageType };

  struct StArgument
  {
    EKind eKind;
    void* pValue;
    // Null: not in that place.
    const char* szName;
    const char* szBindName;
    const char* szText;
    double dDefault;
    // Bounds in the list; for images the count of images.
    double dMin, dMax;
    // The container's access flags.
    uint8_t nAccess;
    uint32_t nFlags;
    // Texts each with their terminator, closed by an empty text; the values in order.
    const char* pChoices;
    const int32_t* pnValues;
    double dListDefault;
  };

  // Images: never reset unless eNoDefault is absent from nFlags, which resets to null.
  void Image(ClImage** ppImage, const char* szName, const char* szBindName, const char* szText,
             double dCount, double dMaxCount, uint8_t nAccess, uint32_t nFlags = eNoDefault);
  void Double(double* pValue, const char* szName, const char* szBindName, const char* szText,
              double dDefault, double dMin, double dMax, uint32_t nFlags = 0);
  void Int32(int32_t* pValue, const char* szName, const char* szBindName, const char* szText,
             double dDefault, double dMin, double dMax, uint32_t nFlags = 0);
  void UInt8(uint8_t* pValue, const char* szName, const char* szBindName, const char* szText,
             double dDefault, double dMin, double dMax, uint32_t nFlags = 0);
  // An enumeration of 32 bits, listed with its choices and bound as an int.
  void Choice(void* pValue, const char* szName, const char* szBindName, const char* szText,
              int32_t nDefault, const char* pChoices, const int32_t* pnValues, uint32_t nFlags = 0,
              double dListDefault = 0);
  // A bool bound as an enumeration of the two texts in pChoices ("true\0false\0", say),
  // in the order of pnValues.
  void Bool(bool* pValue, const char* szName, const char* szBindName, const char* szText,
            bool bDefault, const char* pChoices, const int32_t* pnValues, uint8_t nAccess);
  // The output sample type of ClOutImageType, always bound as "OutImageType".
  void OutImageType(EDataType* pType, const char* szName, const char* szText, EDataType eDefault);

  void Declare(ClParameterInterface& itf) const;
  void SetDefaults() const;
  void Bind(ClParameterContainer& container) const;

private:
  enum { eRoom = 16 };
  StArgument& Add(EKind eKind, void* pValue, const char* szName, const char* szBindName,
                  const char* szText, double dDefault, double dMin, double dMax, uint32_t nFlags);

  StArgument m_a[eRoom];
  size_t m_nCount = 0;
};
