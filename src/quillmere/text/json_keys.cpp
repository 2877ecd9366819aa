// Which keys of an object are repeated. Most objects are small and repeat none: a filter over a few bytes of each key
// tells so. The others go through a filter over a hash of the whole key, and what is left through a hash table.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "quillmere/text/json.hpp"

namespace quillmere::text {
namespace {

using json_internal::Entry;

constexpr std::size_t FILTER_BITS = 1024;
constexpr std::size_t MAX_FILTERED_MEMBERS = 64;
// Working memory for more members, or a longer key, than this is given back at once: only a hostile page needs it.
constexpr std::size_t MAX_KEPT = std::size_t{1} << 14;

template <class Word>
Word load(const char* bytes) noexcept {
  Word word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

/// A place in the filter: equal for equal keys, from the size and at most 16 bytes of the key.
std::size_t filter_bit(std::string_view key) noexcept {
  const char* const begin = key.data();
  const char* const end = begin + key.size();
  std::uint64_t head = 0;
  std::uint64_t tail = 0;
  if (key.size() >= 8) {
    head = load<std::uint64_t>(begin);
    tail = load<std::uint64_t>(end - 8);
  } else if (key.size() >= 4) {
    head = load<std::uint32_t>(begin);
    tail = load<std::uint32_t>(end - 4);
  } else if (!key.empty()) {
    head = static_cast<unsigned char>(*begin);
    tail = load<std::uint8_t>(begin + key.size() / 2) | (std::uint64_t{load<std::uint8_t>(end - 1)} << 8);
  }
  const std::uint64_t mixed = (head + key.size()) * 0x9E3779B97F4A7C15U ^ std::rotl(tail * 0xC2B2AE3D27D4EB4FU, 29);
  return static_cast<std::size_t>((mixed * 0x9E3779B97F4A7C15U) >> 54);
}

/// The key's bytes as a polynomial over the prime 2^61 - 1, at a point that a page cannot know: two keys of n bytes
/// collide for at most n/7 + 1 of the points, so no page can choose keys that collide (Carter and Wegman, "Universal
/// classes of hash functions").
class KeyHash {
 public:
  explicit KeyHash(std::uint64_t secret) noexcept : _point((secret * 0x9E3779B97F4A7C15U >> 3) | 1) {}

  [[nodiscard]] std::uint32_t operator()(std::string_view key) const noexcept {
    std::uint64_t sum = key.size() + 1;
    for (; key.size() > 7; key.remove_prefix(7)) sum = _times_point(sum + (load<std::uint64_t>(key.data()) & CHUNK));
    std::uint64_t last = 0;
    for (const char c : key) last = last << 8 | static_cast<unsigned char>(c);
    return static_cast<std::uint32_t>(_times_point(_times_point(sum + last)));
  }

 private:
  __extension__ using Product = unsigned __int128;
  static constexpr std::uint64_t PRIME = (std::uint64_t{1} << 61) - 1;
  static constexpr std::uint64_t CHUNK = (std::uint64_t{1} << 56) - 1;  // seven bytes

  [[nodiscard]] std::uint64_t _times_point(std::uint64_t factor) const noexcept {
    const Product product = Product{factor} * _point;
    const std::uint64_t folded =
        static_cast<std::uint64_t>(product & PRIME) + static_cast<std::uint64_t>(product >> 61);
    return (folded & PRIME) + (folded >> 61);
  }

  std::uint64_t _point;
};

bool has_bit(std::span<const std::uint64_t> bits, std::size_t bit) noexcept {
  return (bits[bit / 64] >> (bit % 64) & 1) != 0;
}

void set_bit(std::span<std::uint64_t> bits, std::size_t bit) noexcept {
  bits[bit / 64] |= std::uint64_t{1} << (bit % 64);
}

}  // namespace

/// Working memory for the objects that the small filter does not settle.
struct JsonDocument::KeyTables {
  struct Slot {
    std::uint32_t hash;
    std::uint32_t distance;  // from the object's entry to the member's; 0 is free
  };

  std::vector<std::uint32_t> hashes;     // of each member
  std::vector<std::uint64_t> seen;       // bits: some member's hash
  std::vector<std::uint64_t> suspected;  // bits: perhaps several members' hash
  std::vector<Slot> slots;               // the first of the suspected members of each key; half of them free
  std::size_t taken = 0;                 // of the slots
  std::size_t mask = 0;                  // of a hash, for its bit
  std::string decoded;

