#include "tools/ViewSite.h"

#include "tools/ReportHtml.h"

#include <fstream>
#include <sstream>

void ClViewSite::Add(const ClCaptureRecord& record)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  m_aRecords.push_back(record);
}

size_t ClViewSite::Count() const
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  return m_aRecords.size();
}

std::vector<ClCaptureRecord> ClViewSite::Records() const
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  return m_aRecords;
}

ClViewReply ClViewSite::Respond(const std::string& path) const
{
  ClViewReply reply;
  if (path == "/") {
    reply.m_nStatus = 200;
    reply.m_sType = "text/html; charset=utf-8";
    reply.m_sBody.assign(reinterpret_cast<const char*>(g_aViewPage), g_nViewPageSize);
    return reply;
  }
  std::lock_guard<std::mutex> lock(m_Mutex);
  if (path == "/report.html") {
    reply.m_nStatus = 200;
    reply.m_sType = "text/html; charset=utf-8";
    reply.m_sBody = ReportHtml("lskx2 view", m_aRecords);
    return reply;
  }
  // Only names this run gave out; the path never reaches the file system as such.
  for (const ClCaptureRecord& r : m_aRecords) {
    if (!r.m_sImageFile.empty() && path == "/" + r.m_sImageFile)
      return File(r.m_sImageFile, "image/png");
    if (path == "/" + r.m_sName + ".json")
      return File(r.m_sName + ".json", "application/json");
  }
  return reply;
}

ClViewReply ClViewSite::File(const std::string& name, const char* szType) const
{
  ClViewReply reply;
  std::ifstream in(m_sOutDir + "/" + name, std::ios::binary);
  std::ostringstream body;
  if (!(in && body << in.rdbuf())) {
    reply.m_nStatus = 500;
    reply.m_sBody = "cannot read " + name + "\n";
    return reply;
  }
  reply.m_nStatus = 200;
  reply.m_sType = szType;
  reply.m_sBody = body.str();
  return reply;
}
