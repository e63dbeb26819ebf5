#include "engine/operations/storage.h"

#include "engine/operations/assignment.h"
#include "engine/test_support.h"

#include <functional>

namespace kestrel::test {

namespace {

/// Objects that count their holders and run something when the last one lets go, as those of libraries may.
class EndingKind final : public ObjectKind {
public:
    static constexpr std::int32_t kTags[] = {ObjectAgent};

    EndingKind() : ObjectKind(ObjectInterface("ending", {}, {}, {})) {}
    void* assigned(EngineContext& ctx, void* object) override {
        hold(ctx, object);
        return object;
    }
    void hold(EngineContext&, void* object) override { ++*static_cast<int*>(object); }
    void drop(EngineContext&, void* object) override {
        if (--*static_cast<int*>(object) == 0 && ended) std::exchange(ended, nullptr)();
    }

    std::function<void()> ended;
};

}  // namespace

class Storage : public EngineTest {
protected:
    Storage() { addKind(kind_); }
    static ValueCell object(int& holders) { return ValueCell::ofObject(ObjectAgent, &holders); }

    EndingKind kind_;
};

TEST_F(Storage, WhatEndsFindsTheNewValueAndMayMoveItsPlace) {
    int first = 0;
    int second = 0;
    const std::pair<ValueCell, std::string> values[] = {
        {N(2), "2"}, {V(1, 2, 3), "<1,2,3>"}, {S("text"), "'text'"}, {nil(), "nil"}, {object(second), "#95"}};
    for (const auto& [value, expected] : values) {
        ArrayRecord& elements = *array("elements", {object(first)}).heldArray();
        std::string seen;
        kind_.ended = [&] {
            seen = show(elements.elements[0]);
            elements.elements.reserve(elements.elements.capacity() * 100);
        };
        store(ctx, elements.elements[0], value);
        EXPECT_EQ(seen + " " + show(elements.elements[0]), expected + " " + expected);
        EXPECT_EQ(first, 0);

        Variable& holder = variable("holder", object(first));
        holder.number = 7;
        kind_.ended = [&] { seen = show(load(holder)); };
        assignVariable(ctx, holder, value);
        EXPECT_EQ(seen + " " + show(load(holder)), expected + " " + expected);
        EXPECT_EQ(first, 0);
        EXPECT_EQ(holder.number, value.type == Number ? 2 : 7) << "slots of other kinds stay";
        clear(ctx, elements.elements[0]);
        clear(ctx, holder);
    }
    EXPECT_EQ(first + second, 0);
    EXPECT_EQ(ctx.pool.liveBlocks(), 0u);
}

TEST_F(Storage, AnObjectThatIsStoredOverItselfLives) {
    int holders = 0;
    Variable& holder = variable("holder", object(holders));
    bool ended = false;
    kind_.ended = [&] { ended = true; };
    assignVariable(ctx, holder, load(holder));
    store(ctx, holder, load(holder));
    EXPECT_EQ(holders, 1);
    EXPECT_FALSE(ended);
    kind_.ended = [&] { EXPECT_EQ(holder.object, nullptr); };
    letGo(ctx, holder);
    EXPECT_EQ(holders, 0);
}

}  // namespace kestrel::test
