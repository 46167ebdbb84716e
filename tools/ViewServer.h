#pragma once
// The live view's HTTP and WebSocket server on one thread of its own: pages and files
// come from a responder, frames go to every viewer, and each viewer keeps only the newest
// frame it has not yet been sent, so that a slow or vanished browser holds back nothing.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>

class ClViewSocket;

struct ClViewReply
{
  unsigned m_nStatus = 404;
  std::string m_sType = "text/plain; charset=utf-8";
  std::string m_sBody = "not found\n";
};

class ClViewServer
{
public:
  // Every handler runs on the server's thread.
  struct ClHandlers
  {
    std::function<ClViewReply(const std::string& path)> m_pfnRespond;
    std::function<void(int nViewer, const std::string& text)> m_pfnMessage;
    std::function<void(int nViewer, bool bOpen)> m_pfnViewer;
  };

  explicit ClViewServer(ClHandlers handlers);
  ~ClViewServer();
  ClViewServer(const ClViewServer&) = delete;
  ClViewServer& operator=(const ClViewServer&) = delete;

  // Listens on "ADDRESS:PORT" (port 0: a free one) and serves from a new thread; false
  // with the reason in *pError.
  bool Start(const std::string& listen, std::string* pError);
  void Stop();
  uint16_t Port() const { return m_nPort; }
  const std::string& Address() const { return m_sAddress; }

  // From any thread.
  void Broadcast(std::shared_ptr<const std::string> frame);
  void Tell(int nViewer, std::string text);

  // Server thread only: the sessions' side.
  const ClHandlers& Handlers() const { return m_Handlers; }
  int Join(const std::shared_ptr<ClViewSocket>& pViewer);
  void Leave(int nViewer);
  // CPU seconds the server's thread has used.
  double CpuSeconds() const;

private:
  void Accept();

  ClHandlers m_Handlers;
  std::map<int, std::weak_ptr<ClViewSocket>> m_aViewers;
  int m_nNextViewer = 1;
  std::string m_sAddress;
  uint16_t m_nPort = 0;
  std::thread m_Thread;
  // Last, so that the sessions it still holds go before the viewers' table.
  boost::asio::io_context m_Ioc{1};
  boost::asio::ip::tcp::acceptor m_Acceptor{m_Ioc};
};
