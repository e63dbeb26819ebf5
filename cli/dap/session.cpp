// The script from its beginning to its end: what happens to it, and how an editor leaves it.
#include "cli/dap/asking.h"
#include "cli/dap/server.h"

#include <algorithm>
#include <utility>

namespace kestrel::cli::dap {

namespace {

using namespace debug;  // NOLINT: what happens at the link is all that this file is about
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kMostEvents = 500;  // in a turn
constexpr std::string_view kBreak = "<br>";

struct ReasonRow {
    PauseReason reason;
    const char* name;
    const char* description;
};
constexpr ReasonRow kReasons[] = {
    {PauseReason::Entry, "entry", "Paused at its beginning"},
    {PauseReason::Step, "step", "Paused after a step"},
    {PauseReason::Stop, "breakpoint", "Paused at a breakpoint"},
    {PauseReason::Error, "exception", "Paused at an error"},
    {PauseReason::Request, "pause", "Paused"},
};

}  // namespace

void Server::say(const char* category, const std::string& text) {
    wire_.event("output", {{"category", category}, {"output", text + "\n"}});
}

void Server::followTarget() {
    if (target_.looking()) {
        const std::string problem = target_.look();
        showOutput();
        if (target_.client() != nullptr && starting_) foundScript();
        if (!problem.empty() && starting_) {
            wire_.refuse(*std::exchange(starting_, std::nullopt), problem);
            wire_.event("terminated");
            target_ = Target();
        }
    }
    showOutput();
    if (target_.client() != nullptr || target_.looking() || !target_.started() || wire_.congested()) return;
    if (const std::optional<int> status = target_.status()) {
        showOutput();
        finish(status);
    }
}

void Server::foundScript() {
    wire_.respond(*std::exchange(starting_, std::nullopt), Json::object());
    if (!target_.started()) passOver();
    live_ = active_ = true;
    wire_.event("thread", {{"reason", "started"}, {"threadId", 1}});
    wire_.event("initialized");
}

/// What happened before this debugger came, but for the pause in which it finds the script.
void Server::passOver() {
    while (const std::optional<Event> event = target_.client()->nextEvent()) {
        if (event->type == EventType::Paused) pausedBy_ = event;
        if (event->type == EventType::Resumed) pausedBy_.reset();
    }
    static_cast<void>(target_.client()->takeMissedEvents());
}

void Server::showOutput() {
    if (wire_.congested()) return;
    const Target::Output taken = target_.takeOutput();
    for (const auto& [category, text] :
         {std::pair("stdout", &taken.output), std::pair("stderr", &taken.errors)}) {
        if (text->empty()) continue;
        active_ = true;
        wire_.event("output", {{"category", category}, {"output", *text}});
    }
}

void Server::followScript() {
    if (target_.client() == nullptr || wire_.congested()) return;
    const bool living = target_.client()->alive();  // asked first: what it told before it ended is there
    try {
        if (living) applyStops();
    } catch (const NotYet&) {
        busy_ = true;
    } catch (const Refused&) {  // its end is noticed below
    }
    for (int i = 0; i < kMostEvents && !pausedBy_; ++i) {
        const std::optional<Event> event = target_.client()->nextEvent();
        if (!event) break;
        active_ = true;
        show(*event);
    }
    if (const std::int64_t missed = target_.client()->takeMissedEvents(); missed > 0)
        say("console", std::to_string(missed) + " messages came too fast and are lost");
    if (pausedBy_ && living) return settlePause();
    if (!living && !active_) return scriptEnded();
    if (pauseWanted_ && !pauseTold_ && !paused_ && configured_) pauseScript();
}

void Server::pauseScript() {
    const Answer answer = target_.client()->pause();
    pauseTold_ = answer.done();
    busy_ = busy_ || answer.outcome == Answer::Outcome::Busy;
}

void Server::applyStops() {
    std::vector<int> changed;
    try {
        tellScript(changed);
    } catch (...) {
        tellChanged(changed);
        throw;
    }
    tellChanged(changed);
}

void Server::tellChanged(const std::vector<int>& ids) {
    for (const int id : ids)
        wire_.event("breakpoint", {{"reason", "changed"}, {"breakpoint", describeStop(stops_.byId(id))}});
}

/// Learns what the script consists of, and tells it what it is to pause at.
void Server::tellScript(std::vector<int>& changed) {
    if (target_.client() == nullptr || leaving_ != Leaving::No) return;
    if (!filesKnown_) need(target_.client()->files(files_));
    filesKnown_ = true;
    if (!noDebug_) stops_.apply(*target_.client(), files_, changed);
}

void Server::show(const Event& event) {
    switch (event.type) {
        case EventType::Information:
        case EventType::Warning:
        case EventType::Error: {
            std::string text = event.text;
            if (const std::size_t at = text.find(kBreak); at != std::string::npos)
                text.replace(at, kBreak.size(), "\n    ");
            if (event.type == EventType::Error) lastError_ = text;
            if (event.type == EventType::Error) text.insert(0, "error: ");
            if (event.type == EventType::Warning) text.insert(0, "warning: ");
            Json body{{"category", event.type == EventType::Information ? "stdout" : "stderr"},
                      {"output", text + "\n"}};
            if (event.line > 0 && filesKnown_ && event.file >= 0 &&
                static_cast<std::size_t>(event.file) < files_.size()) {
                body["source"] = sourceOf(event.file);
                body["line"] = toEditor(event.line);
            }
            return wire_.event("output", std::move(body));
        }
        case EventType::Paused:
            pausedBy_ = event;
            return;
        case EventType::Resumed:
            // One that was not asked for here: there is another debugger, or it was not told to wait.
            if (std::exchange(paused_, false))
                wire_.event("continued", {{"threadId", 1}, {"allThreadsContinued", true}});
            return;
        case EventType::MoreText:
            return;
    }
}

/// A pause is looked into once all breakpoints are known, so that none is run past.
void Server::settlePause() {
    if (!configured_ || leaving_ != Leaving::No) return;
    try {
        if (noDebug_) {
            need(target_.client()->detach());
            target_.letGo();
            return pausedBy_.reset();
        }
        if (!filesKnown_ || stops_.pending()) throw NotYet();
        std::vector<DebugFrame> frames;
        need(target_.client()->frames(frames, 1));
        function_ = frames.empty() ? std::string() : frames.front().function;
        std::vector<int> breakpoints;
        if (!goesOn(*pausedBy_, breakpoints)) announcePause(*pausedBy_, breakpoints);
        pausedBy_.reset();
        active_ = true;
    } catch (const NotYet&) {
        busy_ = true;
    } catch (const Refused&) {  // its end is noticed elsewhere
        pausedBy_.reset();
    }
}

/// Lets the script go on from where the user does not want it to pause.
bool Server::goesOn(const Event& event, std::vector<int>& breakpoints) {
    if (event.reason == PauseReason::Entry) {
        // Where it begins it pauses anyway; a breakpoint there is reached all the same.
        if (const std::int32_t stop = stops_.stopAt({event.file, event.line}); stop != 0)
            breakpoints = stops_.reached(*target_.client(), stop, function_);
        if (stopOnEntry_ || pauseWanted_ || !breakpoints.empty()) return false;
        resume(RunMode::Freely, 1, false);
        return true;
    }
    if (event.reason != PauseReason::Stop) return false;
    breakpoints = stops_.reached(*target_.client(), event.stop, function_);
    if (!breakpoints.empty() || pauseWanted_) return false;
    if (mode_ == RunMode::Freely) resume(RunMode::Freely, 1, false);
    return mode_ == RunMode::Freely || stepGoesOn();
}

/// A breakpoint that does not count has ended a step. @return false when the step ends there anyway
bool Server::stepGoesOn() {
    if (mode_ == RunMode::Line || stepDepth_ == 0) return false;
    std::vector<DebugFrame> none;
    std::size_t depth = 0;
    need(target_.client()->frames(0, 0, none, depth));
    const std::size_t ends = mode_ == RunMode::Over ? stepDepth_ : stepDepth_ - 1;
    if (depth <= ends) return false;
    const std::size_t start = stepDepth_;
    const RunMode mode = mode_;
    resume(RunMode::Out, static_cast<std::int32_t>(depth - ends), false);
    mode_ = mode;
    stepDepth_ = start;
    return true;
}

void Server::announcePause(const Event& event, const std::vector<int>& breakpoints) {
    // Where it would have gone on by itself, it is the request that keeps it.
    const bool kept = event.reason == PauseReason::Entry ? !stopOnEntry_ : event.reason == PauseReason::Stop;
    const PauseReason reason =
        kept && pauseWanted_ && breakpoints.empty() ? PauseReason::Request : event.reason;
    paused_ = true;
    pauseWanted_ = pauseTold_ = stopOnEntry_ = false;
    const auto* row = std::ranges::find(kReasons, reason, &ReasonRow::reason);
    Json body{{"reason", breakpoints.empty() ? row->name : "breakpoint"},
              {"description", row->description},
              {"threadId", 1},
              {"allThreadsStopped", true}};
    if (event.reason == PauseReason::Error) body["text"] = lastError_;
    if (!breakpoints.empty()) {
        body["hitBreakpointIds"] = breakpoints;
        const Breakpoint& first = stops_.byId(breakpoints.front());
        if (first.kind == Breakpoint::Kind::Function) body["reason"] = "function breakpoint";
        if (first.kind == Breakpoint::Kind::Pixel)
            body["description"] = "Paused in sample " + std::to_string(first.pixel[2]) + " of pixel " +
                                  std::to_string(first.pixel[0]) + ", " + std::to_string(first.pixel[1]);
    }
    wire_.event("stopped", std::move(body));
}

void Server::resume(RunMode mode, std::int32_t count, bool announced) {
    std::size_t depth = 0;
    if (mode != RunMode::Freely && stops_.anyConditions()) {
        std::vector<DebugFrame> none;
        need(target_.client()->frames(0, 0, none, depth));
    }
    need(target_.client()->run(mode, count));
    mode_ = mode;
    stepDepth_ = depth;
    paused_ = false;
    variables_.clear();
    if (announced) wire_.event("continued", {{"threadId", 1}, {"allThreadsContinued", true}});
}

// ---- the end

void Server::scriptEnded() {
    const bool died = !target_.started() && target_.client()->died();
    if (died) say("important", "The script's program has died.");
    target_.letGo();
    paused_ = false;
    pausedBy_.reset();
    active_ = true;
    if (!target_.started()) finish(std::nullopt);
}

void Server::finish(std::optional<int> status) {
    target_ = Target();
    paused_ = false;
    pausedBy_.reset();
    if (!std::exchange(live_, false)) return;
    if (status && *status > 128)
        say("important", "The script's program was ended by signal " + std::to_string(*status - 128) + ".");
    wire_.event("thread", {{"reason", "exited"}, {"threadId", 1}});
    if (status) wire_.event("exited", {{"exitCode", *status}});
    wire_.event("terminated");
}

void Server::leave(Leaving how, std::optional<Json> request, milliseconds patience) {
    leaving_ = how;
    endAsked_ = false;
    if (request) leaveRequest_ = std::move(request);
    leaveUntil_ = steady_clock::now() + patience;
    for (const Waiting& waiting : waiting_) wire_.refuse(waiting.request, "cancelled");
    waiting_.clear();
    if (starting_) wire_.refuse(*std::exchange(starting_, std::nullopt), "cancelled");
}

void Server::quit(milliseconds patience) {
    quits_ = true;
    leave(target_.started() ? Leaving::End : Leaving::LetGo, std::nullopt, patience);
}

void Server::goOnLeaving() {
    if (leaving_ == Leaving::No) return;
    const bool late = steady_clock::now() >= leaveUntil_;
    DebugClient* client = target_.client();
    if (leaving_ == Leaving::LetGo) {
        // A program that was just started waits for a debugger: it is told as soon as it can be.
        if (target_.started() && target_.looking()) return late ? target_.kill() : void();
        if (client == nullptr || letGoOfScript()) return left();
        if (!late) return;
        client->leaveBehind(Command::Detach);
        target_.letGo();
        return left();
    }
    if (client != nullptr && !endAsked_) {
        const Answer answer = client->end();
        endAsked_ = answer.outcome != Answer::Outcome::Busy;
        busy_ = busy_ || !endAsked_;
    }
    if (target_.started()) {
        // finish() forgets a program that has ended.
        if (late || client == nullptr) target_.kill();
        return;
    }
    if (client != nullptr && !endAsked_ && !late) return;
    if (client != nullptr && !endAsked_) client->leaveBehind(Command::End);
    finish(std::nullopt);
    left();
}

bool Server::letGoOfScript() {
    const Answer answer = target_.client()->detach();
    if (answer.outcome == Answer::Outcome::Busy) {
        busy_ = true;
        return false;
    }
    target_.letGo();
    return true;
}

void Server::left() {
    leaving_ = Leaving::No;
    if (leaveRequest_) wire_.respond(*std::exchange(leaveRequest_, std::nullopt), Json::object());
    over_ = quits_;
}

}  // namespace kestrel::cli::dap
