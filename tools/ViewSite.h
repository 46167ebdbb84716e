#pragma once
// What the live view serves over HTTP: its own page, the report of this run's captures
// and their PNG and JSON files, by the names the run gave them; nothing else.

#include "tools/CaptureRecord.h"
#include "tools/ViewServer.h"

#include <mutex>
#include <string>
#include <vector>

class ClViewSite
{
public:
  explicit ClViewSite(std::string outDir) : m_sOutDir(std::move(outDir)) {}

  // From the capture thread, once the capture's files are written.
  void Add(const ClCaptureRecord& record);
  size_t Count() const;
  std::vector<ClCaptureRecord> Records() const;
  // From the server thread; path without the query.
  ClViewReply Respond(const std::string& path) const;

private:
  ClViewReply File(const std::string& name, const char* szType) const;

  std::string m_sOutDir;
  mutable std::mutex m_Mutex;
  std::vector<ClCaptureRecord> m_aRecords;
};

// The page, built into the program.
extern const unsigned char g_aViewPage[];
extern const size_t g_nViewPageSize;
