// Which keys of an object are repeated. Most objects are small and repeat none: a bit filter over cheap hashes tells so
// without a look at the keys' text. The others go through a hash table.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "quillmere/text/json.hpp"

namespace quillmere::text {
namespace {

using json_internal::Entry;

constexpr std::size_t FILTER_BITS = 1024;
constexpr std::size_t MAX_FILTERED_MEMBERS = 64;

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

/// SipHash-1-3 (Aumasson and Bernstein, "SipHash: a fast short-input PRF"): a page that does not know `secret` cannot
/// choose keys that collide.
class SipHash {
 public:
  explicit SipHash(std::uint64_t secret) noexcept : _secret(secret) {}

  [[nodiscard]] std::uint64_t operator()(std::string_view text) const noexcept {
    State state{_secret ^ 0x736F6D6570736575U, ~_secret ^ 0x646F72616E646F6DU, _secret ^ 0x6C7967656E657261U,
                ~_secret ^ 0x7465646279746573U};
    std::uint64_t last = static_cast<std::uint64_t>(text.size()) << 56;
    for (; text.size() >= 8; text.remove_prefix(8)) _absorb(state, load<std::uint64_t>(text.data()));
    for (std::size_t i = 0; i < text.size(); ++i) {
      last |= static_cast<std::uint64_t>(static_cast<unsigned char>(text[i])) << (8 * i);
    }
    _absorb(state, last);
    state[2] ^= 0xFF;
    for (int round = 0; round < 3; ++round) _round(state);
    return state[0] ^ state[1] ^ state[2] ^ state[3];
  }

 private:
  using State = std::array<std::uint64_t, 4>;

  static void _absorb(State& state, std::uint64_t word) noexcept {
    state[3] ^= word;
    _round(state);
    state[0] ^= word;
  }

  static void _round(State& v) noexcept {
    v[0] += v[1];
    v[2] += v[3];
    v[1] = std::rotl(v[1], 13) ^ v[0];
    v[3] = std::rotl(v[3], 16) ^ v[2];
    v[0] = std::rotl(v[0], 32);
    v[2] += v[1];
    v[0] += v[3];
    v[1] = std::rotl(v[1], 17) ^ v[2];
    v[3] = std::rotl(v[3], 21) ^ v[0];
    v[2] = std::rotl(v[2], 32);
  }

  std::uint64_t _secret;
};

}  // namespace

void JsonDocument::_settle_keys(Entry& object) {
  if (_may_repeat_keys(object)) _mark_repeated_keys(object);
  object.flags |= json_internal::KEYS_SETTLED;
}

bool JsonDocument::_may_repeat_keys(const Entry& object) const noexcept {
  std::array<std::uint64_t, FILTER_BITS / 64> filter{};
  std::size_t members = 0;
  const Entry* const end = &object + object.span;
  for (const Entry* member = &object + 1; member != end; member += member->span) {
    if (++members > MAX_FILTERED_MEMBERS) return true;
    if ((member->flags & json_internal::KEY_HAS_ESCAPES) != 0) return true;
    const std::size_t bit = filter_bit(_slice(member->key_begin, member->key_end));
    const std::uint64_t mask = std::uint64_t{1} << (bit % 64);
    if ((filter[bit / 64] & mask) != 0) return true;
    filter[bit / 64] |= mask;
  }
  return false;
}

void JsonDocument::_mark_repeated_keys(Entry& object) {
  std::size_t members = 0;
  Entry* const end = &object + object.span;
  for (Entry* member = &object + 1; member != end; member += member->span) ++members;
  _key_slots.assign(std::bit_ceil(2 * members), KeySlot{0, 0});
  const std::size_t mask = _key_slots.size() - 1;
  // Address space randomisation makes the addresses unknown to the page.
  const SipHash hash_of(std::rotl(reinterpret_cast<std::uintptr_t>(_tape.get()), 32) ^
                        reinterpret_cast<std::uintptr_t>(this));

  for (Entry* member = &object + 1; member != end; member += member->span) {
    const JsonString key = _key(*member);
    std::string_view text = key.raw();
    if (key.has_escapes()) {
      _decoded_key.clear();
      key.append_to(_decoded_key);
      text = _decoded_key;
    }
    const auto hash = static_cast<std::uint32_t>(hash_of(text));
    const auto distance = static_cast<std::uint32_t>(member - &object);
    for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
      KeySlot& candidate = _key_slots[slot];
      if (candidate.distance == 0) {
        candidate = {hash, distance};
        break;
      }
      Entry& first = (&object)[candidate.distance];
      if (candidate.hash == hash && _key(first) == text) {
        first.flags |= json_internal::SUPERSEDED;
        first.begin = distance - candidate.distance;
        member->flags |= json_internal::KEY_REPEATED;
        break;
      }
    }
  }
}

}  // namespace quillmere::text
