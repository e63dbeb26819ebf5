// The script that is debugged: one that runs already, or one that is started for it.
#pragma once

#include "cli/debugger/launch.h"
#include "ipc/debug_client.h"
#include "platform/clock.h"
#include "platform/processes.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace kestrel::cli {

class Debuggee {
public:
    /// Attaches to the script that has this link, which may appear within that time.
    /// @param problem  receives a sentence when that fails
    [[nodiscard]] static std::unique_ptr<Debuggee> attach(const std::string& link,
                                                          std::chrono::milliseconds longest,
                                                          platform::CancelFlag requested,
                                                          std::string& problem);
    /// Starts `kestrel run`, `shade` or `render` in a process of its own, under a link that nobody can guess.
    /// It has no standard input, and Ctrl-C does not reach it.
    /// @param status  receives the status of a command that ended before its script could be debugged, e.g.
    /// because
    ///                that does not compile; it has said why then
    [[nodiscard]] static std::unique_ptr<Debuggee> start(const Launch& launch, platform::CancelFlag requested,
                                                         std::string& problem, std::optional<int>& status);

    [[nodiscard]] debug::DebugClient& client() noexcept { return client_; }
    /// True for one that was started here.
    [[nodiscard]] bool started() const noexcept { return process_.has_value(); }
    /// Waits for the end of a program that was started here; when the flag ends the wait it is ended at once.
    /// @return its status; 128 + number when a signal ended it
    int finish(platform::CancelFlag requested);
    /// Waits that long for its end and ends it then.
    int finishWithin(std::chrono::milliseconds longest);

private:
    Debuggee(debug::DebugClient client, std::optional<platform::Process> process)
        : client_(std::move(client)), process_(std::move(process)) {}

    debug::DebugClient client_;
    std::optional<platform::Process> process_;
};

}  // namespace kestrel::cli
