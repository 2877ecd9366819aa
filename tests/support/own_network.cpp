#include "tests/support/own_network.hpp"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <sched.h>
#include <system_error>
#include <unistd.h>

#include "tests/support/temporary_directory.hpp"
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/mount.h>
#include <sys/socket.h>

namespace quillmere::testing {
namespace {

constexpr unsigned TYPE_A = 1;
constexpr std::size_t HEADER = 12;

std::string reason(const char* what) {
  return std::string(what) + ": " + std::strerror(errno);
}

std::string enter() {
  const int own_user = ::geteuid() == 0 ? 0 : CLONE_NEWUSER;
  if (::unshare(own_user | CLONE_NEWNET | CLONE_NEWNS) != 0) return reason("no network namespace");
  if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return reason("no mount namespace");
  if (std::system("ip link set lo up && ip route add local default dev lo && ip -6 route add local default dev lo") !=
      0) {
    return "no routes: does the command \"ip\" exist?";
  }
  const TemporaryDirectory directory;
  const auto replace = [&](const char* path, const char* text) {
    const std::string own = (directory.path() / "file").string();
    std::ofstream(own) << text;
    return ::mount(own.c_str(), path, nullptr, MS_BIND, nullptr) == 0 && ::unlink(own.c_str()) == 0;
  };
  if (!replace("/etc/resolv.conf", "nameserver 127.0.0.1\noptions timeout:1 attempts:1\n") ||
      !replace("/etc/nsswitch.conf", "hosts: files dns\n")) {
    return reason("no name server of its own");
  }
  return "";
}

std::string big_endian(unsigned number) {
  return {static_cast<char>(number >> 8 & 0xFF), static_cast<char>(number & 0xFF)};
}

unsigned big_endian(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes.at(at)) * 256U + static_cast<unsigned char>(bytes.at(at + 1));
}

/// The name at `at`, which moves behind it.
std::string read_name(const std::string& message, std::size_t& at) {
  std::string name;
  while (const auto length = static_cast<unsigned char>(message.at(at++))) {
    name += (name.empty() ? "" : ".") + message.substr(at, length);
    at += length;
  }
  return name;
}

std::string record(const std::string& address) {
  in_addr bytes{};
  ::inet_pton(AF_INET, address.c_str(), &bytes);
  const std::string name = "\xC0\x0C";  // as in the question
  return name + big_endian(TYPE_A) + big_endian(1) + std::string(4, '\0') + big_endian(sizeof bytes) +
         std::string(reinterpret_cast<const char*>(&bytes), sizeof bytes);
}

std::string message(const std::string& question, const NameAnswer& answer) {
  if (answer.kind == NameAnswer::NONSENSE) return question.substr(0, 2) + std::string(100, '\xFF');
  const unsigned code = answer.kind == NameAnswer::NO_SUCH_NAME ? 3 : answer.kind == NameAnswer::FAILURE ? 2 : 0;
  std::string text = question.substr(0, 2) + big_endian(0x8180U | code) + big_endian(1) +
                     big_endian(static_cast<unsigned>(answer.addresses.size())) + std::string(4, '\0') +
                     question.substr(HEADER);
  for (const std::string& address : answer.addresses) text += record(address);
  return text;
}

}  // namespace

std::string enter_own_network() {
  static std::optional<std::string> outcome;
  if (!outcome) outcome = enter();
  return *outcome;
}

NameServer::NameServer() {
  _socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(53);
  if (::bind(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::system_error(errno, std::generic_category(), "name server");
  }
  _thread = std::thread([this] { serve(); });
}

NameServer::~NameServer() {
  ::shutdown(_socket, SHUT_RDWR);
  _thread.join();
  ::close(_socket);
}

void NameServer::on(const std::string& name, std::vector<NameAnswer> answers) {
  const std::lock_guard lock(_mutex);
  _answers[name] = std::move(answers);
}

NameAnswer NameServer::answer_for(const std::string& name, unsigned type) {
  const std::lock_guard lock(_mutex);
  const auto place = _answers.find(name);
  if (place == _answers.end()) return {.kind = NameAnswer::NO_SUCH_NAME};
  NameAnswer answer = place->second.front();
  if (type != TYPE_A) {
    answer.addresses.clear();
  } else if (place->second.size() > 1) {
    place->second.erase(place->second.begin());
  }
  return answer;
}

void NameServer::serve() {
  for (;;) {
    std::array<char, 1500> buffer{};
    sockaddr_in from{};
    socklen_t size = sizeof from;
    auto* const peer = reinterpret_cast<sockaddr*>(&from);
    const ssize_t count = ::recvfrom(_socket, buffer.data(), buffer.size(), 0, peer, &size);
    if (count <= 0) return;
    std::string question(buffer.data(), static_cast<std::size_t>(count));
    std::size_t at = HEADER;
    const std::string name = read_name(question, at);
    const NameAnswer answer = answer_for(name, big_endian(question, at));
    question.resize(at + 4);  // no additional records
    if (answer.kind == NameAnswer::SILENCE) continue;
    const std::string reply = message(question, answer);
    ::sendto(_socket, reply.data(), reply.size(), 0, peer, size);
  }
}

}  // namespace quillmere::testing
