#include "ipc/queue_block.h"

#include <atomic>
#include <chrono>
#include <utility>

namespace kestrel {

namespace {

using platform::NamedMemory;
using platform::NamedSemaphore;

constexpr std::int32_t kVariableSlot = 100;
constexpr std::int32_t kEntry = 200;
constexpr std::int32_t kFreeRecord = -1;
constexpr std::int32_t kNone = -1;
constexpr std::string_view kSemaphoreEnd = "_SEM";

constexpr int kTries = 100;
constexpr std::chrono::milliseconds kBetweenTries{5};

/// Room for the records of `slots` variables and their values, and some more, which stays unused.
constexpr std::size_t blockSize(std::size_t slots) noexcept {
    return 560 * slots + 848;
}
static_assert(blockSize(1) == sizeof(SharedBlockHeader) + 5 * kSharedRecordSize);

/// Fields that programs look at without holding the semaphore of their slot.
std::atomic_ref<std::int32_t> shared(std::int32_t& field) noexcept {
    return std::atomic_ref(field);
}

std::atomic_ref<std::int32_t> capacityOf(const NamedMemory& memory) noexcept {
    return std::atomic_ref(reinterpret_cast<SharedBlockHeader*>(memory.bytes().data())->capacity);
}

/// A block's owner writes the capacity last.
bool isReady(const NamedMemory& memory) {
    return memory.bytes().size() >= sizeof(SharedBlockHeader) && capacityOf(memory).load() > 0;
}

}  // namespace

std::string queueBlockName(std::string_view queue) {
    return "KXL_" + std::string(queue);
}

std::string elementSlotName(std::string_view variable, std::int64_t element) {
    const std::string number = std::to_string(element);
    return number + "@@" + std::string(variable) + "@@" + number;
}

std::string slotSemaphoreName(std::string_view slot) {
    return "KXL_" + std::string(slot).append(kSemaphoreEnd);
}

std::unique_ptr<QueueBlock> QueueBlock::create(std::string_view queue, std::span<const std::string> slots) {
    // A block of such a name could be taken for a semaphore.
    if (slots.empty() || slots.size() > kMostQueueSlots || queue.ends_with(kSemaphoreEnd)) return nullptr;
    const std::string name = queueBlockName(queue);
    for (int i = 0; i < kTries; ++i) {
        if (std::optional<NamedMemory> made = NamedMemory::create(name, blockSize(slots.size()))) {
            std::unique_ptr<QueueBlock> block(new QueueBlock(*std::move(made)));
            return block->initialise(slots) ? std::move(block) : nullptr;
        }
        std::optional<NamedMemory> there = NamedMemory::join(name);
        if (there && isReady(*there)) {
            std::unique_ptr<QueueBlock> block(new QueueBlock(*std::move(there)));
            block->indexSlots();
            return block->hasSlots(slots) ? std::move(block) : nullptr;
        }
        platform::pause(kBetweenTries, nullptr);  // another program is just making it, or taking it away
    }
    return nullptr;
}

std::unique_ptr<QueueBlock> QueueBlock::open(std::string_view queue) {
    std::optional<NamedMemory> there = NamedMemory::open(queueBlockName(queue));
    // One that is being made this very moment is found by the next access.
    if (!there || !isReady(*there)) return nullptr;
    std::unique_ptr<QueueBlock> block(new QueueBlock(*std::move(there)));
    block->indexSlots();
    // What dead programs left is no queue. Looking at it takes it away, when nobody else has it.
    return block->memory_.ownerLives() ? std::move(block) : nullptr;
}

QueueBlock::QueueBlock(NamedMemory memory) : memory_(std::move(memory)) {}

QueueBlock::~QueueBlock() {
    if (!memory_.leave()) return;
    for (const std::string& name : names_)
        if (std::optional<NamedSemaphore> semaphore = NamedSemaphore::open(slotSemaphoreName(name)))
            semaphore->remove();
}

bool QueueBlock::initialise(std::span<const std::string> slots) {
    const auto capacity = static_cast<std::int32_t>(2 * slots.size());
    auto* first = reinterpret_cast<SharedRecord*>(memory_.bytes().data() + sizeof(SharedBlockHeader));
    records_ = {first, static_cast<std::size_t>(capacity)};
    for (SharedRecord& record : records_) record = {kFreeRecord, 0, kNone, kNone, 0, kSharedNone, {}};
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const std::string& name = names_.emplace_back(slots[i].substr(0, SharedRecord::kTextLength));
        if (!NamedSemaphore::openOrCreate(slotSemaphoreName(name))) return false;
        records_[i].state = kVariableSlot;
        records_[i].setText(name);
    }
    capacityOf(memory_).store(capacity);
    indexSlots();
    return true;
}

void QueueBlock::indexSlots() {
    names_.clear();
    records_ = sharedRecords(memory_.bytes());
    for (const SharedRecord& record : records_) {
        if (record.state != kVariableSlot || names_.size() == kMostQueueSlots) break;
        names_.emplace_back(record.text());
    }
    semaphores_.resize(names_.size());
    for (std::size_t i = 0; i < names_.size(); ++i) slots_.emplace(names_[i], static_cast<std::int32_t>(i));
}

