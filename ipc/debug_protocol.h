// What a script and its debugger say to each other: the names of the blocks, the records, the commands.
//
// A link has two blocks of 71 records (shared_record.h) and a semaphore. The debugger writes a command record
// (state 100, the command's name as payload) and behind it the records of its operands. The script, which
// looks while it is paused and before each new line, waits for the semaphore, carries out what it finds,
// writes its reply into the records of the other block, clears the states of the command block and releases
// the semaphore. The state of reply record 0 tells how it went. Both sides may hold the semaphore while they
// write; a debugger that does so, and sets the state last, is never seen half done and is answered at once,
// any other within 100 ms.
//
// A third block carries what happens on its own: messages, and that the script has paused. It is a ring:
// event number n stands in record (n - 1) % 128 and the records after it.
#pragma once

#include "ipc/shared_record.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel::debug {

inline constexpr std::size_t kBlockSize = 20480;
inline constexpr std::size_t kRecords = 71;
inline constexpr std::size_t kEventRecords = 128;
inline constexpr std::size_t kEventBlockSize = sizeof(SharedBlockHeader) + kEventRecords * kSharedRecordSize;
/// SharedBlockHeader::zero of the event block. A client that knows another must not use its own commands.
inline constexpr std::int32_t kProtocolVersion = 1;
static_assert(sizeof(SharedBlockHeader) + kRecords * kSharedRecordSize <= kBlockSize);

[[nodiscard]] inline std::string commandBlockName(std::string_view link) {
    return std::string("KXL_DEBUG_SHMEMIN_").append(link);
}
[[nodiscard]] inline std::string replyBlockName(std::string_view link) {
    return std::string("KXL_DEBUG_SHMEMOUT_").append(link);
}
[[nodiscard]] inline std::string semaphoreName(std::string_view link) {
    return std::string("KXL_DEBUG_SEMAPHORE_").append(link);
}
/// The semaphore that a debugger holds as long as it is attached. Only debuggers look at it.
[[nodiscard]] inline std::string attachedName(std::string_view link) {
    return std::string("KXL_DEBUG_ATTACHED_").append(link);
}
[[nodiscard]] inline std::string eventBlockName(std::string_view link) {
    return std::string("KXL_DEBUG_EVENTS_").append(link);
}

/// SharedRecord::state of a command record, and of reply record 0.
inline constexpr std::int32_t kCommandState = 100;
inline constexpr std::int32_t kNothingYet = 0;
inline constexpr std::int32_t kSucceeded = 1;
inline constexpr std::int32_t kFailed = -1;  ///< reply record 0 holds the reason as a text

enum class Command : std::uint8_t {
    Change,
    Report,
    Step,
    Status,
    Break,
    Terminate,
    Run,
    Pause,
    End,
    Detach,
    StopAtLine,
    StopAtFunction,
    StopAtPixel,
    StopAtErrors,
    Clear,
    Files,
    Functions,
    Frames,
    Values,
    Value,
    Text,
    Assign,
};

struct CommandRow {
    Command command;
    std::string_view name;
    std::size_t operands;  ///< records behind the command; ASSIGN may have more
    bool original;         ///< one that every debugger knows: a script that runs freely pauses for it
};

