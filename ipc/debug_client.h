// The other end of a debugger link: what a debugger asks a script, in one call each.
#pragma once

#include "ipc/debug_events.h"
#include "ipc/debug_protocol.h"
#include "platform/clock.h"
#include "platform/named_memory.h"
#include "platform/named_semaphore.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::debug {

/// How a request went.
struct Answer {
    enum class Outcome {
        Done,
        Refused,  ///< the script says why
        Busy,     ///< no answer yet: the script has not come to a new line; the request has been taken back
        Ended,    ///< the script is gone
    };
    Outcome outcome = Outcome::Done;
    std::string problem{};  ///< a sentence, unless it is done
    [[nodiscard]] bool done() const noexcept { return outcome == Outcome::Done; }
};

/// A value as a debugger sees it.
struct DebugValue {
    ValueShape shape = ValueShape::Plain;
    SharedKind kind = kSharedNone;  ///< of plain values
    std::int32_t integer = 0;
    std::array<double, 3> numbers{};  ///< kSharedNumber: the first; kSharedVector: all
    std::string text{};  ///< kSharedText; sizes of an array; name of a record; what an object says of itself
    std::size_t size = 0;  ///< length of the whole text, number of elements or fields
    [[nodiscard]] bool textCut() const noexcept { return kind == kSharedText && text.size() < size; }
    [[nodiscard]] bool hasParts() const noexcept {
        return (shape == ValueShape::Array || shape == ValueShape::Record) && size > 0;
    }
};

/// A line in one of DebugClient::files().
struct DebugPlace {
    std::int32_t file = -1;
    std::int32_t line = 0;
    [[nodiscard]] bool known() const noexcept { return file >= 0 && line > 0; }
};
struct DebugFunction {
    std::string name;
    DebugPlace place;  ///< of its first line with code
};
struct DebugFrame {
    std::string function;  ///< empty: code outside functions
    DebugPlace place;      ///< not known where the host called
};
struct DebugVariable {
    std::string name;  ///< to be appended to the reference that was asked for
    DebugValue value;
};
struct DebugStop {
    std::int32_t number = 0;
    DebugPlace place{};  ///< where the script will pause: may be below the line that was asked for
};

/// One debugger attached to one script.
class DebugClient {
public:
    /// How long a request waits for the script to come to a new line.
    static constexpr std::chrono::milliseconds kPatience{5000};

    /// Attaches to the script that has a link of that name, which may still be about to appear.
    /// @param taken  becomes true when another debugger is attached, of those that use this class
    /// @return nothing when there is none in that time, or `requested` said so, or it is no link of this kind
    [[nodiscard]] static std::optional<DebugClient> attach(std::string_view link,
                                                           std::chrono::milliseconds longest,
                                                           platform::CancelFlag requested = nullptr,
                                                           bool* taken = nullptr);
    DebugClient(DebugClient&&) noexcept = default;
    DebugClient& operator=(DebugClient&&) noexcept = default;
    /// Takes away what a script that died has left. One that lives stays as it is: see detach().
    ~DebugClient();

    /// False once the script has been unloaded or its program has died.
    [[nodiscard]] bool alive() const;
    /// After its end: whether its program died, instead of unloading it.
    [[nodiscard]] bool died();
    /// What the last event of that kind said.
    [[nodiscard]] bool paused() const noexcept { return paused_; }
    /// How long requests wait from now on, where somebody else is not to wait for them.
    void setPatience(std::chrono::milliseconds longest) noexcept { patience_ = longest; }
    /// Ends waiting for answers and events.
    void setCancel(platform::CancelFlag requested) noexcept { requested_ = requested; }

    // ---- what happens from now on: messages, and pauses. For a script that is paused the first one says so.
    [[nodiscard]] std::optional<Event> nextEvent();
    /// Waits for one. @return nothing when the time is up, the flag said so, or the script has ended
    /// (alive())
    [[nodiscard]] std::optional<Event> waitForEvent(std::chrono::milliseconds longest);
    [[nodiscard]] std::int64_t takeMissedEvents() noexcept { return events_.takeMissed(); }

