#include "tools/ViewHttpSession.h"

#include "tools/ViewSocket.h"

#include <boost/beast/websocket/rfc6455.hpp>

#include <chrono>

namespace beast = boost::beast;
namespace http = beast::http;

namespace {

// A browser's request fits easily; anything larger is refused before it is read on.
constexpr uint32_t nHeaderLimit = 8 * 1024;
constexpr uint64_t nBodyLimit = 1024;
// A connection that sends no complete request in this time is closed.
constexpr auto tRequestTimeout = std::chrono::seconds(30);

} // namespace

ClViewHttpSession::ClViewHttpSession(boost::asio::ip::tcp::socket socket, ClViewServer& server)
  : m_Stream(std::move(socket)), m_Server(server)
{}

void ClViewHttpSession::Read()
{
  m_Parser.emplace();
  m_Parser->header_limit(nHeaderLimit);
  m_Parser->body_limit(nBodyLimit);
  m_Stream.expires_after(tRequestTimeout);
  http::async_read(m_Stream, m_Buffer, *m_Parser,
                   [self = shared_from_this()](beast::error_code ec, size_t) { self->OnRead(ec); });
}

void ClViewHttpSession::OnRead(beast::error_code ec)
{
  if (ec == http::error::end_of_stream || ec == beast::error::timeout ||
      ec == boost::asio::error::connection_reset || ec == boost::asio::error::eof) {
    m_Stream.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_both, ec);
    return;
  }
  if (ec == http::error::header_limit)
    return Refuse(431, "request header too large\n");
  if (ec == http::error::body_limit)
    return Refuse(413, "request body too large\n");
  if (ec)
    return Refuse(400, "bad request\n");
  Answer(m_Parser->release());
}

void ClViewHttpSession::Answer(http::request<http::string_body>&& request)
{
  if (beast::websocket::is_upgrade(request)) {
    if (request.target() != "/live")
      return Refuse(404, "not found\n");
    // Another site's page in the operator's browser may not drive the scanner.
    auto origin = request.find(http::field::origin);
    if (origin != request.end() &&
        origin->value() != "http://" + std::string(request[http::field::host]))
      return Refuse(403, "the live view takes viewers from its own page only\n");
    m_Stream.expires_never();
    std::make_shared<ClViewSocket>(m_Stream.release_socket(), m_Server)->Run(std::move(request));
    return;
  }
  if (request.method() != http::verb::get && request.method() != http::verb::head)
    return Refuse(405, "only GET and HEAD\n");
  std::string path(request.target());
  path = path.substr(0, path.find('?'));
  ClViewReply reply = m_Server.Handlers().m_pfnRespond(path);
  Response response(static_cast<http::status>(reply.m_nStatus), request.version());
  response.set(http::field::content_type, reply.m_sType);
  response.set(http::field::cache_control, "no-store");
  response.set("X-Content-Type-Options", "nosniff");
  response.keep_alive(request.keep_alive());
  response.body() = std::move(reply.m_sBody);
  response.prepare_payload();
  if (request.method() == http::verb::head)
    response.body().clear();
  Send(std::move(response));
}

void ClViewHttpSession::Refuse(unsigned nStatus, const char* szText)
{
  Response response(static_cast<http::status>(nStatus), 11);
  response.set(http::field::content_type, "text/plain; charset=utf-8");
  response.keep_alive(false);
  response.body() = szText;
  response.prepare_payload();
  Send(std::move(response));
}

void ClViewHttpSession::Send(Response response)
{
  m_pResponse = std::make_shared<Response>(std::move(response));
  m_Stream.expires_after(tRequestTimeout);
  http::async_write(
      m_Stream, *m_pResponse, [self = shared_from_this()](beast::error_code ec, size_t) {
        if (!ec && self->m_pResponse->keep_alive())
          return self->Read();
        self->m_Stream.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_both, ec);
      });
}
