#pragma once
// What the JSON exchange of a scanner accepts. A text past one of the limits is refused
// before a tree is built: the property tree's reader recurses once per level, and the
// pretty-printed copy of a part grows with its depth, so neither may grow with the input
// unchecked. The limits lie far above any real document and are stated in the public
// header with LS_KX2ExtendedScannerAccess.
#include <boost/property_tree/ptree.hpp>

#include <cstddef>
#include <string>

class ClKX2JsonBounds
{
public:
  enum : size_t {
    eMaxDepth = 64,        // objects and arrays inside one another
    eMaxBytes = 16u << 20, // the whole text
    eMaxString = 4u << 20, // one string, escapes counted as written
    eMaxNumber = 64,       // one number, true, false or null
    eMaxItems = 1u << 17   // objects, arrays, strings and numbers in all
  };

  // True when sText stays within every limit; says nothing of whether it is JSON.
  static bool Fits(const std::string& sText);
  // Parses sText into tree; a text past the limits throws json_parser_error as
  // malformed JSON does.
  static void Read(const std::string& sText, boost::property_tree::ptree& tree);
};
