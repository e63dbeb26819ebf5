// One queue: a block of shared memory with a slot for each variable and, behind them, entries with their
// values.
#pragma once

#include "ipc/shared_record.h"
#include "platform/clock.h"
#include "platform/named_memory.h"
#include "platform/named_semaphore.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kestrel {

/// The name of a queue's block.
[[nodiscard]] std::string queueBlockName(std::string_view queue);
/// The name of the slot of an array's element (from 1); a plain variable's slot has the variable's name.
[[nodiscard]] std::string elementSlotName(std::string_view variable, std::int64_t element);
/// The name of a slot's semaphore. It holds no queue: variables of one name in several queues share it.
[[nodiscard]] std::string slotSemaphoreName(std::string_view slot);

/// Slots that one queue may have; each takes a semaphore.
inline constexpr std::size_t kMostQueueSlots = 4096;

/// A queue as one program sees it.
///
/// Record k is 280*k bytes behind the header. Variable slots (state 100) come first, in order of declaration;
/// an entry (state 200) holds the value of the slot that its `owner` names, whose `next` names the entry.
/// Free records have the state -1. An entry is taken by setting its `owner`, so that two programs that write
/// different variables at once never take the same.
class QueueBlock {
public:
    /// Makes a queue, or joins one of that name whose slots are the same in the same order. One whose owners
    /// are gone is replaced.
    /// @return null when it cannot be made or joined
    [[nodiscard]] static std::unique_ptr<QueueBlock> create(std::string_view queue,
                                                            std::span<const std::string> slots);
    /// @return null when there is no such queue
    [[nodiscard]] static std::unique_ptr<QueueBlock> open(std::string_view queue);
    /// The last program that leaves takes the block and the semaphores with it.
    ~QueueBlock();
    QueueBlock(const QueueBlock&) = delete;
    QueueBlock& operator=(const QueueBlock&) = delete;

    /// @return -1 when there is no such slot
    [[nodiscard]] std::int32_t slot(std::string_view name) const;
    /// True when another queue has taken the name.
    [[nodiscard]] bool superseded() const { return memory_.superseded(); }

    /// Keeps all programs but this one away from a slot. Whoever has it calls nothing that may come back
    /// here.
    class Hold {
    public:
        Hold(platform::NamedSemaphore& semaphore, bool recovered)
            : semaphore_(semaphore), recovered_(recovered) {}
        ~Hold() { semaphore_.release(); }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;
        /// True when a program died in the middle of its own access.
        [[nodiscard]] bool recovered() const noexcept { return recovered_; }

    private:
        platform::NamedSemaphore& semaphore_;
        bool recovered_;
    };
    /// Waits for the slot's semaphore.
    /// @param hold  receives it; stays empty when the flag ends the wait, or there is no semaphore
    void hold(std::int32_t slot, platform::CancelFlag requested, std::optional<Hold>& hold);

    /// While it is held: the slot's value; null when it has none.
    [[nodiscard]] const SharedRecord* value(std::int32_t slot) const;
    /// While it is held: gives the slot the kind and payload of a record. They are lost when no entry is
    /// free.
    void replace(std::int32_t slot, const SharedRecord& value);

private:
    explicit QueueBlock(platform::NamedMemory memory);
    [[nodiscard]] bool initialise(std::span<const std::string> slots);
    [[nodiscard]] bool hasSlots(std::span<const std::string> slots) const;
    void indexSlots();
    [[nodiscard]] platform::NamedSemaphore* semaphore(std::int32_t slot);
    void free(std::int32_t entry);
    void freeLost(std::int32_t slot);
    [[nodiscard]] SharedRecord* take(std::int32_t slot);

    platform::NamedMemory memory_;
    std::span<SharedRecord> records_;
    std::vector<std::string> names_;  // of the slots, as they were when the block was opened
    std::unordered_map<std::string_view, std::int32_t> slots_;
    std::vector<std::optional<platform::NamedSemaphore>> semaphores_;  // opened when first needed
};

}  // namespace kestrel