bool QueueBlock::hasSlots(std::span<const std::string> slots) const {
    if (names_.size() != slots.size() || records_.size() != 2 * slots.size()) return false;
    for (std::size_t i = 0; i < slots.size(); ++i)
        if (names_[i] != std::string_view(slots[i]).substr(0, SharedRecord::kTextLength)) return false;
    return true;
}

std::int32_t QueueBlock::slot(std::string_view name) const {
    const auto found = slots_.find(name.substr(0, SharedRecord::kTextLength));
    return found != slots_.end() ? found->second : kNone;
}

NamedSemaphore* QueueBlock::semaphore(std::int32_t slot) {
    std::optional<NamedSemaphore>& semaphore = semaphores_[static_cast<std::size_t>(slot)];
    if (!semaphore)
        semaphore = NamedSemaphore::openOrCreate(slotSemaphoreName(names_[static_cast<std::size_t>(slot)]));
    return semaphore ? &*semaphore : nullptr;
}

void QueueBlock::hold(std::int32_t slot, platform::CancelFlag requested, std::optional<Hold>& hold) {
    while (NamedSemaphore* taken = semaphore(slot)) {
        switch (taken->acquire(requested)) {
            case NamedSemaphore::Wait::Acquired:
                hold.emplace(*taken, false);
                return;
            case NamedSemaphore::Wait::Recovered:
                hold.emplace(*taken, true);
                return;
            case NamedSemaphore::Wait::Removed:
                // The last user of another queue with a variable of that name took it along.
                semaphores_[static_cast<std::size_t>(slot)].reset();
                break;
            case NamedSemaphore::Wait::Cancelled:
            case NamedSemaphore::Wait::TimedOut:
                return;
        }
    }
}

const SharedRecord* QueueBlock::value(std::int32_t slot) const {
    const std::int32_t head = records_[static_cast<std::size_t>(slot)].next;
    if (head < 0 || static_cast<std::size_t>(head) >= records_.size()) return nullptr;
    const SharedRecord& entry = records_[static_cast<std::size_t>(head)];
    return entry.owner == slot ? &entry : nullptr;
}

void QueueBlock::replace(std::int32_t slot, const SharedRecord& value) {
    SharedRecord& variable = records_[static_cast<std::size_t>(slot)];
    std::int32_t old = std::exchange(variable.next, kNone);
    for (std::size_t i = 0; i < records_.size() && old >= 0; ++i) {
        if (static_cast<std::size_t>(old) >= records_.size()) break;
        const std::int32_t next = records_[static_cast<std::size_t>(old)].next;
        if (records_[static_cast<std::size_t>(old)].owner == slot) free(old);
        old = next;
    }
    SharedRecord* entry = take(slot);
    if (entry == nullptr) {
        freeLost(slot);
        entry = take(slot);
    }
    if (entry == nullptr) return;
    entry->next = kNone;
    entry->kind = value.kind;
    entry->payload = value.payload;
    // Last: a program that dies before leaves the variable without a value, not with half of one.
    variable.next = static_cast<std::int32_t>(entry - records_.data());
}

void QueueBlock::free(std::int32_t index) {
    SharedRecord& entry = records_[static_cast<std::size_t>(index)];
    entry.reserved = 0;
    entry.next = kNone;
    entry.kind = kSharedNone;
    shared(entry.state).store(kFreeRecord);
    shared(entry.owner).store(kNone);
}

SharedRecord* QueueBlock::take(std::int32_t slot) {
    for (std::size_t i = static_cast<std::size_t>(slot) + 1; i < records_.size(); ++i) {
        SharedRecord& entry = records_[i];
        if (shared(entry.state).load() == kVariableSlot) continue;
        // The variable has no value now, so one that it owns is what a program that died left.
        std::int32_t owner = kNone;
        const bool lost = shared(entry.owner).load() == slot;
        if (!lost && (shared(entry.state).load() != kFreeRecord ||
                      !shared(entry.owner).compare_exchange_strong(owner, slot)))
            continue;
        shared(entry.state).store(kEntry);
        return &entry;
    }
    return nullptr;
}

/// Frees what programs that died in the middle of a write had taken for other variables. That costs a look at
/// all of them, so it is done when there is nothing free: there is an entry for each variable.
void QueueBlock::freeLost(std::int32_t slot) {
    for (std::int32_t other = 0; static_cast<std::size_t>(other) < names_.size(); ++other) {
        NamedSemaphore* taken = other != slot ? semaphore(other) : nullptr;
        if (taken == nullptr) continue;
        // Not waited for: whoever has it may be waiting for this one.
        const NamedSemaphore::Wait outcome = taken->acquire(nullptr, std::chrono::milliseconds(0));
        if (outcome != NamedSemaphore::Wait::Acquired && outcome != NamedSemaphore::Wait::Recovered) continue;
        const std::int32_t head = records_[static_cast<std::size_t>(other)].next;
        for (std::size_t i = names_.size(); i < records_.size(); ++i)
            if (static_cast<std::int32_t>(i) != head && shared(records_[i].owner).load() == other)
                free(static_cast<std::int32_t>(i));
        taken->release();
    }
}

}  // namespace kestrel
