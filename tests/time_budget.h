// Time that a run may take.
#pragma once

#include "engine/context/context.h"

namespace kestrel::test {

/// Sets a watch's flag when the time is up, unless it goes before.
class TimeBudget {
public:
    explicit TimeBudget(RunWatch& watch, int milliseconds);
    ~TimeBudget();
    TimeBudget(const TimeBudget&) = delete;
    TimeBudget& operator=(const TimeBudget&) = delete;
};

}  // namespace kestrel::test
