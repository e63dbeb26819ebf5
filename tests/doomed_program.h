// Another program that works with what programs share, and ends as a crash does.
#pragma once

#include "platform/clock.h"
#include "platform/workers.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

namespace kestrel::test {

class DoomedProgram {
public:
    /// Comes back when it has done its work and lives on.
    explicit DoomedProgram(const std::function<void()>& work) {
        const auto live = [&work](std::size_t, const platform::WorkerChannel& channel) {
            work();
            channel.send("done");
            platform::pause(std::chrono::milliseconds(60'000), nullptr);
            return 0;
        };
        EXPECT_EQ(workers_.start(1, live), 1U);
        static_cast<void>(workers_.wait(std::chrono::milliseconds(10'000)));
    }
    void die() {
        workers_.kill();
        while (workers_.running()) static_cast<void>(workers_.wait(std::chrono::milliseconds(1000)));
    }

private:
    platform::Workers workers_;
};

}  // namespace kestrel::test
