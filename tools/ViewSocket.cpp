#include "tools/ViewSocket.h"

#include <chrono>

namespace beast = boost::beast;
namespace websocket = beast::websocket;

namespace {

// Commands are a word or two; anything longer is no command.
constexpr size_t nMessageLimit = 4096;
// Texts waiting for a viewer that does not read; older ones are dropped beyond this.
constexpr size_t nTextBacklog = 16;

} // namespace

ClViewSocket::ClViewSocket(boost::asio::ip::tcp::socket&& socket, ClViewServer& server)
  : m_Ws(std::move(socket)), m_Server(server)
{}

ClViewSocket::~ClViewSocket()
{
  if (m_nId)
    m_Server.Leave(m_nId);
}

void ClViewSocket::Run(beast::http::request<beast::http::string_body> request)
{
  websocket::stream_base::timeout timeout;
  timeout.handshake_timeout = std::chrono::seconds(10);
  // A viewer that answers no ping for this long has gone, even with a write pending.
  timeout.idle_timeout = std::chrono::seconds(20);
  timeout.keep_alive_pings = true;
  m_Ws.set_option(timeout);
  m_Ws.read_message_max(nMessageLimit);
  m_Ws.async_accept(request,
                    [self = shared_from_this()](beast::error_code ec) { self->OnAccept(ec); });
}

void ClViewSocket::OnAccept(beast::error_code ec)
{
  if (ec)
    return;
  m_nId = m_Server.Join(shared_from_this());
  Say("{\"viewer\": " + std::to_string(m_nId) + "}");
  Read();
}

void ClViewSocket::Read()
{
  m_Ws.async_read(m_In,
                  [self = shared_from_this()](beast::error_code ec, size_t) { self->OnRead(ec); });
}

void ClViewSocket::OnRead(beast::error_code ec)
{
  if (ec)
    return; // closed, timed out or broken: this viewer ends here
  if (m_Ws.got_text() && m_Server.Handlers().m_pfnMessage)
    m_Server.Handlers().m_pfnMessage(m_nId, beast::buffers_to_string(m_In.data()));
  m_In.consume(m_In.size());
  Read();
}

void ClViewSocket::Offer(std::shared_ptr<const std::string> frame)
{
  m_pFrame = std::move(frame);
  if (!m_bWriting)
    Write();
}

void ClViewSocket::Say(const std::string& text)
{
  if (m_aTexts.size() >= nTextBacklog)
    m_aTexts.pop_front();
  m_aTexts.push_back(std::make_shared<const std::string>(text));
  if (!m_bWriting)
    Write();
}

void ClViewSocket::Write()
{
  const bool bText = !m_aTexts.empty();
  if (bText) {
    m_pSending = std::move(m_aTexts.front());
    m_aTexts.pop_front();
  } else if (m_pFrame) {
    m_pSending = std::move(m_pFrame);
  } else {
    return;
  }
  m_bWriting = true;
  m_Ws.text(bText);
  m_Ws.async_write(
      boost::asio::buffer(*m_pSending),
      [self = shared_from_this()](beast::error_code ec, size_t) { self->OnWrite(ec); });
}

void ClViewSocket::OnWrite(beast::error_code ec)
{
  m_bWriting = false;
  m_pSending.reset();
  if (ec)
    return;
  Write();
}
