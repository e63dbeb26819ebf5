// What an editor asks of a paused script: its calls, its variables, its sources.
#include "cli/dap/asking.h"
#include "cli/dap/server.h"
#include "platform/files.h"
#include "platform/paths.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace kestrel::cli::dap {

namespace {

using namespace debug;  // NOLINT: a script is all that is looked at here
namespace fs = std::filesystem;

constexpr std::size_t kMostFrames = 1000;  // in an answer

std::string nameOf(const DebugFrame& frame) {
    return frame.function.empty() ? "(outside functions)" : frame.function;
}

std::size_t countIn(const Json& arguments, const char* name) {
    const std::int64_t count = arguments.value(name, std::int64_t{0});
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace

DebugClient& Server::script() {
    if (target_.client() == nullptr) throw Refused("the script has ended");
    return *target_.client();
}

std::optional<Json> Server::threads(const Json& /*request*/) {
    return Json{{"threads", {{{"id", 1}, {"name", "script"}}}}};
}

std::optional<Json> Server::stackTrace(const Json& request) {
    const Json& arguments = request["arguments"];
    const std::size_t first = countIn(arguments, "startFrame");
    const std::size_t levels = countIn(arguments, "levels");
    std::vector<DebugFrame> frames;
    std::size_t total = 0;
    need(script().frames(first, std::min(levels > 0 ? levels : kMostFrames, kMostFrames), frames, total));
    Json list = Json::array();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const DebugFrame& frame = frames[i];
        Json entry{{"id", first + i + 1}, {"name", nameOf(frame)}, {"line", 0}, {"column", 0}};
        if (frame.place.known()) {
            entry["source"] = sourceOf(frame.place.file);
            entry["line"] = toEditor(frame.place.line);
            entry["column"] = 1;
        } else {
            entry["presentationHint"] = "subtle";  // where the host called
        }
        list.push_back(std::move(entry));
    }
    return Json{{"stackFrames", std::move(list)}, {"totalFrames", total}};
}

/// The function of the frame that a request is about. A function's variables are those of its innermost call.
std::string Server::functionOf(const Json& arguments) {
    const std::size_t id = countIn(arguments, "frameId");
    if (id <= 1) return function_;
    std::vector<DebugFrame> frames;
    std::size_t total = 0;
    need(script().frames(id - 1, 1, frames, total));
    if (frames.empty()) throw Refused("there is no such frame");
    return frames.front().function;
}

std::optional<Json> Server::scopes(const Json& request) {
    const std::size_t id = countIn(request["arguments"], "frameId");
    std::vector<DebugFrame> frames;
    std::size_t total = 0;
    need(script().frames(0, std::max<std::size_t>(id, 1), frames, total));
    if (id < 1 || id > frames.size()) throw Refused("there is no such frame");
    Json list = Json::array();
    const std::string& function = frames[id - 1].function;
    // What an outer call of the same function has in its variables is out of reach.
    const bool innermost = std::none_of(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(id - 1),
                                        [&](const DebugFrame& frame) { return frame.function == function; });
    if (!function.empty() && innermost) {
        list.push_back(variables_.scope(script(), "Locals", function + std::string(kScope)));
        list.back()["presentationHint"] = "locals";
    }
    list.push_back(variables_.scope(script(), "Globals", std::string(kScope)));
    return Json{{"scopes", std::move(list)}};
}

std::optional<Json> Server::variables(const Json& request) {
    const Json& arguments = request["arguments"];
    return Json{{"variables",
                 variables_.list(script(), arguments.at("variablesReference"), arguments.value("filter", ""),
                                 countIn(arguments, "start"), countIn(arguments, "count"))}};
}

std::optional<Json> Server::setVariable(const Json& request) {
    const Json& arguments = request["arguments"];
    return variables_.set(script(), arguments.at("variablesReference"),
                          arguments.at("name").get<std::string>(), arguments.at("value").get<std::string>());
}

std::optional<Json> Server::setExpression(const Json& request) {
    const Json& arguments = request["arguments"];
    const std::string reference =
        referenceOf(script(), functionOf(arguments), arguments.at("expression").get<std::string>());
    return variables_.setValue(script(), reference, arguments.at("value").get<std::string>());
}

std::optional<Json> Server::evaluate(const Json& request) {
    const Json& arguments = request["arguments"];
    std::string text = arguments.at("expression");
    text.erase(0, text.find_first_not_of(" \t\r\n"));
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    if (arguments.value("context", "") == "repl")
        if (const std::optional<std::string> result = command(text))
            return Json{{"result", *result}, {"variablesReference", 0}};
    if (!paused_) throw Refused("notStopped");
    return variables_.describe(script(), referenceOf(script(), functionOf(arguments), text), "result");
}

std::optional<Json> Server::exceptionInfo(const Json& /*request*/) {
    return Json{{"exceptionId", "error"}, {"description", lastError_}, {"breakMode", "always"}};
}

// ---- sources

std::string Server::pathOf(std::int32_t file) const {
    if (file < 0 || static_cast<std::size_t>(file) >= files_.size()) throw Refused("there is no such source");
    const fs::path path = files_[static_cast<std::size_t>(file)];
    return path.is_absolute() || directory_.empty()
               ? path.string()
               : (fs::path(directory_) / path).lexically_normal().string();
}

Json Server::sourceOf(std::int32_t file) const {
    const std::string path = pathOf(file);
    Json source{{"name", fs::path(path).filename().string()}, {"path", path}};
    // An editor that finds no such file asks for its text.
    std::error_code error;
    if (!fs::exists(path, error)) source["sourceReference"] = file + 1;
    return source;
}

std::optional<Json> Server::loadedSources(const Json& /*request*/) {
    Json list = Json::array();
    for (std::size_t i = 0; i < files_.size(); ++i) list.push_back(sourceOf(static_cast<std::int32_t>(i)));
    return Json{{"sources", std::move(list)}};
}

/// Only of what the script consists of: this is no way to read other files.
std::optional<Json> Server::source(const Json& request) {
    const Json& arguments = request["arguments"];
    std::int32_t file = arguments.value("sourceReference", 0) - 1;
    if (file < 0) file = fileNamed(files_, arguments.at("source").at("path").get<std::string>());
    const std::string path = pathOf(file);
    std::error_code error;
    const platform::FileHandle handle = platform::openRegularFile(platform::systemPath(path));
    if (handle == nullptr ||
        platform::fileSize(handle.get()).value_or(0) > static_cast<std::int64_t>(kMostMessage))
        throw Refused(path + " cannot be read");
    std::optional<std::string> text = platform::readTextFile(platform::systemPath(path));
    if (!text) throw Refused(path + " cannot be read");
    return Json{{"content", std::move(*text)}};
}

}  // namespace kestrel::cli::dap
