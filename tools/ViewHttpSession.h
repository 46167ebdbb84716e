#pragma once
// One browser connection before it turns into a viewer: reads requests with bounded
// headers and body, answers them from the server's responder, and hands a WebSocket
// upgrade on /live over to a ClViewSocket.

#include "tools/ViewServer.h"

#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <memory>
#include <optional>

class ClViewHttpSession : public std::enable_shared_from_this<ClViewHttpSession>
{
public:
  ClViewHttpSession(boost::asio::ip::tcp::socket socket, ClViewServer& server);
  void Run() { Read(); }

private:
  using Response = boost::beast::http::response<boost::beast::http::string_body>;

  void Read();
  void OnRead(boost::beast::error_code ec);
  void Answer(boost::beast::http::request<boost::beast::http::string_body>&& request);
  // Sends an error and closes the connection after it.
  void Refuse(unsigned nStatus, const char* szText);
  void Send(Response response);

  boost::beast::tcp_stream m_Stream;
  boost::beast::flat_buffer m_Buffer;
  ClViewServer& m_Server;
  std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> m_Parser;
  std::shared_ptr<Response> m_pResponse;
};
