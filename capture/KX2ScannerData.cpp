// The JSON document of LS_KX2ExtendedScannerAccess: roll diagnostics and thresholds under
// "KX2.ROLLFINGER", the fake finger library's own text under "KX2.PAD".
#include "capture/KX2JsonBounds.h"
#include "capture/KX2LiveCaptureR2.h"
#include "device/VeltranoFakeFingerDetectionKX2Wrapper.h"
#include "base/Exceptions.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <sstream>
#include <string>
#include <vector>

namespace pt = boost::property_tree;

namespace {

constexpr int32_t kFirstBufferSize = 1500000;

// The library's id 0 text; false when it refuses. A buffer that is too small is
// enlarged once to the size the library names.
bool ReadPadText(ClVeltranoFakeFingerDetectionKX2Wrapper& fd, void* hHandle, std::string& text)
{
  std::vector<char> buffer(kFirstBufferSize);
  uint64_t nSize = buffer.size();
  int32_t r = fd.FD_KX2ExtendedAccess(hHandle, 0, buffer.data(), &nSize);
  if (r == eErrSizeTooSmall) {
    if (nSize == 0)
      return false;
    // Text this long would be refused unread; so is a size that cannot be allocated.
    if (nSize > ClKX2JsonBounds::eMaxBytes + 1)
      throw pt::json_parser_error("fake finger text too long", "", 0);
    std::vector<char>(static_cast<size_t>(nSize)).swap(buffer);
    r = fd.FD_KX2ExtendedAccess(hHandle, 0, buffer.data(), &nSize);
  }
  if (r != 0)
    return false;
  buffer.push_back(0);
  text = buffer.data();
  return true;
}

} // namespace

void ClKX2LiveCaptureR2::GetScannerData(std::ostream& stream)
{
  boost::lock_guard<boost::mutex> roll(m_RollMutex);
  try {
    pt::ptree root, node;
    if (m_nMode == eCaptureRoll) {
      pt::ptree diagnostics;
      RollDiagnostics(diagnostics);
      node.add_child("ROLLFINGER", diagnostics);
    }
    std::string text;
    if (m_nMode == eCaptureLiveness && m_pFakeFinger && m_hFakeFinger &&
        m_pFakeFinger->FD_KX2ExtendedAccess && ReadPadText(*m_pFakeFinger, m_hFakeFinger, text)) {
      pt::ptree pad;
      ClKX2JsonBounds::Read(text, pad);
      node.add_child("PAD", pad);
    }
    root.add_child("KX2", node);
    pt::write_json(stream, root, true);
  } catch (const pt::ptree_error&) {
    LSKX2_THROW_MSG("Error while getting general live scanner KX2 data!", eErrInternal);
  }
}

void ClKX2LiveCaptureR2::SetScannerData(std::istream& stream)
{
  try {
    std::ostringstream text;
    text << stream.rdbuf();
    pt::ptree tree;
    ClKX2JsonBounds::Read(text.str(), tree);
    if (const boost::optional<pt::ptree&> roll = tree.get_child_optional("KX2.ROLLFINGER"))
      LoadRollThresholds(*roll);
    const boost::optional<pt::ptree&> pad = tree.get_child_optional("KX2.PAD");
    // A library without the extended entry is treated as no library at all.
    if (pad && m_hFakeFinger && m_pFakeFinger && m_pFakeFinger->FD_KX2ExtendedAccess) {
      std::ostringstream out;
      pt::write_json(out, *pad, true);
      std::string text = out.str();
      uint64_t nSize = text.size() + 1;
      const int32_t r = m_pFakeFinger->FD_KX2ExtendedAccess(m_hFakeFinger, 1, &text[0], &nSize);
      if (r != 0)
        LSKX2_THROW(r);
    }
  } catch (const pt::ptree_error&) {
    LSKX2_THROW_MSG("Error while setting general live scanner KX2 data!", eErrInternal);
  }
}
