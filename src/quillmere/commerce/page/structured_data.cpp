#include "quillmere/commerce/page/structured_data.hpp"

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

std::optional<JsonValue> find_truthy(JsonValue object, std::string_view key) {
  std::optional<JsonValue> member = object.find(key);
  return member && member->is_truthy() ? member : std::nullopt;
}

std::optional<std::string> stripped_text_form(const std::optional<JsonValue>& value) {
  if (!value) return std::nullopt;
  const std::optional<std::string> text = value->text_form();
  return text ? std::optional<std::string>(text::strip(*text)) : std::nullopt;
}

/// The lower-cased text form of a member; empty when it is missing or has none.
std::string lowered_text_form(JsonValue object, std::string_view key) {
  const std::optional<JsonValue> member = object.find(key);
  return member ? text::to_lower(member->text_form().value_or("")) : "";
}

void take_title(const std::optional<JsonValue>& name, WorkingValues& values) {
  if (!name || !name->is_string()) return;
  const std::string decoded = name->string();
  const std::string_view stripped = text::strip(decoded);
  if (!stripped.empty()) values.title = text::decode_character_references(stripped);
}

/// A marketplace's page stays one, whatever it says of a product.
void mark_as_product(WorkingValues& values) {
  if (values.page_type != PageType::MARKETPLACE) values.page_type = PageType::PRODUCT;
}

std::optional<std::string> read_brand(JsonValue product) {
  const std::optional<JsonValue> brand = product.find("brand");
  if (!brand) return std::nullopt;
  if (brand->is_object()) return stripped_text_form(brand->find("name"));
  return brand->is_string() ? stripped_text_form(brand) : std::nullopt;
}

/// The first truthy identifier that has a text form, from the seller's own code to the part number.
std::optional<std::string> read_identifier(JsonValue product) {
  for (const std::string_view key : {"sku", "gtin13", "gtin12", "gtin8", "mpn"}) {
    if (std::optional<std::string> text = stripped_text_form(find_truthy(product, key))) return text;
  }
  return std::nullopt;
}

/// One element of an "image" array: an address, or an ImageObject.
std::optional<std::string> read_image_element(const std::optional<JsonValue>& element) {
  if (!element) return std::nullopt;
  if (element->is_string()) return element->string();
  for (const std::string_view key : {"url", "contentUrl"}) {
    const std::optional<JsonValue> address = element->find(key);
    if (address && address->is_string()) return address->string();
  }
  return std::nullopt;
}

std::optional<std::string> read_image(JsonValue product) {
  const std::optional<JsonValue> image = product.find("image");
  if (!image) return std::nullopt;
  if (image->is_array()) return read_image_element(image->first());
  if (image->is_string()) return image->string();
  const std::optional<JsonValue> address = image->find("url");
  return address ? address->text_form() : std::nullopt;
}

/// A variant's image: unlike a product's own, an object here leaves the image absent.
std::optional<std::string> read_variant_image(JsonValue image) {
  if (image.is_array()) return read_image_element(image.first());
  return image.is_string() ? std::optional(image.string()) : std::nullopt;
}

void fill_identifier(JsonValue product, WorkingValues& values) {
  if (!is_missing(values.sku)) return;
  if (std::optional<std::string> sku = stripped_text_form(find_truthy(product, "sku"))) values.sku = std::move(sku);
}

/// The first variant with offers supplies them; it and those before it also fill a missing identifier and image.
std::optional<JsonValue> offers_of_variants(JsonValue variants, WorkingValues& values) {
  for (const JsonValue variant : variants.elements()) {
    if (!variant.is_object()) continue;
    fill_identifier(variant, values);
    if (is_missing(values.image)) {
      if (const auto image = find_truthy(variant, "image")) values.image = read_variant_image(*image);
    }
    if (const auto offers = find_truthy(variant, "offers")) return offers;
  }
  return std::nullopt;
}

std::optional<JsonValue> find_offers(JsonValue product, const ProductChoice& products, WorkingValues& values) {
  if (const auto offers = find_truthy(product, "offers")) return offers;
  const std::optional<JsonValue> variants = product.find("hasVariant");
  if (variants && variants->is_array()) {
    if (const auto offers = offers_of_variants(*variants, values)) return offers;
  }
  if (!products.offering) return std::nullopt;
  fill_identifier(*products.offering, values);
  return products.offering->find("offers");
}

/// The offer that counts: the object itself, or the first of a list. Absent when that is no object or says nothing.
std::optional<JsonValue> choose_offer(const std::optional<JsonValue>& offers) {
  if (!offers) return std::nullopt;
  const std::optional<JsonValue> offer = offers->is_array() ? offers->first() : offers;
  return offer && offer->is_object() && !offer->is_empty() ? offer : std::nullopt;
}

