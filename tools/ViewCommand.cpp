// lskx2 view: the scanner's live picture and its captures in a browser. The main thread
// drives the scanner; the server answers browsers from a thread of its own.
#include "tools/Commands.h"
#include "tools/ReportHtml.h"
#include "tools/ScannerSession.h"
#include "tools/ViewControl.h"
#include "tools/ViewFeed.h"
#include "tools/ViewServer.h"
#include "tools/ViewSite.h"

#include <cstdio>
#include <filesystem>
#include <map>
#include <time.h>

namespace {

double ProcessCpuSeconds()
{
  timespec ts = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return ts.tv_sec + ts.tv_nsec * 1e-9;
}

EViewAction ParseAction(const std::string& text)
{
  if (text == "plain")
    return EViewAction::ePlain;
  if (text == "roll")
    return EViewAction::eRoll;
  return EViewAction::eNone;
}

// One capture for a viewer; its files and the report go to the output folder. An SDK
// failure that leaves the scanner unfit comes back; results of the capture do not.
int32_t RunCapture(EViewAction eAction, int nDriver, const ClCliOptions& o,
                   ClScannerSession& session, ClViewFeed& feed, ClViewSite& site,
                   std::map<std::string, int>& counts)
{
  const uint32_t mode = eAction == EViewAction::eRoll ? eModeRoll : eModePlain;
  const std::string kind = ModeName(mode);
  feed.SetActivity(kind, nDriver);
  ClCaptureRecord r;
  r.m_sName = kind + "_" + std::to_string(++counts[kind]);
  int32_t rc = session.Capture(mode, r.m_sName, o, &r);
  feed.SetActivity("preview", 0);
  if (rc == nInterrupted)
    return rc;
  std::string error;
  if (!SaveCapture(o.m_sOutDir, &r, session.Image())) {
    rc = LS_KX2_ERROR_INVALID_PARAMETER;
    r.m_sResultText = "the capture's files could not be written";
  } else {
    site.Add(r);
    if (!WriteReport(o.m_sOutDir + "/report.html", "lskx2 view", site.Records(), &error))
      std::fprintf(stderr, "lskx2: %s\n", error.c_str());
  }
  feed.SetResult(r.m_sName, r.m_nResult, r.m_sResultText, site.Count());
  std::printf("%s: %d %s\n", r.m_sName.c_str(), r.m_nResult, r.m_sResultText.c_str());
  std::fflush(stdout);
  return rc == 0 || IsCaptureOutcome(rc) ? 0 : rc;
}

} // namespace

int RunView(const ClCliOptions& o, const std::atomic<bool>& bStop)
{
  ClProgressLine quiet(nullptr, false);
  ClScannerSession session(bStop, quiet, &SteadySeconds);
  if (int status = OpenForCaptures(session, o))
    return status;
  int32_t rc = 0;
  std::string what;
  ClViewSite site(o.m_sOutDir);
  ClViewControl control;
  ClViewServer server({[&](const std::string& path) { return site.Respond(path); },
                       [&](int viewer, const std::string& text) {
                         if (!control.Request(ParseAction(text), viewer))
                           server.Tell(viewer, "{\"refused\": " + JsonQuote(text) + "}");
                       },
                       [&](int, bool bOpen) { control.Viewer(bOpen); }});
  if (!server.Start(o.m_sListen, &what)) {
    std::fprintf(stderr, "lskx2: %s\n", what.c_str());
    return 2;
  }
  const std::string host = server.Address().find(':') != std::string::npos
                               ? "[" + server.Address() + "]"
                               : server.Address();
  std::printf("scanner %s\nview: http://%s:%u/ (Ctrl-C ends)\n", session.Name().c_str(),
              host.c_str(), server.Port());
  std::fflush(stdout);
  ClViewFeed feed(server, session.Handle());
  session.SetFrameSink(&feed);
  std::map<std::string, int> counts;
  const double start = SteadySeconds(), cpuStart = ProcessCpuSeconds();
  rc = 0;
  while (!bStop && (rc == 0 || rc == nInterrupted)) {
    rc = 0;
    if (!control.WaitForViewers(0.2))
      continue;
    int driver = 0;
    EViewAction action = control.Take(&driver);
    if (action != EViewAction::eNone) {
      rc = RunCapture(action, driver, o, session, feed, site, counts);
      control.Finish();
      continue;
    }
    rc = session.Preview("preview", [&] { return control.Interrupting(); });
  }
  const double seconds = SteadySeconds() - start;
  const double serverCpu = server.CpuSeconds() + feed.CpuSeconds();
  server.Stop();
  session.Close();
  const double frames = static_cast<double>(feed.Frames());
  std::printf("view: %llu frames in %.1f s (%.1f a second); server %.2f ms CPU a frame, "
              "program %.2f ms\n",
              static_cast<unsigned long long>(feed.Frames()), seconds,
              seconds > 0 ? frames / seconds : 0.0, frames > 0 ? 1000 * serverCpu / frames : 0.0,
              frames > 0 ? 1000 * (ProcessCpuSeconds() - cpuStart) / frames : 0.0);
  if (rc != 0 && rc != nInterrupted) {
    Fail("scanner", rc);
    return ExitStatus(rc);
  }
  std::fprintf(stderr, "lskx2: view ended; scanner closed\n");
  return 0;
}
