#include "engine/fast/assumptions.h"

#include "engine/fast/state.h"

#include <algorithm>
#include <bit>

namespace kestrel::fast {

namespace {

/// Larger arrays would take too long to check.
constexpr std::size_t kMostElements = 1u << 16;

bool same(double a, double b) noexcept {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

bool same(const VectorValue& a, const VectorValue& b) noexcept {
    return same(a.x, b.x) && same(a.y, b.y) && same(a.z, b.z);
}

const void* objectOf(const Variable& variable) noexcept {
    return isInlineKind(variable.type) ? nullptr : variable.object;
}

}  // namespace

void Assumptions::kind(const Variable& variable) {
    kinds_.push_back({&variable, variable.type, objectOf(variable)});
}

void Assumptions::value(const Variable& variable) {
    values_.push_back({&variable, variable.number, variable.vec});
}

std::int32_t Assumptions::elements(const ArrayRecord& array, bool mixed) {
    const auto known = std::ranges::find(elements_, &array, &Elements::array);
    if (known != elements_.end()) return known->type;
    if (array.elements.empty() || array.elements.size() > kMostElements) return Uninitialized;
    Elements elements{&array,     array.elements.data(),      array.elements.size(), array.dimCount,
                      array.dims, array.elements.front().type};
    if (elements.type != Vector && (mixed || !holds(elements))) elements.type = kMixedKind;
    if (!holds(elements)) return Uninitialized;
    elements_.push_back(elements);
    return elements.type;
}

bool Assumptions::holds(const Kind& kind) noexcept {
    return kind.variable->type == kind.type && objectOf(*kind.variable) == kind.object &&
           kind.variable->queue == 0;
}

bool Assumptions::holds(const Value& value) noexcept {
    return same(value.variable->number, value.number) && same(value.variable->vec, value.vec);
}

bool Assumptions::holds(const Elements& elements) noexcept {
    const ArrayRecord& array = *elements.array;
    return array.elements.data() == elements.first && array.elements.size() == elements.count &&
           array.dimCount == elements.dimCount && array.dims == elements.dims &&
           std::ranges::all_of(array.elements, [&](const ValueCell& cell) {
               if (cell.type == Vector) return elements.type == Vector;
               return cell.isNumeric() && (cell.type == elements.type || elements.type == kMixedKind);
           });
}

// Arrays last: a record that a variable no longer has may be gone.
bool Assumptions::hold() const noexcept {
    return std::ranges::all_of(kinds_, [](const Kind& kind) { return holds(kind); }) &&
           std::ranges::all_of(
               numeric_,
               [](const Variable* variable) { return variable->isNumeric() && variable->queue == 0; }) &&
           std::ranges::all_of(values_, [](const Value& value) { return holds(value); }) &&
           std::ranges::all_of(plain_,
                               [](const Variable* variable) {
                                   return isInlineKind(variable->type) && variable->queue == 0;
                               }) &&
           std::ranges::all_of(bound_,
                               [](const Variable* variable) {
                                   return !variable->isText() && variable->queue == 0 &&
                                          (!isObjectKind(variable->type) || variable->type == ShaderObj);
                               }) &&
           std::ranges::none_of(functions_, &FunctionRecord::ownsObjects) &&
           std::ranges::all_of(elements_, [](const Elements& elements) { return holds(elements); });
}

void Assumptions::teach(Experience& experience) const {
    for (const Value& value : values_)
        if (!holds(value)) experience.unsteady.insert(value.variable);
    bool sameArrays = true;
    for (const Kind& kind : kinds_) {
        if (holds(kind)) continue;
        const bool wasNumeric = kind.type == Number || kind.type == Integer;
        sameArrays = sameArrays && kind.type != Array;
        if (!wasNumeric || !kind.variable->isNumeric()) continue;
        experience.unsteady.insert(kind.variable);
        experience.ambiguous.insert(kind.variable);
    }
    if (!sameArrays) return;  // the records may be gone
    for (const Elements& elements : elements_)
        if (!holds(elements) && elements.type != Vector) experience.mixed.insert(elements.array);
}

}  // namespace kestrel::fast
