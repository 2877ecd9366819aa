#include <cerrno>
#include <new>
#include <unistd.h>

#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include "quillmere/http/socket_set_internal.hpp"

namespace quillmere::http::internal {

curl_socket_t SocketSet::open(int family, int type, int protocol) noexcept {
  const int socket = ::socket(family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol);
  if (socket < 0) return CURL_SOCKET_BAD;
  try {
    _sockets.insert_or_assign(socket, Events());
  } catch (const std::bad_alloc&) {
    ::close(socket);
    return CURL_SOCKET_BAD;
  }
  return socket;
}

int SocketSet::close(curl_socket_t socket) noexcept {
  _sockets.erase(socket);
  return ::close(socket);  // and so it leaves the set
}

void SocketSet::wait_for(curl_socket_t socket, int what) noexcept {
  std::uint32_t wanted = 0;
  if (what != CURL_POLL_REMOVE && (what & CURL_POLL_IN) != 0) wanted |= EPOLLIN;
  if (what != CURL_POLL_REMOVE && (what & CURL_POLL_OUT) != 0) wanted |= EPOLLOUT;
  const auto own = _sockets.find(socket);
  if (own == _sockets.end()) {
    change(wanted == 0 ? EPOLL_CTL_DEL : EPOLL_CTL_MOD, socket, wanted);
    return;
  }
  Events& events = own->second;
  events.wanted = wanted;
  if (wanted == 0 || wanted == events.in_set) return;
  change(events.in_set == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, socket, wanted);
  events.in_set = wanted;
}

bool SocketSet::is_waited_for(curl_socket_t socket) noexcept {
  const auto own = _sockets.find(socket);
  if (own == _sockets.end() || own->second.wanted != 0) return true;
  change(EPOLL_CTL_DEL, socket, 0);
  own->second.in_set = 0;
  return false;
}

void SocketSet::cut(long port) const noexcept {
  for (const auto& [socket, events] : _sockets) {
    sockaddr_in6 address{};  // has its port where sockaddr_in has it
    socklen_t size = sizeof address;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) continue;
    if (ntohs(address.sin6_port) != port) continue;
    const linger reset{1, 0};  // when it is closed, so that the server does not wait for room
    ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    ::shutdown(socket, SHUT_RDWR);
  }
}

void SocketSet::change(int operation, curl_socket_t socket, std::uint32_t events) const noexcept {
  epoll_event event{};
  event.events = events;
  event.data.fd = socket;
  if (::epoll_ctl(_set, operation, socket, &event) == 0) return;
  if (operation == EPOLL_CTL_MOD && errno == ENOENT) ::epoll_ctl(_set, EPOLL_CTL_ADD, socket, &event);
}

}  // namespace quillmere::http::internal
