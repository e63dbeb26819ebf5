#include "builtins/builtin_table.h"

#include "builtins/common/handlers.h"
#include "builtins/common/subjects.h"
#include "builtins/math/numeric.h"

#include <algorithm>

namespace kestrel {

namespace builtins {

namespace {

/// Stands in for a function that is not there.
void later(BuiltinCall& call) {
    call.fail(MessageId::NotAvailable, call.name);
}

/// LAYOUT: without a host there is nobody to say otherwise.
void runningUnderLayout(BuiltinCall& call) {
    call.resultInteger(1.0);
}

struct HandlerForm {
    BuiltinHandler::Function handler;
    NumericForm form;
};

using Rule = NumericForm::Rule;

/// What the handlers compute that are no adapters, of numbers and vectors.
constexpr HandlerForm kHandlerForms[] = {
    {absolute, {Rule::Absolute}},
    {ceiling, {Rule::Ceiling}},
    {floorOf, {Rule::Floor}},
    {range, {Rule::Range}},
    {step, {Rule::Step}},
    {magnitude, {Rule::Length}},
    {cross3d, {Rule::Cross3d}},
    {dot3d, {Rule::Dot3d}},
    {cross2d, {Rule::Cross2d}},
    {dot2d, {Rule::Dot2d}},
    {factorial, {.rule = Rule::Factorial, .one = factorialOf}},
    {round, {.rule = Rule::Round, .two = roundedTo}},
    {integerOf, {Rule::Cut}},
    {size, {Rule::Size}},
    {center, {Rule::Center}},
    {extent, {Rule::Extent}},
    {translate3d, {Rule::Translate3d}},
    {scale3d, {Rule::Scale3d}},
    {rotate3d, {Rule::Rotate3d}},
    {randu, {Rule::RandomUnit}},
    {random, {Rule::RandomWhole}},
};

constexpr BuiltinHandler withForm(std::string_view name, BuiltinHandler handler) {
    for (const HandlerForm& row : kHandlerForms)
        if (row.handler == handler.run) handler.form = row.form;
    // hypot(), which has the same handler, leaves two values.
    if (name == "gamma") handler.form.rule = Rule::Untouched;
    return handler;
}

constexpr BuiltinEntry kRows[] = {
#define KESTREL_BUILTIN(name, argCount, family, handler, subject, ...) \
    {name, argCount, withForm(name, handler), BuiltinFamily::family, subjects::k##subject, __VA_ARGS__},
#define KESTREL_HOST_PLACE(name, argCount, withoutHost) {name, argCount, withoutHost, BuiltinFamily::Host},
#include "builtins/common/builtins.def"
#undef KESTREL_BUILTIN
#undef KESTREL_HOST_PLACE
};

std::vector<BuiltinEntry> completed(std::span<const BuiltinEntry> host) {
    std::vector<BuiltinEntry> rows(std::begin(kRows), std::end(kRows));
    for (const BuiltinEntry& row : host) {
        const auto place = std::ranges::find(rows, row.name, &BuiltinEntry::name);
        if (place != rows.end()) {
            *place = row;
        } else {
            rows.push_back(row);
        }
    }
    return rows;
}

}  // namespace

}  // namespace builtins

BuiltinLibrary::BuiltinLibrary(std::span<const BuiltinEntry> host)
    : rows_(builtins::completed(host)), table_(rows_) {}

}  // namespace kestrel
