#include "tools/CliOptions.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

struct ClModeName
{
  const char* m_szName;
  uint32_t m_nMode;
};

// The first name of each mode is the one files are named after.
const ClModeName g_aModeNames[] = {
    {"plain", eModePlain},
    {"roll", eModeRoll},
    {"liveness", eModeLiveness},
    {"single", eModeSingleShot},
    {"triggered", eModeTriggered},
    {"preview", eModePreview},
    {"single-shot", eModeSingleShot},
    {"rolled", eModeRoll},
};

uint32_t ParseMode(const std::string& text)
{
  for (const ClModeName& m : g_aModeNames)
    if (text == m.m_szName)
      return m.m_nMode;
  throw ClUsageError("unknown mode \"" + text +
                     "\" (plain, roll, liveness, single, triggered, preview)");
}

long ParseInteger(const std::string& option, const std::string& text, long nMin, long nMax)
{
  errno = 0;
  char* end = nullptr;
  long n = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end || errno || n < nMin || n > nMax)
    throw ClUsageError(option + " wants a whole number from " + std::to_string(nMin) + " to " +
                       std::to_string(nMax) + ", not \"" + text + "\"");
  return n;
}

double ParsePositive(const std::string& option, const std::string& text)
{
  char* end = nullptr;
  double d = std::strtod(text.c_str(), &end);
  if (text.empty() || *end || !(d > 0.0))
    throw ClUsageError(option + " wants a positive number of seconds, not \"" + text + "\"");
  return d;
}

bool IsCaptureCommand(ECommand e)
{
  return e == ECommand::eCapture || e == ECommand::eRoll || e == ECommand::eDemo ||
         e == ECommand::eView;
}

ECommand ParseCommand(const std::string& word)
{
  if (word == "list")
    return ECommand::eList;
  if (word == "info")
    return ECommand::eInfo;
  if (word == "capture")
    return ECommand::eCapture;
  if (word == "roll")
    return ECommand::eRoll;
  if (word == "demo")
    return ECommand::eDemo;
  if (word == "view")
    return ECommand::eView;
  if (word == "help" || word == "--help" || word == "-h")
    return ECommand::eHelp;
  throw ClUsageError("unknown command \"" + word + "\"");
}

} // namespace

const char* ModeName(uint32_t nMode)
{
  for (const ClModeName& m : g_aModeNames)
    if (m.m_nMode == nMode)
      return m.m_szName;
  return "unknown";
}

