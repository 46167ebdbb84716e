#pragma once
// Starts the device probe in a process of its own with the device library of a variant
// folder first on the loader's path, and reads back its key=value lines.
#include <map>
#include <string>
#include <vector>

struct ClProbeResult
{
  std::map<std::string, std::string> Values;
  int nExit = -1;
  std::string sOutput;

  std::string operator[](const std::string& sKey) const
  {
    auto it = Values.find(sKey);
    return it == Values.end() ? "<missing>" : it->second;
  }
};

// sVariant: a folder under bin/variants, or empty for the simulator beside the tests.
ClProbeResult RunProbe(const std::string& sVariant, const std::vector<std::string>& args);
std::string BinDir();
