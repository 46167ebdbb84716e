#pragma once
// A small JSON value for the program's result files, and the reading of the scanner's
// JSON document, in which every leaf is a text and arrays are entries without keys.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class ClJson
{
public:
  enum EType { eNull, eBool, eInteger, eReal, eString, eArray, eObject };

  ClJson() = default;
  static ClJson Bool(bool b);
  static ClJson Integer(int64_t n);
  static ClJson Real(double d);
  static ClJson String(std::string s);
  static ClJson Array();
  static ClJson Object();

  // Members keep the order in which they were set; setting a key again replaces it.
  ClJson& Set(const std::string& key, ClJson value);
  ClJson& Push(ClJson value);

  EType Type() const { return m_eType; }
  const std::string& Text() const { return m_sText; }
  // Null when absent or when this is no object.
  const ClJson* Find(const std::string& key) const;
  const std::vector<ClJson>& Items() const { return m_aItems; }

  // Pretty-printed with two spaces per level, ending without a newline.
  std::string Dump() const;

  // Reads a document of the scanner's kind. False (and *pOut untouched) for text that is
  // no JSON.
  static bool FromScannerText(const std::string& text, ClJson* pOut);

private:
  void DumpTo(std::string& out, int nIndent) const;

  EType m_eType = eNull;
  bool m_bValue = false;
  int64_t m_nValue = 0;
  double m_dValue = 0.0;
  std::string m_sText;
  std::vector<ClJson> m_aItems;                           // array entries
  std::vector<std::pair<std::string, ClJson>> m_aMembers; // object members
};

// Text between double quotes with JSON's escapes.
std::string JsonQuote(const std::string& text);