  /// Fills the bits from the hashes and frees the slots; whether there are suspected members. A few bits a member are
  /// cheaper than a hash table of all of them, and most large objects, too, repeat no key.
  bool suspect() {
    const std::size_t bits = std::clamp(std::bit_ceil(16 * hashes.size()), std::size_t{64}, std::size_t{1} << 32);
    mask = bits - 1;
    seen.assign(bits / 64, 0);
    suspected.assign(bits / 64, 0);
    bool any = false;
    for (const std::uint32_t hash : hashes) {
      if (has_bit(seen, hash & mask)) set_bit(suspected, hash & mask), any = true;
      set_bit(seen, hash & mask);
    }
    slots.assign(64, Slot{0, 0});
    taken = 0;
    return any;
  }

  [[nodiscard]] bool is_suspected(std::uint32_t hash) const noexcept { return has_bit(suspected, hash & mask); }

  /// The slot of the member that `is_same` tells by its distance, or a free one.
  template <class IsSame>
  Slot& slot_of(std::uint32_t hash, IsSame is_same) noexcept {
    for (std::size_t at = hash;; ++at) {
      Slot& slot = slots[at & (slots.size() - 1)];
      if (slot.distance == 0 || (slot.hash == hash && is_same(slot.distance))) return slot;
    }
  }

  void take(Slot& slot, const Slot& value) {
    slot = value;
    if (2 * ++taken < slots.size()) return;
    std::vector<Slot> old(2 * slots.size(), Slot{0, 0});
    old.swap(slots);
    for (const Slot& moved : old) {
      if (moved.distance != 0) slot_of(moved.hash, [](std::uint32_t /*other*/) { return false; }) = moved;
    }
  }
};

JsonDocument::JsonDocument() noexcept = default;
JsonDocument::~JsonDocument() = default;

void JsonDocument::_settle_keys(Entry& object) {
  if (_may_repeat_keys(object)) {
    if (!_key_tables) _key_tables = std::make_unique<KeyTables>();
    _mark_repeated_keys(object);
    if (std::max(_key_tables->hashes.size(), _key_tables->decoded.size()) > MAX_KEPT) _key_tables.reset();
  }
  object.flags |= json_internal::KEYS_SETTLED;
}

bool JsonDocument::_may_repeat_keys(const Entry& object) const noexcept {
  if (object.extent == 1 || (&object)[1].span() + 1 == object.extent) return false;  // at most one member
  std::array<std::uint64_t, FILTER_BITS / 64> filter{};
  std::size_t members = 0;
  const Entry* const end = &object + object.extent;
  for (const Entry* member = &object + 1; member != end; member += member->span()) {
    if (++members > MAX_FILTERED_MEMBERS) return true;
    if ((member->flags & json_internal::KEY_HAS_ESCAPES) != 0) return true;
    const std::size_t bit = filter_bit(_key(*member).raw());
    if (has_bit(filter, bit)) return true;
    set_bit(filter, bit);
  }
  return false;
}

std::string_view JsonDocument::_decoded_key(const Entry& member) {
  const JsonString key = _key(member);
  if (!key.has_escapes()) return key.raw();
  _key_tables->decoded.clear();
  key.append_to(_key_tables->decoded);
  return _key_tables->decoded;
}

void JsonDocument::_mark_repeated_keys(Entry& object) {
  KeyTables& tables = *_key_tables;
  // Address space randomisation makes the addresses unknown to the page.
  const KeyHash hash_of(std::rotl(reinterpret_cast<std::uintptr_t>(&object), 32) ^
                        reinterpret_cast<std::uintptr_t>(this));
  tables.hashes.clear();
  Entry* const end = &object + object.extent;
  for (Entry* member = &object + 1; member != end; member += member->span()) {
    json_internal::prefetch_behind(member);
    tables.hashes.push_back(hash_of(_decoded_key(*member)));
  }
  if (!tables.suspect()) return;

  auto hash = tables.hashes.begin();
  for (Entry* member = &object + 1; member != end; member += member->span(), ++hash) {
    json_internal::prefetch_behind(member);
    if (!tables.is_suspected(*hash)) continue;
    const std::string_view key = _decoded_key(*member);
    const auto distance = static_cast<std::uint32_t>(member - &object);
    auto& slot = tables.slot_of(*hash, [&](std::uint32_t other) { return _key((&object)[other]) == key; });
    if (slot.distance == 0) {
      tables.take(slot, {*hash, distance});
      continue;
    }
    Entry& first = (&object)[slot.distance];
    first.flags |= json_internal::SUPERSEDED;
    first.begin = distance - slot.distance;
    member->flags |= json_internal::KEY_REPEATED;
  }
}

}  // namespace quillmere::text
