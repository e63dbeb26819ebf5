#include "ipc/queues.h"

#include "engine/context/context.h"
#include "ipc/value_record.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace kestrel {

namespace {

ValueCell valueOf(EngineContext& ctx, const SharedRecord& entry) {
    switch (entry.kind) {
        case kSharedInteger:
            return ValueCell::ofInteger(entry.integer());
        case kSharedNumber:
            return ValueCell::ofNumber(entry.number());
        case kSharedText: {
            const char* copy = ctx.pool.strdup(entry.text());
            return copy != nullptr ? ValueCell::ofTemp(copy) : ValueCell::ofNil();
        }
        case kSharedVector:
            return ValueCell::ofVector({entry.number(0), entry.number(1), entry.number(2)});
        default:
            return ValueCell::ofNil();
    }
}

/// What does not fit was refused before, with a message (fitsQueue).
SharedRecord recordOf(const ValueCell& value) {
    SharedRecord entry{};
    putValue(entry, value);
    return entry;
}

/// What a kind reads as.
std::int32_t kindOf(const SharedRecord& entry) noexcept {
    return entry.kind >= kSharedInteger && entry.kind <= kSharedVector ? entry.kind : kSharedNil;
}

bool equalValues(const SharedRecord& a, const SharedRecord& b) noexcept {
    const auto sameBytes = [&](std::size_t size) {
        return std::memcmp(a.payload.data(), b.payload.data(), size) == 0;
    };
    if (kindOf(a) != kindOf(b)) return false;
    switch (kindOf(a)) {
        case kSharedInteger:
            return sameBytes(sizeof(std::int32_t));
        case kSharedNumber:
            return sameBytes(sizeof(double));
        case kSharedText:
            return a.text() == b.text();
        case kSharedVector:
            return sameBytes(3 * sizeof(double));
        default:
            return true;
    }
}

class QueuesOfScript final : public ScriptQueues {
public:
    QueuesOfScript(Queues& all, EngineContext& ctx) : all_(all), ctx_(ctx) {}

    bool declare(std::string_view queue, std::span<Variable* const> variables, bool pretend) override;
    QueueVariableId refer(std::string_view queue, std::string_view variable) override;
    [[nodiscard]] std::int64_t elements(QueueVariableId id) const override { return find(id).elements; }
    [[nodiscard]] std::int64_t lookUpElements(QueueVariableId id) override;
    bool read(QueueVariableId id, std::int64_t element, ValueCell& value) override;
    void write(QueueVariableId id, std::int64_t element, const ValueCell& value) override;
    bool writeIfStill(QueueVariableId id, std::int64_t element, const ValueCell& expected,
                      const ValueCell& value) override;

private:
    struct Named {
        std::string queue;
        std::string name;
        std::int64_t elements = -1;
        std::shared_ptr<QueueBlock> block;  // null until it is found
        std::vector<std::int32_t>
            slots;  // of the elements used so far, the plain variable first; -2: not looked up
    };

    [[nodiscard]] const Named& find(QueueVariableId id) const {
        return named_[static_cast<std::size_t>(id - 1)];
    }
    QueueVariableId add(Named named);
    [[nodiscard]] std::int32_t slotOf(Named& named, std::int64_t element);
    [[nodiscard]] static std::string labelOf(const Named& named, std::int64_t element) {
        return element > 0 ? named.name + '[' + std::to_string(element) + ']' : named.name;
    }
    /// @return false when there is no such queue
    bool reach(Named& named);
    /// @return false when there is no such variable, or it cannot be had
    template <class Work>
    bool access(QueueVariableId id, std::int64_t element, const Work& work);

