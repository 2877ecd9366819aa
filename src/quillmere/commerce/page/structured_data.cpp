#include "quillmere/commerce/page/structured_data.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>

#include "quillmere/commerce/destination_metadata_parser.hpp"
#include "quillmere/commerce/price_normalizer.hpp"
#include "quillmere/text/character_references.hpp"
#include "quillmere/text/number.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce::page {
namespace {

using text::JsonValue;

using Member = std::optional<JsonValue>;

bool is_truthy(const Member& member) {
  return member && member->is_truthy();
}

/// The first truthy one; absent when none is.
template <std::size_t N>
Member first_truthy(const std::array<Member, N>& members) {
  const auto found = std::find_if(members.begin(), members.end(), is_truthy);
  return found == members.end() ? std::nullopt : *found;
}

std::optional<std::string> stripped_text_form(const Member& value) {
  if (!value) return std::nullopt;
  const std::optional<std::string> text = value->text_form();
  return text ? std::optional<std::string>(text::strip(*text)) : std::nullopt;
}

/// The lower-cased text form; empty when the member is missing or has none.
std::string lowered_text_form(const Member& member) {
  return member ? text::to_lower(member->text_form().value_or("")) : "";
}

void take_title(const Member& name, WorkingValues& values) {
  if (!name || !name->is_string()) return;
  const std::string decoded = name->string();
  const std::string_view stripped = text::strip(decoded);
  if (!stripped.empty()) values.title = text::decode_character_references(stripped);
}

/// A marketplace's page stays one, whatever it says of a product.
void mark_as_product(WorkingValues& values) {
  if (values.page_type != PageType::MARKETPLACE) values.page_type = PageType::PRODUCT;
}

std::optional<std::string> read_brand(const Member& brand) {
  if (!brand) return std::nullopt;
  if (brand->is_object()) return stripped_text_form(brand->find("name"));
  return brand->is_string() ? stripped_text_form(brand) : std::nullopt;
}

/// The first truthy identifier that has a text form.
template <std::size_t N>
std::optional<std::string> read_identifier(const std::array<Member, N>& identifiers) {
  for (const Member& identifier : identifiers) {
    if (!is_truthy(identifier)) continue;
    if (std::optional<std::string> text = stripped_text_form(identifier)) return text;
  }
  return std::nullopt;
}

/// One element of an "image" array: an address, or an ImageObject.
std::optional<std::string> read_image_element(const Member& element) {
  if (!element) return std::nullopt;
  if (element->is_string()) return element->string();
  for (const std::string_view key : {"url", "contentUrl"}) {
    const Member address = element->find(key);
    if (address && address->is_string()) return address->string();
  }
  return std::nullopt;
}

std::optional<std::string> read_image(const Member& image) {
  if (!image) return std::nullopt;
  if (image->is_array()) return read_image_element(image->first());
  if (image->is_string()) return image->string();
  const Member address = image->find("url");
  return address ? address->text_form() : std::nullopt;
}

/// A variant's image: unlike a product's own, an object here leaves the image absent.
std::optional<std::string> read_variant_image(JsonValue image) {
  if (image.is_array()) return read_image_element(image.first());
  return image.is_string() ? std::optional(image.string()) : std::nullopt;
}

void fill_identifier(const Member& identifier, WorkingValues& values) {
  if (!is_missing(values.sku) || !is_truthy(identifier)) return;
  if (std::optional<std::string> sku = stripped_text_form(identifier)) values.sku = std::move(sku);
}

/// The first variant with offers supplies them; it and those before it also fill a missing identifier and image.
Member offers_of_variants(JsonValue variants, WorkingValues& values) {
  for (const JsonValue variant : variants.elements()) {
    const auto [sku, image, offers] = variant.find_each<3>({"sku", "image", "offers"});
    fill_identifier(sku, values);
    if (is_missing(values.image) && is_truthy(image)) values.image = read_variant_image(*image);
    if (is_truthy(offers)) return offers;
  }
  return std::nullopt;
}

/// The product's own offers, else those of its variants, else those of another product.
Member find_offers(const Member& own, const Member& variants, const Member& other, WorkingValues& values) {
  if (is_truthy(own)) return own;
  if (variants && variants->is_array()) {
    if (const Member offers = offers_of_variants(*variants, values)) return offers;
  }
  if (!other) return std::nullopt;
  fill_identifier(other->find("sku"), values);
  return other->find("offers");
}

/// The offer that counts: the object itself, or the first of a list. Absent when that is no object or says nothing.
Member choose_offer(const Member& offers) {
  if (!offers) return std::nullopt;
  const Member offer = offers->is_array() ? offers->first() : offers;
  return offer && offer->is_object() && !offer->is_empty() ? offer : std::nullopt;
}

void read_offer_price(const Member& price, const Member& currency, WorkingValues& values) {
  std::optional<std::string> price_currency;
  if (currency && currency->is_string()) price_currency = currency->string();
  if (const auto printed = price ? price->text_form() : std::nullopt) {
    if (std::optional<NormalizedPrice> parsed = PriceNormalizer::parse(printed, price_currency)) {
      values.price_amount = parsed->amount;
      values.currency = std::move(parsed->currency);
    }
  }
  if (is_missing(values.currency)) values.currency = std::move(price_currency);
}

void read_availability(const std::string& availability, WorkingValues& values) {
  if (contains(availability, "instock")) {
    values.stock = StockStatus::IN_STOCK;
  } else if (contains(availability, "outofstock") || contains(availability, "soldout")) {
    values.stock = StockStatus::OUT_OF_STOCK;
  } else if (contains(availability, "preorder")) {
    values.stock = StockStatus::PREORDER;
  }
}

std::optional<ItemCondition> read_condition(const std::string& condition) {
  if (contains(condition, "new")) return ItemCondition::NEW;
  if (contains(condition, "used")) return ItemCondition::USED;
  if (contains(condition, "refurbished")) return ItemCondition::REFURBISHED;
  return std::nullopt;
}

void read_offer(JsonValue offer, WorkingValues& values) {
  const auto [price, low_price, high_price, currency, availability, condition] =
      offer.find_each<6>({"price", "lowPrice", "highPrice", "priceCurrency", "availability", "itemCondition"});
  const Member truthy_price = first_truthy(std::array{price, low_price, high_price});
  // The highest counts even when it is 0, if nothing else is truthy.
  read_offer_price(truthy_price ? truthy_price : high_price, currency, values);
  read_availability(lowered_text_form(availability), values);
  values.condition = read_condition(lowered_text_form(condition));
}

/// A price of page state in cents, as an amount. Absent when it is no positive number.
std::optional<double> read_cents(const Member& cents) {
  const double number = cents ? cents->number().value_or(0) : 0;
  if (!(number > 0) || !std::isfinite(number)) return std::nullopt;
  return text::round_to_two_decimals(number / 100);
}

void read_state_price(const Member& cents, const Member& price, WorkingValues& values) {
  if (values.price_amount) return;
  if (const std::optional<double> amount = read_cents(cents)) {
    values.price_amount = amount;
    values.currency = "USD";
    return;
  }
  const std::optional<std::string> printed = is_truthy(price) ? price->text_form() : std::nullopt;
  if (!printed) return;
  if (std::optional<NormalizedPrice> parsed = PriceNormalizer::parse(printed)) {
    values.price_amount = parsed->amount;
    if (is_missing(values.currency)) values.currency = std::move(parsed->currency);
  }
}

}  // namespace

