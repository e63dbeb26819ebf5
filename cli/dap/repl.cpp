// Commands that are typed where an editor evaluates what is typed: for what editors have no buttons for.
#include "cli/dap/asking.h"
#include "cli/dap/server.h"

#include <algorithm>
#include <charconv>
#include <sstream>

namespace kestrel::cli::dap {

namespace {

using debug::RunMode;
using Words = std::vector<std::string>;

constexpr std::size_t kMostShown = 100;

Words wordsOf(const std::string& line) {
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) words.push_back(std::move(word));
    return words;
}

std::int32_t numberIn(const Words& words, std::size_t index, std::int32_t least, std::int32_t otherwise) {
    if (index >= words.size()) return otherwise;
    std::int32_t number = 0;
    const std::string& word = words[index];
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size() || number < least)
        throw Refused("\"" + word + "\": a whole number is expected, " + std::to_string(least) + " or more");
    return number;
}

std::string joined(const Words& words, std::size_t first) {
    std::string text;
    for (std::size_t i = first; i < words.size(); ++i) text += (i > first ? " " : "") + words[i];
    return text;
}

std::string_view nameOf(std::string_view form) {
    return form.substr(0, form.find(' '));
}

}  // namespace

const Server::ReplRow Server::kReplRows[] = {
    {"break pixel X Y [N]", "pauses in the N-th sample of a pixel from now on (default 1)",
     &Server::breakCommand},
    {"delete pixel", "pauses at no pixel any more", &Server::deleteCommand},
    {"print NAME", "a value, also of a name that is a command's", &Server::printCommand},
    {"set NAME = VALUE", R"(changes a value: 3, 2.5, "text", <1, 2, 3>, nil)", &Server::setCommand},
    {"step [N]", "goes on to the next line, N times", &Server::stepCommand},
    {"next [N]", "the same, but over calls", &Server::nextCommand},
    {"finish", "goes on until the current function has returned", &Server::finishCommand},
    {"continue", "goes on to the next breakpoint", &Server::continueCommand},
    {"pause", "pauses the script", &Server::pauseCommand},
    {"where", "the calls in progress, innermost first", &Server::whereCommand},
    {"help", "these commands", &Server::helpCommand},
};

/// @return nothing when the line is no command
std::optional<std::string> Server::command(const std::string& line) {
    const Words words = wordsOf(line);
    if (words.empty()) return "";
    const auto* row = std::ranges::find(kReplRows, words.front(),
                                        [](const ReplRow& candidate) { return nameOf(candidate.form); });
    if (row == std::end(kReplRows)) return std::nullopt;
    // Only the value of `set` keeps its blanks.
    return (this->*row->carryOut)(words.front() == "set" ? Words{"set", line.substr(3)} : words);
}

std::string Server::breakCommand(const Words& words) {
    if (words.size() < 4 || words.size() > 5 || words[1] != "pixel")
        throw Refused("write break pixel X Y [N], from 0 0 at the upper left corner");
    Breakpoint wanted;
    wanted.kind = Breakpoint::Kind::Pixel;
    wanted.pixel = {numberIn(words, 2, 0, 0), numberIn(words, 3, 0, 0), numberIn(words, 4, 1, 1)};
    const int id = stops_.add(wanted);
    static_cast<void>(tellStops({}));
    const Breakpoint& stop = stops_.byId(id);
    if (!stop.problem.empty()) throw Refused(stop.problem);
    return std::string(stop.settled ? "Pauses" : "Will pause, once the script can be told,") + " in sample " +
           std::to_string(wanted.pixel[2]) + " of pixel " + std::to_string(wanted.pixel[0]) + ", " +
           std::to_string(wanted.pixel[1]) + " from now on.";
}

std::string Server::deleteCommand(const Words& words) {
    if (words.size() != 2 || words[1] != "pixel") throw Refused("write delete pixel");
    stops_.removeAll(Breakpoint::Kind::Pixel);
    static_cast<void>(tellStops({}));
    return "Pauses at no pixel.";
}

std::string Server::printCommand(const Words& words) {
    if (!paused_) throw Refused("notStopped");
    if (words.size() < 2) throw Refused("write print NAME");
    return variables_.describe(script(), referenceOf(script(), function_, joined(words, 1)), "result")
        .at("result");
}

std::string Server::setCommand(const Words& words) {
    if (!paused_) throw Refused("notStopped");
    const std::size_t equals = words[1].find('=');
    const Words name = wordsOf(words[1].substr(0, equals));
    if (equals == std::string::npos || name.empty()) throw Refused("write set NAME = VALUE");
    const std::string reference = referenceOf(script(), function_, joined(name, 0));
    const Json now = variables_.setValue(script(), reference, std::string_view(words[1]).substr(equals + 1));
    if (tellsInvalidated_) wire_.event("invalidated", {{"areas", {"variables"}}});
    return now.at("value");
}

void Server::goFromRepl(RunMode mode, const Words& words) {
    if (!paused_) throw Refused("notStopped");
    resume(mode, numberIn(words, 1, 1, 1), true);
}

std::string Server::stepCommand(const Words& words) {
    goFromRepl(RunMode::Line, words);
    return "";
}

std::string Server::nextCommand(const Words& words) {
    goFromRepl(RunMode::Over, words);
    return "";
}

std::string Server::finishCommand(const Words& words) {
    goFromRepl(RunMode::Out, words);
    return "";
}

std::string Server::continueCommand(const Words& words) {
    goFromRepl(RunMode::Freely, words);
    return "";
}

std::string Server::pauseCommand(const Words& /*words*/) {
    pauseWanted_ = !paused_;
    return "";
}

std::string Server::whereCommand(const Words& /*words*/) {
    if (!paused_) throw Refused("notStopped");
    std::vector<debug::DebugFrame> frames;
    need(script().frames(frames, kMostShown));
    std::string text;
    for (const debug::DebugFrame& frame : frames) {
        text += frame.function.empty() ? "(outside functions)" : frame.function;
        if (frame.place.known())
            text += ", " + pathOf(frame.place.file) + ":" + std::to_string(frame.place.line);
        text += '\n';
    }
    return text;
}

std::string Server::helpCommand(const Words& /*words*/) {
    std::string text;
    for (const ReplRow& row : kReplRows)
        text += std::string(row.form) + ": " + std::string(row.description) + "\n";
    return text + "Anything else is a variable whose value is wanted.";
}

}  // namespace kestrel::cli::dap
