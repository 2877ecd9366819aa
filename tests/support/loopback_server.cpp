#include "tests/support/loopback_server.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <future>
#include <poll.h>
#include <signal.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
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

int choose_http2(SSL*, const unsigned char** chosen, unsigned char* size, const unsigned char*, unsigned, void*) {
  *chosen = reinterpret_cast<const unsigned char*>("h2");
  *size = 2;
  return SSL_TLSEXT_ERR_OK;
}

// Whether the frames in `bytes`, which begin behind the first line of a client's preface, have its request in them.
bool has_http2_request(std::string_view bytes) {
  constexpr std::size_t PREFACE_REST = 6;
  constexpr std::size_t FRAME_HEADER = 9;
  for (std::size_t at = PREFACE_REST; at + FRAME_HEADER <= bytes.size();) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < 3; ++i) length = length << 8 | static_cast<unsigned char>(bytes[at + i]);
    if (bytes[at + 3] == 1 && at + FRAME_HEADER + length <= bytes.size()) return true;
    at += FRAME_HEADER + length;
  }
  return false;
}

template <typename T>
T* had(T* pointer) {
  if (pointer == nullptr) throw std::runtime_error("OpenSSL");
  return pointer;
}

}  // namespace

Certificate::Certificate(const std::string& names, std::chrono::minutes valid_for)
    : _key(had(EVP_EC_gen("P-256")), &EVP_PKEY_free), _certificate(had(X509_new()), &X509_free) {
  X509* const certificate = _certificate.get();
  X509_set_version(certificate, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate), -24L * 60 * 60);
  X509_gmtime_adj(X509_getm_notAfter(certificate), std::chrono::seconds(valid_for).count());
  X509_set_pubkey(certificate, _key.get());
  X509_NAME* const name = X509_get_subject_name(certificate);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("test"), -1, -1, 0);
  X509_set_issuer_name(certificate, name);
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
      had(X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, names.c_str())), &X509_EXTENSION_free);
  X509_add_ext(certificate, extension.get(), -1);
  if (X509_sign(certificate, _key.get(), EVP_sha256()) == 0) throw std::runtime_error("OpenSSL");
}

