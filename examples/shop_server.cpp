// A shop for scripts/demo: serves the pages of a directory on loopback, and misbehaves where the demo wants it to.
//
//   shop_server DIRECTORY [PORT]
//
// The last segment of a request's path names the file. /slow/ answers after 30 seconds, /missing/ with status 404 and
// the file as body, /old/trail-shoe with a redirect, a .png with a picture. Prints the port and runs until SIGTERM.

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;

namespace {

using Request = http::request<http::empty_body>;
using Reply = http::response<http::string_body>;

// The eight bytes that every PNG begins with: enough of a picture for a reader that expects a page.
constexpr std::string_view PNG_SIGNATURE = "\x89PNG\r\n\x1a\n";

std::string read_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

Reply answer(const Request& request, const std::filesystem::path& directory) {
  const std::string target(request.target());
  const std::string path = target.substr(0, target.find_first_of("?#"));
  Reply reply{http::status::ok, request.version()};
  reply.keep_alive(request.keep_alive());
  reply.set(http::field::content_type, "text/html; charset=utf-8");
  const std::filesystem::path file = directory / std::filesystem::path(path).filename();
  if (path.starts_with("/old/")) {
    reply.result(http::status::moved_permanently);
    reply.set(http::field::location, "/products/trail-shoe.html");
  } else if (path.ends_with(".png")) {
    reply.set(http::field::content_type, "image/png");
    reply.body() = PNG_SIGNATURE;
  } else {
    const bool is_found = std::filesystem::is_regular_file(file) && !path.starts_with("/missing/");
    reply.result(is_found ? http::status::ok : http::status::not_found);
    reply.body() = read_file(file);
  }
  reply.prepare_payload();
  return reply;
}

asio::awaitable<void> serve(tcp::socket socket, std::filesystem::path directory) {
  beast::flat_buffer buffer;
  for (bool is_open = true; is_open;) {
    Request request;
    co_await http::async_read(socket, buffer, request, asio::use_awaitable);
    if (request.target().starts_with("/slow/")) {
      asio::steady_timer timer(socket.get_executor(), std::chrono::seconds(30));
      co_await timer.async_wait(asio::use_awaitable);
    }
    Reply reply = answer(request, directory);
    is_open = reply.keep_alive();
    co_await http::async_write(socket, reply, asio::use_awaitable);
  }
}

asio::awaitable<void> accept_all(tcp::acceptor acceptor, std::filesystem::path directory) {
  for (;;) {
    tcp::socket socket = co_await acceptor.async_accept(asio::use_awaitable);
    // A client that goes away ends its own connection and nothing else.
    co_spawn(acceptor.get_executor(), serve(std::move(socket), directory), [](const std::exception_ptr&) {});
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 2 || argc > 3) {
    std::cerr << "usage: shop_server DIRECTORY [PORT]\n";
    return 2;
  }
  const int port = argc == 3 ? std::stoi(argv[2]) : 0;
  asio::io_context loop(1);
  asio::signal_set signals(loop, SIGINT, SIGTERM);
  signals.async_wait([&](boost::system::error_code, int) { loop.stop(); });
  tcp::acceptor acceptor(loop, {asio::ip::address_v4::loopback(), static_cast<std::uint16_t>(port)});
  std::cout << acceptor.local_endpoint().port() << std::endl;
  co_spawn(loop, accept_all(std::move(acceptor), argv[1]), asio::detached);
  loop.run();
  return 0;
} catch (const std::exception& error) {
  std::cerr << "shop_server: " << error.what() << '\n';
  return 1;
}
