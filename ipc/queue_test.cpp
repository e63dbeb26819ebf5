#include "engine/operations/slots.h"
#include "engine/test_support.h"
#include "ipc/queues.h"
#include "platform/workers.h"
#include "tests/doomed_program.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>

namespace kestrel::test {

namespace {

using platform::NamedMemory;
using platform::NamedSemaphore;
using std::chrono::milliseconds;

class QueueTest : public EngineTest {
protected:
    QueueTest() { ctx.services.queues = &queues_; }

    /// A name that nobody else on the machine has.
    static std::string own(const char* name) { return "T" + std::to_string(getpid()) + name; }

    struct Script {
        Script(Queues& queues, EngineContext& ctx) : made(queues.forScript(ctx)) {}
        /// Exposes these as a script does; a number behind a name is the array's size.
        bool expose(const std::string& queue, std::vector<std::pair<std::string, int>> list) {
            variables.assign(list.size(), {});
            names = std::move(list);
            std::vector<Variable*> pointers;
            for (std::size_t i = 0; i < names.size(); ++i) {
                variables[i].name = names[i].first.c_str();
                variables[i].number = names[i].second;
                pointers.push_back(&variables[i]);
            }
            return made->declare(queue, pointers, false);
        }
        std::unique_ptr<ScriptQueues> made;
        std::vector<std::pair<std::string, int>> names;
        std::vector<Variable> variables;
    };

    std::string shown(ScriptQueues& queues, QueueVariableId id, std::int64_t element = 0) {
        ValueCell value;
        queues.read(id, element, value);
        const std::string text = show(value);
        ctx.stack.release(value);
        return text;
    }
    static std::int32_t wordAt(std::span<const std::byte> bytes, std::size_t offset) {
        std::int32_t word;
        std::memcpy(&word, bytes.data() + offset, sizeof word);
        return word;
    }

