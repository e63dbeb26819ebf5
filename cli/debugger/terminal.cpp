#include "cli/debugger/terminal.h"

#include "cli/commands.h"

#include <algorithm>

namespace kestrel::cli {

namespace {

using namespace debug;  // NOLINT: nothing else is talked about here
using std::chrono::milliseconds;

constexpr milliseconds kWait{500};
constexpr std::size_t kMostMessages = 1000;

}  // namespace

bool Terminal::begin() {
    std::vector<std::string> files;
    const bool there = took(client_.files(files)) && took(client_.functions(functions_));
    view_.emplace(json_, std::move(files));
    return there;
}

int Terminal::run(std::unique_ptr<LineSource> lines) {
    lines_ = std::move(lines);
    view_.emplace(json_, std::vector<std::string>());
    // A script that runs already is paused first: only at a line does it answer.
    if (!debuggee_.started() && !took(client_.pause()))
        view_->note("Waiting for the script to run; Ctrl-C asks for a command.");
    if (begin()) {
        waitForStop();
    } else if (!client_.alive()) {
        whenEnded();
    }
    while (state_ == State::Asking) {
        std::optional<std::string> line = lines_->next();
        static_cast<void>(interrupt_.take());
        failed_ = false;
        if (line)
            carryOut(std::move(*line));
        else
            quitCommand({});
        if (failed_ && !lines_->interactive()) {
            exitCode_ = kExitUnusable;
            if (state_ == State::Asking) terminateCommand({});
            exitCode_ = kExitUnusable;
            break;
        }
    }
    return exitCode_;
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

void Terminal::showEvents() {
    while (const std::optional<Event> event = client_.nextEvent()) show(*event);
    view_->missed(client_.takeMissedEvents());
}

void Terminal::waitForStop() {
    int interrupts = 0;
    while (true) {
        if (const std::optional<Event> event = client_.waitForEvent(kWait)) {
            show(*event);
            if (event->type != EventType::Paused) continue;
            view_->missed(client_.takeMissedEvents());
            return whenStopped(*event);
        }
        if (!client_.alive()) return whenEnded();
        if (!interrupt_.take()) continue;
        if (interrupts++ > 0) return view_->note("The script runs; pause stops it.");
        if (const Answer answer = client_.pause(); !answer.done() && answer.outcome != Answer::Outcome::Ended)
            view_->note("The script has not come to a new line yet; Ctrl-C again asks for a command.");
    }
}

void Terminal::whenStopped(const Event& event) {
    std::vector<DebugFrame> frames;
    function_.clear();
    place_ = {event.file, event.line};
    if (client_.frames(frames, 1).done() && !frames.empty()) function_ = frames.front().function;
    listed_ = 0;
    view_->stopped(event, function_);
}

void Terminal::whenEnded() {
    showEvents();
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