std::string Certificate::pem() const {
  const std::unique_ptr<BIO, decltype(&BIO_free)> out(had(BIO_new(BIO_s_mem())), &BIO_free);
  PEM_write_bio_X509(out.get(), _certificate.get());
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(out.get(), &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

bool Exchange::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const long sent = _tls ? SSL_write(_tls.get(), bytes.data(), static_cast<int>(bytes.size()))
                           : ::send(_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool Exchange::receive(std::string& buffer) {
  char bytes[4096];
  const long count = _tls ? SSL_read(_tls.get(), bytes, sizeof bytes) : ::recv(_socket, bytes, sizeof bytes, 0);
  if (count > 0) buffer.append(bytes, static_cast<std::size_t>(count));
  return count > 0;
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

LoopbackServer::LoopbackServer(std::string at, int port) : _address(std::move(at)) {
  const bool is_ipv6 = _address.find(':') != std::string::npos;
  sockaddr_in6 in6{};
  in6.sin6_family = AF_INET6;
  in6.sin6_port = htons(static_cast<std::uint16_t>(port));
  sockaddr_in in{};
  in.sin_family = AF_INET;
  in.sin_port = in6.sin6_port;
  ::inet_pton(is_ipv6 ? AF_INET6 : AF_INET, _address.c_str(),
              is_ipv6 ? static_cast<void*>(&in6.sin6_addr) : static_cast<void*>(&in.sin_addr));
  auto* const address = is_ipv6 ? reinterpret_cast<sockaddr*>(&in6) : reinterpret_cast<sockaddr*>(&in);
  socklen_t size = is_ipv6 ? sizeof in6 : sizeof in;
  _listener = checked(::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
  checked(::bind(_listener, address, size), "bind");
  checked(::listen(_listener, 1024), "listen");
  checked(::getsockname(_listener, address, &size), "getsockname");
  _port = ntohs(is_ipv6 ? in6.sin6_port : in.sin_port);
  std::promise<void> start;
  const std::future<void> started = start.get_future();
  _acceptor = std::thread([this, start = std::move(start)]() mutable {
    start.set_value();
    accept_all();
  });
  // A thread that starts under a sanitizer has files open for a moment, which a test would count among its own.
  started.wait();
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

void LoopbackServer::secure(const Certificate& certificate, bool with_http2) {
  const std::lock_guard lock(_mutex);
  _tls.reset(had(SSL_CTX_new(TLS_server_method())), &SSL_CTX_free);
  SSL_CTX_use_certificate(_tls.get(), certificate._certificate.get());
  SSL_CTX_use_PrivateKey(_tls.get(), certificate._key.get());
  if (with_http2) SSL_CTX_set_alpn_select_cb(_tls.get(), &choose_http2, nullptr);
}

void LoopbackServer::greet(std::string bytes) {
  const std::lock_guard lock(_mutex);
  _greeting = std::move(bytes);
}

std::string LoopbackServer::url(const std::string& host, std::string_view path) const {
  const std::lock_guard lock(_mutex);
  const bool is_ipv6 = host.find(':') != std::string::npos;
  return (_tls ? "https://" : "http://") + (is_ipv6 ? '[' + host + ']' : host) + ':' + std::to_string(_port) +
         std::string(path);
}

std::vector<std::string> LoopbackServer::urls(const std::string& path, int count) const {
  std::vector<std::string> all;
  for (int i = 0; i < count; ++i) all.push_back(url(path + "?n=" + std::to_string(i)));
  return all;
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

bool LoopbackServer::read_head(Exchange& exchange, std::string& buffer) {
  for (;;) {
    const std::size_t end = buffer.find("\r\n\r\n");
    if (end != std::string::npos) {
      exchange.head = buffer.substr(0, end + 4);
      buffer.erase(0, end + 4);
      if (exchange.head.starts_with("PRI * HTTP/2")) break;
      return true;
    }
    if (!exchange.receive(buffer)) return false;
  }
  while (!has_http2_request(buffer)) {
    if (!exchange.receive(buffer)) return false;
  }
  return true;
}

Script LoopbackServer::script_for(const std::string& path) const {
  const auto found = _scripts.find(path.substr(0, path.find('?')));
  return found == _scripts.end() ? answer(404, "nothing here") : found->second;
}

void LoopbackServer::serve(int socket) {
  sigset_t broken_pipe;  // which OpenSSL raises; in this thread alone, for the client must be safe from it by itself
  sigemptyset(&broken_pipe);
  sigaddset(&broken_pipe, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &broken_pipe, nullptr);
  std::string buffer;
  Exchange exchange(socket);
  {
    const std::lock_guard lock(_mutex);
    if (!_greeting.empty()) exchange.send(_greeting);
    if (_tls) exchange._tls.reset(had(SSL_new(_tls.get())), &SSL_free);
  }
  if (exchange._tls) {
    SSL_set_fd(exchange._tls.get(), socket);
    exchange._keeps = SSL_accept(exchange._tls.get()) == 1;
  }
  while (exchange._keeps && read_head(exchange, buffer)) {
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

std::string frame(int type, int flags, int stream, std::string_view payload) {
  std::string bytes;
  for (const int shift : {16, 8, 0}) bytes += static_cast<char>(payload.size() >> shift & 0xFF);
  bytes += static_cast<char>(type);
  bytes += static_cast<char>(flags);
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(stream >> shift & 0xFF);
  return bytes.append(payload);
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

std::string zstd_bomb(std::size_t bytes) {
  // A frame (RFC 8878) of blocks that each repeat one byte as often as a block can.
  constexpr std::size_t BLOCK = std::size_t{128} << 10;
  std::string frame("\x28\xb5\x2f\xfd\0\x38", 6);  // magic, nothing declared, a window of 128 KiB
  for (std::size_t size = 0; size < bytes; size += BLOCK) {
    const std::size_t header = BLOCK << 3 | 0b010;
    for (const int shift : {0, 8, 16}) frame += static_cast<char>(header >> shift & 0xFF);
    frame += 'a';
  }
  return frame;
}

int open_descriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<int>(std::distance(begin(all), end(all)));
}

}  // namespace quillmere::testing