    Queues& all_;
    EngineContext& ctx_;
    std::vector<Named> named_;
    std::unordered_map<std::string, QueueVariableId> byName_;
    bool toldUnreachable_ = false;
};

constexpr std::int32_t kNotLookedUp = -2;
constexpr std::int64_t kMostElements = kMostQueueSlots;

QueueVariableId QueuesOfScript::add(Named named) {
    const std::string key = named.queue + '$' + named.name;
    const auto [at, added] = byName_.try_emplace(key, static_cast<QueueVariableId>(named_.size() + 1));
    if (added)
        named_.push_back(std::move(named));
    else if (named.elements >= 0)
        named_[static_cast<std::size_t>(at->second - 1)] = std::move(named);
    return at->second;
}

bool QueuesOfScript::declare(std::string_view queue, std::span<Variable* const> variables, bool pretend) {
    std::vector<std::string> slots;
    for (const Variable* variable : variables) {
        const std::int64_t count = truncate(variable->number);
        if (count > kMostElements) return false;
        if (count <= 0) slots.emplace_back(variable->name);
        for (std::int64_t k = 1; k <= count; ++k) slots.push_back(elementSlotName(variable->name, k));
        if (slots.size() > kMostQueueSlots) return false;
    }
    if (slots.empty()) return false;
    std::shared_ptr<QueueBlock> block;
    if (!pretend) {
        block = QueueBlock::create(queue, slots);
        if (block == nullptr) return false;
    }
    for (Variable* variable : variables) {
        const std::int64_t count = std::max<std::int64_t>(truncate(variable->number), 0);
        variable->queue = add({std::string(queue), variable->name, count, block, {}});
        variable->number = 0.0;
    }
    return true;
}

QueueVariableId QueuesOfScript::refer(std::string_view queue, std::string_view variable) {
    return add({std::string(queue), std::string(variable), -1, nullptr, {}});
}

std::int32_t QueuesOfScript::slotOf(Named& named, std::int64_t element) {
    if (element < 0 || element > kMostElements) return -1;
    const auto at = static_cast<std::size_t>(element);
    if (at >= named.slots.size()) named.slots.resize(at + 1, kNotLookedUp);
    std::int32_t& slot = named.slots[at];
    if (slot == kNotLookedUp)
        slot = named.block->slot(element == 0 ? named.name : elementSlotName(named.name, element));
    return slot;
}

bool QueuesOfScript::reach(Named& named) {
    // A script's own queue stays its own, whatever becomes of the name.
    const bool declared = named.elements >= 0;
    if (named.block != nullptr && (declared || !named.block->superseded())) return true;
    if (declared) return false;
    named.block = all_.find(named.queue);
    named.slots.clear();
    return named.block != nullptr;
}

template <class Work>
bool QueuesOfScript::access(QueueVariableId id, std::int64_t element, const Work& work) {
    Named& named = named_[static_cast<std::size_t>(id - 1)];
    if (!reach(named)) return false;
    const std::int32_t slot = slotOf(named, element);
    if (slot < 0) return false;
    bool held = false;
    bool recovered = false;
    {
        std::optional<QueueBlock::Hold> hold;
        named.block->hold(slot, ctx_.cancelFlag(), hold);
        held = hold.has_value();
        if (held) {
            recovered = hold->recovered();
            work(*named.block, slot);
        }
    }
    // Only now: whoever is told may run another script.
    if (recovered) ctx_.report(MessageId::QueueRecovered, labelOf(named, element));
    if (!held && !ctx_.endRequested() && !std::exchange(toldUnreachable_, true))
        ctx_.report(MessageId::QueueUnreachable, labelOf(named, element), named.queue);
    return held;
}

std::int64_t QueuesOfScript::lookUpElements(QueueVariableId id) {
    Named& named = named_[static_cast<std::size_t>(id - 1)];
    if (named.elements >= 0) return named.elements;
    if (!reach(named)) return -1;
    if (slotOf(named, 0) >= 0) return 0;
    std::int64_t count = 0;
    while (slotOf(named, count + 1) >= 0) ++count;
    return count > 0 ? count : -1;
}

bool QueuesOfScript::read(QueueVariableId id, std::int64_t element, ValueCell& value) {
    // What makes the value may report, and who is told may run another script: not while the slot is held.
    SharedRecord copy{};
    const bool found = access(id, element, [&](const QueueBlock& block, std::int32_t slot) {
        if (const SharedRecord* entry = block.value(slot)) copy = *entry;
    });
    value = valueOf(ctx_, copy);
    return found;
}

void QueuesOfScript::write(QueueVariableId id, std::int64_t element, const ValueCell& value) {
    const SharedRecord record = recordOf(value);
    access(id, element, [&](QueueBlock& block, std::int32_t slot) { block.replace(slot, record); });
}

bool QueuesOfScript::writeIfStill(QueueVariableId id, std::int64_t element, const ValueCell& expected,
                                  const ValueCell& value) {
    const SharedRecord before = recordOf(expected);
    const SharedRecord after = recordOf(value);
    bool same = true;
    access(id, element, [&](QueueBlock& block, std::int32_t slot) {
        const SharedRecord* entry = block.value(slot);
        same = equalValues(entry != nullptr ? *entry : SharedRecord{}, before);
        if (same) block.replace(slot, after);
    });
    return same;
}

}  // namespace

std::unique_ptr<ScriptQueues> Queues::forScript(EngineContext& ctx) {
    return std::make_unique<QueuesOfScript>(*this, ctx);
}

std::shared_ptr<QueueBlock> Queues::find(const std::string& name) {
    std::weak_ptr<QueueBlock>& known = opened_[name];
    std::shared_ptr<QueueBlock> block = known.lock();
    if (block != nullptr && !block->superseded()) return block;
    block = QueueBlock::open(name);
    known = block;
    return block;
}

}  // namespace kestrel
