// Which locals a function may read before it has assigned them: what compilers call definite assignment.
#pragma once

#include "engine/program/program.h"

#include <functional>
#include <unordered_set>

namespace kestrel::fast {

/// Number of values that a function returns whenever it ends; -1 where that depends, or is not known.
using ResultCounts = std::function<int(const FunctionRecord&)>;

/// @param function  of a linked program
/// @return its locals that some way through it may read first; parameters count as assigned by the call. All
///         of both where finding out would take too long.
[[nodiscard]] std::unordered_set<const Variable*> variablesReadFirst(const FunctionRecord& function,
                                                                     const ResultCounts& results);

}  // namespace kestrel::fast