bool ProductChoice::consider(JsonValue product) {
  const auto [offers, sku, variants] = product.find_each<3>({"offers", "sku", "hasVariant"});
  const bool has_offers = is_truthy(offers);
  bool chosen = false;
  const auto choose = [&](Member& place) { place = product, chosen = true; };
  if (!first) choose(first);
  if (!telling && (has_offers || is_truthy(sku) || is_truthy(variants))) choose(telling);
  if (!offering && has_offers) choose(offering);
  return chosen;
}

void read_ld_json(const ProductChoice& products, WorkingValues& values) {
  const JsonValue product = products.telling ? *products.telling : *products.first;
  const auto [name, brand, image, sku, gtin13, gtin12, gtin8, mpn, own_offers, variants] = product.find_each<10>(
      {"name", "brand", "image", "sku", "gtin13", "gtin12", "gtin8", "mpn", "offers", "hasVariant"});
  values.fetch_source = FETCH_SOURCE_LD_JSON;
  mark_as_product(values);
  take_title(name, values);
  values.brand = read_brand(brand);
  values.sku = read_identifier(std::array{sku, gtin13, gtin12, gtin8, mpn});
  values.image = read_image(image);
  const Member offers = find_offers(own_offers, variants, products.offering, values);
  if (const Member offer = choose_offer(offers)) read_offer(*offer, values);
}

void read_page_state(JsonValue product, WorkingValues& values) {
  const auto [name, title, brand_name, brand, sku, special_cents, retail_cents, lowest_cents, price] =
      product.find_each<9>({"name", "title", "brandName", "brand", "sku", "specialDisplayPriceCents",
                            "retailPriceCents", "lowestPriceCents", "price"});
  values.fetch_source = FETCH_SOURCE_NEXT_DATA;
  mark_as_product(values);
  take_title(is_truthy(name) ? name : title, values);
  const Member& any_brand = is_truthy(brand_name) ? brand_name : brand;
  values.brand = any_brand && any_brand->is_string() ? stripped_text_form(any_brand) : std::nullopt;
  if (is_missing(values.brand)) values.brand = std::nullopt;
  values.sku = is_truthy(sku) ? stripped_text_form(sku) : std::nullopt;
  read_state_price(first_truthy(std::array{special_cents, retail_cents, lowest_cents}), price, values);
  values.stock = StockStatus::IN_STOCK;
  values.condition = ItemCondition::NEW;
}

}  // namespace quillmere::commerce::page
