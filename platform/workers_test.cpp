#include "platform/workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>

namespace kestrel::platform {

namespace {

using std::chrono::milliseconds;

std::vector<WorkerEvent> allEvents(Workers& workers) {
    std::vector<WorkerEvent> events;
    for (int i = 0; workers.running() && i < 1000; ++i) {
        for (WorkerEvent& event : workers.wait(milliseconds(50))) events.push_back(std::move(event));
    }
    return events;
}

TEST(Workers, LinesAndStatusOfEachArriveInOrderAndMemoryIsShared) {
    const SharedMemory memory(2 * sizeof(int));
    auto* numbers = reinterpret_cast<int*>(memory.bytes().data());
    int ours = 1;
    Workers workers;
    const auto work = [&](std::size_t index, const WorkerChannel& channel) {
        numbers[index] = 10 + static_cast<int>(index);
        ours = 5;
        channel.send("first of " + std::to_string(index));
        channel.send(std::string(300000, 'x') + "\nend");
        return 3 + static_cast<int>(index);
    };
    ASSERT_EQ(workers.start(2, work), 2U);
    std::map<std::size_t, std::vector<WorkerEvent>> byWorker;
    for (WorkerEvent& event : allEvents(workers)) byWorker[event.worker].push_back(std::move(event));
    for (const std::size_t index : {0U, 1U}) {
        const std::vector<WorkerEvent>& events = byWorker[index];
        ASSERT_EQ(events.size(), 3U);
        EXPECT_EQ(events[0].line, "first of " + std::to_string(index));
        EXPECT_EQ(events[1].line, std::string(300000, 'x') + " end") << "a line stays one line";
        EXPECT_EQ(events[2].kind, WorkerEvent::Kind::Ended);
        EXPECT_EQ(events[2].status, 3 + static_cast<int>(index));
        EXPECT_EQ(numbers[index], 10 + static_cast<int>(index));
    }
    EXPECT_EQ(ours, 1) << "a worker has memory of its own";
}

TEST(Workers, CrashExceptionAndInterruptAreReportedAndNothingHangs) {
    Workers workers;
    const auto work = [](std::size_t index, const WorkerChannel& channel) -> int {
        std::signal(SIGABRT, SIG_DFL);
        std::signal(SIGINT, SIG_DFL);
        if (index == 0) std::abort();
        if (index == 1) throw 7;
        channel.send("ready");
        for (;;) std::this_thread::sleep_for(milliseconds(10));
    };
    ASSERT_EQ(workers.start(3, work), 3U);
    std::map<std::size_t, WorkerEvent> ends;
    bool ready = false;
    for (int i = 0; workers.running() && i < 400; ++i) {
        for (WorkerEvent& event : workers.wait(milliseconds(50))) {
            if (event.kind == WorkerEvent::Kind::Line)
                ready = true;
            else
                ends[event.worker] = event;
        }
        if (ready && ends.size() == 2) workers.interrupt();
    }
    EXPECT_EQ(ends[0].kind, WorkerEvent::Kind::Died);
    EXPECT_EQ(ends[0].status, SIGABRT);
    EXPECT_EQ(ends[1].kind, WorkerEvent::Kind::Ended);
    EXPECT_EQ(ends[1].status, 1);
    EXPECT_EQ(ends[2].kind, WorkerEvent::Kind::Died);
    EXPECT_EQ(ends[2].status, SIGINT);
}

TEST(Workers, WhatAFileHasBufferedIsWrittenOnce) {
    const std::string path = testing::TempDir() + "workers_test.txt";
    std::FILE* file = std::fopen(path.c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fputs("before\n", file);
    Workers workers;
    const auto work = [&](std::size_t, const WorkerChannel&) { return std::fputs("worker\n", file) < 0; };
    ASSERT_EQ(workers.start(1, work), 1U);
    (void)allEvents(workers);
    std::fputs("after\n", file);
    std::fclose(file);
    std::ifstream written(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), "before\nworker\nafter\n");
}

}  // namespace

}  // namespace kestrel::platform
