#include "capture/KX2JsonBounds.h"

#include <boost/property_tree/json_parser.hpp>

#include <sstream>

namespace {

bool Structural(char c)
{
  return c == '{' || c == '}' || c == '[' || c == ']' || c == ',' || c == ':' || c == '"' ||
         c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

} // namespace

bool ClKX2JsonBounds::Fits(const std::string& sText)
{
  if (sText.size() > eMaxBytes)
    return false;
  size_t nDepth = 0, nItems = 0, nRun = 0;
  bool bString = false, bEscape = false;
  for (const char c : sText) {
    if (bString) {
      if (bEscape)
        bEscape = false;
      else if (c == '\\')
        bEscape = true;
      else if (c == '"') {
        bString = false;
        nRun = 0;
        continue;
      }
      if (++nRun > eMaxString)
        return false;
      continue;
    }
    if (!Structural(c)) {
      // A bare token: a number or a literal (or garbage, left to the reader).
      if (nRun++ == 0)
        ++nItems;
      if (nRun > eMaxNumber)
        return false;
      continue;
    }
    nRun = 0;
    if (c == '"') {
      bString = true;
      ++nItems;
    } else if (c == '{' || c == '[') {
      ++nItems;
      if (++nDepth > eMaxDepth)
        return false;
    } else if ((c == '}' || c == ']') && nDepth > 0) {
      --nDepth;
    }
    if (nItems > eMaxItems)
      return false;
  }
  return nItems <= eMaxItems;
}

void ClKX2JsonBounds::Read(const std::string& sText, boost::property_tree::ptree& tree)
{
  namespace pt = boost::property_tree;
  if (!Fits(sText))
    throw pt::json_parser_error("document beyond the accepted size or depth", "", 0);
  std::istringstream in(sText);
  pt::read_json(in, tree);
}
