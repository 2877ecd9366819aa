#include "cli/words.hpp"

#include <algorithm>

namespace quillmere::cli {
namespace {

/// Optimal string alignment distance (Levenshtein with swaps of neighbours).
std::size_t edit_distance(std::string_view from, std::string_view to) {
  std::vector<std::vector<std::size_t>> cost(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) cost[i][0] = i;
  for (std::size_t j = 0; j <= to.size(); ++j) cost[0][j] = j;
  for (std::size_t i = 1; i <= from.size(); ++i) {
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t change = cost[i - 1][j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, change});
      const bool swapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (swapped) cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
    }
  }
  return cost[from.size()][to.size()];
}

}  // namespace

std::vector<std::string_view> split(std::string_view list, char separator) {
  std::vector<std::string_view> pieces;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(separator), list.size());
    pieces.push_back(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return pieces;
}

std::string listed(std::span<const std::string_view> words) {
  std::string list;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) list += i + 1 == words.size() ? " or " : ", ";
    list += words[i];
  }
  return list;
}

std::string_view nearest(std::string_view word, std::span<const std::string_view> known) {
  constexpr std::size_t LONGEST_WORD = 64;
  if (word.empty() || word.size() > LONGEST_WORD) return {};
  std::string_view best;
  std::size_t best_distance = std::max<std::size_t>(1, word.size() / 3) + 1;
  for (const std::string_view candidate : known) {
    const bool is_beginning = word.size() >= 3 && candidate.starts_with(word);
    const std::size_t distance = is_beginning ? 1 : edit_distance(word, candidate);
    if (distance < best_distance) {
      best = candidate;
      best_distance = distance;
    }
  }
  return best;
}

}  // namespace quillmere::cli