ClCliOptions ParseArguments(int argc, const char* const* argv)
{
  ClCliOptions o;
  if (argc < 2)
    throw ClUsageError("no command given");
  o.m_eCommand = ParseCommand(argv[1]);
  bool bModeGiven = false;
  for (int i = 2; i < argc; ++i) {
    std::string opt = argv[i], value;
    bool bHasValue = false;
    // Both "--out DIR" and "--out=DIR".
    size_t eq = opt.find('=');
    if (opt.compare(0, 2, "--") == 0 && eq != std::string::npos) {
      value = opt.substr(eq + 1);
      opt.erase(eq);
      bHasValue = true;
    }
    auto next = [&]() -> std::string {
      if (bHasValue)
        return value;
      if (i + 1 >= argc)
        throw ClUsageError(opt + " needs a value");
      return argv[++i];
    };
    bool bCaptureOption = true;
    if (opt == "--help" || opt == "-h") {
      o.m_eCommand = ECommand::eHelp;
      return o;
    } else if (opt == "--scanner") {
      o.m_sScanner = next();
      bCaptureOption = false;
    } else if (opt == "--mode") {
      if (o.m_eCommand != ECommand::eCapture)
        throw ClUsageError("--mode belongs to the capture command");
      o.m_aModes = {ParseMode(next())};
      bModeGiven = true;
    } else if (opt == "--count") {
      o.m_nCount = static_cast<int>(ParseInteger(opt, next(), 1, 1000));
    } else if (opt == "--out") {
      o.m_sOutDir = next();
      if (o.m_sOutDir.empty())
        throw ClUsageError("--out needs a folder");
    } else if (opt == "--mask-sensitivity") {
      std::string v = next();
      ParseInteger(opt, v, 0, 5);
      o.m_aProperties.emplace_back("nMaskSensitivity", v);
    } else if (opt == "--roll-merge") {
      const std::string v = next();
      if (v != "exact" && v != "registered")
        throw ClUsageError("--roll-merge wants exact or registered, not \"" + v + "\"");
      o.m_aProperties.emplace_back("nRollMergeMode", v == "exact" ? "0" : "1");
    } else if (opt == "--property") {
      std::string nv = next();
      size_t at = nv.find('=');
      if (at == std::string::npos || at == 0)
        throw ClUsageError("--property wants NAME=VALUE, not \"" + nv + "\"");
      o.m_aProperties.emplace_back(nv.substr(0, at), nv.substr(at + 1));
    } else if (opt == "--scanner-data") {
      o.m_sScannerDataFile = next();
    } else if (opt == "--shift-areas") {
      o.m_bShiftAreas = true;
    } else if (opt == "--timeout") {
      o.m_dTimeout = ParsePositive(opt, next());
    } else if (opt == "--preview-frames") {
      o.m_nPreviewFrames = static_cast<int>(ParseInteger(opt, next(), 0, 100000));
    } else if (opt == "--listen" && o.m_eCommand == ECommand::eView) {
      o.m_sListen = next();
    } else if (opt == "--listen") {
      throw ClUsageError("--listen belongs to the view command");
    } else if (opt == "--check" && o.m_eCommand == ECommand::eInfo) {
      o.m_sCheck = next();
      bCaptureOption = false;
    } else if (opt == "--error" && o.m_eCommand == ECommand::eInfo) {
      o.m_aErrors.push_back(
          static_cast<int32_t>(ParseInteger(opt, next(), -2147483647L - 1, 2147483647L)));
      bCaptureOption = false;
    } else if (opt == "--check" || opt == "--error") {
      throw ClUsageError(opt + " belongs to the info command");
    } else {
      throw ClUsageError("unknown option \"" + opt + "\"");
    }
    if (bCaptureOption && !IsCaptureCommand(o.m_eCommand))
      throw ClUsageError(opt + " belongs to the capture, roll, demo and view commands");
  }
  if (o.m_eCommand == ECommand::eRoll)
    o.m_aModes = {eModeRoll};
  else if (o.m_eCommand == ECommand::eDemo || o.m_eCommand == ECommand::eView) {
    o.m_aModes = {eModePlain, eModeRoll};
    o.m_bShiftAreas = true;
  } else if (o.m_eCommand == ECommand::eCapture && !bModeGiven)
    o.m_aModes = {eModePlain};
  return o;
}

const char* UsageText()
{
  return "usage: lskx2 COMMAND [OPTIONS]\n"
         "commands:\n"
         "  list      the attached scanners, with device version and condition\n"
         "  info      compatibility answer and error texts [--check VERSION] [--error CODE]...\n"
         "  capture   plain capture with live progress (or --mode)\n"
         "  roll      rolled capture with live progress\n"
         "  demo      a plain capture and a roll\n"
         "  view      live view in a browser, with plain and rolled captures\n"
         "            [--listen ADDR:PORT] (default 127.0.0.1 and a free port)\n"
         "  record FILE [capture|roll|demo] [OPTIONS]   the capture, its device calls recorded\n"
         "  replay FILE [capture|roll|demo] [OPTIONS]   the capture, answered from a recording\n"
         "  frames FILE --out DIR   a recording's frames as PNG, with index.json\n"
         "capture options (capture, roll, demo, view, record, replay):\n"
         "  --scanner NAME          scanner to open (default: the first attached)\n"
         "  --mode MODE             plain, roll, liveness, single, triggered, preview\n"
         "  --count N               captures per mode (default 1)\n"
         "  --out DIR               output folder (default out)\n"
         "  --mask-sensitivity N    finger mask sensitivity 0 to 5\n"
         "  --roll-merge HOW        exact (default) or registered: rolled frames are\n"
         "                          merged as they lie, or with the stretched skin\n"
         "                          matched first\n"
         "  --property NAME=VALUE   any handle property, repeatable\n"
         "  --scanner-data FILE     JSON settings written to the scanner first\n"
         "  --shift-areas           rolls outline where the finger slipped (demo: on)\n"
         "  --timeout SECONDS       wait for a finger at most this long (default 60)\n"
         "  --preview-frames N      frames shown before a preview mode capture (default 40)\n"
         "Writes MODE_N.png (8-bit grey, 500 dpi), MODE_N.json and report.html per run.\n"
         "Exit status 0 when every capture succeeded, else the SDK's code as a positive\n"
         "number (the shell keeps its low 8 bits), 1 when no scanner is attached (or no\n"
         "device library was found), 2 for a bad command line, 3 when a file could not be\n"
         "read or written, 130 after Ctrl-C. info exits with the compatibility check's code.\n"
         "Rolls: lift any finger when asked, place the finger and hold it still, and roll\n"
         "it from one nail edge to the other after \"roll now\".\n";
}
