#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "cli/line_reader.hpp"
#include "cli/tally.hpp"

#include "quillmere/commerce/enricher.hpp"

/// Page texts from and to files: JSON Lines of {"url": ..., "html": text or null}.
namespace quillmere::cli {

/// A file of pages of any size: what is kept in memory is where each page stands. When a URL is repeated its last page
/// counts. Threads: any once it is built.
class PageFile {
 public:
  /// Reads the file once. Throws ToolError MISUNDERSTOOD with file, line and field.
  explicit PageFile(const std::string& path);

  [[nodiscard]] bool contains(const std::string& url) const { return _pages.contains(url); }
  /// The text for `url`; absent when it is null in the file or not there at all.
  [[nodiscard]] std::optional<std::string> read(const std::string& url) const;

 private:
  struct Slice {
    std::uint64_t offset;
    std::uint64_t length;  ///< of the JSON string with its quotes; 0 for null
  };

  InputFile _file;
  std::unordered_map<std::string, Slice> _pages;
};

/// Pages out of `file`, counted in `tally`, which must outlive the source.
[[nodiscard]] commerce::PageSource pages_of(std::shared_ptr<const PageFile> file, PageTally& tally);

/// The pages of `inner`, each also appended to `lines` in the form that a PageFile reads; `lines` must outlive the
/// source.
[[nodiscard]] commerce::PageSource recording(commerce::PageSource inner, std::string& lines);

}  // namespace quillmere::cli
