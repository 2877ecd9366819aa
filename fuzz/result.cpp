// Reading result documents: whatever the bytes, either a record or a ToolError that names the place; what was read and
// written again reads as the same.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "cli/errors.hpp"
#include "cli/result_input.hpp"

namespace {

using quillmere::CommerceIntelligence;
using quillmere::cli::read_result;

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CommerceIntelligence result;
  try {
    result = read_result(text, "f");
  } catch (const quillmere::cli::ToolError& error) {
    require(std::string_view(error.what()).find("f:") != std::string_view::npos);
    return 0;
  }
  const std::string whole = result.model_dump_json();
  require(read_result(whole, "f").model_dump_json() == whole);
  require(read_result(result.model_dump_json(2, true), "f").model_dump_json() == whole);
  return 0;
}
