#include "ipc/debug_events.h"

#include <algorithm>
#include <atomic>

namespace kestrel::debug {

namespace {

constexpr auto kRing = static_cast<std::int32_t>(kEventRecords);

std::int32_t after(std::int32_t number) noexcept {
    return number >= kLastEvent ? 1 : number + 1;
}

SharedRecord& placeOf(std::span<SharedRecord> ring, std::int32_t number) noexcept {
    return ring[static_cast<std::size_t>(number - 1) % kEventRecords];
}

}  // namespace

void EventWriter::put(SharedRecord record) {
    SharedRecord& place = placeOf(ring_, number_);
    const std::atomic_ref<std::int32_t> state(place.state);
    state.store(0, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    record.state = 0;
    place = record;
    state.store(number_, std::memory_order_release);
    number_ = after(number_);
}

void EventWriter::write(const Event& event) {
    if (ring_.size() < kEventRecords) return;
    const std::string_view text = event.text;
    const std::size_t pieces =
        std::min<std::size_t>((text.size() + SharedRecord::kTextLength) / SharedRecord::kTextLength, 8);
    SharedRecord record{};
    record.reserved = static_cast<std::int32_t>(event.type);
    record.owner = event.line;
    record.next = event.file;
    if (event.type == EventType::Paused) {
        record.kind = static_cast<std::int32_t>(event.reason);
        record.setInteger(event.stop);
    } else {
        record.semaphore = static_cast<std::int32_t>(std::max<std::size_t>(pieces, 1)) - 1;
        record.setText(text);
    }
    put(record);
    for (std::size_t i = 1; i < pieces; ++i) {
        SharedRecord more{};
        more.reserved = static_cast<std::int32_t>(EventType::MoreText);
        more.setText(text.substr(i * SharedRecord::kTextLength));
        put(more);
    }
}

EventReader::Look EventReader::look(std::int32_t number, SharedRecord& record) const {
    SharedRecord& place = placeOf(ring_, number);
    const std::atomic_ref<std::int32_t> state(place.state);
    const std::int32_t before = state.load(std::memory_order_acquire);
    const std::int32_t lapBefore = number > kRing ? number - kRing : number - kRing + kLastEvent;
    if (before == 0 || before == lapBefore) return Look::NotYet;
    record = place;
    std::atomic_thread_fence(std::memory_order_acquire);
    return before == number && state.load(std::memory_order_relaxed) == number ? Look::Found
                                                                               : Look::Overwritten;
}

void EventReader::catchUp() {
    const std::int32_t newest = std::atomic_ref<std::int32_t>(placeOf(ring_, number_).state).load();
    if (newest <= 0 || newest > kLastEvent) return;  // just being written, or by no writer of ours
    // What follows in the ring is the oldest there is; some room, as the writer goes on.
    const std::int32_t oldest = newest > kRing - 8 ? newest - kRing + 8 : newest - kRing + 8 + kLastEvent;
    // A reader that joins may find any number; afterwards it never goes back, whatever stands in the ring: it
    // would read the same events for ever.
    const std::int32_t ahead = oldest >= number_ ? oldest - number_ : kLastEvent - number_ + oldest;
    if (joined_ && ahead > kLastEvent / 2) return;
    missed_ += std::max(ahead, 1);
    number_ = oldest;
}

std::optional<Event> EventReader::next() {
    if (ring_.size() < kEventRecords) return std::nullopt;
    SharedRecord record{};
    for (int tries = 0; tries < kRing; ++tries) {
        const Look found = look(number_, record);
        if (found == Look::NotYet) return std::nullopt;
        if (found == Look::Overwritten) {
            catchUp();
            continue;
        }
        const std::int32_t pieces = std::clamp(record.semaphore, 0, 8);
        const auto type = static_cast<EventType>(record.reserved);
        Event event{type, record.owner, record.next, {}, 0, {}};
        if (type == EventType::Paused) {
            event.reason = static_cast<PauseReason>(record.kind);
            event.stop = record.integer();
        } else {
            event.text = record.text();
        }
        std::int32_t number = after(number_);
        Look more = Look::Found;
        for (std::int32_t i = 0; i < pieces && more == Look::Found; ++i, number = after(number)) {
            more = look(number, record);
            if (more == Look::Found) event.text += record.text();
        }
        if (more == Look::NotYet) return std::nullopt;  // still being written
        if (more == Look::Overwritten) {
            catchUp();
            continue;
        }
        number_ = number;
        joined_ = true;
        if (type != EventType::MoreText) return event;
    }
    return std::nullopt;
}

}  // namespace kestrel::debug
