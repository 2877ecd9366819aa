// Enriches a search inside a running Asio loop: while pages are being fetched, the loop goes on with its other work.
//
// Here that other work is the shop itself, a web server of one page on loopback, and a clock. In a service it would be
// the handling of requests.

#include <chrono>
#include <exception>
#include <iostream>
#include <string>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

#include "quillmere/commerce/enricher.hpp"

namespace asio = boost::asio;
using namespace quillmere;
using namespace quillmere::commerce;

namespace {

// Answers every request with the page of one product, after a moment's thought.
asio::awaitable<void> run_shop(asio::ip::tcp::acceptor acceptor) {
  const std::string page =
      R"(<html><head><title>Kettle</title><script type="application/ld+json">
         {"@type": "Product", "name": "Steel kettle 1.2 l", "brand": "Brewright", "sku": "BR-12",
          "offers": {"price": "59.90", "priceCurrency": "EUR", "availability": "https://schema.org/InStock"}}
         </script></head><body>A kettle for the hob, made of brushed steel.</body></html>)";
  const std::string answer = "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Type: text/html\r\nContent-Length: " +
                             std::to_string(page.size()) + "\r\n\r\n" + page;
  for (;;) {
    asio::ip::tcp::socket socket = co_await acceptor.async_accept(asio::use_awaitable);
    std::string request;
    co_await asio::async_read_until(socket, asio::dynamic_buffer(request), "\r\n\r\n", asio::use_awaitable);
    asio::steady_timer thinking(socket.get_executor(), std::chrono::milliseconds(50));
    co_await thinking.async_wait(asio::use_awaitable);
    co_await asio::async_write(socket, asio::buffer(answer), asio::use_awaitable);
  }
}

asio::awaitable<void> count_ticks(int& ticks) {
  asio::steady_timer timer(co_await asio::this_coro::executor);
  for (;; ++ticks) {
    timer.expires_after(std::chrono::milliseconds(5));
    co_await timer.async_wait(asio::use_awaitable);
  }
}

asio::awaitable<CommerceIntelligence> enrich_search(std::string shop) {
  http::FetchOptions fetching;
  fetching.allow_private_networks = true;  // the shop is on loopback; leave it out for the web
  fetching.observer = [](const http::FetchReport& fetch) {
    std::cout << fetch.url << ": " << http::value(fetch.reason) << ", " << fetch.bytes << " bytes\n";
  };
  EnrichOptions options;
  options.pages = fetched_pages(/*max_workers=*/8, /*timeout=*/5, std::move(fetching));

  std::vector<VisualMatch> matches;
  matches.push_back({.link = shop + "/products/kettle?utm_source=lens", .title = "Kettle"});
  matches.push_back({.link = "http://127.0.0.1:9/", .title = "A page that cannot be had"});  // a port for no pages
  co_return co_await CommerceEnricher::process_async(std::move(matches), std::move(options));
}

}  // namespace

int main() try {
  asio::io_context loop;
  asio::ip::tcp::acceptor acceptor(loop, {asio::ip::address_v4::loopback(), 0});
  const std::string shop = "http://127.0.0.1:" + std::to_string(acceptor.local_endpoint().port());
  int ticks = 0;
  int status = 1;
  asio::co_spawn(loop, run_shop(std::move(acceptor)), asio::detached);
  asio::co_spawn(loop, count_ticks(ticks), asio::detached);
  asio::co_spawn(loop, enrich_search(shop), [&](const std::exception_ptr& error, const CommerceIntelligence& result) {
    if (!error && result.items.size() == 2 && result.items[0].price) {
      std::cout << result.items[0].title << ": " << result.items[0].price->raw << '\n';
      status = 0;
    }
    loop.stop();  // a service would go on
  });
  loop.run();
  std::cout << "the clock ticked " << (ticks > 0 ? "on" : "not at all") << '\n';
  return ticks > 0 ? status : 1;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
