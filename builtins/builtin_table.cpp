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

struct InlineForm {
    BuiltinHandler::Function handler;
    NumericForm::Rule rule;
};

/// What the handlers compute that are no adapters and look at numbers and vectors alone.
constexpr InlineForm kInlineForms[] = {
    {absolute, NumericForm::Rule::Absolute}, {ceiling, NumericForm::Rule::Ceiling},
    {floorOf, NumericForm::Rule::Floor},     {range, NumericForm::Rule::Range},
    {step, NumericForm::Rule::Step},         {magnitude, NumericForm::Rule::Length},
    {cross3d, NumericForm::Rule::Cross3d},   {dot3d, NumericForm::Rule::Dot3d},
    {cross2d, NumericForm::Rule::Cross2d},   {dot2d, NumericForm::Rule::Dot2d},
    {randu, NumericForm::Rule::RandomUnit},
};

constexpr BuiltinHandler withForm(BuiltinHandler handler) {
    for (const InlineForm& form : kInlineForms)
        if (form.handler == handler.run) handler.form.rule = form.rule;
    return handler;
}

constexpr BuiltinEntry kRows[] = {
#define KESTREL_BUILTIN(name, argCount, family, handler, subject, ...) \
    {name, argCount, withForm(handler), BuiltinFamily::family, subjects::k##subject, __VA_ARGS__},
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
