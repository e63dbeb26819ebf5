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

constexpr BuiltinEntry kRows[] = {
#define KESTREL_BUILTIN(name, argCount, family, handler, subject, ...) \
    {name, argCount, handler, BuiltinFamily::family, subjects::k##subject, __VA_ARGS__},
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
