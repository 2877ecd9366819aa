#pragma once

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <queue>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

/// A web server on loopback that costs little, for measuring clients: HTTP/1.1 with connections kept, one thread.
///
///   /bytes/N    N bytes of text
///   /delay/MS   a short text, MS milliseconds later
///   /hang       nothing, ever
namespace quillmere::bench {

class PageServer {
 public:
  /// Serves from a process of its own until this object ends. Throws std::runtime_error when it cannot listen.
  PageServer() {
    _listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(_listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(_listener, 1024) != 0 ||
        getsockname(_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      throw std::runtime_error("cannot listen on loopback");
    }
    _origin = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    _process = fork();
    if (_process != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGPIPE, SIG_IGN);
    Loop(_listener).run();
  }
  PageServer(const PageServer&) = delete;
  PageServer& operator=(const PageServer&) = delete;
  ~PageServer() {
    kill(_process, SIGKILL);
    waitpid(_process, nullptr, 0);
    close(_listener);
  }

  [[nodiscard]] const std::string& origin() const noexcept { return _origin; }

 private:
  using Clock = std::chrono::steady_clock;

  struct Connection {
    std::string received;
    std::string unsent;
  };

  class Loop {
   public:
    explicit Loop(int listener) : _listener(listener), _set(epoll_create1(EPOLL_CLOEXEC)) { watch(listener, EPOLLIN); }

    [[noreturn]] void run() {
      std::vector<epoll_event> events(256);
      while (true) {
        const int count = epoll_wait(_set, events.data(), static_cast<int>(events.size()), wait_milliseconds());
        for (int i = 0; i < count; ++i) serve(events[static_cast<std::size_t>(i)]);
        for (; !_later.empty() && _later.top().first <= Clock::now(); _later.pop()) answer(_later.top().second, 64);
      }
    }

   private:
    using Due = std::pair<Clock::time_point, int>;

    void watch(int socket, std::uint32_t what) const {
      epoll_event event{};
      event.events = what;
      event.data.fd = socket;
      epoll_ctl(_set, EPOLL_CTL_ADD, socket, &event);
    }

    [[nodiscard]] int wait_milliseconds() const {
      if (_later.empty()) return -1;
      const auto wait = std::chrono::ceil<std::chrono::milliseconds>(_later.top().first - Clock::now());
      return static_cast<int>(std::max<std::int64_t>(wait.count(), 0));
    }

    void serve(const epoll_event& event) {
      const int socket = event.data.fd;
      if (socket == _listener) return accept_all();
      if ((event.events & EPOLLOUT) != 0) send_on(socket);
      if ((event.events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) receive(socket);
    }

    void accept_all() {
      for (int socket = 0; (socket = accept4(_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0;) {
        const int on = 1;
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        _connections[socket] = {};
        watch(socket, EPOLLIN | EPOLLOUT | EPOLLET);
      }
    }

    void receive(int socket) {
      std::string& received = _connections[socket].received;
      char buffer[16384];
      ssize_t count = 0;
      while ((count = read(socket, buffer, sizeof buffer)) > 0)
        received.append(buffer, static_cast<std::size_t>(count));
      if (count == 0) {
        close(socket);
        _connections.erase(socket);
        return;
      }
      for (std::size_t end = 0; (end = received.find("\r\n\r\n")) != std::string::npos;) {
        const std::size_t path = received.find(' ') + 1;
        respond(socket, std::string_view(received).substr(path, received.find(' ', path) - path));
        received.erase(0, end + 4);
      }
    }

    void respond(int socket, std::string_view path) {
      const auto number_behind = [&](std::string_view prefix) {
        return std::strtoull(std::string(path.substr(prefix.size())).c_str(), nullptr, 10);
      };
      if (path.starts_with("/bytes/")) answer(socket, number_behind("/bytes/"));
      if (path.starts_with("/delay/")) {
        _later.push({Clock::now() + std::chrono::milliseconds(number_behind("/delay/")), socket});
      }
    }

    void answer(int socket, std::size_t size) {
      const auto connection = _connections.find(socket);
      if (connection == _connections.end()) return;
      std::string& text = _answers[size];
      if (text.empty()) {
        text = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n";
        text.append(size, 'x');
      }
      connection->second.unsent += text;
      send_on(socket);
    }

    void send_on(int socket) {
      const auto connection = _connections.find(socket);
      if (connection == _connections.end()) return;
      std::string& unsent = connection->second.unsent;
      std::size_t sent = 0;
      while (sent < unsent.size()) {
        const ssize_t count = write(socket, unsent.data() + sent, unsent.size() - sent);
        if (count <= 0) break;
        sent += static_cast<std::size_t>(count);
      }
      unsent.erase(0, sent);
    }

    int _listener;
    int _set;
    std::map<int, Connection> _connections;
    std::map<std::size_t, std::string> _answers;
    std::priority_queue<Due, std::vector<Due>, std::greater<>> _later;
  };

  int _listener = -1;
  pid_t _process = -1;
  std::string _origin;
};

}  // namespace quillmere::bench
