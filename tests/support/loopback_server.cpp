#include "tests/support/loopback_server.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <poll.h>
#include <system_error>
#include <unistd.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace quillmere::testing {
namespace {

using std::chrono::milliseconds;

int checked(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

// Bits in the order in which deflate packs them.
class BitWriter {
 public:
  void put(unsigned bits, unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      if (_used % 8 == 0) bytes.push_back('\0');
      if ((bits >> i & 1) != 0) bytes.back() = static_cast<char>(bytes.back() | 1 << _used % 8);
      ++_used;
    }
  }

  std::string bytes;

 private:
  std::size_t _used = 0;
};

}  // namespace

bool Exchange::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool Exchange::wait(milliseconds time) {
  pollfd gone{_socket, POLLRDHUP, 0};
  return ::poll(&gone, 1, static_cast<int>(time.count())) == 0;
}

void Exchange::reset_after() {
  const linger at_once{1, 0};
  ::setsockopt(_socket, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  close_after();
}

LoopbackServer::LoopbackServer() {
  _listener = checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  checked(::bind(_listener, reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
  checked(::listen(_listener, 1024), "listen");
  socklen_t size = sizeof address;
  checked(::getsockname(_listener, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
  _port = ntohs(address.sin_port);
  _acceptor = std::thread([this] { accept_all(); });
}

LoopbackServer::~LoopbackServer() {
  {
    const std::lock_guard lock(_mutex);
    _ends = true;
    for (const int socket : _open) ::shutdown(socket, SHUT_RDWR);
  }
  ::shutdown(_listener, SHUT_RDWR);
  _acceptor.join();
  ::close(_listener);
  std::unique_lock lock(_mutex);
  _closed.wait(lock, [this] { return _open.empty(); });
}

void LoopbackServer::on(const std::string& path, Script script) {
  const std::lock_guard lock(_mutex);
  _scripts[path] = std::move(script);
}

void LoopbackServer::greet(std::string bytes) {
  const std::lock_guard lock(_mutex);
  _greeting = std::move(bytes);
}

std::string LoopbackServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(_port) + std::string(path);
}

int LoopbackServer::connections() const {
  const std::lock_guard lock(_mutex);
  return _connections;
}

int LoopbackServer::open_connections() const {
  const std::lock_guard lock(_mutex);
  return static_cast<int>(_open.size());
}

int LoopbackServer::peak() const {
  const std::lock_guard lock(_mutex);
  return _peak;
}

std::vector<std::string> LoopbackServer::paths() const {
  const std::lock_guard lock(_mutex);
  return _paths;
}

std::string LoopbackServer::last_head() const {
  const std::lock_guard lock(_mutex);
  return _last_head;
}

bool LoopbackServer::wait_until_idle() {
  std::unique_lock lock(_mutex);
  return _closed.wait_for(lock, std::chrono::seconds(5), [this] { return _open.empty(); });
}

void LoopbackServer::accept_all() {
  for (;;) {
    const int socket = ::accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC);
    const std::lock_guard lock(_mutex);
    if (socket < 0 || _ends) {
      if (socket >= 0) ::close(socket);
      return;
    }
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ++_connections;
    _open.insert(socket);
    std::thread([this, socket] { serve(socket); }).detach();
  }
}

bool LoopbackServer::read_head(int socket, std::string& buffer, std::string& head) {
  for (;;) {
    const std::size_t end = buffer.find("\r\n\r\n");
    if (end != std::string::npos) {
      head = buffer.substr(0, end + 4);
      buffer.erase(0, end + 4);
      return true;
    }
    char bytes[4096];
    const ssize_t count = ::recv(socket, bytes, sizeof bytes, 0);
    if (count <= 0) return false;
    buffer.append(bytes, static_cast<std::size_t>(count));
  }
}

Script LoopbackServer::script_for(const std::string& path) const {
  const auto found = _scripts.find(path.substr(0, path.find('?')));
  return found == _scripts.end() ? answer(404, "nothing here") : found->second;
}

void LoopbackServer::serve(int socket) {
  std::string buffer;
  Exchange exchange(socket);
  {
    const std::lock_guard lock(_mutex);
    if (!_greeting.empty()) exchange.send(_greeting);
  }
  while (exchange._keeps && read_head(socket, buffer, exchange.head)) {
    const std::size_t begin = exchange.head.find(' ') + 1;
    exchange.path = exchange.head.substr(begin, exchange.head.find(' ', begin) - begin);
    Script script;
    {
      const std::lock_guard lock(_mutex);
      _paths.push_back(exchange.path);
      _last_head = exchange.head;
      _peak = std::max(_peak, ++_working);
      script = script_for(exchange.path);
    }
    script(exchange);
    const std::lock_guard lock(_mutex);
    --_working;
  }
  const std::lock_guard lock(_mutex);
  ::close(socket);
  _open.erase(socket);
  _closed.notify_all();
}

std::string response(int status, std::string_view body, const Headers& headers) {
  std::string text = "HTTP/1.1 " + std::to_string(status) + " Word\r\n";
  for (const auto& [name, value] : headers) text += name + ": " + value + "\r\n";
  text += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
  return text.append(body);
}

Script answer(int status, std::string body, Headers headers) {
  return [text = response(status, body, headers)](Exchange& exchange) { exchange.send(text); };
}

Script redirect(std::string location, int status) {
  return answer(status, "", {{"Location", std::move(location)}});
}

Script raw(std::string bytes) {
  return [bytes = std::move(bytes)](Exchange& exchange) {
    exchange.send(bytes);
    exchange.close_after();
  };
}

Script reset(std::string bytes) {
  return [bytes = std::move(bytes)](Exchange& exchange) {
    exchange.send(bytes);
    exchange.reset_after();
  };
}

Script silent(std::string bytes) {
  return [bytes = std::move(bytes)](Exchange& exchange) {
    exchange.close_after();
    if (exchange.send(bytes)) exchange.wait(std::chrono::minutes(10));
  };
}

Script endless(std::string head, std::string part, milliseconds pause) {
  return [head = std::move(head), part = std::move(part), pause](Exchange& exchange) {
    exchange.close_after();
    if (!exchange.send(head)) return;
    while (exchange.send(part) && exchange.wait(pause)) {
    }
  };
}

Script late(milliseconds delay, Script then) {
  return [delay, then = std::move(then)](Exchange& exchange) {
    if (exchange.wait(delay)) then(exchange);
  };
}

std::string gzip_bomb(std::size_t bytes) {
  // One literal, then matches of the greatest length (258) at distance 1, in the fixed Huffman codes of RFC 1951.
  BitWriter deflate;
  deflate.put(0b011, 3);       // the last block, fixed codes
  deflate.put(0b10001001, 8);  // 'a', most significant bit first
  for (std::size_t size = 1; size < bytes; size += 258) {
    deflate.put(0b10100011, 8);  // length 258
    deflate.put(0b00000, 5);     // distance 1
  }
  deflate.put(0, 7);  // end of block
  return std::string("\x1f\x8b\x08\0\0\0\0\0\0\xff", 10) + deflate.bytes + std::string(8, '\0');
}

int open_descriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<int>(std::distance(begin(all), end(all)));
}

}  // namespace quillmere::testing
