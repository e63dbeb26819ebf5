// What an editor asks for from the beginning of a session to its end: the script, its breakpoints, going on.
#include "cli/dap/asking.h"
#include "cli/dap/server.h"
#include "platform/environment.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <utility>

namespace kestrel::cli::dap {

namespace {

using std::chrono::milliseconds;
namespace fs = std::filesystem;

constexpr milliseconds kEndPatience{3000};
constexpr double kAttachSeconds = 10.0;
constexpr const char* kErrorFilter = "error";
constexpr std::size_t kMostBreakpoints = 10000;
constexpr const char* kHave[] = {
    "supportsConfigurationDoneRequest",
    "supportsFunctionBreakpoints",
    "supportsConditionalBreakpoints",
    "supportsHitConditionalBreakpoints",
    "supportsEvaluateForHovers",
    "supportsSetVariable",
    "supportsSetExpression",
    "supportsExceptionInfoRequest",
    "supportsDelayedStackTraceLoading",
    "supportsLoadedSourcesRequest",
    "supportsTerminateRequest",
    "supportTerminateDebuggee",
    "supportsCancelRequest",
};

/// Directory and environment become this process's own: the script is looked at here before it is started.
Launch launchOf(const Json& arguments) {
    Launch launch;
    const std::string directory = arguments.value("cwd", "");
    const auto environment = arguments.value("env", std::map<std::string, std::string>());
    launch.file = arguments.at("program");
    launch.as = arguments.value("as", "");
    launch.more = arguments.value("args", std::vector<std::string>());
    if (!launch.as.empty() && launch.as != "run" && launch.as != "shade" && launch.as != "render")
        throw Refused(R"(as: must be "run", "shade" or "render")");
    std::error_code error;
    if (!directory.empty()) fs::current_path(directory, error);
    if (error) throw Refused("cwd: " + directory + ": " + error.message());
    launch.file = fs::absolute(launch.file, error).lexically_normal().string();
    if (!fs::is_regular_file(launch.file, error) || !std::ifstream(launch.file))
        throw Refused("program: " + launch.file + " cannot be read");
    for (const auto& [name, value] : environment) {
        if (name.empty() || name.find('=') != std::string::npos) throw Refused("env: a name is unusable");
        platform::setEnvironment(name.c_str(), value);
    }
    return launch;
}

std::string textOr(const Json& json, const char* name) {
    const auto found = json.find(name);
    return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

const Json& listIn(const Json& arguments, const char* name) {
    const Json& list = arguments.at(name);
    if (!list.is_array()) throw Refused(std::string(name) + ": must be an array");
    if (list.size() > kMostBreakpoints) throw Refused("there are too many breakpoints");
    return list;
}

}  // namespace

std::optional<Json> Server::initialize(const Json& request) {
    const Json& arguments = request["arguments"];
    if (initialized_) throw Refused("initialize comes once");
    if (arguments.value("pathFormat", "path") != "path") throw Refused("paths have to be native ones");
    lineOffset_ = arguments.value("linesStartAt1", true) ? 0 : 1;
    tellsInvalidated_ = arguments.value("supportsInvalidatedEvent", false);
    initialized_ = true;
    Json capabilities;
    for (const char* name : kHave) capabilities[name] = true;
    capabilities["exceptionBreakpointFilters"] = {
        {{"filter", kErrorFilter},
         {"label", "Errors"},
         {"description", "Pauses where the script reports an error"},
         {"default", false}}};
    return capabilities;
}

std::optional<Json> Server::launch(const Json& request) {
    const Json& arguments = request["arguments"];
    if (begun_) throw Refused("a session has one script");
    const Launch launch = launchOf(arguments);
    begin(request);
    directory_ = fs::current_path().string();
    if (const std::string problem = target_.start(launch); !problem.empty()) throw Refused(problem);
    begun_ = true;
    starting_ = request;
    return std::nullopt;
}

std::optional<Json> Server::attach(const Json& request) {
    const Json& arguments = request["arguments"];
    if (begun_) throw Refused("a session has one script");
    const std::string link = arguments.at("link");
    const double seconds = arguments.value("wait", kAttachSeconds);
    if (!(seconds >= 0.0 && seconds <= 1e6)) throw Refused("wait: must be from 0 to 1000000 seconds");
    begin(request);
    target_.attach(link, milliseconds(static_cast<std::int64_t>(seconds * 1000)));
    begun_ = true;
    starting_ = request;
    return std::nullopt;
}

/// What launch and attach have in common.
void Server::begin(const Json& request) {
    const Json& arguments = request["arguments"];
    stopOnEntry_ = arguments.value("stopOnEntry", false);
    noDebug_ = arguments.value("noDebug", false);
    if (!arguments.contains("stopAtPixel")) return;
    const Json& pixel = arguments["stopAtPixel"];
    Breakpoint wanted;
    wanted.kind = Breakpoint::Kind::Pixel;
    wanted.pixel = {pixel.at("x"), pixel.at("y"), pixel.value("sample", 1)};
    if (wanted.pixel[0] < 0 || wanted.pixel[1] < 0 || wanted.pixel[2] < 1)
        throw Refused("stopAtPixel: x and y count from 0, sample counts from 1");
    stops_.add(std::move(wanted));
}

std::optional<Json> Server::setBreakpoints(const Json& request) {
    const Json& arguments = request["arguments"];
    const Json& place = arguments.at("source");
    std::string path = textOr(place, "path");
    if (const int number = place.value("sourceReference", 0); number > 0 && path.empty())
        path = pathOf(number - 1);
    if (path.empty()) throw Refused("the source has no path");
    std::vector<Breakpoint> wanted;
    if (arguments.contains("breakpoints")) {
        for (const Json& entry : listIn(arguments, "breakpoints")) {
            Breakpoint breakpoint;
            breakpoint.source = path;
            breakpoint.line = std::max(fromEditor(entry.at("line")), 1);
            breakpoint.conditionText = textOr(entry, "condition");
            breakpoint.hitText = textOr(entry, "hitCondition");
            wanted.push_back(std::move(breakpoint));
        }
    }
    return tellStops(stops_.replace(Breakpoint::Kind::Line, path, std::move(wanted)));
}

std::optional<Json> Server::setFunctionBreakpoints(const Json& request) {
    std::vector<Breakpoint> wanted;
    for (const Json& entry : listIn(request["arguments"], "breakpoints")) {
        Breakpoint breakpoint;
        breakpoint.kind = Breakpoint::Kind::Function;
        breakpoint.function = entry.at("name");
        breakpoint.conditionText = textOr(entry, "condition");
        breakpoint.hitText = textOr(entry, "hitCondition");
        wanted.push_back(std::move(breakpoint));
    }
    return tellStops(stops_.replace(Breakpoint::Kind::Function, {}, std::move(wanted)));
}

std::optional<Json> Server::setExceptionBreakpoints(const Json& request) {
    const Json& filters = listIn(request["arguments"], "filters");
    stops_.stopAtErrors(std::ranges::find(filters, Json(kErrorFilter)) != filters.end());
    static_cast<void>(tellStops({}));
    return Json::object();
}

/// Tells the script at once, if it listens; what it does not take now is told to the editor when it has.
Json Server::tellStops(const std::vector<int>& ids) {
    std::vector<int> changed;
    const auto tellOthers = [&] {  // of earlier requests
        std::erase_if(changed, [&](int id) { return std::ranges::find(ids, id) != ids.end(); });
        tellChanged(changed);
    };
    try {
        tellScript(changed);
    } catch (const NotYet&) {
        // One that was started is about to come to its beginning.
        if (target_.started() && !configured_ && !ids.empty()) {
            tellOthers();
            throw;
        }
        busy_ = true;
    } catch (const Refused&) {  // it has ended
    }
    tellOthers();
    Json list = Json::array();
    for (const int id : ids) list.push_back(describeStop(stops_.byId(id)));
    return {{"breakpoints", std::move(list)}};
}

Json Server::describeStop(const Breakpoint& breakpoint) const {
    Json json{{"id", breakpoint.id}, {"verified", breakpoint.settled && breakpoint.problem.empty()}};
    if (!breakpoint.problem.empty()) json["message"] = breakpoint.problem;
    if (!breakpoint.settled)
        json["message"] = "the script has not come to a line yet at which it can be told";
    const debug::DebugPlace& place = breakpoint.stop.place;
    if (breakpoint.stop.number != 0 && place.known()) {
        json["line"] = toEditor(place.line);
        json["source"] = sourceOf(place.file);
    } else if (breakpoint.kind == Breakpoint::Kind::Line) {
        json["line"] = toEditor(breakpoint.line);
    }
    return json;
}

std::optional<Json> Server::configurationDone(const Json& /*request*/) {
    configured_ = true;
    // One that runs already does not come to its beginning.
    pauseWanted_ = stopOnEntry_ && !target_.started() && !pausedBy_;
    return Json::object();
}

// ---- going on

std::optional<Json> Server::goOn(const Json& /*request*/) {
    resume(debug::RunMode::Freely, 1, false);
    return Json{{"allThreadsContinued", true}};
}

std::optional<Json> Server::next(const Json& /*request*/) {
    resume(debug::RunMode::Over, 1, false);
    return Json::object();
}

std::optional<Json> Server::stepIn(const Json& /*request*/) {
    resume(debug::RunMode::Line, 1, false);
    return Json::object();
}

std::optional<Json> Server::stepOut(const Json& /*request*/) {
    resume(debug::RunMode::Out, 1, false);
    return Json::object();
}

/// Answered at once: a script that sleeps, or whose host is idle, pauses at the next line that it comes to.
std::optional<Json> Server::pause(const Json& /*request*/) {
    pauseWanted_ = !paused_;
    return Json::object();
}

std::optional<Json> Server::cancel(const Json& request) {
    const Json wanted = request["arguments"].value("requestId", Json());
    const auto found = std::ranges::find_if(
        waiting_, [&](const Waiting& waiting) { return waiting.request["seq"] == wanted; });
    if (found != waiting_.end()) {
        wire_.refuse(found->request, "cancelled");
        waiting_.erase(found);
    }
    return Json::object();
}

std::optional<Json> Server::terminate(const Json& /*request*/) {
    if (target_.client() == nullptr && !target_.started() && !target_.looking())
        throw Refused("there is no script");
    leave(Leaving::End, std::nullopt, kEndPatience);
    return Json::object();
}

std::optional<Json> Server::disconnect(const Json& request) {
    const bool ends = request["arguments"].value("terminateDebuggee", target_.started());
    quits_ = true;
    leave(ends ? Leaving::End : Leaving::LetGo, request, kEndPatience);
    return std::nullopt;
}

}  // namespace kestrel::cli::dap
