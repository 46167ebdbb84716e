// A program of export calls read from the input: each byte an export, the bytes after it
// its arguments. Handles are valid, closed (stale), garbage or null; sizes are the input's;
// outputs may be null. Every input ends with the library as it began.
#include "FuzzScanner.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

const char* const aSerials[] = {"KX2 21234567", "KX2 21234568", "KX2 99999999", ""};

struct ClProgram
{
  explicit ClProgram(fuzz::ClInput& in) : m_In(in) {}

  // Slots 0-1 hold opened handles; 2 a closed one; 3 a block-shaped fake; 4 a small
  // number; 5 null.
  LS_KX2_HANDLE Handle()
  {
    const uint8_t n = m_In.Byte() % 6;
    switch (n) {
    case 0:
    case 1:
      return m_ah[n];
    case 2:
      return m_hStale;
    case 3:
      std::memcpy(m_aFake, "LS_KX2\0\0", 8);
      std::memcpy(m_aFake + 16, "LS_KX2\0\0", 8);
      return reinterpret_cast<LS_KX2_HANDLE>(m_aFake);
    case 4:
      return reinterpret_cast<LS_KX2_HANDLE>(uintptr_t(m_In.Byte()) * 8 + 8);
    default:
      return nullptr;
    }
  }
  template <class T>
  T* Out(T* p)
  {
    return m_In.Byte() & 1 ? p : nullptr;
  }

  void Step()
  {
    double d = 0;
    uint8_t b = 0;
    int32_t s = 0;
    uint32_t n32 = 0, m32 = 0;
    uint64_t w = 0, v = 0;
    switch (m_In.Byte() % 24) {
    case 0:
      m_nInits += LS_KX2Initialize(nullptr) == 0;
      break;
    case 1:
      m_nInits -= LS_KX2Uninitialize() == 0;
      break;
    case 2: {
      uint64_t nRoom = m_In.Byte() % 4;
      std::vector<char> list(nRoom * 16);
      LS_KX2QueryScanners(nRoom ? list.data() : Out(list.data()), Out(&nRoom));
      break;
    }
    case 3: {
      const uint8_t k = m_In.Byte() % 2;
      LS_KX2_HANDLE h = nullptr;
      if (LS_KX2OpenScanner(Out(aSerials[m_In.Byte() % 4]), Out(&h)) == 0 && h) {
        if (m_ah[k])
          m_aLeft.push_back(m_ah[k]);
        m_ah[k] = h;
      }
      break;
    }
    case 4: {
      const uint8_t k = m_In.Byte() % 2;
      LS_KX2_HANDLE h = m_ah[k];
      if (LS_KX2CloseScanner(Out(&m_ah[k])) == 0)
        m_hStale = h;
      break;
    }
    case 5:
      LS_KX2SetCaptureMode(Handle(), m_In.Byte() % 8);
      break;
    case 6:
      LS_KX2GetCaptureMode(Handle(), Out(&n32));
      break;
    case 7:
      LS_KX2TriggerScanner(Handle());
      break;
    case 8:
      LS_KX2GetImage(Handle(), Out(m_aImage), Out(&d), Out(&b), Out(&s));
      break;
    case 9:
      LS_KX2GetPreviewImage(Handle(), Out(m_aImage), Out(&d), Out(&b), Out(&s));
      break;
    case 10:
      LS_KX2GetRollImage(Handle(), Out(m_aImage), Out(&d), Out(&b), Out(&s));
      break;
    case 11:
      LS_KX2GetImageSize(Handle(), Out(&w), Out(&v));
      break;
    case 12:
      LS_KX2GetRollImageDPI(Handle(), Out(&w), Out(&v));
      break;
    case 13:
      LS_KX2GetScannerCondition(Handle(), Out(&n32), Out(&m32));
      break;
    case 14: {
      char serial[16];
      LS_KX2GetSerialNumber(Handle(), Out(serial));
      break;
    }
    case 15:
      LS_KX2SetLED(Handle(), m_In.Byte() % 3, m_In.Byte());
      break;
    case 16: {
      // The copy writes a terminator beyond the size it reports: one byte more of room.
      uint64_t nRoom = m_In.Byte();
      std::vector<char> text(nRoom + 1);
      LS_KX2GetVersionString(Handle(), Out(text.data()), Out(&nRoom));
      break;
    }
    case 17: {
      uint64_t nRoom = uint64_t(m_In.Byte()) * 16;
      std::vector<uint8_t> data(nRoom);
      LS_KX2ExtendedScannerAccess(Handle(), 6, nRoom ? data.data() : nullptr, Out(&nRoom));
      break;
    }
    case 18: {
      std::string sText = m_In.Text(200);
      uint64_t nLength = sText.size() + (m_In.Byte() & 1);
      LS_KX2ExtendedScannerAccess(Handle(), 7, Out(reinterpret_cast<uint8_t*>(sText.data())),
                                  Out(&nLength));
      break;
    }
    case 19: {
      uint8_t data[8] = {};
      uint64_t nRoom = sizeof(data);
      LS_KX2ExtendedScannerAccess(Handle(), static_cast<int8_t>(m_In.Byte()), data, &nRoom);
      break;
    }
    case 20:
      LS_KX2SetPropertyLongA(Handle(), "nResetImage", m_In.Byte() % 3);
      break;
    case 21: {
      int32_t n = 0;
      LS_KX2GetPropertyLongA(Handle(), "nMaskSensitivity", Out(&n));
      break;
    }
    case 22:
      LS_KX2CompatibilityCheck(Out(m_In.Byte() & 2 ? "1.8" : "0.1"));
      break;
    default:
      LS_KX2GetErrorDescriptionA(static_cast<int32_t>(m_In.Word()));
    }
  }

  // Back to one reference and no open scanner, whatever the program left.
  void Finish()
  {
    while (m_nInits < 0) {
      LS_KX2Initialize(nullptr);
      ++m_nInits;
    }
    for (LS_KX2_HANDLE& h : m_ah)
      if (h)
        m_aLeft.push_back(h);
    // The SDK in use, so that handles left open (or put aside by the last uninitialise)
    // close for good.
    LS_KX2Initialize(nullptr);
    for (LS_KX2_HANDLE h : m_aLeft)
      LS_KX2CloseScanner(&h);
    LS_KX2Uninitialize();
    for (; m_nInits > 0; --m_nInits)
      LS_KX2Uninitialize();
  }

  fuzz::ClInput& m_In;
  LS_KX2_HANDLE m_ah[2] = {};
  LS_KX2_HANDLE m_hStale = nullptr;
  std::vector<LS_KX2_HANDLE> m_aLeft;
  alignas(8) char m_aFake[24] = {};
  int m_nInits = 0;
  static uint8_t m_aImage[fuzz::nImageBytes];
};

uint8_t ClProgram::m_aImage[fuzz::nImageBytes];

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
  fuzz::SetUpOnce();
  fuzz::ClInput in(pData, nSize);
  ClProgram program(in);
  for (int i = 0; i < 64 && !in.Empty(); ++i)
    program.Step();
  program.Finish();
  return 0;
}
