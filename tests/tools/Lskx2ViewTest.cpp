// lskx2 view on the simulator, seen by test clients and by a headless browser.
#include "ToolFiles.h"
#include "tests/common/Lskx2Launch.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/core/detail/base64.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <sys/socket.h>
#include <thread>
#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <sstream>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
namespace pt = boost::property_tree;
using tcp = asio::ip::tcp;
using Clock = std::chrono::steady_clock;

// Shuts a socket down after a while, so that no blocking read waits for ever.
class Watchdog
{
public:
  Watchdog(int fd, int nSeconds)
    : m_Thread([this, fd, nSeconds] {
        std::unique_lock<std::mutex> lock(m_Mutex);
        if (!m_Cv.wait_for(lock, std::chrono::seconds(nSeconds), [&] { return m_bDone; }))
          ::shutdown(fd, SHUT_RDWR);
      })
  {}
  ~Watchdog()
  {
    {
      std::lock_guard<std::mutex> lock(m_Mutex);
      m_bDone = true;
    }
    m_Cv.notify_all();
    m_Thread.join();
  }

private:
  std::mutex m_Mutex;
  std::condition_variable m_Cv;
  bool m_bDone = false;
  std::thread m_Thread;
};

// A WebSocket client of the view (or of the browser's automation).
struct Socket
{
  asio::io_context ioc;
  websocket::stream<tcp::socket> ws{ioc};

  std::unique_ptr<Watchdog> dog;

  // Reads fail once nSeconds have passed.
  void Open(int nPort, const std::string& path, int nReceiveBuffer = 0, int nSeconds = 60)
  {
    tcp::socket& s = ws.next_layer();
    s.open(tcp::v4());
    if (nReceiveBuffer)
      s.set_option(asio::socket_base::receive_buffer_size(nReceiveBuffer));
    s.connect(tcp::endpoint(asio::ip::make_address("127.0.0.1"), nPort));
    dog = std::make_unique<Watchdog>(s.native_handle(), nSeconds);
    ws.handshake("127.0.0.1:" + std::to_string(nPort), path);
  }
  std::string Read()
  {
    beast::flat_buffer buffer;
    ws.read(buffer);
    return beast::buffers_to_string(buffer.data());
  }
};

// Reads frames on a thread of its own until destroyed, noting when each came.
struct FrameClock
{
  Socket& socket;
  std::mutex mutex;
  std::vector<Clock::time_point> times;
  std::thread reader{[this] {
    try {
      for (;;)
        if (socket.Read(), socket.ws.got_binary()) {
          std::lock_guard<std::mutex> lock(mutex);
          times.push_back(Clock::now());
        }
    } catch (const std::exception&) {
    }
  }};

