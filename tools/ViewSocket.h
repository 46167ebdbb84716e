#pragma once
// One viewer on the WebSocket /live: binary frames out, newest first and never more than
// one waiting; short text messages both ways. A broken or oversized message, or a peer
// that stops answering pings, closes this viewer alone.

#include "tools/ViewServer.h"

#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>

#include <deque>
#include <memory>
#include <string>

class ClViewSocket : public std::enable_shared_from_this<ClViewSocket>
{
public:
  ClViewSocket(boost::asio::ip::tcp::socket&& socket, ClViewServer& server);
  ~ClViewSocket();

  void Run(boost::beast::http::request<boost::beast::http::string_body> request);
  // The frame replaces any frame still waiting.
  void Offer(std::shared_ptr<const std::string> frame);
  void Say(const std::string& text);

private:
  void OnAccept(boost::beast::error_code ec);
  void Read();
  void OnRead(boost::beast::error_code ec);
  void Write();
  void OnWrite(boost::beast::error_code ec);

  boost::beast::websocket::stream<boost::beast::tcp_stream> m_Ws;
  ClViewServer& m_Server;
  int m_nId = 0; // 0 until the handshake is done
  boost::beast::flat_buffer m_In;
  std::shared_ptr<const std::string> m_pFrame; // the newest frame not yet sent
  std::deque<std::shared_ptr<const std::string>> m_aTexts;
  std::shared_ptr<const std::string> m_pSending; // kept alive while it is written
  bool m_bWriting = false;
};
