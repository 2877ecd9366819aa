#pragma once

#include <nlohmann/json.hpp>

#include "quillmere/text/json.hpp"

namespace quillmere {

/// What this system's reader gives as another reader's tree, so that the two can be compared. Recursive, so no deeper
/// than the reader allows.
inline nlohmann::ordered_json tree_of(text::JsonValue value) {
  nlohmann::ordered_json tree;
  switch (value.kind()) {
    case text::JsonKind::object:
      tree = nlohmann::ordered_json::object();
      for (const text::JsonMember member : value.members()) tree[member.key.decoded()] = tree_of(member.value);
      return tree;
    case text::JsonKind::array:
      tree = nlohmann::ordered_json::array();
      for (const text::JsonValue element : value.elements()) tree.push_back(tree_of(element));
      return tree;
    case text::JsonKind::string:
      return value.string();
    case text::JsonKind::number:
      return nlohmann::ordered_json::parse(value.raw());
    case text::JsonKind::boolean:
      return *value.boolean();
    case text::JsonKind::null:
      break;
  }
  return nullptr;
}

}  // namespace quillmere
