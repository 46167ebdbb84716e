#include "simulator/device/SimDevice.h"

#include "simulator/device/SimReplay.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace kxsim {

ClSimDevice::ClSimDevice(const ClDeviceConfig& config)
  : m_Config(config), m_Renderer(config.nNormalWidth, config.nNormalHeight, config.nPlatenSeed),
    m_aControl(config.aControl)
{
  const ClExtMemoryConfig& ext = m_Config.ext;
  if (ext.bPresent) {
    m_aMemory.assign(size_t(ext.nSize), 0);
    std::copy_n(ext.aContent.begin(), std::min(ext.aContent.size(), m_aMemory.size()),
                m_aMemory.begin());
    // Byte 20 gives the length of a variable part; the calibration marker follows it.
    if (m_aMemory.size() > 20)
      m_aMemory[20] = uint8_t(ext.nMarkerOffset);
    static const uint8_t marker[8] = {'C', 'A', 'L', 0, 'G', 'E', 'O', 0};
    const size_t at = size_t(ext.nMarkerOffset) + 25;
    if (ext.bCalibration && ext.aContent.empty() && at + 8 <= m_aMemory.size())
      std::memcpy(&m_aMemory[at], marker, 8);
  }
}

uint32_t ClSimDevice::Fault(EEntry e)
{
  const int64_t index = m_aCalls[size_t(e)]++;
  for (const ClFault& f : m_Config.aFaults)
    if (f.eCall == e && f.Hits(index)) {
      if (f.bBadAlloc)
        throw std::bad_alloc();
      return f.nError;
    }
  return 0;
}

int64_t ClSimDevice::ImageBytes(bool bRaw) const
{
  const int64_t n = bRaw ? m_Config.nRawBytes : m_Config.nNormalBytes;
  if (n >= 0)
    return n;
  return bRaw ? int64_t(m_Config.nRawWidth) * m_Config.nRawHeight
              : int64_t(m_Config.nNormalWidth) * m_Config.nNormalHeight;
}

uint32_t ClSimDevice::Image(bool bRaw, int nDose, uint8_t* pOut)
{
  if (m_Config.nDisconnectAtFrame >= 0 && int64_t(m_nFrames) >= m_Config.nDisconnectAtFrame) {
    m_bConnected = false;
    return kErrBusy;
  }
  m_pReplayed = nullptr;
  uint64_t skipped = 0;
  const ClReplayFrame* f =
      m_Config.pReplay ? m_Config.pReplay->Pick(m_nFrames, bRaw, m_Config.script.Loop(), &skipped)
                       : nullptr;
  if (f) {
    std::vector<uint8_t> pixels;
    try {
      pixels = m_Config.pReplay->Pixels(*f);
    } catch (const kxrec::ClRecordError&) {
      return kErrInvalidData; // the file passed when loaded: a writer's fault, or changed since
    }
    const int64_t need = bRaw ? int64_t(m_Config.nRawWidth) * m_Config.nRawHeight
                              : int64_t(m_Config.nNormalWidth) * m_Config.nNormalHeight;
    std::memcpy(pOut, pixels.data(), size_t(std::min<int64_t>(need, int64_t(pixels.size()))));
    m_nFrames += skipped;
    m_pReplayed = f;
    const int64_t index = f - m_Config.pReplay->aFrames.data();
    m_bReplayedInOrder = index > m_nReplayedUpTo;
    m_nReplayedUpTo = std::max(m_nReplayedUpTo, index);
  } else {
    Peek(m_nFrames, bRaw, nDose, EOrientation::eDevice, pOut);
  }
  // A device that claims more bytes than its frame has writes them all.
  const int64_t nFrame = bRaw ? int64_t(m_Config.nRawWidth) * m_Config.nRawHeight
                              : int64_t(m_Config.nNormalWidth) * m_Config.nNormalHeight;
  const int64_t nBytes = ImageBytes(bRaw);
  if (nBytes > nFrame)
    std::memset(pOut + nFrame, 0x80, size_t(nBytes - nFrame));
  m_nLastDose = nDose;
  m_nLastMode = bRaw ? 2 : 1;
  ++m_nFrames;
  return 0;
}

void ClSimDevice::Peek(uint64_t nFrame, bool bRaw, int nDose, EOrientation eOrientation,
                       uint8_t* pOut)
{
  const int w = bRaw ? m_Config.nRawWidth : m_Config.nNormalWidth;
  const int h = bRaw ? m_Config.nRawHeight : m_Config.nNormalHeight;
  m_Renderer.Render(m_Config.script.SceneAt(nFrame), w, h, nDose, nFrame, eOrientation, pOut);
}

} // namespace kxsim
