#include "tools/ViewServer.h"

#include "tools/ViewHttpSession.h"
#include "tools/ViewSocket.h"

#include <boost/asio/post.hpp>

#include <pthread.h>
#include <time.h>

namespace asio = boost::asio;
using tcp = asio::ip::tcp;

ClViewServer::ClViewServer(ClHandlers handlers) : m_Handlers(std::move(handlers)) {}

ClViewServer::~ClViewServer() { Stop(); }

bool ClViewServer::Start(const std::string& listen, std::string* pError)
{
  size_t colon = listen.rfind(':');
  std::string host = colon == std::string::npos ? listen : listen.substr(0, colon);
  std::string port = colon == std::string::npos ? "0" : listen.substr(colon + 1);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']')
    host = host.substr(1, host.size() - 2);
  boost::system::error_code ec;
  char* end = nullptr;
  unsigned long nPort = std::strtoul(port.c_str(), &end, 10);
  asio::ip::address address = asio::ip::make_address(host, ec);
  if (ec || port.empty() || *end || nPort > 65535) {
    *pError = "--listen wants ADDRESS:PORT with a numeric address, not \"" + listen + "\"";
    return false;
  }
  tcp::endpoint endpoint(address, static_cast<uint16_t>(nPort));
  m_Acceptor.open(endpoint.protocol(), ec);
  if (!ec)
    m_Acceptor.set_option(asio::socket_base::reuse_address(true), ec);
  if (!ec)
    m_Acceptor.bind(endpoint, ec);
  if (!ec)
    m_Acceptor.listen(asio::socket_base::max_listen_connections, ec);
  if (ec) {
    *pError = "listening on " + listen + ": " + ec.message();
    return false;
  }
  m_sAddress = address.to_string();
  m_nPort = m_Acceptor.local_endpoint().port();
  Accept();
  m_Thread = std::thread([this] { m_Ioc.run(); });
  return true;
}

void ClViewServer::Stop()
{
  m_Ioc.stop();
  if (m_Thread.joinable())
    m_Thread.join();
}

void ClViewServer::Accept()
{
  m_Acceptor.async_accept([this](boost::system::error_code ec, tcp::socket socket) {
    if (ec == asio::error::operation_aborted)
      return;
    if (!ec)
      std::make_shared<ClViewHttpSession>(std::move(socket), *this)->Run();
    Accept();
  });
}

void ClViewServer::Broadcast(std::shared_ptr<const std::string> frame)
{
  asio::post(m_Ioc, [this, frame] {
    for (auto& v : m_aViewers)
      if (auto p = v.second.lock())
        p->Offer(frame);
  });
}

void ClViewServer::Tell(int nViewer, std::string text)
{
  asio::post(m_Ioc, [this, nViewer, text = std::move(text)] {
    auto it = m_aViewers.find(nViewer);
    if (it != m_aViewers.end())
      if (auto p = it->second.lock())
        p->Say(text);
  });
}

int ClViewServer::Join(const std::shared_ptr<ClViewSocket>& pViewer)
{
  int n = m_nNextViewer++;
  m_aViewers[n] = pViewer;
  if (m_Handlers.m_pfnViewer)
    m_Handlers.m_pfnViewer(n, true);
  return n;
}

void ClViewServer::Leave(int nViewer)
{
  if (m_aViewers.erase(nViewer) && m_Handlers.m_pfnViewer)
    m_Handlers.m_pfnViewer(nViewer, false);
}

double ClViewServer::CpuSeconds() const
{
  clockid_t clock;
  timespec ts = {};
  if (!m_Thread.joinable() ||
      pthread_getcpuclockid(const_cast<std::thread&>(m_Thread).native_handle(), &clock) != 0 ||
      clock_gettime(clock, &ts) != 0)
    return 0.0;
  return ts.tv_sec + ts.tv_nsec * 1e-9;
}
