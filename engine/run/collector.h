// Lets go of arrays that a script has lost.
#pragma once

namespace kestrel {

class EngineContext;

/// Releases every array that no variable and no cell on the stack refers to: those whose variable was given
/// another value, and those that array() made for nobody. Arrays are not counted, since variables share them
/// freely, so this looks at all variables. Allowed between any two instructions.
void collectArrays(EngineContext& ctx);

}  // namespace kestrel
