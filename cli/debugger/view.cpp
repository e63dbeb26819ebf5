#include "cli/debugger/view.h"

#include "platform/files.h"
#include "platform/paths.h"

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

namespace kestrel::cli {

namespace {

using debug::DebugPlace;
using debug::EventType;
using debug::PauseReason;
using Json = nlohmann::ordered_json;

const char* reasonName(PauseReason reason) {
    switch (reason) {
        case PauseReason::Entry:
            return "entry";
        case PauseReason::Step:
            return "step";
        case PauseReason::Stop:
            return "breakpoint";
        case PauseReason::Error:
            return "error";
        case PauseReason::Request:
            return "pause";
    }
    return "unknown";
}

/// What people are told before the place.
std::string reasonText(const debug::Event& event) {
    switch (event.reason) {
        case PauseReason::Entry:
        case PauseReason::Step:
            return "";
        case PauseReason::Stop:
            return "Breakpoint " + std::to_string(event.stop) + ", ";
        case PauseReason::Error:
            return "Error, ";
        case PauseReason::Request:
            return "Paused, ";
    }
    return "";
}

std::string functionText(const std::string& function) {
    return function.empty() ? "outside functions" : function + "()";
}

std::vector<std::string> linesOf(const std::string& path) {
    std::vector<std::string> lines;
    const std::optional<std::string> text = platform::readTextFile(platform::systemPath(path));
    if (!text) return lines;
    for (std::size_t at = 0; at < text->size();) {
        const std::size_t end = std::min(text->find('\n', at), text->size());
        lines.push_back(text->substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

ShownMessage::Kind kindOf(EventType type) {
    return type == EventType::Error     ? ShownMessage::Kind::Error
           : type == EventType::Warning ? ShownMessage::Kind::Warning
                                        : ShownMessage::Kind::Info;
}

}  // namespace

View::View(bool json, std::vector<std::string> files)
    : json_(json),
      files_(std::move(files)),
      printer_(json, files_.empty() ? std::string() : files_.front()) {}

const std::string* View::sourceLine(std::int32_t file, std::int32_t line) {
    if (file < 0 || static_cast<std::size_t>(file) >= files_.size()) return nullptr;
    const auto [entry, fresh] = sources_.try_emplace(file);
    if (fresh) entry->second = linesOf(files_[static_cast<std::size_t>(file)]);
    const std::vector<std::string>& lines = entry->second;
    return line >= 1 && static_cast<std::size_t>(line) <= lines.size()
               ? &lines[static_cast<std::size_t>(line - 1)]
               : nullptr;
}

std::string View::fileName(std::int32_t file) const {
    if (file < 0 || static_cast<std::size_t>(file) >= files_.size()) return "?";
    return std::filesystem::path(files_[static_cast<std::size_t>(file)]).filename().string();
}

std::string View::placeText(const DebugPlace& place) const {
    return place.known() ? fileName(place.file) + ":" + std::to_string(place.line) : "the host";
}

void View::putPlace(Json& json, const DebugPlace& place) const {
    if (!place.known() || static_cast<std::size_t>(place.file) >= files_.size()) return;
    json["file"] = files_[static_cast<std::size_t>(place.file)];
    json["line"] = place.line;
}

void View::write(const Json& json) {
    std::printf("%s\n", json.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    std::fflush(stdout);
}

void View::message(const debug::Event& event) {
    ShownMessage message;
    message.kind = kindOf(event.type);
    const std::size_t at = event.text.find(kLineBreak);
    message.line1 = at != std::string::npos ? event.text.substr(0, at)
                    : files_.empty()        ? std::string()
                                            : platform::upperCase(platform::systemPath(files_.front()));
    message.line2 = at != std::string::npos ? event.text.substr(at + kLineBreak.size()) : event.text;
    if (event.line > 0 && event.file >= 0 && static_cast<std::size_t>(event.file) < files_.size()) {
        message.place.file = files_[static_cast<std::size_t>(event.file)];
        message.place.line = event.line;
    }
    printer_.show(std::move(message));
    printer_.finish();
    std::fflush(stdout);
}

void View::missed(std::int64_t events) {
    if (events > 0) note(std::to_string(events) + " messages came too fast and are lost");
}

void View::stopped(const debug::Event& event, const std::string& function) {
    const DebugPlace place{event.file, event.line};
    if (json_) {
        Json json{{"kind", "stopped"}, {"reason", reasonName(event.reason)}};
        if (event.reason == PauseReason::Stop) json["breakpoint"] = event.stop;
        json["function"] = function;
        putPlace(json, place);
        return write(json);
    }
    std::printf("%s%s, %s\n", reasonText(event).c_str(), functionText(function).c_str(),
                placeText(place).c_str());
    if (const std::string* line = sourceLine(place.file, place.line))
        std::printf("%d\t%s\n", place.line, line->c_str());
    std::fflush(stdout);
}

void View::value(const std::string& name, const ShownValue& value) {
    if (json_) {
        Json json{{"kind", "value"}, {"name", name}};
        json.update(valueJson(value));
        return write(json);
    }
    std::printf("%s = %s\n", name.c_str(), valueText(value).c_str());
    std::fflush(stdout);
}

void View::frames(const std::vector<debug::DebugFrame>& frames) {
    if (json_) {
        Json json{{"kind", "frames"}, {"frames", Json::array()}};
        for (const debug::DebugFrame& frame : frames) {
            Json entry{{"function", frame.function}};
            putPlace(entry, frame.place);
            json["frames"].push_back(std::move(entry));
        }
        return write(json);
    }
    for (std::size_t i = 0; i < frames.size(); ++i)
        std::printf("#%zu  %s, %s\n", i, functionText(frames[i].function).c_str(),
                    placeText(frames[i].place).c_str());
    std::fflush(stdout);
}

void View::stopSet(const UserStop& stop) {
    if (json_) {
        Json json{{"kind", "breakpoint"}, {"breakpoint", stop.number}, {"what", stop.what}};
        putPlace(json, stop.place);
        return write(json);
    }
    std::printf("Breakpoint %d: %s%s%s\n", stop.number, stop.what.c_str(), stop.place.known() ? ", " : "",
                stop.place.known() ? placeText(stop.place).c_str() : "");
    std::fflush(stdout);
}

void View::stops(const std::vector<UserStop>& stops, bool atErrors) {
    for (const UserStop& stop : stops) stopSet(stop);
    if (json_) return;
    if (stops.empty() && !atErrors) std::printf("No breakpoints.\n");
    if (atErrors) std::printf("The script pauses where an error is reported.\n");
    std::fflush(stdout);
}

void View::source(std::int32_t file, std::int32_t first, std::int32_t last, std::int32_t current) {
    Json lines = Json::array();
    for (std::int32_t number = first; number <= last; ++number) {
        const std::string* line = sourceLine(file, number);
        if (line == nullptr) break;
        if (json_)
            lines.push_back(*line);
        else
            std::printf("%s%d\t%s\n", number == current ? "->" : "  ", number, line->c_str());
    }
    if (json_) {
        Json json{{"kind", "source"}};
        putPlace(json, {file, first});
        json["lines"] = std::move(lines);
        write(json);
    }
    std::fflush(stdout);
}

void View::ended(bool started, int status, bool died) {
    if (json_) {
        Json json{{"kind", "ended"}, {"died", died}, {"status", nullptr}};
        if (started) json["status"] = status;
        return write(json);
    }
    if (!started)
        note(died ? "The script's program has died." : "The script has ended.");
    else if (status > 128)
        note("The script's program was ended by signal " + std::to_string(status - 128) + ".");
    else
        note("The script's program has ended with status " + std::to_string(status) + ".");
}

void View::note(std::string_view text) {
    if (json_) return write(Json{{"kind", "note"}, {"line1", text}});
    std::printf("%.*s\n", static_cast<int>(text.size()), text.data());
    std::fflush(stdout);
}

void View::error(std::string_view text) {
    printer_.plainError(text);
    printer_.finish();
}

void View::plain(std::string_view text) {
    if (json_) return write(Json{{"kind", "help"}, {"line1", text}});
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

}  // namespace kestrel::cli
