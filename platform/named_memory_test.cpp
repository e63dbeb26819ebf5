#include "platform/named_memory.h"

#include "platform/clock.h"
#include "platform/named_semaphore.h"
#include "platform/workers.h"
#include "tests/doomed_program.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>

namespace kestrel::platform {

namespace {

using std::chrono::milliseconds;
using Wait = NamedSemaphore::Wait;

/// A name that no other program uses.
std::string ownName(const char* what) {
    return "kestrel-test-" + std::to_string(getpid()) + "-" + what;
}

TEST(NamedMemory, LeadsSeveralUsersToTheSameBytesUntilTheLastLeaves) {
    const std::string name = ownName("a/b%");
    EXPECT_FALSE(NamedMemory::open(name));
    {
        std::optional<NamedMemory> owner = NamedMemory::create(name, 5000);
        ASSERT_TRUE(owner);
        EXPECT_FALSE(NamedMemory::create(name, 5000)) << "its owner lives";
        std::optional<NamedMemory> user = NamedMemory::open(name);
        ASSERT_TRUE(user);
        ASSERT_EQ(user->bytes().size(), 5000U);
        EXPECT_EQ(user->bytes()[4999], std::byte{0});
        owner->bytes()[4999] = std::byte{7};
        EXPECT_EQ(user->bytes()[4999], std::byte{7});
        EXPECT_TRUE(user->ownerLives());
        EXPECT_FALSE(owner->leave());
        owner.reset();
        EXPECT_FALSE(user->ownerLives());
        EXPECT_FALSE(user->superseded());
        EXPECT_TRUE(NamedMemory::open(name)) << "kept by its user";
    }
    EXPECT_FALSE(NamedMemory::open(name));
    EXPECT_FALSE(NamedMemory::create("", 10));
    EXPECT_TRUE(NamedMemory::create(ownName(std::string(400, 'x').c_str()), 10))
        << "long names are names, too";
}

TEST(NamedMemory, WhatADeadProgramLeftIsReplaced) {
    const std::string name = ownName("left");
    std::optional<NamedMemory> kept;
    test::DoomedProgram([&] {
        kept = NamedMemory::create(name, 100);
        kept->bytes()[0] = std::byte{9};
    }).die();
    kept = NamedMemory::open(name);
    ASSERT_TRUE(kept) << "nobody has taken the name away yet";
    EXPECT_FALSE(kept->ownerLives());
    std::optional<NamedMemory> heir = NamedMemory::create(name, 200);
    ASSERT_TRUE(heir);
    EXPECT_EQ(heir->bytes()[0], std::byte{0});
    EXPECT_TRUE(kept->superseded());
    EXPECT_EQ(kept->bytes()[0], std::byte{9});
    kept.reset();
    EXPECT_TRUE(NamedMemory::open(name)) << "who leaves the old block leaves the new one alone";
}

TEST(NamedMemory, ACopyOfTheProgramLeavesTheNameAlone) {
    const std::string name = ownName("copied");
    std::optional<NamedMemory> owner = NamedMemory::create(name, 100);
    ASSERT_TRUE(owner);
    Workers workers;
    const auto leave = [&](std::size_t, const WorkerChannel&) {
        owner.reset();
        return 0;
    };
    ASSERT_EQ(workers.start(1, leave), 1U);
    while (workers.running()) static_cast<void>(workers.wait(milliseconds(1000)));
    EXPECT_FALSE(owner->superseded());
    EXPECT_TRUE(NamedMemory::open(name)->ownerLives());
}

TEST(NamedMemory, OnlyThisUsersObjectsAreOpened) {
    const std::string name = ownName("planted");
    const std::string path = "/dev/shm/" + name;
    ASSERT_EQ(symlink("/etc/hostname", path.c_str()), 0);
    EXPECT_FALSE(NamedMemory::open(name));
    EXPECT_FALSE(NamedMemory::create(name, 10));
    EXPECT_FALSE(NamedSemaphore::openOrCreate(name));
    unlink(path.c_str());
}

TEST(NamedSemaphore, OneHolderAtATimeAndACountOfAtMostOne) {
    const std::string name = ownName("sem");
    std::optional<NamedSemaphore> one = NamedSemaphore::create(name, NamedSemaphore::Count::Taken);
    std::optional<NamedSemaphore> two = NamedSemaphore::openOrCreate(name);
    ASSERT_TRUE(one && two);
    EXPECT_EQ(two->acquire(nullptr, milliseconds(1)), Wait::TimedOut) << "made with count 0";
    const SharedFlag flag{1};
    EXPECT_EQ(two->acquire(&flag), Wait::Cancelled);
    one->release();
    one->release();
    EXPECT_EQ(two->acquire(nullptr), Wait::Acquired);
    EXPECT_EQ(one->acquire(nullptr, milliseconds(1)), Wait::TimedOut)
        << "released twice, it still lets in one";
    EXPECT_TRUE(two->remove());
    EXPECT_EQ(one->acquire(nullptr), Wait::Removed);
    EXPECT_FALSE(one->remove());
    EXPECT_FALSE(NamedSemaphore::open(name));
}

TEST(NamedSemaphore, AReleaseWakesWhoeverWaitsForIt) {
    std::optional<NamedSemaphore> semaphore =
        NamedSemaphore::create(ownName("wake"), NamedSemaphore::Count::Taken);
    ASSERT_TRUE(semaphore);
    const std::uint32_t seen = semaphore->releases();
    std::thread other([&] {
        pause(milliseconds(20), nullptr);
        semaphore->release();
    });
    semaphore->waitForRelease(seen, milliseconds(60'000));
    EXPECT_NE(semaphore->releases(), seen);
    other.join();
    semaphore->waitForRelease(seen, milliseconds(60'000));
    EXPECT_TRUE(semaphore->remove());
}

TEST(NamedSemaphore, WhatADeadProgramHeldIsRecovered) {
    const std::string name = ownName("held");
    std::optional<NamedSemaphore> semaphore = NamedSemaphore::openOrCreate(name);
    ASSERT_TRUE(semaphore);
    test::DoomedProgram([&] { static_cast<void>(semaphore->acquire(nullptr)); }).die();
    EXPECT_EQ(semaphore->acquire(nullptr), Wait::Recovered);
    semaphore->release();
    EXPECT_EQ(semaphore->acquire(nullptr), Wait::Acquired);
    semaphore->release();
    test::DoomedProgram([&] { static_cast<void>(semaphore->acquire(nullptr)); }).die();
    EXPECT_TRUE(semaphore->remove()) << "nobody alive holds it";
    EXPECT_FALSE(NamedSemaphore::open(name));
}

}  // namespace

}  // namespace kestrel::platform
