#include "tools/Json.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <cmath>
#include <cstdio>
#include <sstream>

namespace {

namespace pt = boost::property_tree;

// A node whose children all lack keys is an array; a node without children is a text.
ClJson FromTree(const pt::ptree& tree)
{
  if (tree.empty())
    return ClJson::String(tree.data());
  bool bArray = true;
  for (const auto& child : tree)
    bArray = bArray && child.first.empty();
  ClJson value = bArray ? ClJson::Array() : ClJson::Object();
  for (const auto& child : tree)
    if (bArray)
      value.Push(FromTree(child.second));
    else
      value.Set(child.first, FromTree(child.second));
  return value;
}

} // namespace

ClJson ClJson::Bool(bool b)
{
  ClJson v;
  v.m_eType = eBool;
  v.m_bValue = b;
  return v;
}

ClJson ClJson::Integer(int64_t n)
{
  ClJson v;
  v.m_eType = eInteger;
  v.m_nValue = n;
  return v;
}

ClJson ClJson::Real(double d)
{
  ClJson v;
  v.m_eType = std::isfinite(d) ? eReal : eNull;
  v.m_dValue = d;
  return v;
}

ClJson ClJson::String(std::string s)
{
  ClJson v;
  v.m_eType = eString;
  v.m_sText = std::move(s);
  return v;
}

ClJson ClJson::Array()
{
  ClJson v;
  v.m_eType = eArray;
  return v;
}

ClJson ClJson::Object()
{
  ClJson v;
  v.m_eType = eObject;
  return v;
}

ClJson& ClJson::Set(const std::string& key, ClJson value)
{
  for (auto& m : m_aMembers)
    if (m.first == key) {
      m.second = std::move(value);
      return *this;
    }
  m_aMembers.emplace_back(key, std::move(value));
  return *this;
}

ClJson& ClJson::Push(ClJson value)
{
  m_aItems.push_back(std::move(value));
  return *this;
}

const ClJson* ClJson::Find(const std::string& key) const
{
  for (const auto& m : m_aMembers)
    if (m.first == key)
      return &m.second;
  return nullptr;
}

std::string ClJson::Dump() const
{
  std::string out;
  DumpTo(out, 0);
  return out;
}

void ClJson::DumpTo(std::string& out, int nIndent) const
{
  const std::string pad(nIndent + 2, ' '), end(nIndent, ' ');
  char buf[40];
  switch (m_eType) {
  case eNull:
    out += "null";
    break;
  case eBool:
    out += m_bValue ? "true" : "false";
    break;
  case eInteger:
    out += std::to_string(m_nValue);
    break;
  case eReal:
    std::snprintf(buf, sizeof(buf), "%.10g", m_dValue);
    out += buf;
    break;
  case eString:
    out += JsonQuote(m_sText);
    break;
  case eArray:
    if (m_aItems.empty()) {
      out += "[]";
      break;
    }
    out += "[\n";
    for (size_t i = 0; i < m_aItems.size(); ++i) {
      out += pad;
      m_aItems[i].DumpTo(out, nIndent + 2);
      out += i + 1 < m_aItems.size() ? ",\n" : "\n";
    }
    out += end + "]";
    break;
  case eObject:
    if (m_aMembers.empty()) {
      out += "{}";
      break;
    }
    out += "{\n";
    for (size_t i = 0; i < m_aMembers.size(); ++i) {
      out += pad + JsonQuote(m_aMembers[i].first) + ": ";
      m_aMembers[i].second.DumpTo(out, nIndent + 2);
      out += i + 1 < m_aMembers.size() ? ",\n" : "\n";
    }
    out += end + "}";
    break;
  }
}

bool ClJson::FromScannerText(const std::string& text, ClJson* pOut)
{
  pt::ptree tree;
  try {
    std::istringstream in(text);
    pt::read_json(in, tree);
  } catch (const pt::ptree_error&) {
    return false;
  }
  // The document itself is always an object, even when it has no members.
  *pOut = tree.empty() ? ClJson::Object() : FromTree(tree);
  return true;
}

std::string JsonQuote(const std::string& text)
{
  std::string out = "\"";
  for (unsigned char c : text) {
    switch (c) {
    case '"':
      out += "\\\"";
      break;
    case '\\':
      out += "\\\\";
      break;
    case '\n':
      out += "\\n";
      break;
    case '\r':
      out += "\\r";
      break;
    case '\t':
      out += "\\t";
      break;
    default:
      if (c < 0x20) {
        char buf[8];
        std::snprintf(buf, sizeof(buf), "\\u%04x", c);
        out += buf;
      } else {
        out += static_cast<char>(c);
      }
    }
  }
  return out + "\"";
}
