// Text arguments of built-ins and methods.
#pragma once

#include "engine/values/value.h"

namespace kestrel {

/// A text argument, of which there may be none behind the cell.
[[nodiscard]] inline const char* textOf(const ValueCell& text) noexcept {
    return text.text != nullptr ? text.text : "";
}

}  // namespace kestrel
