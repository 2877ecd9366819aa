#include <array>
#include <exception>
#include <new>

#include "cli/commands.hpp"
#include "cli/fields.hpp"
#include "cli/line_reader.hpp"
#include "cli/output.hpp"
#include <nlohmann/json.hpp>

#include "quillmere/commerce/destination_metadata_parser.hpp"
#include "quillmere/commerce/merchant_classifier.hpp"
#include "quillmere/commerce/price_normalizer.hpp"
#include "quillmere/commerce/url_unwrapper.hpp"
#include "quillmere/text/json.hpp"

namespace quillmere::cli {
namespace {

using Record = nlohmann::ordered_json;

template <class Value>
Record or_null(const std::optional<Value>& field) {
  return field ? Record(*field) : Record(nullptr);
}

template <class Member>
Record member_or_null(const std::optional<Member>& member) {
  return member ? Record(value(*member)) : Record(nullptr);
}

Record price_or_null(const std::optional<NormalizedPrice>& price) {
  if (!price) return nullptr;
  return {{"raw", price->raw}, {"amount", price->amount}, {"currency", price->currency}};
}

Record inspect_url(const Fields& input) {
  std::string direct_url = commerce::URLUnwrapper::unwrap(input.text("url"));
  std::string domain = commerce::URLUnwrapper::extract_domain(direct_url);
  return {{"direct_url", std::move(direct_url)}, {"domain", std::move(domain)}};
}

Record inspect_price(const Fields& input) {
  const auto printed = input.optional_text("price");
  const auto hint = input.optional_text("currency");
  return {{"price", price_or_null(commerce::PriceNormalizer::parse(printed, hint))}};
}

Record inspect_merchant(const Fields& input) {
  const auto category =
      commerce::MerchantClassifier::classify(input.text("domain"), input.optional_text("title").value_or(""),
                                             input.optional_text("brand"), input.optional_text("merchant_name"));
  return {{"merchant_category", value(category)}};
}

/// The page's text, decoded at most once, into a buffer that is kept from line to line.
std::optional<std::string_view> page_text(const Fields& input) {
  const auto html = input.find("html");
  if (!html) return std::nullopt;
  if (!html->is_string()) input.refuse("html", "text or null", *html);
  const text::JsonString slice = html->string_slice();
  if (!slice.has_escapes()) return slice.raw();
  static thread_local std::string decoded;
  decoded.clear();
  slice.append_to(decoded);
  return decoded;
}

/// "direct_url"; lines of a file of pages, which name a page by its "url", serve as they are.
std::string page_url(const Fields& input) {
  return input.find("direct_url") || !input.find("url") ? input.text("direct_url") : input.text("url");
}

Record inspect_page(const Fields& input) {
  const commerce::PageMetadata page = commerce::DestinationMetadataParser::parse_metadata(
      page_text(input), page_url(input), input.optional_text("initial_title").value_or(""),
      input.optional_text("initial_merchant").value_or(""), input.optional_price("initial_price"),
      input.optional_boolean("initial_stock"), input.optional_integer("rank").value_or(1));
  return {
      {"title", page.title},
      {"merchant_name", page.merchant_name},
      {"brand", or_null(page.brand)},
      {"sku", or_null(page.sku)},
      {"price", price_or_null(page.price)},
      {"stock_status", member_or_null(page.stock_status)},
      {"condition", member_or_null(page.condition)},
      {"primary_image_url", or_null(page.primary_image_url)},
      {"shipping_info", or_null(page.shipping_info)},
      {"page_type", value(page.page_type)},
      {"match_score", page.match_score},
      {"fetch_source", page.fetch_source},
  };
}

struct OperationRow {
  std::string_view name;
  Record (*run)(const Fields& input);
};

constexpr auto OPERATIONS = std::to_array<OperationRow>(
    {{"url", inspect_url}, {"price", inspect_price}, {"merchant", inspect_merchant}, {"page", inspect_page}});

/// What one line comes to; whatever is wrong with it costs this line alone.
Record inspect_line(const OperationRow& operation, text::JsonDocument& document, const LineReader& lines,
                    std::string_view line) {
  try {
    const auto value = document.read(line);
    if (!value) throw FieldError("not JSON: " + std::string(document.error().message), document.error().offset);
    return operation.run(Fields(*value, "an object"));
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    return {{"error", "line " + std::to_string(lines.line_number()) + ": " + error.what()}};
  }
}

const OperationRow& operation_of(const Settings& settings) {
  for (const OperationRow& row : OPERATIONS) {
    if (row.name == settings.operation) return row;
  }
  throw ToolError(MISUNDERSTOOD, "unknown operation " + in_quotes(settings.operation.value_or("")));
}

}  // namespace

ExitStatus run_inspect(const Settings& settings) {
  const OperationRow& operation = operation_of(settings);
  LineReader lines{InputFile(settings.input)};
  StandardOutput output;
  lines.before_waiting([&] { output.flush(); });
  text::JsonDocument document;
  try {
    while (const auto line = lines.next()) {
      const Record record = inspect_line(operation, document, lines, *line);
      output.buffer() += record.dump(-1, ' ', false, Record::error_handler_t::replace) + '\n';
      output.written();
    }
  } catch (const ToolError&) {
    output.flush();
    throw;
  }
  output.flush();
  return DONE;
}

}  // namespace quillmere::cli
