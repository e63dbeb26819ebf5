// Carries out what a debugger asks for.
#pragma once

#include "engine/context/context.h"
#include "ipc/debug_protocol.h"
#include "ipc/debug_stops.h"
#include "ipc/debug_values.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace kestrel::debug {

/// What the commands look at and change beside the script itself.
struct DebugState {
    static constexpr std::int32_t kFreeRun = -1;

    EngineContext& ctx;
    Stops stops;
    std::int32_t countdown = 0;  ///< lines to pass before the script pauses; kFreeRun: it does not
    std::string pending{};       ///< the latest message, with its kind, until a STATUS has taken it
    bool ending = false;         ///< every run ends at its first line
    bool attached = false;       ///< a debugger that knows our own commands is there
    bool takesMessages = true;   ///< messages go to the debugger
    bool reporting = false;      ///< in the middle of an instruction: no value may change
    std::optional<NamesOfVariables> names{};  ///< once somebody has asked for lists of them
};

/// Carries out the commands of a batch.
/// @param commands  a copy of the command block's records
/// @param reply     the records of the reply, which have been reset
/// @return true when the script goes on
[[nodiscard]] bool obey(DebugState& state, std::span<const SharedRecord> commands,
                        std::span<SharedRecord> reply);

}  // namespace kestrel::debug
