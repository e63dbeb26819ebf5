// Instruction codes and what the table says of each.
#pragma once

#include <cstdint>
#include <string_view>

namespace kestrel {

/// Instruction codes. Plain enumerators: the numbers are interface (tags and operator codes share them).
enum Opcode : std::int32_t {
#define KESTREL_OP(code, name, operand, effect) name = code,
#include "engine/program/opcodes.def"
#undef KESTREL_OP
};

enum class OperandKind { None, Var, Number, Text, Target, Call, Count, Object };

struct OpcodeInfo {
    std::int32_t code;
    std::string_view name;
    OperandKind operand;
    std::string_view effect;
};

/// @return the row of a code, or null for a code that is not in the table
[[nodiscard]] const OpcodeInfo* opcodeInfo(std::int32_t code) noexcept;

}  // namespace kestrel
