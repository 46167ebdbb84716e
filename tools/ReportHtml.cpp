#include "tools/ReportHtml.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace {

using L = ClReportLayout;

std::string Style()
{
  char buf[1400];
  std::snprintf(buf, sizeof(buf),
                "body{margin:0;font:14px sans-serif;background:#f4f4f4;color:#222}\n"
                "header{height:%dpx;box-sizing:border-box;padding:12px %dpx;overflow:hidden;"
                "background:#223;color:#fff}\n"
                "header h1{margin:0;font-size:20px}header p{margin:4px 0 0;font-size:12px}\n"
                "section{height:%dpx;box-sizing:border-box;padding:%dpx %dpx;display:flex;gap:24px;"
                "overflow:hidden;border-bottom:1px solid #ccc}\n"
                ".pic{position:relative;flex:none;width:%dpx;height:%dpx;background:#ddd}\n"
                ".pic img,.pic svg{position:absolute;left:0;top:0;width:%dpx;height:%dpx}\n"
                ".pic .none{padding:160px 0;text-align:center;color:#666}\n"
                "table{border-collapse:collapse}td{padding:2px 12px 2px 0;vertical-align:top}\n"
                "td:first-child{color:#555}.bad{color:#b00;font-weight:bold}.good{color:#070}\n"
                "pre{max-height:150px;overflow:auto;background:#fff;font-size:11px}\n",
                L::nHeaderHeight, L::nPictureLeft, L::nRowHeight, L::nRowPadding, L::nPictureLeft,
                L::nPictureWidth, L::nPictureHeight, L::nPictureWidth, L::nPictureHeight);
  return buf;
}

std::string Row(const char* label, const std::string& value, const char* cls = nullptr)
{
  std::string row = "<tr><td>" + std::string(label) + "</td><td";
  if (cls)
    row += std::string(" class=\"") + cls + "\"";
  return row + ">" + value + "</td></tr>\n";
}

std::string Number(const char* format, double d)
{
  char buf[40];
  std::snprintf(buf, sizeof(buf), format, d);
  return buf;
}

std::string Picture(const ClCaptureRecord& r)
{
  std::string out = "<div class=\"pic\">";
  if (r.m_sImageFile.empty())
    return out + "<div class=\"none\">no image</div></div>\n";
  out += "<img src=\"" + HtmlEscape(r.m_sImageFile) + "\" alt=\"" + HtmlEscape(r.m_sName) + "\">";
  if (!r.m_aPolygons.empty()) {
    out += "<svg viewBox=\"0 0 " + std::to_string(r.m_nWidth) + " " + std::to_string(r.m_nHeight) +
           "\">";
    for (const ClShiftPolygon& p : r.m_aPolygons) {
      const char* colour = p.m_nLevel >= 2 ? "#e00" : "#f90";
      out += std::string("<polygon fill=\"") + colour + "\" fill-opacity=\"0.25\" stroke=\"" +
             colour + "\" stroke-width=\"3\" points=\"";
      for (const auto& pt : p.m_aPoints)
        out += std::to_string(pt.first) + "," + std::to_string(pt.second) + " ";
      out += "\"/>";
    }
    out += "</svg>";
  }
  return out + "</div>\n";
}

std::string Figures(const ClCaptureRecord& r)
{
  std::string out = "<div><h2>" + HtmlEscape(r.m_sName) + "</h2><table>\n";
  std::string result = std::to_string(r.m_nResult) + " " + HtmlEscape(r.m_sResultText);
  out += Row("result", result, r.m_nResult == 0 ? "good" : "bad");
  out += Row("mode", HtmlEscape(r.m_sMode));
  out += Row("finger", r.m_bFinger ? "yes" : "no");
  out += Row("status", std::to_string(r.m_nStatus));
  out += Row("score", Number("%.3f", r.m_dScore));
  out += Row("condition", std::to_string(r.m_nCondition));
  if (!r.m_sImageFile.empty())
    out += Row("image", "<a href=\"" + HtmlEscape(r.m_sImageFile) + "\" download>" +
                            HtmlEscape(r.m_sImageFile) + "</a>, " + std::to_string(r.m_nWidth) +
                            " &times; " + std::to_string(r.m_nHeight) + ", " +
                            std::to_string(r.m_nDpi) + " dpi");
  out += Row("frames", std::to_string(r.m_nFrames) + " in " + Number("%.1f", r.m_dSeconds) + " s");
  if (!r.m_aPolygons.empty())
    out += Row("shift areas", std::to_string(r.m_aPolygons.size()));
  out += Row("figures", "<a href=\"" + HtmlEscape(r.m_sName) + ".json\" download>" +
                            HtmlEscape(r.m_sName) + ".json</a>");
  out += "</table>";
  if (r.m_ScannerData.Type() == ClJson::eObject)
    out += "<details><summary>scanner data</summary><pre>" + HtmlEscape(r.m_ScannerData.Dump()) +
           "</pre></details>";
  return out + "</div>\n";
}

} // namespace

std::string HtmlEscape(const std::string& text)
{
  std::string out;
  for (char c : text)
    switch (c) {
    case '&':
      out += "&amp;";
      break;
    case '<':
      out += "&lt;";
      break;
    case '>':
      out += "&gt;";
      break;
    case '"':
      out += "&quot;";
      break;
    default:
      out += c;
    }
  return out;
}

std::string ReportHtml(const std::string& title, const std::vector<ClCaptureRecord>& records)
{
  std::string scanner = records.empty() ? std::string() : records.front().m_sScanner;
  std::string out = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n<title>" +
                    HtmlEscape(title) + "</title>\n<style>\n" + Style() +
                    "</style></head>\n<body>\n";
  out += "<header><h1>" + HtmlEscape(title) + "</h1><p>" + HtmlEscape(scanner) + " &middot; " +
         std::to_string(records.size()) + (records.size() == 1 ? " capture" : " captures") +
         "</p></header>\n";
  for (const ClCaptureRecord& r : records)
    out += "<section>\n" + Picture(r) + Figures(r) + "</section>\n";
  return out + "</body></html>\n";
}

bool WriteReport(const std::string& path, const std::string& title,
                 const std::vector<ClCaptureRecord>& records, std::string* pError)
{
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (out)
    out << ReportHtml(title, records);
  out.close();
  if (!out) {
    *pError = path + ": " + std::strerror(errno);
    return false;
  }
  return true;
}
