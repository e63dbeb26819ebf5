// Two executors side by side.
#pragma once

#include "tests/equal/life.h"

#include <string>

namespace kestrel::equal {

/// Two executors of the table.
struct Pair {
    const Executor& first;
    const Executor& second;
};

struct Outcome {
    std::string found = {};  ///< what differs first, and in which call; empty when all is the same
    bool endless = false;    ///< ended after a long time: one of them, which `found` names, or both
    bool unsteady = false;   ///< the script differs from itself as well, so it tells nothing about executors
    bool used = false;       ///< both executors have been at work, unless a script has no code to run
    Life second = {};        ///< under the second
};

/// Lets a script live under both. Where they differ the first one does it again with other addresses: a text
/// that is used as a number counts by where it lies, and that is not the executors' doing.
[[nodiscard]] Outcome compare(const Pair& pair, const test::LanguageScript& script, const Plan& plan);

}  // namespace kestrel::equal