  explicit FrameClock(Socket& s) : socket(s) {}
  ~FrameClock()
  {
    ::shutdown(socket.ws.next_layer().native_handle(), SHUT_RDWR);
    reader.join();
  }
  // Waits, at most dLimit seconds, until n frames came: the simulator grows its finger
  // textures on the first frames, which takes seconds in a sanitizer build.
  bool Arrived(size_t n, double dLimit)
  {
    for (auto end = Clock::now() + std::chrono::duration<double>(dLimit); Clock::now() < end;) {
      {
        std::lock_guard<std::mutex> lock(mutex);
        if (times.size() >= n)
          return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }
  // Frames a second over the last dSeconds.
  double Rate(double dSeconds)
  {
    std::this_thread::sleep_for(std::chrono::duration<double>(dSeconds));
    std::lock_guard<std::mutex> lock(mutex);
    auto from = Clock::now() - std::chrono::duration<double>(dSeconds);
    return std::count_if(times.begin(), times.end(), [&](auto t) { return t >= from; }) / dSeconds;
  }
};

// The status of one request; the extra header line is sent as it is.
unsigned Get(int nPort, const std::string& target, const std::string& header = "")
{
  asio::io_context ioc;
  tcp::socket s(ioc);
  s.connect(tcp::endpoint(asio::ip::make_address("127.0.0.1"), nPort));
  Watchdog dog(s.native_handle(), 20);
  std::string request =
      "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + header + "Connection: close\r\n\r\n";
  boost::system::error_code ec;
  asio::write(s, asio::buffer(request), ec);
  beast::flat_buffer buffer;
  http::response<http::string_body> response;
  http::read(s, buffer, response, ec);
  return ec ? 0 : response.result_int();
}

std::string Quote(const std::string& text)
{
  std::string out = "\"";
  for (char c : text)
    out += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
  return out + "\"";
}

// Headless Chromium, driven over its automation WebSocket.
struct Browser
{
  ClChildProcess process;
  Socket socket;
  std::string sSession;
  int nNext = 1;

  bool Start(const std::string& dir)
  {
    if (!process.Start({"timeout", "150", "chromium", "--headless", "--no-sandbox", "--disable-gpu",
                        "--hide-scrollbars", "--force-device-scale-factor=1",
                        "--window-size=1000,900", "--remote-debugging-port=0",
                        "--user-data-dir=" + dir + "/profile", "about:blank"},
                       {}, dir + "/chromium.log"))
      return false;
    // The browser names its port and path in this file once it listens.
    for (int i = 0; i < 600; ++i) {
      std::istringstream lines(ReadText(dir + "/profile/DevToolsActivePort"));
      int port = 0;
      std::string path;
      if (lines >> port >> path) {
        socket.Open(port, path, 0, 150);
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
  }
  ~Browser() { process.Stop(SIGTERM); }
  pt::ptree Call(const std::string& method, const std::string& params)
  {
    const int id = nNext++;
    std::string call = "{\"id\": " + std::to_string(id) + ", \"method\": \"" + method +
                       "\", \"params\": " + params +
                       (sSession.empty() ? "" : ", \"sessionId\": \"" + sSession + "\"") + "}";
    socket.ws.text(true);
    socket.ws.write(asio::buffer(call));
    for (;;) {
      std::istringstream text(socket.Read());
      pt::ptree reply;
      pt::read_json(text, reply);
      if (reply.get<int>("id", 0) == id)
        return reply;
    }
  }
  void Open(const std::string& url)
  {
    std::string target = Call("Target.createTarget", "{\"url\": " + Quote(url) + "}")
                             .get<std::string>("result.targetId");
    sSession =
        Call("Target.attachToTarget", "{\"targetId\": " + Quote(target) + ", \"flatten\": true}")
            .get<std::string>("result.sessionId");
  }
  // The page's answer to a script expression, as text.
  std::string Eval(const std::string& expression)
  {
    return Call("Runtime.evaluate", "{\"expression\": " + Quote("String(" + expression + ")") +
                                        ", \"returnByValue\": true}")
        .get<std::string>("result.result.value", "");
  }
  // Polls the expression until it is true, for at most nSeconds.
  bool WaitFor(const std::string& expression, int nSeconds)
  {
    for (int i = 0; i < nSeconds * 10;
         ++i, std::this_thread::sleep_for(std::chrono::milliseconds(100)))
      if (Eval(expression) == "true")
        return true;
    return false;
  }
  bool Shot(const std::string& path, int x, int y, int w, int h, PngFile* pShot)
  {
    std::string data =
        Call("Page.captureScreenshot",
             "{\"format\": \"png\", \"clip\": {\"x\": " + std::to_string(x) +
                 ", \"y\": " + std::to_string(y) + ", \"width\": " + std::to_string(w) +
                 ", \"height\": " + std::to_string(h) + ", \"scale\": 1}}")
            .get<std::string>("result.data", "");
    std::string png(beast::detail::base64::decoded_size(data.size()), '\0');
    png.resize(beast::detail::base64::decode(&png[0], data.data(), data.size()).first);
    std::ofstream(path, std::ios::binary) << png;
    return pShot->Read(path);
  }
};

class Lskx2View : public ClLskx2Fixture
{
protected:
  // Starts the view and returns its port once it says where it listens (0 if it never does).
  int StartView(ClChildProcess& view, const std::string& config)
  {
    if (!Launch(view, {"view", "--out", m_sDir + "/view"}, config, m_sDir + "/view.log"))
      return 0;
    for (int i = 0; i < 300 && view.Running(); ++i) {
      std::string out = ReadText(m_sDir + "/view.log");
      size_t at = out.find("view: http://127.0.0.1:");
      if (at != std::string::npos && out.find('\n', at) != std::string::npos)
        return std::atoi(out.c_str() + at + 23);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return 0;
  }
};

TEST_F(Lskx2View, BadRequestsAndSlowViewersLeaveOthersAlone)
{
  ClChildProcess view;
  const int port = StartView(view, ""); // the built-in looping script, 30 ms a frame
  ASSERT_GT(port, 0) << ReadText(m_sDir + "/view.log");
  Socket good;
  good.Open(port, "/live");
  EXPECT_EQ(good.Read(), "{\"viewer\": 1}");
  FrameClock clock(good);
  ASSERT_TRUE(clock.Arrived(3, 60.0));
  // Once the frames flow steadily: a sanitizer build pauses again for the next texture.
  for (int i = 0; i < 30 && clock.Rate(1.0) < 10.0; ++i)
    ;
  const double alone = clock.Rate(2.0);

  EXPECT_EQ(Get(port, "/"), 200u);
  for (const char* path : {"/nothing", "/view.log", "/../config.json", "/roll_1.png"})
    EXPECT_EQ(Get(port, path), 404u) << path;
  EXPECT_EQ(Get(port, "/", "X-Padding: " + std::string(64 * 1024, 'a') + "\r\n"), 431u);
  // A broken WebSocket frame (reserved bits, no mask) ends that viewer alone.
  Socket broken;
  broken.Open(port, "/live");
  const unsigned char junk[] = {0xf1, 0x7f, 1, 2, 3, 4, 5, 6, 7, 8};
  asio::write(broken.ws.next_layer(), asio::buffer(junk));
  EXPECT_THROW(for (int i = 0; i < 1000; ++i) broken.Read(), boost::system::system_error);
  // A viewer that never reads, with a small window, is stuck within a frame or two.
  Socket stuck;
  stuck.Open(port, "/live", 4096);
  std::this_thread::sleep_for(std::chrono::seconds(2));

  const double beside = clock.Rate(3.0);
  std::printf("frames a second: %.1f alone, %.1f beside a viewer that does not read\n", alone,
              beside);
  EXPECT_GT(alone, 5.0);
  EXPECT_GT(beside, alone * 0.6);
  EXPECT_EQ(Get(port, "/"), 200u); // and the server still answers
  // One viewer drives; the other is refused while that capture runs.
  Socket driver, other;
  driver.Open(port, "/live");
  other.Open(port, "/live");
  // A roll, since a plain capture of a still finger may end before the other asks.
  driver.ws.write(asio::buffer(std::string("roll")));
  int k = 0;
  while (k++ < 300 && driver.Read().find("\"activity\": \"roll\"") == std::string::npos)
    ;
  EXPECT_LT(k, 300);
  other.ws.write(asio::buffer(std::string("plain")));
  std::string said;
  for (k = 0; k < 300 && said.find("refused") == std::string::npos; ++k)
    said = other.Read();
  EXPECT_EQ(said, "{\"refused\": \"plain\"}");
  // Nor may another site's page.
  EXPECT_EQ(
      Get(port, "/live",
          "Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
          "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nOrigin: http://elsewhere.example\r\n"),
      403u);
  EXPECT_EQ(view.Stop(SIGINT), 0);
  const std::string log = ReadText(m_sDir + "/view.log");
  EXPECT_NE(log.find("scanner closed"), std::string::npos) << log;
  std::printf("%s", log.substr(log.find("view: ", log.find("Ctrl-C"))).c_str());
}

// A finger resting long enough to be watched, lifted, then rolled.
const char* const szRestThenRoll =
    R"({"frame_interval_ms": 30, "devices": [{"loop": false, "script": [{"empty": 10},
    {"place": 5}, {"still": 250}, {"lift": 4}, {"empty": 10},
    {"roll": 60, "from_x": 300, "to_x": 500}, {"lift": 4}, {"empty": 300}]}]})";

