// Strict reading of JSON configuration trees (boost property_tree, where every leaf is
// text). Each reader names the path of the offending value in its ClSimConfigError, so a
// broken configuration says where it is broken.
#pragma once

#include "simulator/render/SimTypes.h"

#include <boost/property_tree/ptree.hpp>

#include <initializer_list>
#include <string>
#include <vector>

namespace kxsim {
namespace json {

using Tree = boost::property_tree::ptree;

// Parses a JSON text; sSource names it in messages (a file name or "configuration text").
Tree Parse(const std::string& sText, const std::string& sSource);

[[noreturn]] void Fail(const std::string& sWhere, const std::string& sWhat);

bool IsArray(const Tree& node);  // children with empty keys (an empty [] counts too)
bool IsObject(const Tree& node); // children with keys (an empty {} counts too)

// Every key of an object must be one of the allowed ones; catches misspelt keys.
void CheckKeys(const Tree& node, const std::string& sWhere,
               std::initializer_list<const char*> allowed);

long long Integer(const Tree& node, const std::string& sWhere, long long nMin, long long nMax);
double Number(const Tree& node, const std::string& sWhere, double dMin, double dMax);
bool Boolean(const Tree& node, const std::string& sWhere);
std::string Text(const Tree& node, const std::string& sWhere);
std::vector<double> Numbers(const Tree& node, const std::string& sWhere, double dMin, double dMax);
std::vector<long long> Integers(const Tree& node, const std::string& sWhere, long long nMin,
                                long long nMax);

// Path of a child for messages: "devices[2]", "script[0].finger".
std::string Item(const std::string& sWhere, size_t nIndex);
std::string Key(const std::string& sWhere, const std::string& sKey);

} // namespace json

// Readers of the simulator's own objects, shared by scripts and device configurations.
ClFinger ParseFinger(const json::Tree& node, const std::string& sWhere, const ClFinger& base);
// A script: an array of steps, each an object with one of "empty", "place", "still",
// "lift" or "roll" (its frame count) and optional "residue" and "finger".
class ClScript;
ClScript ParseScript(const json::Tree& node, const std::string& sWhere);

} // namespace kxsim
