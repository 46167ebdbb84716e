#include "tools/RecordCommands.h"

#include "recorder/RecordFile.h"
#include "simulator/device/ScanApiRecords.h"
#include "tools/CliOptions.h"
#include "tools/Json.h"
#include "tools/PngWriter.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <link.h>
#include <map>
#include <set>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace fs = std::filesystem;

namespace {

struct ClRecordingArgs
{
  std::string m_sFile;
  std::vector<std::string> m_aCapture; // "capture", "roll" or "demo" and its options
};

ClRecordingArgs ParseRecordingArgs(int argc, char** argv)
{
  if (argc < 3)
    throw ClUsageError(std::string(argv[1]) + " needs a recording file");
  ClRecordingArgs a;
  a.m_sFile = argv[2];
  int i = 3;
  const std::string word = i < argc ? argv[i] : "";
  a.m_aCapture.push_back(word == "capture" || word == "roll" || word == "demo" ? argv[i++]
                                                                               : "capture");
  for (; i < argc; ++i)
    a.m_aCapture.push_back(argv[i]);
  std::vector<const char*> check = {"lskx2"};
  for (const std::string& s : a.m_aCapture)
    check.push_back(s.c_str());
  ParseArguments(int(check.size()), check.data()); // throws for what capture would refuse
  return a;
}

std::string ProgramDir() { return fs::read_symlink("/proc/self/exe").parent_path().string(); }

// A folder beside the program in a build, or where the packages install it.
std::string PrivateDir(const std::string& sBuildName, const char* szFromBin)
{
  const std::string bin = ProgramDir();
  const std::string built = sBuildName.empty() ? bin : bin + "/" + sBuildName;
  if (fs::exists(built + "/libkxScanAPI.so"))
    return built;
  return fs::weakly_canonical(bin + "/" + szFromBin).string();
}

// The device library the SDK would load from here.
std::string DeviceLibraryPath()
{
  void* h = dlopen("libkxScanAPI.so", RTLD_LAZY | RTLD_LOCAL);
  // A sanitizer's dlopen searches without our RUNPATH: the build's folder, as it names.
  if (!h)
    h = dlopen((ProgramDir() + "/libkxScanAPI.so").c_str(), RTLD_LAZY | RTLD_LOCAL);
  if (!h)
    return "";
  struct link_map* map = nullptr;
  std::string path;
  if (dlinfo(h, RTLD_DI_LINKMAP, &map) == 0 && map && map->l_name)
    path = fs::weakly_canonical(map->l_name).string();
  dlclose(h);
  return path;
}

// Runs this program again with the capture arguments and extra environment; the exit
// status of the child, which handles Ctrl-C itself.
int RunChild(const std::vector<std::string>& capture, const std::vector<std::string>& env,
             const std::string& sLibraryDir)
{
  std::vector<std::string> args = {"lskx2"};
  args.insert(args.end(), capture.begin(), capture.end());
  std::vector<std::string> vars;
  std::string path = sLibraryDir;
  auto replaced = [&](const char* var) {
    for (const std::string& v : env)
      if (std::strncmp(var, v.c_str(), v.find('=') + 1) == 0)
        return true;
    return false;
  };
  for (char** e = environ; *e; ++e) {
    if (std::strncmp(*e, "LD_LIBRARY_PATH=", 16) == 0)
      path += std::string(":") + (*e + 16);
    else if (!replaced(*e))
      vars.push_back(*e);
  }
  vars.push_back("LD_LIBRARY_PATH=" + path);
  vars.insert(vars.end(), env.begin(), env.end());
  std::vector<char*> argv, envp;
  for (std::string& a : args)
    argv.push_back(&a[0]);
  for (std::string& v : vars)
    envp.push_back(&v[0]);
  argv.push_back(nullptr);
  envp.push_back(nullptr);
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGTERM, SIG_IGN);
  pid_t pid = 0;
  if (posix_spawn(&pid, "/proc/self/exe", nullptr, nullptr, argv.data(), envp.data()) != 0) {
    std::perror("lskx2: starting the capture");
    return 1;
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// What a recording holds, told in one line.
std::string Summary(const std::string& sFile, std::set<int>* pInterfaces)
{
  uint64_t calls = 0, frames = 0, failures = 0;
  kxrec::ClRecordReader reader(sFile);
  kxrec::ClCallRecord r;
  while (reader.Next(r)) {
    ++calls;
    const auto e = kxsim::EEntry(r.nEntry);
    frames += (e == kxsim::EEntry::eGetImage || e == kxsim::EEntry::eGetRawImageByVariableDose) &&
              r.nResult;
    failures += !r.nResult;
    if (pInterfaces && r.nInterface >= 0)
      pInterfaces->insert(r.nInterface);
  }
  return std::to_string(calls) + " calls, " + std::to_string(frames) + " frames, " +
         std::to_string(failures) + " failed calls, " +
         std::to_string(fs::file_size(sFile) / 1024) + " KiB";
}

int Record(const ClRecordingArgs& a)
{
  const std::string device = DeviceLibraryPath();
  if (device.empty()) {
    std::fprintf(stderr, "lskx2: no device library libkxScanAPI.so to record\n");
    return 1;
  }
  const std::string file = fs::absolute(a.m_sFile).string();
  const int status =
      RunChild(a.m_aCapture, {"KXREC_FILE=" + file, "KXREC_DEVICE_LIBRARY=" + device},
               PrivateDir("recorder", LSKX2_RECORDER_FROM_BIN));
  try {
    std::printf("recording %s: %s\n", a.m_sFile.c_str(), Summary(file, nullptr).c_str());
  } catch (const kxrec::ClRecordError& e) {
    std::fprintf(stderr, "lskx2: %s: %s\n", a.m_sFile.c_str(), e.what());
    return status ? status : 1;
  }
  return status;
}

int Replay(const ClRecordingArgs& a)
{
  const std::string file = fs::absolute(a.m_sFile).string();
  std::set<int> interfaces;
  try {
    std::printf("replaying %s: %s\n", a.m_sFile.c_str(), Summary(file, &interfaces).c_str());
    std::fflush(stdout);
  } catch (const kxrec::ClRecordError& e) {
    std::fprintf(stderr, "lskx2: %s: %s\n", a.m_sFile.c_str(), e.what());
    return 1;
  }
  ClJson devices = ClJson::Array();
  for (int i : interfaces)
    devices.Push(
        ClJson::Object().Set("interface", ClJson::Integer(i)).Set("replay", ClJson::String(file)));
  char dir[] = "/tmp/lskx2-replay-XXXXXX";
  if (!mkdtemp(dir)) {
    std::perror("lskx2: a folder for the replay");
    return 1;
  }
  const std::string config = std::string(dir) + "/replay.json";
  std::ofstream(config) << ClJson::Object().Set("devices", devices).Dump() << "\n";
  const int status =
      RunChild(a.m_aCapture, {"KXSIM_CONFIG=" + config}, PrivateDir("", LSKX2_SIMULATOR_FROM_BIN));
  fs::remove_all(dir);
  return status;
}

double Ms(int64_t ns) { return double(ns) / 1e6; }

int Frames(int argc, char** argv)
{
  std::string file, out;
  for (int i = 2; i < argc; ++i) {
    const std::string s = argv[i];
    if (s == "--out" && i + 1 < argc)
      out = argv[++i];
    else if (s.compare(0, 6, "--out=") == 0)
      out = s.substr(6);
    else if (file.empty() && s.compare(0, 2, "--") != 0)
      file = s;
    else
      throw ClUsageError("frames takes FILE --out DIR, not \"" + s + "\"");
  }
  if (file.empty() || out.empty())
    throw ClUsageError("frames takes FILE --out DIR");
  std::error_code ec;
  fs::create_directories(out, ec);
  ClJson frames = ClJson::Array(), failures = ClJson::Array();
  std::map<std::pair<int, bool>, kxsim::ClImageSizeRecord> sizes;
  int64_t origin = -1;
  uint64_t n = 0;
  try {
    kxrec::ClRecordReader reader(file);
    kxrec::ClCallRecord r;
    while (reader.Next(r)) {
      origin = origin < 0 ? r.nStartNs : origin;
      const auto e = kxsim::EEntry(r.nEntry);
      const char* name = kxsim::EntryName(e);
      const bool raw =
          e == kxsim::EEntry::eGetRawImageByVariableDose || e == kxsim::EEntry::eGetRawImageSize;
      if (!r.nResult) {
        failures.Push(ClJson::Object()
                          .Set("call", ClJson::String(name))
                          .Set("interface", ClJson::Integer(r.nInterface))
                          .Set("error", ClJson::Integer(r.nLastError))
                          .Set("time_ms", ClJson::Real(Ms(r.nStartNs - origin))));
        continue;
      }
      if ((e == kxsim::EEntry::eGetImageSize || e == kxsim::EEntry::eGetRawImageSize) &&
          r.nDataBytes == sizeof(kxsim::ClImageSizeRecord)) {
        const std::vector<uint8_t> d = kxrec::DecodedData(r);
        std::memcpy(&sizes[{r.nInterface, raw}], d.data(), d.size());
      }
      if (e != kxsim::EEntry::eGetImage && !raw)
        continue;
      if (e == kxsim::EEntry::eGetRawImageSize)
        continue;
      const kxsim::ClImageSizeRecord s = sizes[{r.nInterface, raw}];
      const std::vector<uint8_t> pixels = kxrec::DecodedData(r);
      if (s.nWidth <= 0 || s.nHeight <= 0 || pixels.size() < size_t(s.nWidth) * size_t(s.nHeight))
        continue; // no size known for it
      // Rows as the SDK shows them: the device delivers them bottom up.
      std::vector<uint8_t> shown(pixels.size());
      for (int y = 0; y < s.nHeight; ++y)
        std::memcpy(&shown[size_t(y) * size_t(s.nWidth)],
                    &pixels[size_t(s.nHeight - 1 - y) * size_t(s.nWidth)], size_t(s.nWidth));
      char png[32];
      std::snprintf(png, sizeof png, "frame_%05llu.png", static_cast<unsigned long long>(n));
      std::string error;
      if (!WritePng(out + "/" + png, shown.data(), uint32_t(s.nWidth), uint32_t(s.nHeight),
                    size_t(s.nWidth), EPngColour::eGrey, raw ? 0 : 500, &error)) {
        std::fprintf(stderr, "lskx2: %s\n", error.c_str());
        return 1;
      }
      frames.Push(ClJson::Object()
                      .Set("file", ClJson::String(png))
                      .Set("frame", ClJson::Integer(int64_t(n++)))
                      .Set("call", ClJson::String(name))
                      .Set("interface", ClJson::Integer(r.nInterface))
                      .Set("dose", ClJson::Integer(r.aArgs[0]))
                      .Set("raw", ClJson::Bool(raw))
                      .Set("width", ClJson::Integer(s.nWidth))
                      .Set("height", ClJson::Integer(s.nHeight))
                      .Set("time_ms", ClJson::Real(Ms(r.nStartNs - origin)))
                      .Set("duration_ms", ClJson::Real(Ms(r.nEndNs - r.nStartNs))));
    }
  } catch (const kxrec::ClRecordError& e) {
    std::fprintf(stderr, "lskx2: %s: %s\n", file.c_str(), e.what());
    return 1;
  }
  std::ofstream(out + "/index.json") << ClJson::Object()
                                            .Set("recording", ClJson::String(file))
                                            .Set("frames", frames)
                                            .Set("failed_calls", failures)
                                            .Dump()
                                     << "\n";
  std::printf("%llu frames in %s/ (index.json)\n", static_cast<unsigned long long>(n), out.c_str());
  return 0;
}

} // namespace

bool IsRecordingCommand(const char* szWord)
{
  return szWord && (!std::strcmp(szWord, "record") || !std::strcmp(szWord, "replay") ||
                    !std::strcmp(szWord, "frames"));
}

int RunRecordingCommand(int argc, char** argv)
{
  try {
    const std::string command = argv[1];
    if (command == "frames")
      return Frames(argc, argv);
    const ClRecordingArgs a = ParseRecordingArgs(argc, argv);
    return command == "record" ? Record(a) : Replay(a);
  } catch (const ClUsageError& e) {
    std::fprintf(stderr, "lskx2: %s (lskx2 --help tells more)\n", e.what());
    return 2;
  }
}
