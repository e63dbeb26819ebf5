#include "engine/values/pool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace kestrel {

struct CountingExhaustion final : Pool::Exhaustion {
    void memoryExhausted() override { ++calls; }
    int calls = 0;
};

struct OneBorrower final : Pool::Borrowers {
    [[nodiscard]] bool borrows(const void* block) const override { return block == borrowed; }
    const void* borrowed = nullptr;
};

class PoolTest : public ::testing::Test {
protected:
    CountingExhaustion exhaustion;
    Pool pool{&exhaustion};
};

TEST_F(PoolTest, blocksAreAlignedClearedAndCounted) {
    for (std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{1000}}) {
        auto* p = static_cast<unsigned char*>(pool.alloc(size, true));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % alignof(std::max_align_t), 0u);
        for (std::size_t i = 0; i < size; ++i) EXPECT_EQ(p[i], 0);
    }
    EXPECT_EQ(pool.liveBlocks(), 3u);
    EXPECT_EQ(pool.allocations(), 3u);
    EXPECT_STREQ(pool.strdup("text"), "text");
}

TEST_F(PoolTest, retainedBlocksSurviveFreeAndWaitForThePurge) {
    char* kept = pool.keep("kept");
    pool.free(kept);
    EXPECT_EQ(pool.liveBlocks(), 1u);
    EXPECT_EQ(pool.releases(), 0u);

    pool.retain(kept);
    pool.release(kept);
    EXPECT_EQ(pool.deferredBytes(), 0u);
    pool.release(kept);
    EXPECT_EQ(pool.liveBlocks(), 0u);
    EXPECT_GT(pool.deferredBytes(), 0u);
    pool.free(kept);  // not freed twice
    pool.release(kept);
    EXPECT_STREQ(kept, "kept");  // still readable
    pool.purge();
    EXPECT_EQ(pool.deferredBytes(), 0u);
}

TEST_F(PoolTest, findsItsBlocksHoweverManyThereAre) {
    std::vector<char*> texts;
    for (int i = 0; i < 40000; ++i) texts.push_back(pool.keep(std::to_string(i)));
    for (std::size_t i = 0; i < texts.size(); i += 2) pool.release(texts[i]);
    pool.purge();
    EXPECT_EQ(pool.liveBlocks(), texts.size() / 2);
    EXPECT_EQ(pool.releases(), 0u);
    for (std::size_t i = 1; i < texts.size(); i += 2) EXPECT_EQ(texts[i], std::to_string(i));
}

TEST_F(PoolTest, releaseLeavesUnretainedAndForeignBlocks) {
    int local = 0;
    pool.release(pool.strdup("plain"));
    pool.release(&local);
    pool.free(std::malloc(8));  // foreign pointers go to the system; a leak check sees them otherwise
    pool.free(nullptr);
    EXPECT_EQ(pool.liveBlocks(), 1u);
    EXPECT_EQ(pool.deferredBytes() + pool.releases(), 0u);
}

TEST_F(PoolTest, purgesWhenReleasesHaveCaughtUp) {
    pool.release(pool.keep("kept"));
    char* late = pool.strdup("late");
    pool.free(pool.strdup("a"));
    pool.purgeIfWorthwhile();  // 1 / 3 is 0 in integers
    EXPECT_GT(pool.deferredBytes(), 0u);
    pool.purge();
    pool.release(pool.keep("kept again"));
    pool.free(late);
    pool.purgeIfWorthwhile();  // 1 / 1
    EXPECT_EQ(pool.deferredBytes() + pool.allocations() + pool.releases(), 0u);
}

TEST_F(PoolTest, sweepKeepsWhatIsBorrowed) {
    OneBorrower borrowers;
    std::vector<char*> texts;
    for (const char* text : {"a", "b", "c"}) texts.push_back(pool.keep(text));
    for (char* text : texts) pool.release(text);
    borrowers.borrowed = texts[1];
    pool.sweep(borrowers);
    EXPECT_STREQ(texts[1], "b");
    borrowers.borrowed = nullptr;
    pool.sweep(borrowers);
    EXPECT_EQ(pool.deferredBytes(), 0u);
}

TEST_F(PoolTest, theLimitCountsDeferredBlocksToo) {
    pool.setLimit(4096);
    EXPECT_EQ(pool.alloc(static_cast<std::size_t>(-8), false), nullptr);
    EXPECT_EQ(pool.alloc(4096, false), nullptr);
    EXPECT_EQ(exhaustion.calls, 2);
    char* kept = pool.keep(std::string(3000, 'x'));
    pool.release(kept);
    EXPECT_EQ(pool.alloc(2000, false), nullptr);
    pool.purge();
    EXPECT_NE(pool.alloc(2000, false), nullptr);
    EXPECT_EQ(exhaustion.calls, 3);
}

TEST_F(PoolTest, teardownReleasesEverythingAndThePoolGoesOn) {
    for (int i = 0; i < 100000; ++i) {  // several blocks per bucket
        char* text = pool.keep("x");
        if (i % 3 == 0) pool.release(text);
    }
    pool.teardown();
    EXPECT_EQ(pool.liveBlocks() + pool.liveBytes() + pool.deferredBytes(), 0u);
    EXPECT_STREQ(pool.strdup("again"), "again");
}

}  // namespace kestrel
