// What the commands of the terminal do.
#include "cli/commands.h"
#include "cli/debugger/terminal.h"
#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>

namespace kestrel::cli {

namespace {

using namespace debug;  // NOLINT: nothing else is talked about here

constexpr std::int32_t kListedLines = 11;
constexpr std::size_t kMostListed = 200;
constexpr std::chrono::milliseconds kEndPatience{5000};

/// A whole number, and nothing else.
std::optional<std::int32_t> wholeNumber(std::string_view text) {
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

std::vector<std::string_view> words(std::string_view text) {
    std::vector<std::string_view> found;
    for (text = ascii::trimmed(text); !text.empty(); text = ascii::trimmed(text)) {
        const std::size_t end = std::min(text.find_first_of(" \t"), text.size());
        found.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return found;
}

/// What people know from other debuggers.
struct OtherWord {
    std::string_view word;
    std::string_view name;
};
constexpr OtherWord kOtherWords[] = {
    {"exit", "quit"}, {"backtrace", "where"}, {"stack", "where"}, {"kill", "terminate"}, {"run", "continue"}};
/// Shorter beginnings of a command's name mean nothing: they could end a script by accident.
constexpr std::size_t kShortestBeginning = 3;

}  // namespace

const Terminal::Row Terminal::kRows[] = {
    {"break", "b", "break [LINE | FILE:LINE | FUNCTION]",
     "Pauses there from now on; without an argument at the current line. Also: break pixel X Y [N], in the "
     "N-th "
     "sample of a pixel from now on (default 1); break error, where an error is reported.",
     &Terminal::breakCommand, false},
    {"delete", "d", "delete [N | error]", "Takes a breakpoint away; without an argument all of them.",
     &Terminal::deleteCommand, false},
    {"step", "s", "step [N]", "Goes on to the next line, N times; also into functions.",
     &Terminal::stepCommand, true},
    {"next", "n", "next [N]", "The same, but calls of functions count as part of their line.",
     &Terminal::nextCommand, true},
    {"finish", "fin", "finish", "Goes on until the current function has returned.", &Terminal::finishCommand,
     true},
    {"continue", "c", "continue", "Goes on to the next breakpoint. Ctrl-C pauses the script.",
     &Terminal::continueCommand, true},
    {"pause", "", "pause", "Pauses a script that runs.", &Terminal::pauseCommand, false},
    {"print", "p", "print [NAME]",
     "A value: a variable of the current function or a global, FUNCTION::NAME, ::NAME; with [I], [I,J] an "
     "element, "
     "with ->FIELD a field. Without an argument all variables of the current function.",
     &Terminal::printCommand, false},
    {"globals", "", "globals", "All variables outside functions.", &Terminal::globalsCommand, false},
    {"set", "", "set NAME = VALUE", "Changes a value: 3, 2.5, \"text\", <1, 2, 3>, nil.",
     &Terminal::setCommand, false},
    {"where", "bt", "where", "The calls in progress, innermost first.", &Terminal::whereCommand, false},
    {"list", "l", "list [LINE | FILE:LINE | FUNCTION]",
     "The source around there, or around the current line; again without an argument, what follows.",
     &Terminal::listCommand, true},
    {"status", "", "status", "Where the script is.", &Terminal::statusCommand, false},
    {"messages", "", "messages", "The script's messages up to now.", &Terminal::messagesCommand, false},
    {"info", "", "info breakpoints", "All breakpoints.", &Terminal::infoCommand, false},
    {"quit", "q", "quit",
     "Leaves the script to itself: it runs on without breakpoints. So does the end of the input.",
     &Terminal::quitCommand, false},
    {"terminate", "", "terminate", "Ends the script.", &Terminal::terminateCommand, false},
    {"help", "h", "help [COMMAND]", "What commands there are.", &Terminal::helpCommand, false},
};

const Terminal::Row* Terminal::rowOf(std::string_view word) {
    const auto* other = std::ranges::find(kOtherWords, word, &OtherWord::word);
    if (other != std::end(kOtherWords)) word = other->name;
    const auto* row = std::ranges::find_if(kRows, [&](const Row& candidate) {
        return candidate.name == word || (!word.empty() && candidate.alias == word);
    });
    if (row != std::end(kRows)) return row;
    const auto begins = [&](const Row& candidate) { return candidate.name.starts_with(word); };
    const bool unique = word.size() >= kShortestBeginning && std::ranges::count_if(kRows, begins) == 1;
    return unique ? std::ranges::find_if(kRows, begins) : nullptr;
}

// ---- going on

void Terminal::go(RunMode mode, std::string_view count) {
    const std::optional<std::int32_t> times = count.empty() ? 1 : wholeNumber(count);
    if (!times || *times < 1) return fail("the number of lines must be 1 or more");
    if (pausedNow_) return;  // resuming would pass over what the user has only now been told
    if (!client_.paused() && client_.alive()) return waitForStop();
    if (const Answer answer = client_.run(mode, *times);
        took(answer) || answer.outcome == Answer::Outcome::Ended)
        waitForStop();
}

void Terminal::pauseCommand(std::string_view /*arguments*/) {
    if (pausedNow_) return;
    if (client_.paused()) return fail("the script is paused");
    pauseWanted_ = true;
    waitForStop();
}

void Terminal::quitCommand(std::string_view /*arguments*/) {
    showMessages();
    state_ = State::Left;
    const Answer answer = client_.detach();
    // It must not pause at a breakpoint of a debugger that has gone.
    const bool later = answer.outcome == Answer::Outcome::Busy && client_.leaveBehind(Command::Detach);
    if (!debuggee_.started()) {
        if (later) return view_->note("The script is left to itself as soon as it comes to a line.");
        if (answer.outcome == Answer::Outcome::Ended) return whenEnded();
        return static_cast<void>(took(answer));
    }
    if (lines_->interactive() && client_.alive()) view_->note("The script runs on; Ctrl-C ends it.");
    // What it says from now on is shown by its own program.
    whenEnded();
}

void Terminal::terminateCommand(std::string_view /*arguments*/) {
    const Answer answer = client_.end();
    showMessages();
    state_ = State::Left;
    if (!debuggee_.started()) return static_cast<void>(took(answer));
    const int status = debuggee_.finishWithin(answer.done() ? kEndPatience : std::chrono::milliseconds(0));
    showMessages();
    view_->ended(true, status, false);
}

// ---- stops

std::optional<std::int32_t> Terminal::fileNamed(std::string_view name) const {
    const std::vector<std::string>& files = view_->files();
    const auto found = std::ranges::find_if(files, [&](const std::string& path) {
        return path == name || std::filesystem::path(path).filename() == std::filesystem::path(name);
    });
    if (found == files.end()) return std::nullopt;
    return static_cast<std::int32_t>(found - files.begin());
}

std::string Terminal::problemWithPlace(std::string_view text) const {
    if (std::ranges::count(words(text), std::string_view("if")) > 0) return "conditions are not supported";
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos || fileNamed(text.substr(0, colon))) return {};
    return "there is no file " + std::string(text.substr(0, colon)) + " in this script";
}

std::optional<DebugPlace> Terminal::placeNamed(std::string_view text) const {
    DebugPlace place{place_.file >= 0 ? place_.file : 0, 0};
    if (const std::size_t colon = text.rfind(':'); colon != std::string_view::npos) {
        const std::optional<std::int32_t> file = fileNamed(text.substr(0, colon));
        if (!file) return std::nullopt;
        place.file = *file;
        text.remove_prefix(colon + 1);
    }
    const std::optional<std::int32_t> line = wholeNumber(text);
    if (!line || *line < 1) return std::nullopt;
    place.line = *line;
    return place;
}

void Terminal::addStop(const Answer& answer, const DebugStop& stop, std::string what) {
    if (!took(answer)) return;
    UserStop entry{stop.number, stop.place, std::move(what)};
    view_->stopSet(entry);
    if (std::ranges::find(stops_, stop.number, &UserStop::number) == stops_.end())
        stops_.push_back(std::move(entry));
}

void Terminal::breakCommand(std::string_view arguments) {
    DebugStop stop;
    if (arguments == "error") {
        if (!took(client_.stopAtErrors(true))) return;
        atErrors_ = true;
        return view_->note("The script pauses where an error is reported.");
    }
    if (arguments.starts_with("pixel ")) return breakAtPixel(arguments.substr(6));
    const std::string text(arguments);
    const std::optional<DebugPlace> place = arguments.empty() ? std::optional(place_) : placeNamed(arguments);
    if (place) {
        const Answer answer = client_.stopAtLine(*place, stop);
        return addStop(answer, stop, "line " + std::to_string(place->line));
    }
    if (const std::string problem = problemWithPlace(arguments); !problem.empty()) return fail(problem);
    const Answer answer = client_.stopAtFunction(arguments, stop);
    addStop(answer, stop, text);
}

void Terminal::breakAtPixel(std::string_view arguments) {
    std::array<std::int32_t, 3> numbers{0, 0, 1};
    const std::vector<std::string_view> given = words(arguments);
    bool good = given.size() == 2 || given.size() == 3;
    for (std::size_t i = 0; good && i < given.size(); ++i) {
        const std::optional<std::int32_t> number = wholeNumber(given[i]);
        good = number && *number >= (i == 2 ? 1 : 0);
        if (good) numbers[i] = *number;
    }
    if (!good) return fail("write break pixel X Y [N], from 0 0 at the upper left corner");
    DebugStop stop;
    const Answer answer = client_.stopAtPixel(numbers[0], numbers[1], numbers[2], stop);
    addStop(answer, stop,
            "pixel " + std::to_string(numbers[0]) + " " + std::to_string(numbers[1]) + ", sample " +
                std::to_string(numbers[2]));
}

void Terminal::deleteCommand(std::string_view arguments) {
    if (arguments == "error") {
        if (took(client_.stopAtErrors(false))) atErrors_ = false;
        return;
    }
    const std::optional<std::int32_t> number = arguments.empty() ? 0 : wholeNumber(arguments);
    if (!number || (*number < 1 && !arguments.empty()))
        return fail("write the number of a breakpoint, or nothing");
    if (!took(client_.removeStop(*number))) return;
    if (*number == 0) {
        stops_.clear();
        atErrors_ = false;
    } else {
        std::erase_if(stops_, [&](const UserStop& stop) { return stop.number == *number; });
    }
}

void Terminal::infoCommand(std::string_view arguments) {
    if (arguments == "locals" || arguments == "args") return printCommand({});
    if (arguments == "frame") return statusCommand({});
    if (arguments.empty() || !std::string_view("breakpoints").starts_with(arguments))
        return fail("write info breakpoints");
    view_->stops(stops_, atErrors_);
}

// ---- looking

std::string Terminal::referenceOf(std::string_view name) {
    if (name.find(kScope) != std::string_view::npos) return std::string(name);
    std::string local = function_ + std::string(kScope);
    local.append(name);
    DebugValue value;
    if (!function_.empty() && client_.value(local, value).done()) return local;
    return std::string(kScope).append(name);
}

bool Terminal::tookValue(const Answer& answer, std::string_view name) {
    if (answer.outcome != Answer::Outcome::Refused || !answer.problem.starts_with(kUnknownReference))
        return took(answer);
    const bool part = name.find('[') != std::string_view::npos || name.find("->") != std::string_view::npos;
    std::string problem = std::string(part ? "there is no " : "there is no variable ").append(name);
    if (name.find(kScope) == std::string_view::npos)
        problem += function_.empty() ? " outside functions" : " in " + function_ + "() or outside functions";
    fail(problem);
    return false;
}

void Terminal::printAll(const std::string& scope) {
    std::vector<DebugVariable> variables;
    std::size_t total = 0;
    if (!took(client_.values(scope, 0, kMostListed, variables, total))) return;
    for (DebugVariable& variable : variables) {
        ShownValue value{std::move(variable.value), {}};
        fetchRest(client_, scope + variable.name, value);
        view_->value(variable.name, value);
    }
    if (variables.empty()) view_->note("No variables.");
    if (total > variables.size()) view_->note(std::to_string(total - variables.size()) + " more");
}

void Terminal::printCommand(std::string_view arguments) {
    if (arguments.empty()) return printAll(function_ + std::string(kScope));
    ShownValue value;
    if (tookValue(fetchValue(client_, referenceOf(arguments), value), arguments))
        view_->value(std::string(arguments), value);
}

void Terminal::globalsCommand(std::string_view /*arguments*/) {
    printAll(std::string(kScope));
}

void Terminal::setCommand(std::string_view arguments) {
    const std::size_t equals = arguments.find('=');
    const std::string_view name = ascii::trimmed(arguments.substr(0, equals));
    const std::optional<DebugValue> value =
        equals != std::string_view::npos ? parseValue(arguments.substr(equals + 1)) : std::nullopt;
    if (name.empty() || !value)
        return fail("write set NAME = VALUE, where VALUE is 3, 2.5, \"text\", <1, 2, 3> or nil");
    const std::string reference = referenceOf(name);
    if (!tookValue(client_.assign(reference, *value), name)) return;
    ShownValue now;
    if (took(fetchValue(client_, reference, now))) view_->value(std::string(name), now);
}

void Terminal::whereCommand(std::string_view /*arguments*/) {
    std::vector<DebugFrame> frames;
    if (took(client_.frames(frames, kMostListed))) view_->frames(frames);
}

void Terminal::listCommand(std::string_view arguments) {
    DebugPlace around = place_;
    if (!arguments.empty()) {
        const auto function = std::ranges::find(functions_, arguments, &DebugFunction::name);
        const std::optional<DebugPlace> place =
            function != functions_.end() ? function->place : placeNamed(arguments);
        const std::string problem = place ? std::string() : problemWithPlace(arguments);
        if (!place || !place->known())
            return fail(problem.empty() ? "there is no such line or function" : problem);
        around = *place;
    }
    std::int32_t first = std::max(around.line - kListedLines / 2, 1);
    if (arguments.empty() && listed_ > 0) first = listed_ + 1;
    if (view_->sourceLine(around.file, first) == nullptr) return fail("there is nothing more to list");
    listed_ = first + kListedLines - 1;
    view_->source(around.file, first, listed_, around.file == place_.file ? place_.line : 0);
    last_ = "list";
}

void Terminal::statusCommand(std::string_view /*arguments*/) {
    if (pausedNow_) return;
    if (!client_.paused()) return view_->note("The script runs.");
    Event event;
    event.type = EventType::Paused;
    event.reason = PauseReason::Step;
    event.file = place_.file;
    event.line = place_.line;
    view_->stopped(event, function_);
}

void Terminal::messagesCommand(std::string_view /*arguments*/) {
    for (const Event& message : messages_) view_->message(message);
}

std::string Terminal::help() {
    std::string text;
    for (const Row& row : kRows) {
        text += "  " + std::string(row.form);
        if (!row.alias.empty()) text += "  (" + std::string(row.alias) + ")";
        text += '\n';
        std::string line;
        for (const std::string_view word : words(row.description)) {
            if (line.size() + word.size() > 100) {
                text += "      " + line + '\n';
                line.clear();
            }
            if (!line.empty()) line += ' ';
            line += word;
        }
        text += "      " + line + '\n';
    }
    return text + "  An empty line repeats the last step, next, finish, continue or list.\n";
}

void Terminal::helpCommand(std::string_view arguments) {
    if (arguments.empty()) return view_->plain(help());
    const Row* row = rowOf(arguments);
    if (row == nullptr) return fail("there is no such command");
    view_->plain(std::string(row->form) + "\n" + std::string(row->description) + "\n");
}

std::vector<std::string> Terminal::completions(std::string_view begun) {
    std::vector<std::string> words;
    const std::size_t end = begun.find_first_of(" \t");
    if (end == std::string_view::npos) {
        for (const Row& row : kRows) words.emplace_back(row.name);
        return words;
    }
    const Row* row = rowOf(begun.substr(0, end));
    const std::string_view name = row != nullptr ? row->name : "";
    if (name == "break" || name == "list") {
        for (const DebugFunction& function : functions_) words.push_back(function.name);
        if (name == "break") words.insert(words.end(), {"pixel", "error"});
    } else if ((name == "print" || name == "set") && client_.paused()) {
        for (const std::string& scope : {function_ + std::string(kScope), std::string(kScope)}) {
            std::vector<DebugVariable> variables;
            std::size_t total = 0;
            if (!client_.values(scope, 0, 1000, variables, total).done()) continue;
            for (const DebugVariable& variable : variables) words.push_back(variable.name);
        }
    } else if (name == "help") {
        for (const Row& other : kRows) words.emplace_back(other.name);
    } else if (name == "info") {
        words.emplace_back("breakpoints");
    }
    return words;
}

}  // namespace kestrel::cli
