// Other programs: started, waited for, ended.
#pragma once

#include "platform/channels.h"
#include "platform/clock.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

/// What a program gets from this process besides its standard output and standard error.
struct ProcessOptions {
    /// Standard input is empty and no other file is inherited.
    bool detached = false;
    /// The program and what it starts in turn can be ended as a whole.
    bool ownGroup = false;
    /// System path of an existing file that becomes its standard output, emptied before; "" = inherited.
    std::string outputFile{};
    /// A descriptor that the program finds under the same number; -1 = none.
    int descriptor = -1;
    /// What it writes to standard output and standard error is read from Process::output() and errors().
    bool captured = false;
};

/// A program that was started. Whoever owns it takes notice of its end, by poll(), wait() or the destructor;
/// until then the system keeps what it left.
class Process {
public:
    /// Starts a program. What is buffered for standard output is written before.
    /// @param words  the program, then its arguments. With a "\" or "/" in it the program is a path in
    ///               either form, in any letter case; otherwise it is searched on PATH
    /// @return nothing when the program is not found or cannot be started
    [[nodiscard]] static std::optional<Process> start(std::vector<std::string> words,
                                                      const ProcessOptions& options = {});
    Process(Process&& other) noexcept;
    Process& operator=(Process&& other) noexcept;
    /// Leaves a running program alone.
    ~Process();

    /// @return the exit code, or nothing while the program runs. 128 + number when a signal ended it; -1 when
    ///         somebody else in this process took notice of its end, so that the code is lost
    [[nodiscard]] std::optional<int> poll();
    /// Waits for the program's end.
    /// @return what poll() says then; nothing when the flag ended the wait
    [[nodiscard]] std::optional<int> wait(CancelFlag requested);
    /// Ends the program at once, with its group if it has its own. @return false when it had ended already
    bool kill();
    /// wait(); a program that still runs when the flag ends the wait is killed.
    int finish(CancelFlag requested);

    /// What it writes, if that is captured; closed otherwise.
    [[nodiscard]] Channel& output() noexcept { return output_; }
    [[nodiscard]] Channel& errors() noexcept { return errors_; }

    /// The system's number of the program.
    [[nodiscard]] std::int64_t id() const noexcept { return id_; }

private:
    Process(std::int64_t id, bool ownGroup) noexcept : id_(id), ownGroup_(ownGroup) {}
    [[nodiscard]] std::optional<int> look(bool block);

    std::int64_t id_;
    bool ownGroup_;
    std::optional<int> exitCode_;  // known once the program has ended
    Channel output_;
    Channel errors_;
};

/// From now on this program is interrupted, as by Ctrl-C, when the thread that started it ends.
void endWithParent();

/// The words of a command line: blanks separate them, double quotes hold together what stands between them
/// and vanish.
[[nodiscard]] std::vector<std::string> splitCommandLine(std::string_view line);

}  // namespace kestrel::platform
