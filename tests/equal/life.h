// One life of a script in a host, and everything that can be seen of it.
#pragma once

#include "tests/equal/executors.h"
#include "tests/equal/snapshot.h"
#include "tests/language_scripts.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kestrel::equal {

enum class Call { Flags, NewTime, Init, Evaluate, Batch, Main, Cleanup };

/// What the host calls after it has loaded the script; a sample for each Evaluate, several for a Batch.
struct Plan {
    std::uint64_t seed = 0;  ///< of the samples
    struct Step {
        Call call;
        int sample = 0;
        int count = 1;  ///< of a Batch
    };
    std::vector<Step> steps;
};

/// A host that renders so many samples, with a new time now and then, which lets a script that failed run
/// again.
[[nodiscard]] Plan usualPlan(std::uint64_t seed, int samples);
/// A host that renders batches of so many samples in all.
[[nodiscard]] Plan batchPlan(std::uint64_t seed, int samples);
[[nodiscard]] std::string nameOf(const Plan::Step& step);

struct Life {
    Lines lines;        ///< what was seen, call by call
    bool cut = false;   ///< it took too long and was ended
    bool used = false;  ///< the executor has been at work
    fast::Counts samples;
    kestrel::Executor ran = kestrel::Executor::Definition;  ///< what shaded samples at last
    std::string refusal;                                    ///< why there was no code for `process`
};

/// Loads a script into a fresh instance of a fresh module, with a folder and a store of its own, carries out
/// the plan and destroys the instance.
/// @param allLocals  false: not those that nobody reads before they are assigned
[[nodiscard]] Life live(const Executor& executor, const test::LanguageScript& script, const Plan& plan,
                        bool allLocals);

}  // namespace kestrel::equal
