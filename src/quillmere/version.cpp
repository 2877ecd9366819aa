#include "quillmere/version.hpp"

namespace quillmere {

std::string_view version() noexcept {
  return QUILLMERE_VERSION;
}

}  // namespace quillmere
