#include "cli/pages.hpp"

#include <array>
#include <cerrno>
#include <cstdio>
#include <unistd.h>
#include <utility>

#include "cli/errors.hpp"
#include "cli/fields.hpp"
#include "cli/output.hpp"
#include <nlohmann/json.hpp>

#include "quillmere/text/json.hpp"

namespace quillmere::cli {
namespace {

using boost::asio::awaitable;
using commerce::HtmlMap;
using commerce::PageSource;

/// `file` itself, or a copy in a nameless temporary file when it can be read only once (a pipe).
InputFile seekable(InputFile file) {
  if (file.size()) return file;
  std::FILE* spool = std::tmpfile();
  const int descriptor = spool == nullptr ? -1 : ::dup(::fileno(spool));
  if (descriptor < 0) throw ToolError(FAILED, file.name() + ": cannot keep a copy: " + system_text(errno));
  std::fclose(spool);
  std::array<char, 1 << 16> buffer{};
  while (const std::size_t count = file.read(buffer.data(), buffer.size())) {
    write_all(descriptor, {buffer.data(), count}, "temporary file");
  }
  ::lseek(descriptor, 0, SEEK_SET);
  return {descriptor, file.name()};
}

awaitable<HtmlMap> read_pages(std::shared_ptr<const PageFile> file, PageTally* tally, std::vector<std::string> urls) {
  HtmlMap pages;
  for (std::string& url : urls) {
    if (pages.contains(url)) continue;
    std::optional<std::string> html = file->read(url);
    tally->count_given(html.has_value());
    pages.insert(std::move(url), std::move(html));
  }
  co_return pages;
}

awaitable<HtmlMap> record_pages(PageSource inner, std::string* lines, std::vector<std::string> urls) {
  HtmlMap pages = co_await inner(std::move(urls));
  for (const auto& [url, html] : pages) {
    const nlohmann::ordered_json line = {{"url", url}, {"html", html ? nlohmann::ordered_json(*html) : nullptr}};
    *lines += line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
  }
  co_return pages;
}

}  // namespace

PageFile::PageFile(const std::string& path) : _file(seekable(InputFile(path))) {
  LineReader lines(_file.duplicate());
  text::JsonDocument document;
  while (const auto line = lines.next()) {
    try {
      const auto value = document.read(*line);
      if (!value) throw FieldError("not JSON: " + std::string(document.error().message), document.error().offset);
      const Fields fields(*value, "an object with \"url\" and \"html\"");
      const auto html = fields.find("html");
      if (html && !html->is_string()) fields.refuse("html", "text or null", *html);
      _pages[fields.text("url")] = html ? Slice{lines.line_offset() + html->offset(), html->raw().size()} : Slice{0, 0};
    } catch (const FieldError& error) {
      throw ToolError(MISUNDERSTOOD, _file.name() + ":" + std::to_string(lines.line_number()) + ": " + error.what());
    }
  }
}

std::optional<std::string> PageFile::read(const std::string& url) const {
  const auto place = _pages.find(url);
  if (place == _pages.end() || place->second.length == 0) return std::nullopt;
  std::string raw(place->second.length, '\0');
  std::size_t length = 0;
  while (length < raw.size()) {
    const ssize_t count = ::pread(_file.descriptor(), raw.data() + length, raw.size() - length,
                                  static_cast<off_t>(place->second.offset + length));
    if (count == 0 || (count < 0 && errno != EINTR)) break;
    if (count > 0) length += static_cast<std::size_t>(count);
  }
  text::JsonDocument document;
  const auto value = document.read(raw);
  if (length < raw.size() || !value || !value->is_string()) {
    throw ToolError(FAILED, _file.name() + ": changed while it was being read");
  }
  return value->string();
}

PageSource pages_of(std::shared_ptr<const PageFile> file, PageTally& tally) {
  return [file = std::move(file), counts = &tally](std::vector<std::string> urls) {
    return read_pages(file, counts, std::move(urls));
  };
}

PageSource recording(PageSource inner, std::string& lines) {
  return [inner = std::move(inner), to = &lines](std::vector<std::string> urls) {
    return record_pages(inner, to, std::move(urls));
  };
}

}  // namespace quillmere::cli