void read_offer_price(JsonValue offer, WorkingValues& values) {
  std::optional<JsonValue> price = offer.find("highPrice");  // counts even when it is 0, if nothing else is truthy
  for (const std::string_view key : {"price", "lowPrice", "highPrice"}) {
    if (const auto truthy = find_truthy(offer, key)) {
      price = truthy;
      break;
    }
  }
  const std::optional<JsonValue> code = offer.find("priceCurrency");
  std::optional<std::string> price_currency;
  if (code && code->is_string()) price_currency = code->string();
  if (const auto printed = price ? price->text_form() : std::nullopt) {
    if (std::optional<NormalizedPrice> parsed = PriceNormalizer::parse(printed, price_currency)) {
      values.price_amount = parsed->amount;
      values.currency = std::move(parsed->currency);
    }
  }
  if (is_missing(values.currency)) values.currency = std::move(price_currency);
}

void read_availability(JsonValue offer, WorkingValues& values) {
  const std::string availability = lowered_text_form(offer, "availability");
  if (contains(availability, "instock")) {
    values.stock = StockStatus::IN_STOCK;
  } else if (contains(availability, "outofstock") || contains(availability, "soldout")) {
    values.stock = StockStatus::OUT_OF_STOCK;
  } else if (contains(availability, "preorder")) {
    values.stock = StockStatus::PREORDER;
  }
}

std::optional<ItemCondition> read_condition(JsonValue offer) {
  const std::string condition = lowered_text_form(offer, "itemCondition");
  if (contains(condition, "new")) return ItemCondition::NEW;
  if (contains(condition, "used")) return ItemCondition::USED;
  if (contains(condition, "refurbished")) return ItemCondition::REFURBISHED;
  return std::nullopt;
}

/// The first truthy of two members, the second as it is when neither is.
std::optional<JsonValue> first_truthy_of(JsonValue object, std::string_view first, std::string_view second) {
  const std::optional<JsonValue> value = find_truthy(object, first);
  return value ? value : object.find(second);
}

/// The price of page state in cents, as an amount. Absent when none of the members holds a positive number.
std::optional<double> read_cents(JsonValue product) {
  for (const std::string_view key : {"specialDisplayPriceCents", "retailPriceCents", "lowestPriceCents"}) {
    const std::optional<JsonValue> cents = find_truthy(product, key);
    if (!cents) continue;
    const double number = cents->number().value_or(0);
    if (!(number > 0) || !std::isfinite(number)) return std::nullopt;
    return text::round_to_two_decimals(number / 100);
  }
  return std::nullopt;
}

void read_state_price(JsonValue product, WorkingValues& values) {
  if (values.price_amount) return;
  if (const std::optional<double> amount = read_cents(product)) {
    values.price_amount = amount;
    values.currency = "USD";
    return;
  }
  const std::optional<JsonValue> price = find_truthy(product, "price");
  const std::optional<std::string> printed = price ? price->text_form() : std::nullopt;
  if (!printed) return;
  if (std::optional<NormalizedPrice> parsed = PriceNormalizer::parse(printed)) {
    values.price_amount = parsed->amount;
    if (is_missing(values.currency)) values.currency = std::move(parsed->currency);
  }
}

}  // namespace

bool ProductChoice::consider(JsonValue product) {
  const bool has_offers = find_truthy(product, "offers").has_value();
  const auto tells = [&] { return has_offers || find_truthy(product, "sku") || find_truthy(product, "hasVariant"); };
  bool chosen = false;
  const auto choose = [&](std::optional<JsonValue>& place) { place = product, chosen = true; };
  if (!first) choose(first);
  if (!telling && tells()) choose(telling);
  if (!offering && has_offers) choose(offering);
  return chosen;
}

void read_ld_json(const ProductChoice& products, WorkingValues& values) {
  const JsonValue product = products.telling ? *products.telling : *products.first;
  values.fetch_source = FETCH_SOURCE_LD_JSON;
  mark_as_product(values);
  take_title(product.find("name"), values);
  values.brand = read_brand(product);
  values.sku = read_identifier(product);
  values.image = read_image(product);
  const std::optional<JsonValue> offer = choose_offer(find_offers(product, products, values));
  if (!offer) return;
  read_offer_price(*offer, values);
  read_availability(*offer, values);
  values.condition = read_condition(*offer);
}

void read_page_state(JsonValue product, WorkingValues& values) {
  values.fetch_source = FETCH_SOURCE_NEXT_DATA;
  mark_as_product(values);
  take_title(first_truthy_of(product, "name", "title"), values);
  const std::optional<JsonValue> brand = first_truthy_of(product, "brandName", "brand");
  values.brand = brand && brand->is_string() ? stripped_text_form(brand) : std::nullopt;
  if (is_missing(values.brand)) values.brand = std::nullopt;
  values.sku = stripped_text_form(find_truthy(product, "sku"));
  read_state_price(product, values);
  values.stock = StockStatus::IN_STOCK;
  values.condition = ItemCondition::NEW;
}

}  // namespace quillmere::commerce::page
