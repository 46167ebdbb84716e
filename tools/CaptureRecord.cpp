#include "tools/CaptureRecord.h"

#include <cstdlib>
#include <initializer_list>

namespace {

int ToInt(const ClJson* p)
{
  if (!p)
    return 0;
  if (p->Type() == ClJson::eString)
    return std::atoi(p->Text().c_str());
  return 0;
}

const ClJson* Path(const ClJson& root, std::initializer_list<const char*> keys)
{
  const ClJson* p = &root;
  for (const char* k : keys)
    if (!(p = p->Find(k)))
      return nullptr;
  return p;
}

} // namespace

ClJson ClCaptureRecord::ToJson() const
{
  ClJson o = ClJson::Object();
  o.Set("name", ClJson::String(m_sName));
  o.Set("mode", ClJson::String(m_sMode));
  o.Set("scanner", ClJson::String(m_sScanner));
  o.Set("image", m_sImageFile.empty() ? ClJson() : ClJson::String(m_sImageFile));
  o.Set("width", ClJson::Integer(m_nWidth));
  o.Set("height", ClJson::Integer(m_nHeight));
  o.Set("dpi", ClJson::Integer(m_nDpi));
  o.Set("result_code", ClJson::Integer(m_nResult));
  o.Set("result_text", ClJson::String(m_sResultText));
  if (!m_sAdvice.empty())
    o.Set("advice", ClJson::String(m_sAdvice));
  o.Set("status", ClJson::Integer(m_nStatus));
  o.Set("finger", ClJson::Bool(m_bFinger));
  o.Set("score", ClJson::Real(m_dScore));
  o.Set("condition", ClJson::Integer(m_nCondition));
  o.Set("frames", ClJson::Integer(static_cast<int64_t>(m_nFrames)));
  o.Set("seconds", ClJson::Real(m_dSeconds));
  o.Set("scanner_data", m_ScannerData);
  return o;
}

std::vector<ClShiftPolygon> ShiftPolygons(const ClJson& scannerData)
{
  std::vector<ClShiftPolygon> out;
  const ClJson* areas = Path(scannerData, {"KX2", "ROLLFINGER", "ROLL_SHIFT_AREAS"});
  if (!areas)
    return out;
  for (const ClJson& area : areas->Items()) {
    ClShiftPolygon poly;
    poly.m_nLevel = ToInt(area.Find("LEVEL"));
    if (const ClJson* points = area.Find("POINTS"))
      for (const ClJson& pt : points->Items())
        poly.m_aPoints.emplace_back(ToInt(pt.Find("X")), ToInt(pt.Find("Y")));
    if (!poly.m_aPoints.empty())
      out.push_back(std::move(poly));
  }
  return out;
}
