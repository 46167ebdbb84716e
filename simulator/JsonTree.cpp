#include "simulator/JsonTree.h"

#include <boost/property_tree/json_parser.hpp>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <sstream>

namespace kxsim {
namespace json {

Tree Parse(const std::string& sText, const std::string& sSource)
{
  std::istringstream in(sText);
  Tree tree;
  try {
    boost::property_tree::read_json(in, tree);
  } catch (const boost::property_tree::json_parser_error& e) {
    throw ClSimConfigError(sSource + ", line " + std::to_string(e.line()) + ": " + e.message());
  }
  return tree;
}

void Fail(const std::string& sWhere, const std::string& sWhat)
{
  throw ClSimConfigError((sWhere.empty() ? std::string("top level") : sWhere) + ": " + sWhat);
}

bool IsArray(const Tree& node)
{
  if (node.empty())
    return node.data().empty();
  for (const auto& child : node)
    if (!child.first.empty())
      return false;
  return true;
}

bool IsObject(const Tree& node)
{
  if (node.empty())
    return node.data().empty();
  for (const auto& child : node)
    if (child.first.empty())
      return false;
  return true;
}

void CheckKeys(const Tree& node, const std::string& sWhere,
               std::initializer_list<const char*> allowed)
{
  if (!IsObject(node))
    Fail(sWhere, "expected an object");
  for (const auto& child : node) {
    bool known = false;
    for (const char* k : allowed)
      known = known || child.first == k;
    if (!known)
      Fail(sWhere, "unknown key \"" + child.first + "\"");
  }
}

static const std::string& Leaf(const Tree& node, const std::string& sWhere, const char* what)
{
  if (!node.empty())
    Fail(sWhere, std::string("expected ") + what + ", found an object or array");
  return node.data();
}

long long Integer(const Tree& node, const std::string& sWhere, long long nMin, long long nMax)
{
  const std::string& s = Leaf(node, sWhere, "a whole number");
  char* end = nullptr;
  errno = 0;
  const long long v = std::strtoll(s.c_str(), &end, 10);
  if (s.empty() || *end != '\0' || errno == ERANGE)
    Fail(sWhere, "expected a whole number, found \"" + s + "\"");
  if (v < nMin || v > nMax)
    Fail(sWhere, "value " + s + " outside " + std::to_string(nMin) + " to " + std::to_string(nMax));
  return v;
}

double Number(const Tree& node, const std::string& sWhere, double dMin, double dMax)
{
  const std::string& s = Leaf(node, sWhere, "a number");
  char* end = nullptr;
  const double v = std::strtod(s.c_str(), &end);
  if (s.empty() || *end != '\0' || !std::isfinite(v))
    Fail(sWhere, "expected a number, found \"" + s + "\"");
  if (v < dMin || v > dMax) {
    std::ostringstream o;
    o << "value " << s << " outside " << dMin << " to " << dMax;
    Fail(sWhere, o.str());
  }
  return v;
}

bool Boolean(const Tree& node, const std::string& sWhere)
{
  const std::string& s = Leaf(node, sWhere, "true or false");
  if (s == "true")
    return true;
  if (s == "false")
    return false;
  Fail(sWhere, "expected true or false, found \"" + s + "\"");
}

std::string Text(const Tree& node, const std::string& sWhere)
{
  return Leaf(node, sWhere, "a text");
}

std::vector<double> Numbers(const Tree& node, const std::string& sWhere, double dMin, double dMax)
{
  if (!IsArray(node))
    Fail(sWhere, "expected an array of numbers");
  std::vector<double> v;
  size_t i = 0;
  for (const auto& child : node)
    v.push_back(Number(child.second, Item(sWhere, i++), dMin, dMax));
  return v;
}

std::vector<long long> Integers(const Tree& node, const std::string& sWhere, long long nMin,
                                long long nMax)
{
  if (!IsArray(node))
    Fail(sWhere, "expected an array of whole numbers");
  std::vector<long long> v;
  size_t i = 0;
  for (const auto& child : node)
    v.push_back(Integer(child.second, Item(sWhere, i++), nMin, nMax));
  return v;
}

std::string Item(const std::string& sWhere, size_t nIndex)
{
  return sWhere + "[" + std::to_string(nIndex) + "]";
}

std::string Key(const std::string& sWhere, const std::string& sKey)
{
  return sWhere.empty() ? sKey : sWhere + "." + sKey;
}

} // namespace json
} // namespace kxsim