// The replies of those that are not original, beside the state. What a list does not fit into one reply goes
// on when it is asked for again from a later entry; record 0 holds the number of all entries. A "place" is
// two records, the number of a file (FILES) and a line, both from what people see before preprocessing.
inline constexpr CommandRow kCommands[] = {
    {Command::Change, "CHANGE", 2, true},
    {Command::Report, "REPORT", 1, true},
    {Command::Step, "STEP", 1, true},
    {Command::Status, "STATUS", 0, true},
    {Command::Break, "BREAK", 0, true},
    {Command::Terminate, "TERMINATE", 0, true},
    // mode (RunMode), count of stops to pass over, at least 1. The script resumes.
    {Command::Run, "RUN", 2, false},
    // The script pauses at its next line.
    {Command::Pause, "PAUSE", 0, false},
    // The script resumes and ends; whatever else the host calls of it ends at its first line.
    {Command::End, "END", 0, false},
    // All stops are cleared, the script runs freely, its messages go to its user again until the next
    // command.
    {Command::Detach, "DETACH", 0, false},
    // file, line: pauses at the first line with code from there on. Record 0 the stop's number, then its
    // place.
    {Command::StopAtLine, "STOPLINE", 2, false},
    // name: the same for the first line of a function.
    {Command::StopAtFunction, "STOPFUNCTION", 1, false},
    // column, row, n: pauses in the n-th call of process for that pixel from now on. Record 0 the stop's
    // number.
    {Command::StopAtPixel, "STOPPIXEL", 3, false},
    // 1 or 0: pauses where an error is reported.
    {Command::StopAtErrors, "STOPERRORS", 1, false},
    // number of a stop, 0 for all.
    {Command::Clear, "CLEAR", 1, false},
    // first entry: per file its path, in as many text records as the first one's `next` says, itself
    // included.
    {Command::Files, "FILES", 1, false},
    // first entry: per function its name and the place of its first line with code.
    {Command::Functions, "FUNCTIONS", 1, false},
    // first entry: per call in progress, innermost first, the function's name ("" outside functions) and
    // where it is.
    {Command::Frames, "FRAMES", 1, false},
    // reference, first entry: what it consists of. "f::" are a function's variables, parameters first, "::"
    // the globals, "f::x" the elements or fields of x. Per entry what to append to the reference, and the
    // value: in `owner` its ValueShape, in `next` the length of the text or the number of parts.
    {Command::Values, "VALUES", 2, false},
    // reference: record 1 is that value, as in VALUES.
    {Command::Value, "VALUE", 1, false},
    // reference, offset: the characters of a text from there on, in text records; record 0 the length.
    {Command::Text, "TEXT", 2, false},
    // reference, value: like CHANGE, but also for elements and fields; a text goes on in as many text records
    // as the value's `next` says.
    {Command::Assign, "ASSIGN", 2, false},
};

enum class RunMode : std::int32_t {
    Freely = 0,
    Line,  ///< to the next line
    Over,  ///< to the next line of the same call or one further out
    Out,   ///< to the next line of a call further out
};

/// What a value in a reply of VALUES is, for values without a SharedKind.
enum class ValueShape : std::int32_t {
    Plain = 0,  ///< the payload says all, but for the rest of a long text
    Nothing,    ///< a variable that has never been assigned
    Array,
    Record,
    Object,  ///< something of the system; the payload is its text, may be empty
};

enum class EventType : std::int32_t {
    Information = 1,  ///< payload: the message's text
    Warning,
    Error,
    Paused,  ///< kind: PauseReason; payload: the number of the stop, if one was reached
    Resumed,
    MoreText,  ///< more of the message before
};

enum class PauseReason : std::int32_t {
    Entry = 0,  ///< the script's first line, or after STEP
    Step,
    Stop,  ///< at a line, a function or a pixel
    Error,
    Request,  ///< PAUSE, or an original command while the script ran freely
};

/// Numbers of events start over after this one.
inline constexpr std::int32_t kLastEvent = static_cast<std::int32_t>(kEventRecords) * (1 << 23);

// An event's fields: state its number, written last; reserved its EventType; owner the line and next the file
// it is about (-1: unknown); semaphore the number of MoreText records that follow.

/// A reference: the function's name, "::" and the variable's; nothing before the "::" for a global. VALUES,
/// TEXT and ASSIGN also take parts behind it: "[2]", "[1,3]" for elements, counted from 1, and "->name" for
/// fields.
inline constexpr std::string_view kScope = "::";
inline constexpr std::string_view kUnknownReference = "Unknown variable reference: ";

}  // namespace kestrel::debug
