#include "cli/debugger/terminal.h"

#include "cli/commands.h"

#include <algorithm>

namespace kestrel::cli {

namespace {

using namespace debug;  // NOLINT: nothing else is talked about here
using std::chrono::milliseconds;

constexpr milliseconds kWait{500};
/// Long enough for a script that renders.
constexpr milliseconds kBeforeTelling{2000};
constexpr std::size_t kMostMessages = 1000;

}  // namespace

bool Terminal::begin() {
    if (begun_) return true;
    std::vector<std::string> files;
    begun_ = took(client_.files(files)) && took(client_.functions(functions_));
    if (begun_) view_.emplace(json_, std::move(files));
    return begun_;
}

int Terminal::run(std::unique_ptr<LineSource> lines) {
    lines_ = std::move(lines);
    view_.emplace(json_, std::vector<std::string>());
    // A script that runs already is paused first: only at a line does it answer. In a host that does not
    // render there may be none for a long time.
    pauseWanted_ = !debuggee_.started();
    waitForStop();
    while (state_ == State::Asking) {
        std::optional<std::string> line = lines_->next();
        static_cast<void>(interrupt_.take());
        failed_ = false;
        if (line)
            carryOut(std::move(*line));
        else
            quitCommand({});
        // A question that got no answer has taken the place of the wish.
        if (pauseWanted_ && state_ == State::Asking) client_.leaveBehind(Command::Pause);
        if (failed_ && !lines_->interactive()) {
            if (state_ == State::Asking) abandon();
            exitCode_ = kExitUnusable;
            break;
        }
    }
    return exitCode_;
}

/// A script of our own ends with the commands that were meant for it; somebody else's must not suffer from a
/// mistake.
void Terminal::abandon() {
    if (debuggee_.started())
        terminateCommand({});
    else
        quitCommand({});
}

void Terminal::carryOut(std::string line) {
    const std::size_t first = line.find_first_not_of(" \t");
    if (first == std::string::npos) {
        if (!lines_->interactive() || last_.empty()) return;
        line = last_;
    } else {
        line = line.substr(first, line.find_last_not_of(" \t") - first + 1);
    }
    if (line.starts_with('#')) return;
    const std::size_t end = std::min(line.find_first_of(" \t"), line.size());
    const Row* row = rowOf(std::string_view(line).substr(0, end));
    if (row == nullptr) return fail("there is no command \"" + line.substr(0, end) + "\"; help lists them");
    last_ = row->repeats ? line : std::string();
    const std::size_t arguments = std::min(line.find_first_not_of(" \t", end), line.size());
    pausedNow_ = showEvents();
    if (state_ != State::Asking) return;
    (this->*row->run)(std::string_view(line).substr(arguments));
}

void Terminal::fail(std::string_view problem) {
    failed_ = true;
    view_->error(problem);
}

bool Terminal::took(const Answer& answer) {
    if (answer.done()) return true;
    if (answer.outcome == Answer::Outcome::Ended) return false;  // told when its end is noticed
    if (view_) fail(answer.problem);
    return false;
}

void Terminal::show(const Event& event) {
    switch (event.type) {
        case EventType::Information:
        case EventType::Warning:
        case EventType::Error:
            if (messages_.size() >= kMostMessages) messages_.erase(messages_.begin());
            messages_.push_back(event);
            return view_->message(event);
        case EventType::Paused:
        case EventType::Resumed:
        case EventType::MoreText:
            return;
    }
}

bool Terminal::showEvents() {
    std::optional<Event> pause;
    while (const std::optional<Event> event = client_.nextEvent()) {
        show(*event);
        if (event->type == EventType::Paused) pause = event;
        if (event->type == EventType::Resumed) pause.reset();
    }
    view_->missed(client_.takeMissedEvents());
    if (pause) whenStopped(*pause);
    return pause.has_value();
}

void Terminal::showMessages() {
    while (const std::optional<Event> event = client_.nextEvent()) show(*event);
    view_->missed(client_.takeMissedEvents());
}

void Terminal::waitForStop() {
    using Clock = std::chrono::steady_clock;
    bool asked = false;
    bool told = false;
    Clock::time_point since = Clock::now();
    while (true) {
        if (pauseWanted_ && !asked) {
            asked = client_.leaveBehind(Command::Pause);
            since = Clock::now();
        }
        if (const std::optional<Event> event = client_.waitForEvent(kWait)) {
            show(*event);
            if (event->type != EventType::Paused) continue;
            view_->missed(client_.takeMissedEvents());
            return whenStopped(*event);
        }
        if (!client_.alive()) return whenEnded();
        if (interrupt_.take()) {
            if (pauseWanted_) return view_->note("The script runs; it pauses when it comes to a line.");
            pauseWanted_ = true;
        } else if (pauseWanted_ && !told && Clock::now() - since > kBeforeTelling) {
            told = true;
            view_->note("Waiting for the script to come to a line; Ctrl-C asks for a command.");
        }
    }
}

void Terminal::whenStopped(const Event& event) {
    pauseWanted_ = false;
    function_.clear();
    place_ = {event.file, event.line};
    listed_ = 0;
    if (!begin() && !client_.alive()) return whenEnded();
    std::vector<DebugFrame> frames;
    if (client_.frames(frames, 1).done() && !frames.empty()) {
        function_ = frames.front().function;
        if (frames.front().place.known()) place_ = frames.front().place;
    }
    Event shown = event;
    shown.file = place_.file;
    shown.line = place_.line;
    view_->stopped(shown, function_);
}

void Terminal::whenEnded() {
    showMessages();
    state_ = State::Ended;
    const bool died = client_.died();
    int status = 0;
    if (debuggee_.started()) {
        status = debuggee_.finish(interrupt_.flag());
        exitCode_ = status == kExitSuccess || status == kExitUnusable ? status : kExitScriptFailed;
    } else if (died) {
        exitCode_ = kExitScriptFailed;
    }
    view_->ended(debuggee_.started(), status, died);
}

}  // namespace kestrel::cli