    Queues queues_;
};

TEST_F(QueueTest, TheBytesAreAsOtherProgramsExpectThem) {
    const std::string queue = own("Q");
    const std::string a = own("a");
    Script script(queues_, ctx);
    ASSERT_TRUE(script.expose(queue, {{a, 0}, {own("v"), 2}}));
    EXPECT_EQ(script.variables[1].number, 0.0) << "its size went to the queue";
    std::optional<NamedMemory> block = NamedMemory::open("KXL_" + queue);
    ASSERT_TRUE(block);
    const std::span<const std::byte> bytes = block->bytes();
    ASSERT_EQ(bytes.size(), 560U * 3 + 848);
    EXPECT_EQ(wordAt(bytes, 0), 6) << "twice the slots";
    const auto textAt = [&](std::size_t offset) {
        return std::string(reinterpret_cast<const char*>(bytes.data() + offset));
    };
    EXPECT_EQ(textAt(32), a);
    EXPECT_EQ(textAt(32 + 2 * 280), "2@@" + own("v") + "@@2");
    for (const std::size_t k : {0U, 1U, 2U, 3U, 5U}) {
        EXPECT_EQ(wordAt(bytes, k * 280 + 8), k < 3 ? 100 : -1) << k;
        EXPECT_EQ(wordAt(bytes, k * 280 + 16), -1);
        EXPECT_EQ(wordAt(bytes, k * 280 + 20), -1);
        EXPECT_EQ(wordAt(bytes, k * 280 + 28), 0);
    }
    const QueueVariableId v = script.variables[1].queue;
    script.made->write(v, 2, ValueCell::ofVector({1, 2, 3}));
    script.made->write(script.variables[0].queue, 0, ValueCell::ofInteger(7.9));
    EXPECT_EQ(wordAt(bytes, 2 * 280 + 20), 3) << "the first free record behind the variable";
    EXPECT_EQ(wordAt(bytes, 3 * 280 + 8), 200);
    EXPECT_EQ(wordAt(bytes, 3 * 280 + 16), 2);
    EXPECT_EQ(wordAt(bytes, 3 * 280 + 28), 4);
    double z = 0.0;
    std::memcpy(&z, bytes.data() + 3 * 280 + 32 + 16, sizeof z);
    EXPECT_EQ(z, 3.0);
    EXPECT_EQ(wordAt(bytes, 4 * 280 + 28), 1);
    EXPECT_EQ(wordAt(bytes, 4 * 280 + 32), 7);
    EXPECT_TRUE(NamedSemaphore::open("KXL_" + a + "_SEM"));
    EXPECT_TRUE(NamedSemaphore::open("KXL_2@@" + own("v") + "@@2_SEM"));

    script.made.reset();
    block.reset();
    EXPECT_FALSE(NamedMemory::open("KXL_" + queue));
    EXPECT_TRUE(NamedSemaphore::open("KXL_" + a + "_SEM")) << "the test's own view of the block was the last";
    EXPECT_TRUE(NamedSemaphore::open("KXL_" + a + "_SEM")->remove());
    for (const char* element : {"1", "2"})
        EXPECT_TRUE(
            NamedSemaphore::open(slotSemaphoreName(element + ("@@" + own("v") + "@@") + element))->remove());
}

TEST_F(QueueTest, AVariableThatBecomesAnExposedArrayLetsGoOfItsText) {
    Script script(queues_, ctx);
    ASSERT_TRUE(script.expose(own("Q"), {{own("v"), 3}}));
    Variable& exposed = variable("exposed", S("a text of its own"));
    exposed.queue = script.variables[0].queue;
    ctx.queues = std::move(script.made);
    { const FreshVariable fresh(ctx, exposed); }
    EXPECT_EQ(showElements(exposed), "nil nil nil");
    EXPECT_EQ(ctx.pool.liveBlocks(), 0u);
}

TEST_F(QueueTest, EveryKindOfValueStaysUntilItIsReplaced) {
    Script script(queues_, ctx);
    ASSERT_TRUE(script.expose(own("Q"), {{own("a"), 0}}));
    const QueueVariableId a = script.variables[0].queue;
    EXPECT_EQ(shown(*script.made, a), "nil");
    const std::string longText(300, 'x');
    const std::pair<ValueCell, std::string> values[] = {
        {ValueCell::ofInteger(4294967296.0 + 7), "7i"},  // cut to 32 bits
        {ValueCell::ofNumber(0.5), "0.5"},
        {ValueCell::ofText(longText.c_str()), "'" + longText.substr(0, 255) + "'"},
        {ValueCell::ofVector({1, 2, 3}), "<1,2,3>"},
        {ValueCell::ofNil(), "nil"},
    };
    for (int round = 0; round < 2; ++round)
        for (const auto& [value, expected] : values) {
            script.made->write(a, 0, value);
            EXPECT_EQ(shown(*script.made, a), expected);
            EXPECT_EQ(shown(*script.made, a), expected) << "reading takes nothing away";
        }
    EXPECT_FALSE(script.made->writeIfStill(a, 0, ValueCell::ofNumber(1), ValueCell::ofNumber(2)));
    EXPECT_TRUE(script.made->writeIfStill(a, 0, ValueCell::ofNil(), ValueCell::ofNumber(2)));
    EXPECT_EQ(shown(*script.made, a), "2");
}

TEST_F(QueueTest, ScriptsFindTheQueueByItsNameAndJoinOneThatAgrees) {
    const std::string queue = own("Q");
    Script other(queues_, ctx);
    const QueueVariableId early = other.made->refer(queue, own("a"));
    EXPECT_EQ(shown(*other.made, early), "nil") << "no queue yet";
    other.made->write(early, 0, ValueCell::ofNumber(1));

    auto first = std::make_unique<Script>(queues_, ctx);
    ASSERT_TRUE(first->expose(queue, {{own("a"), 0}, {own("v"), 2}}));
    first->made->write(first->variables[0].queue, 0, ValueCell::ofNumber(5));
    EXPECT_EQ(shown(*other.made, early), "5");
    const QueueVariableId element = other.made->refer(queue, own("v"));
    other.made->write(element, 2, ValueCell::ofNumber(6));
    EXPECT_EQ(shown(*first->made, first->variables[1].queue, 2), "6");
    other.made->write(element, 3, ValueCell::ofNumber(6));
    other.made->write(element, 1'000'000'000, ValueCell::ofNumber(6));
    EXPECT_EQ(shown(*other.made, element, 0), "nil") << "an array is no variable";

    Script second(queues_, ctx);
    EXPECT_FALSE(second.expose(queue, {{own("a"), 0}, {own("v"), 3}})) << "another size";
    EXPECT_FALSE(second.expose(queue, {{own("v"), 2}, {own("a"), 0}})) << "another order";
    ASSERT_TRUE(second.expose(queue, {{own("a"), 0}, {own("v"), 2}}));
    EXPECT_EQ(shown(*second.made, second.variables[0].queue), "5");
    first.reset();
    EXPECT_EQ(shown(*other.made, early), "5") << "the one that joined keeps it";
    second.made.reset();
    Script third(queues_, ctx);
    ASSERT_TRUE(third.expose(queue, {{own("b"), 0}})) << "nobody owns it any more";
    EXPECT_EQ(shown(*other.made, early), "nil") << "the name leads to the new one";
    EXPECT_FALSE(Script(queues_, ctx).expose(own("big"), {{own("v"), 5000}}));
}

TEST_F(QueueTest, AProgramThatDiesInTheMiddleBlocksNobody) {
    const std::string queue = own("Q");
    Script script(queues_, ctx);
    ASSERT_TRUE(script.expose(queue, {{own("a"), 0}, {own("b"), 0}}));
    const QueueVariableId a = script.variables[0].queue;
    script.made->write(a, 0, ValueCell::ofNumber(1));
    test::DoomedProgram other([&] {
        // In the middle of a write: an entry is taken and leads nowhere.
        static const std::unique_ptr<QueueBlock> block = QueueBlock::open(queue);
        static std::optional<QueueBlock::Hold> hold;
        block->hold(0, nullptr, hold);
        std::optional<NamedMemory> memory = NamedMemory::open("KXL_" + queue);
        SharedRecord& taken = sharedRecords(memory->bytes())[3];
        taken.owner = 0;
        taken.state = 200;
    });
    RunWatch watch;
    watch.requested = 1;
    ctx.services.watch = &watch;
    EXPECT_EQ(shown(*script.made, a), "nil") << "gave up";
    watch.requested = 0;
    script.made->write(script.variables[1].queue, 0, ValueCell::ofNumber(2));
    EXPECT_EQ(takeMessages(), "");
    other.die();
    EXPECT_EQ(shown(*script.made, a), "1");
    EXPECT_NE(takeMessages().find("a program ended in the middle of its access to " + own("a")),
              std::string::npos);
    ctx.services.watch = nullptr;
}

TEST_F(QueueTest, WhatDeadProgramsTookIsFoundAgain) {
    // The dead program's semaphore is recovered by an access to another queue, which knows nothing of this
    // one.
    const std::string queue = own("Q");
    Script script(queues_, ctx);
    Script other(queues_, ctx);
    ASSERT_TRUE(script.expose(queue, {{own("a"), 0}, {own("b"), 0}}));
    ASSERT_TRUE(other.expose(own("R"), {{own("a"), 0}}));
    std::optional<NamedMemory> memory = NamedMemory::open("KXL_" + queue);
    for (const std::size_t taken : {2U, 3U}) {
        sharedRecords(memory->bytes())[taken].owner = 0;  // as if it had died there
        script.made->write(script.variables[1].queue, 0, ValueCell::ofNumber(2));
        script.made->write(script.variables[0].queue, 0, ValueCell::ofNumber(1));
        script.made->write(script.variables[1].queue, 0, ValueCell::ofNumber(3));
        EXPECT_EQ(shown(*script.made, script.variables[1].queue), "3");
        EXPECT_EQ(shown(*script.made, script.variables[0].queue), "1");
    }
    for (SharedRecord& record : sharedRecords(memory->bytes()).subspan(2)) record.owner = 0;
    script.made->write(script.variables[1].queue, 0, ValueCell::ofNumber(4));
    EXPECT_EQ(shown(*script.made, script.variables[1].queue), "4") << "freed for another variable, too";
}

TEST_F(QueueTest, ADeadQueueIsNoneAndADeclaredOneOutlivesItsName) {
    const std::string queue = own("Q");
    const std::string a = own("a");  // before there is another process
    test::DoomedProgram maker([&] {
        Script& script = *new Script(queues_, ctx);  // which nobody takes away
        if (script.expose(queue, {{a, 0}}))
            script.made->write(script.variables[0].queue, 0, ValueCell::ofNumber(1));
    });
    Script reader(queues_, ctx);
    const QueueVariableId id = reader.made->refer(queue, a);
    EXPECT_EQ(shown(*reader.made, id), "1");
    maker.die();
    EXPECT_EQ(shown(*reader.made, id), "1") << "who has it open goes on";
    Script late(queues_, ctx);
    EXPECT_EQ(QueueBlock::open(queue), nullptr) << "nobody owns it";
    reader.made.reset();
    EXPECT_FALSE(NamedMemory::open("KXL_" + queue));
    EXPECT_FALSE(NamedSemaphore::open(slotSemaphoreName(a)));

    ASSERT_TRUE(late.expose(queue, {{a, 0}}));
    std::optional<NamedMemory> memory = NamedMemory::open("KXL_" + queue);
    EXPECT_FALSE(late.expose(own("a_SEM"), {{own("b"), 0}}))
        << "its block would be the semaphore of a variable";
    ASSERT_EQ(unlink(("/dev/shm/KXL_" + queue).c_str()), 0);
    EXPECT_TRUE(memory->superseded());
    late.made->write(late.made->refer(queue, a), 0, ValueCell::ofNumber(2));
    EXPECT_EQ(shown(*late.made, late.made->refer(queue, a)), "2") << "its own variables are still there";
}

TEST_F(QueueTest, NonsenseInTheBlockIsSurvived) {
    const std::string queue = own("Q");
    Script script(queues_, ctx);
    ASSERT_TRUE(script.expose(queue, {{own("a"), 0}}));
    const QueueVariableId a = script.variables[0].queue;
    std::optional<NamedMemory> memory = NamedMemory::open("KXL_" + queue);
    const std::span<SharedRecord> records = sharedRecords(memory->bytes());
    for (const std::int32_t junk : {-7, 0, 1, 5, 2'000'000'000}) {
        script.made->write(a, 0, ValueCell::ofText("text"));
        records[0].next = junk;
        records[1].next = junk;
        std::memset(records[1].payload.data(), 'x', records[1].payload.size());
        EXPECT_NE(shown(*script.made, a), "");
        for (const std::int32_t kind : {3, 7, -1}) {
            records[0].next = 1;
            records[1].owner = 0;
            records[1].kind = kind;
            ValueCell read;
            script.made->read(a, 0, read);
            EXPECT_TRUE(script.made->writeIfStill(a, 0, read, ValueCell::ofNumber(1)))
                << "what was read is still there";
            ctx.stack.release(read);
        }
        script.made->write(a, 0, ValueCell::ofNumber(1));
    }
    std::memset(memory->bytes().data(), 0xff, memory->bytes().size());
    script.made->write(a, 0, ValueCell::ofNumber(1));
    EXPECT_NE(shown(*script.made, a), "");
}

TEST_F(QueueTest, AMillionAccessesOfFourProgramsLoseAndMixNothing) {
    const std::string queue = own("Q");
    Script script(queues_, ctx);
    constexpr std::size_t kPrograms = 4;
    constexpr int kRounds = 25'000;
    ASSERT_TRUE(script.expose(queue, {{own("sum"), 0}, {own("text"), 0}, {own("v"), 4}}));
    const QueueVariableId sum = script.variables[0].queue;
    const QueueVariableId text = script.variables[1].queue;
    const QueueVariableId mine = script.variables[2].queue;
    script.made->write(sum, 0, ValueCell::ofInteger(0));
    const auto work = [&](std::size_t index, const platform::WorkerChannel&) {
        const std::string own(200, static_cast<char>('a' + index));
        const auto element = static_cast<std::int64_t>(index + 1);
        for (int i = 0; i < kRounds; ++i) {
            ValueCell old = ValueCell::ofNil();
            do script.made->read(sum, 0, old);
            while (!script.made->writeIfStill(sum, 0, old, ValueCell::ofInteger(old.number + 1)));
            script.made->write(text, 0, ValueCell::ofText(own.c_str()));
            ValueCell seen;
            script.made->read(text, 0, seen);
            const std::string_view all = seen.isText() ? seen.text : "";
            if (all.size() != 200 || all.find_first_not_of(all[0]) != all.npos) return 1;
            ctx.stack.release(seen);
            for (int k = 0; k < 3; ++k) {
                script.made->write(mine, element, ValueCell::ofNumber(i + k));
                script.made->read(mine, element, seen);
                if (seen.number != i + k) return 2;
            }
        }
        return 0;
    };
    platform::Workers workers;
    ASSERT_EQ(workers.start(kPrograms, work), kPrograms);
    std::size_t ended = 0;
    while (workers.running())
        for (const platform::WorkerEvent& event : workers.wait(milliseconds(1000))) {
            EXPECT_EQ(event.status, 0);
            ++ended;
        }
    EXPECT_EQ(ended, kPrograms);
    EXPECT_EQ(shown(*script.made, sum), std::to_string(kPrograms * kRounds) + "i");
}

}  // namespace

}  // namespace kestrel::test
