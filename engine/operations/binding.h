// What a parameter gets of an argument.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

/// Gives a parameter the value of an argument: texts are copied, everything else is shared.
/// @param position  of the argument, from 1
/// @param function  its name
/// @return false when binding has to stop, which has been reported
bool bindArgument(EngineContext& ctx, Variable& parameter, const ValueCell& cell, int position,
                  const char* function);

}  // namespace kestrel
