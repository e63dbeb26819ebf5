// The handlers that the built-in table names.
#pragma once

#include "engine/context/builtin.h"

namespace kestrel::builtins {

#define KESTREL_DECLARE_Scalar(handler)  // made of math/numeric.h
#define KESTREL_DECLARE_Inline(handler) void handler(BuiltinCall& call);
#define KESTREL_DECLARE_Handler(handler) void handler(BuiltinCall& call);
#define KESTREL_DECLARE_Later(handler)
#define KESTREL_BUILTIN(name, argCount, family, handler, ...) KESTREL_DECLARE_##family(handler)
#define KESTREL_HOST_PLACE(name, argCount, withoutHost)
#include "builtins/common/builtins.def"
#undef KESTREL_DECLARE_Scalar
#undef KESTREL_DECLARE_Inline
#undef KESTREL_DECLARE_Handler
#undef KESTREL_DECLARE_Later
#undef KESTREL_BUILTIN
#undef KESTREL_HOST_PLACE

}  // namespace kestrel::builtins
