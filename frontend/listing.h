// The compiled code as text.
#pragma once

#include "engine/program/program.h"

#include <string>

namespace kestrel {

/// One node per line, four fields separated by tabs: index in the code list from 0, source line, opcode name,
/// operand. The operand is a symbol's name ("::" before it for a global reference), a number in %g, a text in
/// double quotes with backslash, quote and newline escaped, "@INDEX" of a jump target, "NAME/ARGC" of a call,
/// the count of a return, else empty.
[[nodiscard]] std::string listProgram(const Program& program);

}  // namespace kestrel
