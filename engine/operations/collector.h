// Lets go of what a script has lost.
#pragma once

namespace kestrel {

class EngineContext;

/// Releases every array that no variable and no cell on the stack refers to: those whose variable was given
/// another value, and those that array() made for nobody. Arrays are not counted, since variables share them
/// freely, so this looks at all variables. Allowed wherever all arrays in use are in variables or on the
/// stack.
void collectArrays(EngineContext& ctx);

/// The same, and the objects of counted kinds that nobody holds and no cell on the stack refers to: records,
/// files, items of the scene, objects of libraries.
void collectLost(EngineContext& ctx);

}  // namespace kestrel
