#include "cli/debugger/debuggee.h"

#include <utility>

namespace kestrel::cli {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLook{50};

}  // namespace

std::unique_ptr<Debuggee> Debuggee::attach(const std::string& link, milliseconds longest,
                                           platform::CancelFlag requested, std::string& problem) {
    bool taken = false;
    std::optional<debug::DebugClient> client = debug::DebugClient::attach(link, longest, requested, &taken);
    if (!client) {
        const bool interrupted = requested != nullptr && *requested != 0;
        problem = interrupted ? "interrupted"
                  : taken     ? "another debugger is attached to the script with the link \"" + link + "\""
                              : "there is no script with the debugger link \"" + link + "\"";
        return nullptr;
    }
    return std::unique_ptr<Debuggee>(new Debuggee(std::move(*client), std::nullopt));
}

std::unique_ptr<Debuggee> Debuggee::start(const Launch& launch, platform::CancelFlag requested,
                                          std::string& problem, std::optional<int>& status) {
    const std::string link = unguessableLink();
    std::optional<platform::Process> process =
        platform::Process::start(launchCommand(launch, link), launchOptions());
    if (!process) {
        problem = "cannot start the kestrel command";
        return nullptr;
    }
    while (true) {
        if (std::optional<debug::DebugClient> client = debug::DebugClient::attach(link, kLook, requested))
            return std::unique_ptr<Debuggee>(new Debuggee(std::move(*client), std::move(process)));
        status = process->poll();
        if (status) return nullptr;
        if (requested != nullptr && *requested != 0) break;
    }
    // It ends with this program, and takes away what it shares.
    problem = "interrupted before the script had started";
    return nullptr;
}

int Debuggee::finish(platform::CancelFlag requested) {
    return process_->finish(requested);
}

int Debuggee::finishWithin(milliseconds longest) {
    const steady_clock::time_point end = steady_clock::now() + longest;
    while (steady_clock::now() < end) {
        if (const std::optional<int> status = process_->poll()) return *status;
        static_cast<void>(platform::pause(kLook, nullptr));
    }
    static_cast<void>(process_->kill());
    return process_->finish(nullptr);
}

}  // namespace kestrel::cli
