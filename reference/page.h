// The catalogue as a page of the documentation.
#pragma once

#include "reference/catalog.h"

#include <span>
#include <string>

namespace kestrel::reference {

/// @return Markdown; the same for the same tables
[[nodiscard]] std::string writePage(std::span<const Section> catalog);

}  // namespace kestrel::reference
