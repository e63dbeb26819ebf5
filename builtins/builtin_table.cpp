#include "builtins/builtin_table.h"

#include "builtins/common/handlers.h"
#include "builtins/math/numeric.h"

namespace kestrel {

namespace builtins {

void later(BuiltinCall& call) {
    call.fail("#ELine %d, %s() is not available", call.ctx.run.currentLine, call.name);
}

namespace {

/// LAYOUT: without a host there is nobody to say otherwise.
void runningUnderLayout(BuiltinCall& call) {
    call.resultInteger(1.0);
}

HostBuiltins withDefaults(HostBuiltins host) {
    for (BuiltinHandler* handler : {&host.setdesc, &host.illuminate, &host.raytrace, &host.getdir})
        if (*handler == nullptr) *handler = later;
    if (host.runningUnder == nullptr) host.runningUnder = runningUnderLayout;
    return host;
}

#define KESTREL_HANDLER_Inline(handler) handler
#define KESTREL_HANDLER_Handler(handler) handler
#define KESTREL_HANDLER_Host(handler) host.handler
#define KESTREL_HANDLER_Later(handler) handler

std::vector<BuiltinEntry> makeRows(const HostBuiltins& host) {
    return {
#define KESTREL_BUILTIN(name, id, argCount, family, handler, signature, description) \
    {name, id, argCount, KESTREL_HANDLER_##family(handler), signature, description},
#include "builtins/common/builtins.def"
#undef KESTREL_BUILTIN
    };
}

#undef KESTREL_HANDLER_Inline
#undef KESTREL_HANDLER_Handler
#undef KESTREL_HANDLER_Host
#undef KESTREL_HANDLER_Later

}  // namespace

}  // namespace builtins

BuiltinLibrary::BuiltinLibrary(const HostBuiltins& host)
    : rows_(builtins::makeRows(builtins::withDefaults(host))), table_(rows_) {}

}  // namespace kestrel
