// Questions to the host in the middle of code.
#pragma once

#include "engine/context/builtin.h"

#include <array>
#include <cstdint>

namespace kestrel::fast {

/// One place of code that asks: the code writes what is given, and reads the answer.
struct OutsideCall {
    EngineContext* ctx = nullptr;
    NumericForm::Ask ask = nullptr;
    std::array<double, 6> given{};
    std::array<double, 4> answer{};

    /// @return 1; 0: the code has to leave
    static std::int64_t run(OutsideCall* call, void* record) noexcept {
        return call->ask(*call->ctx, record, call->given.data(), call->answer.data()) ? 1 : 0;
    }
};

}  // namespace kestrel::fast
