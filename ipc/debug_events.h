// The ring of events of a debugger link: one writes, others read without any lock.
#pragma once

#include "ipc/debug_protocol.h"

#include <optional>
#include <span>
#include <string>
#include <utility>

namespace kestrel::debug {

struct Event {
    EventType type = EventType::Information;
    std::int32_t line = 0;   ///< 0: unknown
    std::int32_t file = -1;  ///< as FILES numbers them; -1: unknown
    PauseReason reason = PauseReason::Entry;
    std::int32_t stop = 0;  ///< Paused: the number of the stop; 0: none
    std::string text;       ///< messages
};

class EventWriter {
public:
    EventWriter() = default;
    explicit EventWriter(std::span<SharedRecord> ring) : ring_(ring) {}
    void write(const Event& event);

private:
    void put(SharedRecord record);

    std::span<SharedRecord> ring_;
    std::int32_t number_ = 1;
};

class EventReader {
public:
    EventReader() = default;
    explicit EventReader(std::span<SharedRecord> ring) : ring_(ring) {}
    /// The next event; nothing when there is none yet. What was overwritten before it could be read is
    /// counted.
    [[nodiscard]] std::optional<Event> next();
    /// How many records have been missed since this was asked last.
    [[nodiscard]] std::int64_t takeMissed() noexcept { return std::exchange(missed_, 0); }

private:
    enum class Look { Found, NotYet, Overwritten };
    Look look(std::int32_t number, SharedRecord& record) const;
    void catchUp();

    std::span<SharedRecord> ring_;
    std::int32_t number_ = 1;
    std::int64_t missed_ = 0;
    bool joined_ = false;  // something has been read
};

}  // namespace kestrel::debug
