// Values as arguments of built-ins and methods.
#pragma once

#include "engine/context/context.h"
#include "fuzz/taken.h"

namespace kestrel::fuzz {

/// Pushes one argument: a value, or several that stand for one.
void pushArgument(EngineContext& ctx, Taken& data);

/// Pushes a value of any kind that scripts can have.
void pushValue(EngineContext& ctx, Taken& data);

}  // namespace kestrel::fuzz
