// What the built-ins of panels have in common.
#pragma once

#include "engine/context/builtin.h"
#include "host/requester.h"

#include <memory>

namespace kestrel {

[[nodiscard]] Requester& requesterOf(const EngineContext& ctx) noexcept;

/// The panel that the script has open, which stays as long as the caller holds it.
/// @return null after the call has failed, since there is none; another script's does not count
[[nodiscard]] std::shared_ptr<RequesterPanel> openPanel(BuiltinCall& call);

}  // namespace kestrel
