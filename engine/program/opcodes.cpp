// What the instruction table has to keep to, checked when it is compiled.
#include "engine/program/opcodes.h"

#include <algorithm>

namespace kestrel {

namespace {

template <class Rule>
constexpr bool everyRow(Rule rule) {
    return std::all_of(kOpcodes.begin(), kOpcodes.end(), rule);
}

constexpr bool ascending() {
    for (std::size_t i = 1; i < kOpcodes.size(); ++i)
        if (kOpcodes[i - 1].code >= kOpcodes[i].code) return false;
    return true;
}
static_assert(ascending(), "opcodes.def is sorted by code, each code once");

constexpr bool fixed(const OpcodeInfo& row) {
    return row.pushes >= 0;
}

constexpr int wordsBefore(std::string_view effect, std::size_t end) {
    int words = 0;
    for (std::size_t i = 0; i < end; ++i)
        if (effect[i] != ' ' && (i == 0 || effect[i - 1] == ' ')) ++words;
    return words;
}

/// The effect for people and the numbers for everybody else say the same.
constexpr bool notationAgrees(const OpcodeInfo& row) {
    if (row.flow == OpFlow::Marker) return row.effect.starts_with("marker");
    const std::size_t arrow = row.effect.find("->");
    if (arrow == std::string_view::npos) return false;
    const bool leavesNothing = arrow + 2 == row.effect.size() || row.effect[arrow + 2] == ';';
    if (row.pushes == kEmpties) return row.effect.starts_with("...") && leavesNothing;
    return !fixed(row) || (wordsBefore(row.effect, arrow) == row.pops && leavesNothing == (row.pushes == 0));
}
static_assert(everyRow(notationAgrees), "a row's numbers and its stack notation differ");

static_assert(everyRow([](const OpcodeInfo& row) { return row.pops >= 0 && row.pushes >= kEmpties; }));
static_assert(everyRow([](const OpcodeInfo& row) {
                  return row.flow != OpFlow::Marker || (row.pops == 0 && row.pushes == 0);
              }),
              "a marker does nothing");
static_assert(everyRow([](const OpcodeInfo& row) {
                  const bool jumps = row.flow == OpFlow::Branch || row.flow == OpFlow::Open;
                  return !jumps || row.operand == OperandKind::Target;
              }),
              "a branch has a target");
static_assert(everyRow([](const OpcodeInfo& row) {
                  return row.family != OpFamily::Value || row.of == row.code;
              }),
              "instructions that push a value have the value's tag as their code");
constexpr bool isBinary(std::int32_t code) {
    for (const OpcodeInfo& row : kOpcodes)
        if (row.code == code) return row.pops == 2 && row.pushes == 1;
    return false;
}
/// Assignments combine with an operator, and "++" and "--" add or subtract 1. It looks at rows, not through
/// opcodeInfo(): under UBSan the compiler takes no pointer into the table for a constant.
constexpr bool appliesOperator(const OpcodeInfo& row) {
    if (row.family == OpFamily::Prefix || row.family == OpFamily::Postfix)
        return row.of == OP_ADD || row.of == OP_SUB;
    return row.family != OpFamily::Compound || isBinary(row.of);
}
static_assert(everyRow(appliesOperator));
// The compiler marks the names of arrays with their value's tag; a reference to an element has the same.
static_assert(OP_INDEX == +Array);

}  // namespace

}  // namespace kestrel