TEST_F(Lskx2View, BrowserSeesThePreviewAndRollsAsTheProgramDoes)
{
  ClChildProcess view;
  const int port = StartView(view, szRestThenRoll);
  ASSERT_GT(port, 0) << ReadText(m_sDir + "/view.log");
  Browser browser;
  ASSERT_TRUE(browser.Start(m_sDir)) << ReadText(m_sDir + "/chromium.log");
  browser.Open("http://127.0.0.1:" + std::to_string(port) + "/");
  ASSERT_TRUE(browser.WaitFor("window.viewStats && viewStats.frames > 10", 60));
  // The canvas, where the page's layout puts it.
  PngFile first, second;
  ASSERT_TRUE(browser.Shot(m_sDir + "/first.png", 16, 64, 400, 375, &first));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  ASSERT_TRUE(browser.Shot(m_sDir + "/second.png", 16, 64, 400, 375, &second));
  EXPECT_NE(first.aPixels, second.aPixels);
  EXPECT_EQ(first.nWidth, 400u);
  std::printf("frames a second seen by the page: %s\n", browser.Eval("viewStats.fps").c_str());

  browser.Eval("document.getElementById('roll').click()");
  ASSERT_TRUE(browser.WaitFor("viewStats.result !== null", 120));
  EXPECT_EQ(browser.Eval("viewStats.result.name + ' ' + viewStats.result.code"), "roll_1 0");
  EXPECT_EQ(view.Stop(SIGINT), 0);

  ClChildProcess roll;
  ASSERT_TRUE(Launch(roll, {"roll", "--shift-areas", "--out", m_sDir + "/roll", "--timeout", "300"},
                     szRestThenRoll, m_sDir + "/roll.log"));
  EXPECT_EQ(roll.Wait(120), 0) << ReadText(m_sDir + "/roll.log");
  PngFile viewed, rolled;
  ASSERT_TRUE(viewed.Read(m_sDir + "/view/roll_1.png"));
  ASSERT_TRUE(rolled.Read(m_sDir + "/roll/roll_1.png"));
  EXPECT_TRUE(viewed.aPixels == rolled.aPixels);
}

} // namespace
