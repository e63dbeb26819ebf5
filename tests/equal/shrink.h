// Makes what shows a difference small.
#pragma once

#include "tests/equal/life.h"
#include "tests/equal/tree.h"

#include <functional>

namespace kestrel::equal {

/// A program and what its host does.
struct Case {
    Node program;
    Plan plan;
};

/// Leaves out calls, functions and statements, puts blocks in the place of what holds them and simpler
/// expressions in the place of others, as long as the rest still fails.
/// @param fails  true for a case that shows the difference; called a few thousand times at most
void shrink(Case& found, const std::function<bool(const Case&)>& fails);

}  // namespace kestrel::equal
