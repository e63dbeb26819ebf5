#include "engine/program/opcodes.h"

#include "engine/values/value.h"

#include <array>

namespace kestrel {

namespace {

constexpr auto kOpcodes = std::to_array<OpcodeInfo>({
#define KESTREL_OP(code, name, operand, effect) {code, #name, OperandKind::operand, effect},
#include "engine/program/opcodes.def"
#undef KESTREL_OP
});

constexpr bool ascending() {
    for (std::size_t i = 1; i < kOpcodes.size(); ++i)
        if (kOpcodes[i - 1].code >= kOpcodes[i].code) return false;
    return true;
}
static_assert(ascending(), "opcodes.def is sorted by code, each code once");

// Instructions that push a value have the value's tag as their code.
static_assert(OP_NUMBER == +Number && OP_INTEGER == +Integer && OP_STRING == +String && OP_NIL == +Nil &&
              OP_VECTOR == +Vector && OP_INDEX == +Array && OP_SHADEROBJ == +ShaderObj &&
              OP_BONEOBJ == +BoneObj);

constexpr std::size_t kIndexSize = static_cast<std::size_t>(kOpcodes.back().code) + 1;

constexpr std::array<std::int16_t, kIndexSize> makeIndex() {
    std::array<std::int16_t, kIndexSize> index{};
    index.fill(-1);
    for (std::size_t i = 0; i < kOpcodes.size(); ++i)
        index[static_cast<std::size_t>(kOpcodes[i].code)] = static_cast<std::int16_t>(i);
    return index;
}
constexpr auto kIndex = makeIndex();

}  // namespace

const OpcodeInfo* opcodeInfo(std::int32_t code) noexcept {
    if (code < 0 || static_cast<std::size_t>(code) >= kIndexSize) return nullptr;
    const std::int16_t row = kIndex[static_cast<std::size_t>(code)];
    return row < 0 ? nullptr : &kOpcodes[static_cast<std::size_t>(row)];
}

}  // namespace kestrel
