#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <openssl/ssl.h>

/// A web server on 127.0.0.1 that misbehaves as told: real sockets, one thread a connection.
namespace quillmere::testing {

class LoopbackServer;

/// A certificate that has signed itself, made on the spot.
class Certificate {
 public:
  /// `names` as OpenSSL's subjectAltName has them: "IP:127.0.0.1". One that is valid for less than nothing has expired.
  explicit Certificate(const std::string& names, std::chrono::minutes valid_for = std::chrono::hours(1));

  /// As a file of trusted authorities holds it.
  [[nodiscard]] std::string pem() const;

 private:
  friend class LoopbackServer;
  std::shared_ptr<EVP_PKEY> _key;
  std::shared_ptr<X509> _certificate;
};

/// One request, and the hands of whoever answers it.
class Exchange {
 public:
  /// Request line and headers as received.
  std::string head;
  /// From the request line, query included.
  std::string path;

  /// False when the client is gone.
  bool send(std::string_view bytes);
  /// Waits; false when the client is gone or the server ends before that.
  bool wait(std::chrono::milliseconds time);
  /// The connection is closed when the script returns; else it serves the next request.
  void close_after() { _keeps = false; }
  /// The connection is reset when the script returns.
  void reset_after();

 private:
  friend class LoopbackServer;
  explicit Exchange(int socket) : _socket(socket) {}
  [[nodiscard]] bool receive(std::string& buffer);

  int _socket;
  std::shared_ptr<SSL> _tls;  // absent for plain text
  bool _keeps = true;
};

using Script = std::function<void(Exchange&)>;
using Headers = std::vector<std::pair<std::string, std::string>>;

class LoopbackServer {
 public:
  /// At another address than loopback's only within a network of one's own; "::" is all addresses. Port 0 is any.
  explicit LoopbackServer(std::string address = "127.0.0.1", int port = 0);
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;
  ~LoopbackServer();

  /// `path` without its query; a path without a script gets a 404 with a body.
  void on(const std::string& path, Script script);

  /// From now on connections speak TLS, and HTTP/2 within it when told so: then the script of "*" writes the frames,
  /// from when the client's first request, on stream 1, is whole.
  void secure(const Certificate& certificate, bool with_http2 = false);

  /// From now on each connection gets these bytes before it has asked for anything.
  void greet(std::string bytes);

  [[nodiscard]] int port() const { return _port; }
  /// "http://127.0.0.1:<port><path>", https once it is secure
  [[nodiscard]] std::string url(std::string_view path) const { return url(_address, path); }
  /// The same at another of its addresses or names.
  [[nodiscard]] std::string url(const std::string& host, std::string_view path) const;

  /// `count` of them, which differ in their query: "<path>?n=0" and on.
  [[nodiscard]] std::vector<std::string> urls(const std::string& path, int count) const;

  [[nodiscard]] int connections() const;                 ///< accepted so far
  [[nodiscard]] int open_connections() const;            ///< of those, still open
  [[nodiscard]] int peak() const;                        ///< most requests that were in the works at once
  [[nodiscard]] std::vector<std::string> paths() const;  ///< of all requests, in the order of arrival
  [[nodiscard]] std::string last_head() const;           ///< of the last request

  /// Waits up to five seconds until no connection is open.
  [[nodiscard]] bool wait_until_idle();

 private:
  void accept_all();
  void serve(int socket);
  bool read_head(Exchange& exchange, std::string& buffer);
  [[nodiscard]] Script script_for(const std::string& path) const;

  int _listener = -1;
  std::string _address;
  int _port = 0;
  mutable std::mutex _mutex;
  std::condition_variable _closed;
  std::map<std::string, Script> _scripts;
  std::string _greeting;
  std::shared_ptr<SSL_CTX> _tls;
  std::set<int> _open;
  std::vector<std::string> _paths;
  std::string _last_head;
  int _connections = 0;
  int _working = 0;
  int _peak = 0;
  bool _ends = false;
  std::thread _acceptor;
};

/// A whole response that keeps the connection.
[[nodiscard]] std::string response(int status, std::string_view body, const Headers& headers = {});

[[nodiscard]] Script answer(int status, std::string body, Headers headers = {});
[[nodiscard]] Script redirect(std::string location, int status = 302);
/// Sends exactly these bytes and closes.
[[nodiscard]] Script raw(std::string bytes);
/// Sends exactly these bytes and resets the connection.
[[nodiscard]] Script reset(std::string bytes);
/// Sends `bytes` and then nothing more.
[[nodiscard]] Script silent(std::string bytes = "");
/// Sends `head`, then `part` again and again, as often as `pause` allows.
[[nodiscard]] Script endless(std::string head, std::string part, std::chrono::milliseconds pause = {});
[[nodiscard]] Script late(std::chrono::milliseconds delay, Script then);

/// One HTTP/2 frame (RFC 9113, section 4.1).
[[nodiscard]] std::string frame(int type, int flags, int stream, std::string_view payload = "");

/// Streams that decode to at least `bytes` bytes, small fractions of that in size.
[[nodiscard]] std::string gzip_bomb(std::size_t bytes);
[[nodiscard]] std::string zstd_bomb(std::size_t bytes);

/// Descriptors that this process has open.
[[nodiscard]] int open_descriptors();

}  // namespace quillmere::testing
