// The built-ins that only the host side can answer.
#pragma once

#include "engine/context/builtin.h"

#include <span>

namespace kestrel {

#define KESTREL_HOST_BUILTIN(name, argCount, handler, ...) void handler(BuiltinCall& call);
#include "host/host_builtins.def"
#undef KESTREL_HOST_BUILTIN

/// What raytrace() asks: a point and a direction, for a distance and a color.
[[nodiscard]] bool askForRay(EngineContext& ctx, void* record, const double* given, double* answer) noexcept;

/// Their rows, for a BuiltinLibrary.
[[nodiscard]] std::span<const BuiltinEntry> hostBuiltins() noexcept;

}  // namespace kestrel
