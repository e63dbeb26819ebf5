// The script that an editor debugs: started for it or found by its link, without anybody waiting for it.
#pragma once

#include "cli/debugger/launch.h"
#include "ipc/debug_client.h"
#include "platform/processes.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::cli::dap {

class Target {
public:
    /// What a program has written since it was asked last; whole characters.
    struct Output {
        std::string output;
        std::string errors;
    };

    /// Starts the command that runs a script, or waits for a script that may be about to appear.
    /// @return a sentence when that cannot be done
    [[nodiscard]] std::string start(const Launch& launch);
    void attach(std::string link, std::chrono::milliseconds longest);

    /// Looks for the script's link once, as long as it has not been found.
    /// @return a sentence when it never will be
    [[nodiscard]] std::string look();
    [[nodiscard]] bool looking() const noexcept { return !link_.empty(); }

    /// The script; null before it has been found, and when it has ended or was let go.
    [[nodiscard]] debug::DebugClient* client() noexcept { return client_ ? &*client_ : nullptr; }
    void letGo() noexcept { client_.reset(); }

    /// True for a program that was started here.
    [[nodiscard]] bool started() const noexcept { return process_.has_value(); }
    /// Takes in what the program writes.
    [[nodiscard]] Output takeOutput();
    /// Its status once it has ended and all it wrote is taken; 128 + number when a signal ended it.
    [[nodiscard]] std::optional<int> status();
    void kill();
    /// What there is to wait for.
    [[nodiscard]] const platform::Channel& output() noexcept { return process_ ? process_->output() : none_; }
    [[nodiscard]] const platform::Channel& errors() noexcept { return process_ ? process_->errors() : none_; }

private:
    using Time = std::chrono::steady_clock::time_point;

    std::optional<platform::Process> process_;
    std::optional<debug::DebugClient> client_;
    std::string link_;           // that is looked for
    std::string known_;          // that was found
    std::optional<Time> until_;  // when looking for it ends
    std::optional<Time> ended_;  // when the program was seen to have ended
    Output unfinished_;
    platform::Channel none_;
};

}  // namespace kestrel::cli::dap
