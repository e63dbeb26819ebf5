// Whether a linked program and the instruction table agree about the stack.
#pragma once

#include "engine/program/stack_effect.h"

#include <optional>
#include <string>

namespace kestrel {

/// Debug builds verify every program that is linked, and every instruction that runs.
#ifdef NDEBUG
inline constexpr bool kStackChecks = false;
#else
inline constexpr bool kStackChecks = true;
#endif

/// An instruction whose row, or whose place in the code, is wrong.
struct StackFault {
    const CodeNode* node = nullptr;
    StackEffect expected;                     ///< what the table says
    int before = 0;                           ///< cells of the running function that it finds
    std::optional<int> after = std::nullopt;  ///< when it ran: the cells that it left
    bool otherKind = false;                   ///< ... of which the top one has not the tag that it pushes
};

/// Follows the code along all its jumps and counts the cells that it leaves at each node: known, or unknown
/// behind an instruction whose effect varies, such as a call. Code that the compiler makes never takes more
/// than its own instructions have pushed, as far as that is known: where an operand of a script has no value
/// ("stack empty"), something before it varies. So only a wrong row or wrong code is found here.
/// @param rowOf  the table, so that a test can hand in a wrong one
[[nodiscard]] std::optional<StackFault> findStackFault(const Program& program,
                                                       const OpcodeInfo* (*rowOf)(std::int32_t) = opcodeInfo);

/// "OP_ADD at node 12, line 3 (a b -> a + b): ..."
[[nodiscard]] std::string describe(const Program& program, const StackFault& fault);

/// Says what is wrong on standard error and aborts: an error of this program, not of a script.
[[noreturn]] void failStackCheck(const Program& program, const StackFault& fault);

}  // namespace kestrel
