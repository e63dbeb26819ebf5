#include "cli/dap/target.h"

#include "cli/dap/framing.h"

#include <utility>

namespace kestrel::cli::dap {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long a request keeps everybody waiting. A script that does not come to a line in that time is asked
/// again.
constexpr milliseconds kAttachPatience{50};
/// What a program has started may hold its outputs open for ever.
constexpr milliseconds kLastOutput{300};
constexpr std::size_t kReadAtOnce = std::size_t{1} << 16U;

void take(platform::Channel& channel, std::string& unfinished, std::string& text) {
    text = std::move(unfinished);
    channel.read(text, kReadAtOnce);
    const std::size_t kept = channel.isOpen() ? unfinishedBytes(text) : 0;
    unfinished = text.substr(text.size() - kept);
    text.resize(text.size() - kept);
}

}  // namespace

std::string Target::start(const Launch& launch) {
    std::string link = unguessableLink();
    platform::ProcessOptions options = launchOptions();
    options.captured = true;
    process_ = platform::Process::start(launchCommand(launch, link), options);
    if (!process_) return "the kestrel command cannot be started";
    link_ = std::move(link);
    until_.reset();
    ended_.reset();
    unfinished_ = {};
    return {};
}

void Target::attach(std::string link, milliseconds longest) {
    link_ = std::move(link);
    until_ = steady_clock::now() + longest;
}

std::string Target::look() {
    bool taken = false;
    client_ = debug::DebugClient::attach(link_, milliseconds(0), nullptr, &taken);
    std::string problem;
    if (client_) {
        client_->setPatience(kAttachPatience);
    } else if (process_) {
        if (const std::optional<int> ended = status())
            problem = "the command ended with status " + std::to_string(*ended) +
                      " before the script could be debugged";
    } else if (steady_clock::now() >= *until_) {
        problem = taken ? "another debugger is attached to the script with the link \"" + link_ + "\""
                        : "there is no script with the debugger link \"" + link_ + "\"";
    }
    if (client_ || !problem.empty()) known_ = std::exchange(link_, {});
    return problem;
}

Target::Output Target::takeOutput() {
    Output taken;
    if (!process_) return taken;
    take(process_->output(), unfinished_.output, taken.output);
    take(process_->errors(), unfinished_.errors, taken.errors);
    return taken;
}

std::optional<int> Target::status() {
    const std::optional<int> status = process_ ? process_->poll() : std::nullopt;
    if (!status) return std::nullopt;
    if (!ended_) ended_ = steady_clock::now();
    // What a program leaves that was killed: a client of it takes that away.
    if (!client_ && !known_.empty())
        static_cast<void>(debug::DebugClient::attach(std::exchange(known_, {}), milliseconds(0)));
    const bool open = process_->output().isOpen() || process_->errors().isOpen();
    return open && steady_clock::now() - *ended_ < kLastOutput ? std::nullopt : status;
}

void Target::kill() {
    if (process_) static_cast<void>(process_->kill());
}

}  // namespace kestrel::cli::dap
