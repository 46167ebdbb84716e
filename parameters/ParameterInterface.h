#pragma once
// The descriptive side of a processor's settings: a flat list of records, in the order
// of declaration, stating name, text, direction, kind, bounds, default and choices. The
// working side is the ClParameterContainer that BindParameters fills.
//
// Bounds (1.0, -1.0) ask for a range derived from the present value v: from 2v/3 to
// 4v/3, ordered, so 0 gives a fixed 0..0.
#include <cstdint>

class ClStream;

class ClParameterInterface
{
public:
  enum EKind : uint32_t {
    eKindUInt8 = 0,
    eKind16A = 1,
    eKind16B = 2,
    eKindInteger = 3,
    eKindDouble = 4,
    eKind32 = 5,
    eKindNone = 6,
    eKindImage = 7,
    eKindBool = 8,
    eKindChoice = 9
  };
  enum EDirection : uint32_t { eIn = 0, eOut = 1 };

  // One record; read by tools that walk the list, hence plain public fields.
  class ClParameter
  {
  public:
    ClParameter() = default;
    ClParameter(const ClParameter&) = delete;
    ClParameter& operator=(const ClParameter&) = delete;
    virtual ~ClParameter();

    // Name as text, direction and fixed as bytes, three doubles, the two flags, the kind
    // byte, then the present value by kind (1, 2, 2, 4, 8, 4 bytes for kinds 0 to 5).
    virtual void Write(ClStream& stream) const;
    // -33 with only the name consumed when the name differs (case matters); else the
    // bounds, default and flags are taken over and the value is read by this record's
    // kind (kind 1 reads four bytes) into the member. 0 on success.
    virtual int32_t Read(ClStream& stream);

    // Number of choice texts in m_pChoices.
    uint32_t ChoiceCount() const;

    uint32_t m_nKind = eKindNone;
    uint32_t m_nDirection = 2;
    uint32_t m_nFixed = 0;
    double m_dMin = 0;
    double m_dMax = 0;
    double m_dDefault = 0;
    void* m_pValue = nullptr;
    // Texts each with their terminator, the block closed by an empty text.
    char* m_pChoices = nullptr;
    int32_t* m_pChoiceValues = nullptr;
    uint8_t m_bFlagA = 0;
    uint8_t m_bFlagB = 0;
    char* m_pName = nullptr;
    char* m_pDescription = nullptr;
    ClParameter* m_pNext = nullptr;
  };

  ClParameterInterface() = default;
  ClParameterInterface(const ClParameterInterface&) = delete;
  ClParameterInterface& operator=(const ClParameterInterface&) = delete;
  virtual ~ClParameterInterface();

  ClParameter* AddBool(bool* pValue, const char* szName, const char* szDescription,
                       uint32_t nDirection);
  ClParameter* AddChoice(void* pValue, const char* szName, const char* szDescription,
                         const char* pChoices, uint32_t nDirection);
  ClParameter* AddInteger(int32_t* pValue, const char* szName, const char* szDescription,
                          uint32_t nDirection, double dMin, double dMax);
  ClParameter* AddDouble(double* pValue, const char* szName, const char* szDescription,
                         uint32_t nDirection, double dMin, double dMax);
  // dMin and dMax count images (1 and 1 for one image).
  ClParameter* AddImage(void* pValue, const char* szName, const char* szDescription,
                        uint32_t nDirection, double dMin, double dMax);
  ClParameter* AddGeneric(void* pValue, const char* szName, const char* szDescription,
                          uint32_t nDirection, uint32_t nKind, uint32_t nFixed);

  // Sets m_nFixed when the bounds coincide; never clears it.
  static void SetRange(ClParameter* pRecord, double dMin, double dMax);
  static void SetChoices(ClParameter* pRecord, const char* pChoices, const int32_t* pValues);
  static void SuggestRange(double dValue, double* pdMin, double* pdMax);

  ClParameter* GetFirst() const { return m_pHead; }
  uint32_t GetCount() const { return m_nCount; }
  // First record of that name, exact case; null if none.
  ClParameter* Find(const char* szName) const;

private:
  // A number record: range suggested from the value where the bounds ask for it, the
  // value as default.
  ClParameter* AppendNumber(void* pValue, double dValue, const char* szName,
                            const char* szDescription, uint32_t nDirection, uint32_t nKind,
                            double dMin, double dMax);
  ClParameter* Append(void* pValue, const char* szName, const char* szDescription,
                      uint32_t nDirection, uint32_t nKind);

  ClParameter* m_pHead = nullptr;
  ClParameter* m_pTail = nullptr;
  uint32_t m_nCount = 0;
};
