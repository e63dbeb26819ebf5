// The grammars of random programs.
#pragma once

#include <string_view>

namespace kestrel::equal {

extern const std::string_view kGeneralGrammar;
extern const std::string_view kShaderGrammar;

}  // namespace kestrel::equal
