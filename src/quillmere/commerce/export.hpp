#pragma once

#include <filesystem>
#include <string>

#include "quillmere/api.hpp"
#include "quillmere/models.hpp"

/// A result as a table for spreadsheets or as a JSON document.
///
/// Files    `output_path` is resolved and written as files/atomic_file.hpp says: missing directories are created, and
///          a failed export leaves an earlier file as it was.
/// Errors   std::filesystem::filesystem_error (a std::system_error) with the path in it.
/// Threads  blocking calls; exports to the same path at once are not coordinated.
namespace quillmere::commerce {

/// The items of `commerce` as CSV, in their order, under a header row: 15 columns, comma-separated, every row ended by
/// CR LF, UTF-8 without a byte-order mark (bytes that are not UTF-8 become U+FFFD).
///
/// A cell is quoted when it holds a comma, a quote, CR or LF, its quotes doubled; any other cell stands bare. An
/// absent value, and an amount that is not finite, is an empty cell. Amounts are text::shortest_decimal ("20.0").
///
/// The format is fixed to the byte, so a cell that a spreadsheet would take for a formula ("=1+1") is not altered:
/// titles come from foreign pages, and who opens the table in a spreadsheet should import it as text.
[[nodiscard]] QUILLMERE_API std::string commerce_to_csv(const CommerceIntelligence& commerce);

/// Writes `commerce_to_csv(commerce)`. Gives the absolute, resolved path of the file.
QUILLMERE_API std::filesystem::path export_commerce_to_csv(const CommerceIntelligence& commerce,
                                                           const std::filesystem::path& output_path);

/// Writes `commerce.model_dump_json(2, true)`, without a line break at the end. Gives the absolute, resolved path of
/// the file.
QUILLMERE_API std::filesystem::path export_commerce_to_json(const CommerceIntelligence& commerce,
                                                            const std::filesystem::path& output_path);

}  // namespace quillmere::commerce
