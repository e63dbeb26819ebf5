#include "host/host_builtins.h"

#include "builtins/common/subjects.h"

namespace kestrel {

namespace {

namespace subjects = builtins::subjects;

constexpr BuiltinHandler withForm(BuiltinHandler handler) {
    if (handler.run == raytraceBuiltin)
        handler.form = {.rule = NumericForm::Rule::Outside, .ask = askForRay, .answers = 4};
    return handler;
}

constexpr BuiltinEntry kRows[] = {
#define KESTREL_HOST_BUILTIN(name, argCount, handler, subject, ...) \
    {name, argCount, withForm(handler), BuiltinFamily::Host, subjects::k##subject, __VA_ARGS__},
#include "host/host_builtins.def"
#undef KESTREL_HOST_BUILTIN
};

}  // namespace

std::span<const BuiltinEntry> hostBuiltins() noexcept {
    return kRows;
}

}  // namespace kestrel
