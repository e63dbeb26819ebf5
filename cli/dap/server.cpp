#include "cli/dap/server.h"

#include "cli/commands.h"
#include "cli/dap/asking.h"

#include <algorithm>
#include <utility>

namespace kestrel::cli::dap {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long a request may wait for a script that is to answer.
constexpr milliseconds kPatience{5000};
/// What an editor that vanished leaves behind ends in this time, one way or the other.
constexpr milliseconds kVanishedPatience{1000};
/// Turns follow each other faster the more happens. A script that runs may say something at any time.
constexpr milliseconds kShortest{1};
constexpr milliseconds kLongestRunning{8};
constexpr milliseconds kLongest{100};
constexpr milliseconds kLastWords{2000};

/// Optional arguments that are null are as good as left out.
void dropNulls(Json& object) {
    for (auto at = object.begin(); at != object.end();) {
        if (at->is_object()) dropNulls(*at);
        at = at->is_null() ? object.erase(at) : std::next(at);
    }
}

}  // namespace

const Server::Row Server::kRows[] = {
    {"initialize", Needs::Nothing, &Server::initialize},
    {"launch", Needs::Initialize, &Server::launch},
    {"attach", Needs::Initialize, &Server::attach},
    {"setBreakpoints", Needs::Initialize, &Server::setBreakpoints},
    {"setFunctionBreakpoints", Needs::Initialize, &Server::setFunctionBreakpoints},
    {"setExceptionBreakpoints", Needs::Initialize, &Server::setExceptionBreakpoints},
    {"configurationDone", Needs::Initialize, &Server::configurationDone},
    {"threads", Needs::Initialize, &Server::threads},
    {"continue", Needs::Pause, &Server::goOn},
    {"next", Needs::Pause, &Server::next},
    {"stepIn", Needs::Pause, &Server::stepIn},
    {"stepOut", Needs::Pause, &Server::stepOut},
    {"pause", Needs::Script, &Server::pause},
    {"stackTrace", Needs::Pause, &Server::stackTrace},
    {"scopes", Needs::Pause, &Server::scopes},
    {"variables", Needs::Pause, &Server::variables},
    {"setVariable", Needs::Pause, &Server::setVariable},
    {"setExpression", Needs::Pause, &Server::setExpression},
    {"evaluate", Needs::Script, &Server::evaluate},
    {"exceptionInfo", Needs::Pause, &Server::exceptionInfo},
    {"loadedSources", Needs::Initialize, &Server::loadedSources},
    {"source", Needs::Initialize, &Server::source},
    {"cancel", Needs::Initialize, &Server::cancel},
    {"terminate", Needs::Initialize, &Server::terminate},
    {"disconnect", Needs::Nothing, &Server::disconnect},
};

int Server::run() {
    while (!over_) {
        turn();
        if (!over_) wait();
    }
    const Time end = steady_clock::now() + kLastWords;
    while (wire_.unsent() && steady_clock::now() < end) {
        wire_.flush();
        platform::waitForChannels({}, &wire_.out(), kLongestRunning);
    }
    // A program that was let go writes to this one.
    while (target_.started() && !target_.status()) {
        static_cast<void>(target_.takeOutput());
        platform::waitForChannels({&target_.output(), &target_.errors()}, nullptr, kLongest);
        if (interrupt_.take()) target_.kill();
    }
    return exitCode_;
}

void Server::turn() {
    busy_ = active_ = false;
    receive();
    askAgain();
    followTarget();
    followScript();
    if (interrupt_.take() || (wire_.ended() && !quits_)) quit(kVanishedPatience);
    goOnLeaving();
    wire_.flush();
}

void Server::wait() {
    const bool mayHappen = target_.looking() || (target_.client() != nullptr && !paused_);
    const milliseconds longest = mayHappen ? kLongestRunning : kLongest;
    idle_ = active_ || busy_ ? kShortest : std::min(idle_ * 2, longest);
    const bool full = wire_.congested();
    const platform::Channel none;
    platform::waitForChannels(
        {full ? &none : &wire_.in(), full ? &none : &target_.output(), full ? &none : &target_.errors()},
        wire_.unsent() ? &wire_.out() : nullptr, idle_);
}

void Server::receive() {
    wire_.receive();
    while (!over_) {
        std::optional<Incoming> incoming = wire_.next();
        if (!incoming) return;
        active_ = true;
        if (!incoming->problem.empty()) say("important", incoming->problem);
        if (incoming->lost) {
            exitCode_ = kExitUnusable;
            return quit(kVanishedPatience);
        }
        const Json& message = incoming->message;
        if (message.is_object() && message.value("type", Json()) == "request")
            dispatch(std::move(incoming->message));
    }
}

void Server::dispatch(Json request) {
    if (!request.value("seq", Json()).is_number_integer() || !request.value("command", Json()).is_string())
        return wire_.refuse(request, "a request has a seq and a command");
    if (!request.value("arguments", Json()).is_object()) request["arguments"] = Json::object();
    dropNulls(request["arguments"]);
    const auto name = request["command"].get<std::string>();
    const Row* row = std::ranges::find(kRows, name, &Row::command);
    if (row == std::end(kRows)) return wire_.refuse(request, "there is no request \"" + name + "\"");
    const bool asks = row->needs == Needs::Script || row->needs == Needs::Pause;
    if ((asks && !waiting_.empty()) || !carryOut(*row, request))
        waiting_.push_back({row, std::move(request), steady_clock::now() + kPatience});
}

void Server::askAgain() {
    while (!waiting_.empty()) {
        const Waiting& first = waiting_.front();
        if (!carryOut(*first.row, first.request)) {
            if (steady_clock::now() < first.until) return;
            wire_.refuse(first.request, "the script has not come to a new line yet");
        }
        waiting_.pop_front();
    }
}

std::string Server::unmet(Needs needs) {
    if (needs == Needs::Nothing) return {};
    if (!initialized_) return "initialize comes first";
    if (needs == Needs::Initialize) return {};
    if (target_.client() == nullptr)
        return begun_ && !starting_ ? "the script has ended" : "there is no script yet";
    if (needs == Needs::Pause && !paused_) return "notStopped";
    return {};
}

bool Server::carryOut(const Row& row, const Json& request) {
    try {
        if (const std::string problem = unmet(row.needs); !problem.empty()) throw Refused(problem);
        if (std::optional<Json> body = (this->*row.carryOut)(request))
            wire_.respond(request, std::move(*body));
    } catch (const Refused& refused) {
        wire_.refuse(request, refused.what());
    } catch (const Json::exception& error) {  // an argument is missing or of another type
        wire_.refuse(request, std::string("unusable arguments: ") + error.what());
    } catch (const NotYet&) {
        busy_ = true;
        return false;
    } catch (const std::exception& error) {  // no memory, a path that cannot be used
        wire_.refuse(request, error.what());
    }
    return true;
}

}  // namespace kestrel::cli::dap
