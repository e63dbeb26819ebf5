#include "engine/operations/slots.h"

#include "engine/test_support.h"

namespace kestrel::test {

namespace {

/// A queue with one array, whose elements are their numbers.
class ArrayQueue final : public ScriptQueues {
public:
    explicit ArrayQueue(std::int64_t size) : size_(size) {}
    bool declare(std::string_view, std::span<Variable* const>, bool) override { return true; }
    QueueVariableId refer(std::string_view, std::string_view) override { return 1; }
    std::int64_t elements(QueueVariableId) const override { return size_; }
    std::int64_t lookUpElements(QueueVariableId) override { return size_; }
    bool read(QueueVariableId, std::int64_t element, ValueCell& value) override {
        value = ValueCell::ofInteger(static_cast<double>(element));
        return true;
    }
    void write(QueueVariableId, std::int64_t, const ValueCell&) override {}
    bool writeIfStill(QueueVariableId, std::int64_t, const ValueCell&, const ValueCell&) override {
        return true;
    }

private:
    std::int64_t size_;
};

}  // namespace

class Slots : public EngineTest {};

TEST_F(Slots, AVariableThatBecomesAnExposedArrayLetsGoOfItsText) {
    Variable& exposed = variable("exposed", S("a text of its own"));
    exposed.queue = 1;
    ctx.queues = std::make_unique<ArrayQueue>(3);
    { const FreshVariable fresh(ctx, exposed); }
    EXPECT_EQ(showElements(exposed), "1i 2i 3i");
    EXPECT_EQ(ctx.pool.liveBlocks(), 0u);
}

}  // namespace kestrel::test
