// Allocations of the language tests' scripts fail, one in each run or all from one on: what is said is about
// memory or nothing, and no memory is lost. KESTREL_ALL_ALLOCATIONS=1 lets each of them fail; otherwise some
// of each script do.
#include "host/script_session.h"
#include "platform/environment.h"
#include "tests/allocations/allocator.h"
#include "tests/language_scripts.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace kestrel::test {
namespace {

/// Remembers only that something was said, since what a host keeps of messages is its own affair.
class Listener final : public MessageSink {
public:
    void show(const Message& message) override {
        exhausted = exhausted || message.id == MessageId::MemoryExhausted;
    }
    bool exhausted = false;
};

/// @return false when the session could not even be made
bool run(const std::string& file, std::size_t failing) {
    Listener listener;
    const FailingAllocation allocation(failing, failing % 2 == 0 ? SIZE_MAX : 1);
    try {
        ScriptSession session(listener);
        if (session.compile(file, {.reportEndless = true}) && session.check()) {
            session.prepare();
            session.runMain();
        }
        session.unload();
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

TEST(FailingAllocations, AreSurvivedByEveryLanguageTest) {
    const bool all = std::getenv("KESTREL_ALL_ALLOCATIONS") != nullptr;
    platform::setEnvironment("COMSPEC", "/bin/sh");
    std::size_t failed = 0;
    for (const LanguageScript& script : languageScripts(KESTREL_LANGUAGE_TESTS)) {
        SCOPED_TRACE(script.file.string() + "\n" + script.text);
        const ScriptFolder folder(script);
        run(folder.file(), 0);
        const std::size_t start = allocations.made;
        const std::ptrdiff_t live = allocations.live;
        const auto begin = std::chrono::steady_clock::now();
        run(folder.file(), 0);
        const bool slow = std::chrono::steady_clock::now() - begin > std::chrono::milliseconds(100);
        const std::size_t each = allocations.made - start;
        const std::size_t step = all ? 1 : each / (slow ? 2 : 16) + 1;
        for (std::size_t n = 1 + failed % step; n <= each; n += step) {
            run(folder.file(), n);
            failed += allocations.failed ? 1 : 0;
            EXPECT_LE(allocations.live, live + 8) << "allocation " << n;
        }
        if (testing::Test::HasFailure()) return;
    }
    std::printf("%zu allocations failed\n", failed);
    EXPECT_GT(failed, 1000u);
}

}  // namespace
}  // namespace kestrel::test
