#pragma once
// Command line of lskx2: sub-command, capture options and handle properties by name.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

enum class ECommand { eHelp, eList, eInfo, eCapture, eRoll, eDemo, eView };

// Public capture modes, numbered as LS_KX2SetCaptureMode takes them.
enum ECaptureMode : uint32_t {
  eModePlain = 0,
  eModeRoll = 1,
  eModeLiveness = 2,
  eModeSingleShot = 3,
  eModeTriggered = 4,
  eModePreview = 5
};

// Short name used on the command line and in file names ("plain", "single", ...).
const char* ModeName(uint32_t nMode);

// A command line that cannot be followed; the text says why.
class ClUsageError : public std::runtime_error
{
public:
  using std::runtime_error::runtime_error;
};

struct ClCliOptions
{
  ECommand m_eCommand = ECommand::eHelp;
  std::string m_sScanner;         // empty: the first attached scanner
  std::vector<uint32_t> m_aModes; // captures in this order, m_nCount times each
  int m_nCount = 1;
  std::string m_sOutDir = "out";
  // Handle properties set before the first capture, in order; --mask-sensitivity adds one.
  std::vector<std::pair<std::string, std::string>> m_aProperties;
  std::string m_sScannerDataFile;        // JSON written with extended access id 7
  bool m_bShiftAreas = false;            // rolls outline their shift areas
  double m_dTimeout = 60.0;              // seconds to wait for a finger or a roll
  int m_nPreviewFrames = 40;             // frames shown before a preview mode capture
  std::string m_sListen = "127.0.0.1:0"; // view: address and port (0: any free one)
  std::string m_sCheck = "1.4";
  std::vector<int32_t> m_aErrors;
};

// Throws ClUsageError for anything it does not understand.
ClCliOptions ParseArguments(int argc, const char* const* argv);

const char* UsageText();
