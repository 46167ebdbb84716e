#pragma once
// report.html: every capture's picture, a roll's shift outlines drawn over it as SVG,
// beside its figures. Static, with relative links to the PNG files beside it.

#include "tools/CaptureRecord.h"

#include <string>
#include <vector>

// Fixed layout, so that a screenshot can be checked at known places: the picture of
// capture k (from 0) is drawn at half size, its top left corner at
// (nPictureLeft, nHeaderHeight + k * nRowHeight + nRowPadding).
struct ClReportLayout
{
  static constexpr int nHeaderHeight = 64;
  static constexpr int nRowPadding = 16;
  static constexpr int nPictureLeft = 16;
  static constexpr int nPictureWidth = 400;
  static constexpr int nPictureHeight = 375;
  static constexpr int nRowHeight = nPictureHeight + 2 * nRowPadding;
};

std::string ReportHtml(const std::string& title, const std::vector<ClCaptureRecord>& records);

// Writes the page; false with the reason in *pError.
bool WriteReport(const std::string& path, const std::string& title,
                 const std::vector<ClCaptureRecord>& records, std::string* pError);

std::string HtmlEscape(const std::string& text);