    // ---- going on. An event tells when the script has paused again.
    [[nodiscard]] Answer run(RunMode mode, std::int32_t count = 1);
    [[nodiscard]] Answer pause();
    /// The script ends: whatever else its host calls of it ends at its first line.
    [[nodiscard]] Answer end();
    /// Leaves the script to itself: without stops, with its messages going to its own user.
    [[nodiscard]] Answer detach();
    /// Leaves such a command behind, without operands and without waiting, for whenever the script comes to
    /// its next line: a wish to pause, or the last that a debugger does. What is asked for next takes its
    /// place.
    /// @return false when not even that was possible
    bool leaveBehind(Command command);

    // ---- stops
    [[nodiscard]] Answer stopAtLine(const DebugPlace& place, DebugStop& stop);
    [[nodiscard]] Answer stopAtFunction(std::string_view name, DebugStop& stop);
    /// @param sample  the how-many-th sample of the pixel from now on, from 1
    [[nodiscard]] Answer stopAtPixel(std::int32_t column, std::int32_t row, std::int32_t sample,
                                     DebugStop& stop);
    [[nodiscard]] Answer stopAtErrors(bool on);
    /// @param number  0: all of them
    [[nodiscard]] Answer removeStop(std::int32_t number);

    // ---- looking
    [[nodiscard]] Answer files(std::vector<std::string>& paths);
    [[nodiscard]] Answer functions(std::vector<DebugFunction>& functions);
    /// Innermost first.
    [[nodiscard]] Answer frames(std::vector<DebugFrame>& frames, std::size_t most = 1000);
    /// The same from one of them on.
    [[nodiscard]] Answer frames(std::size_t first, std::size_t most, std::vector<DebugFrame>& frames,
                                std::size_t& total);
    /// What a reference consists of (see debug_protocol.h), from one entry on.
    /// @param total  receives the number of all entries
    [[nodiscard]] Answer values(std::string_view reference, std::size_t first, std::size_t most,
                                std::vector<DebugVariable>& variables, std::size_t& total);
    /// The value of one variable, element or field.
    [[nodiscard]] Answer value(std::string_view reference, DebugValue& value);
    /// A whole text, or its first `most` characters.
    [[nodiscard]] Answer text(std::string_view reference, std::size_t most, std::string& text);
    [[nodiscard]] Answer assign(std::string_view reference, const DebugValue& value);

    // ---- the records themselves
    struct Reply {
        Answer answer;
        std::array<SharedRecord, kRecords> records{};
    };
    [[nodiscard]] Reply ask(Command command, std::span<const SharedRecord> operands = {});

private:
    struct Objects {
        platform::NamedMemory commands;
        platform::NamedMemory replies;
        platform::NamedMemory events;
        platform::NamedSemaphore semaphore;
        std::optional<platform::NamedSemaphore>
            attached{};  ///< held: no other debugger of this kind is there
    };
    explicit DebugClient(Objects objects);
    [[nodiscard]] static std::optional<Objects> openAll(std::string_view link);
    [[nodiscard]] bool claim(std::string_view link);
    void skipOldEvents();
    [[nodiscard]] platform::NamedSemaphore::Wait hold();
    [[nodiscard]] bool write(Command command, std::span<const SharedRecord> operands);
    [[nodiscard]] Answer::Outcome awaitConsumption();
    template <class TakeEntry>
    [[nodiscard]] Answer list(Command command, std::span<const SharedRecord> before, std::size_t first,
                              std::size_t most, std::size_t& total, TakeEntry take);

    std::unique_ptr<Objects> objects_;  // null in one that was moved from
    std::span<SharedRecord> commands_;
    std::span<SharedRecord> replies_;
    EventReader events_;
    std::optional<Event> lastPause_;  ///< from before this debugger came
    platform::CancelFlag requested_ = nullptr;
    std::chrono::milliseconds patience_ = kPatience;
    bool paused_ = false;
};

}  // namespace kestrel::debug
