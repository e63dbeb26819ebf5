// What shades samples.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace kestrel {

enum class Executor : std::uint8_t {
    Automatic,   ///< the fastest that the machine and the script allow
    Definition,  ///< the interpreter, whose results are right by definition
    Threaded,    ///< intermediate code, where the script allows
    Native,      ///< machine code, where script and machine allow
};

struct ExecutorName {
    std::string_view name;
    Executor executor;
};

inline constexpr ExecutorName kExecutorNames[] = {
    {"auto", Executor::Automatic},
    {"definition", Executor::Definition},
    {"threaded", Executor::Threaded},
    {"native", Executor::Native},
};

/// The name of a row, which ends with a null byte.
[[nodiscard]] constexpr std::string_view nameOf(Executor executor) noexcept {
    for (const ExecutorName& row : kExecutorNames)
        if (row.executor == executor) return row.name;
    return kExecutorNames[0].name;
}

/// @return nothing when there is none of that name
[[nodiscard]] constexpr std::optional<Executor> executorNamed(std::string_view name) noexcept {
    for (const ExecutorName& row : kExecutorNames)
        if (row.name == name) return row.executor;
    return std::nullopt;
}

}  // namespace kestrel
