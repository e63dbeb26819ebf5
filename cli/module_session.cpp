#include "cli/module_session.h"

#include "cli/panel_faces.h"
#include "cli/script_check.h"
#include "ipc/debug_link.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/terminal.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>

namespace kestrel::cli {

namespace {

constexpr double kLongestTime = 1e9;        // seconds
constexpr std::size_t kMostScripts = 1000;  // each has an instance with a stack of its own
constexpr std::int64_t kLargestState = std::int64_t{256} << 20;

bool personIsThere() {
    return platform::isTerminal(platform::Stream::Input) && platform::isTerminal(platform::Stream::Output);
}

ShownMessage::Kind shownKind(preview::HostMessageKind kind) {
    switch (kind) {
        case preview::HostMessageKind::Info:
            return ShownMessage::Kind::Info;
        case preview::HostMessageKind::Warning:
            return ShownMessage::Kind::Warning;
        case preview::HostMessageKind::Error:
            break;
    }
    return ShownMessage::Kind::Error;
}

Place placeOf(const std::vector<KestrelPlace>& levels) {
    Place place;
    for (const KestrelPlace& level : levels) {
        const Place single{level.file, level.line, level.column, level.endColumn, {}};
        if (&level == &levels.front())
            place = single;
        else
            place.broughtInBy.push_back(single);
    }
    return place;
}

std::vector<ScriptedSurface> scriptsOf(const preview::Scene& scene) {
    std::vector<ScriptedSurface> scripts;
    for (std::size_t i = 0; i < scene.surfaces.size(); ++i) {
        if (!scene.surfaces[i].script.empty()) scripts.push_back({i, scene.surfaces[i].script, {}, {}, {}});
    }
    return scripts;
}

}  // namespace

void addModuleOptions(CLI::App& command, ModuleOptions& options, Invocation& invocation,
                      const std::string& fileHelp) {
    command.add_option("FILE", options.file, fileHelp + "; - reads a script from standard input")
        ->required()
        ->type_name("");
    command
        .add_option(
            "--choose", options.choose,
            "Answers the module's file requests, in order. Without one left it asks on the terminal; when "
            "there is none, the request counts as cancelled. A part of a script is taken only under the very "
            "name that was asked for")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("FILE ...");
    command
        .add_option(
            "--panel", options.panel,
            "Answers the panels that scripts post: a JSON array with an object for each, such as "
            "[{\"ok\": true, \"LABEL\": 1.5}]. Without it they become a form on the terminal; when there "
            "is none, they count as cancelled")
        ->expected(1)
        ->type_name("ANSWERS.json");
    addMessagesOption(command, invocation);
    addTimeoutOption(command, invocation);
    addSearchOption(command);
    addDebugLinkOption(command, invocation);
}

void addFrameOptions(CLI::App& command, ModuleOptions& options) {
    command.add_option("--frame", options.frame, "Frame number for the script")->capture_default_str();
    command
        .add_option("--time", options.time,
                    "Time of the frame in seconds (default: frame / 30, or by the scene's frames per second)")
        ->check(numberIn(-kLongestTime, kLongestTime, "seconds"))
        ->type_name("SECONDS");
}

void addStateOption(CLI::App& command, ModuleOptions& options) {
    command
        .add_option("--state", options.states,
                    "Settings that `kestrel options` stored, which the script's load reads; with several "
                    "scripts in a scene, for the surface of that name")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false)
        ->type_name("[SURFACE=]FILE");
}

ModuleSession::ModuleSession(const ModuleOptions& options, preview::Scene scene, Invocation& invocation)
    : options_(options),
      invocation_(invocation),
      printer_(invocation.json, {}),
      scene_(std::move(scene)),
      dialog_(options.choose, personIsThere()),
      services_(index_, dialog_,
                [this](preview::HostMessageKind kind, const char* line1, const char* line2) {
                    show(kind, line1, line2);
                }),
      scripts_(scriptsOf(scene_)),
      shaders_(scene_.surfaces.size()) {
    printer_.setTextScript(invocation.textScript);
    for (const ScriptedSurface& script : scripts_) printer_.addScript(script.file);
}

ModuleSession::~ModuleSession() {
    if (module_ != nullptr) module_->setAdvice(nullptr, nullptr);
}

void ModuleSession::complain(std::string_view text, ExitCode exitCode) {
    if (beforeMessage_) beforeMessage_();
    printer_.plainError(text);
    invocation_.exitCode = exitCode;
}

bool ModuleSession::setPicture(std::string_view output) {
    outputTaken_ = output == "-";
    if (!outputTaken_ || !invocation_.json) return true;
    complain("a picture and JSON messages cannot both go to standard output", kExitUnusable);
    return false;
}

double ModuleSession::seconds(std::int32_t frame) const {
    return options_.time ? *options_.time : frame / scene_.settings.framesPerSecond;
}

void ModuleSession::show(preview::HostMessageKind kind, const char* line1, const char* line2) {
    if (beforeMessage_) beforeMessage_();
    ShownMessage message;
    message.kind = shownKind(kind);
    if (message.kind == ShownMessage::Kind::Error) errorReported_ = true;
    if (line1 != nullptr) message.line1 = line1;
    if (line2 != nullptr) message.line2 = line2;
    if (module_ != nullptr) {
        message.id = module_->nameOfMessage();
        message.place = placeOf(module_->placeOfMessage());
    }
    present(std::move(message));
}

void ModuleSession::advise(const char* rule, const char* text) {
    if (beforeMessage_) beforeMessage_();
    ShownMessage hint;
    hint.kind = ShownMessage::Kind::Hint;
    hint.rule = rule;
    hint.line1 = text;
    hint.place = placeOf(module_->placeOfMessage());
    present(std::move(hint));
}

void ModuleSession::present(ShownMessage message) {
    if (outputTaken_ && !worker_ && message.kind == ShownMessage::Kind::Info) {
        printer_.finish();
        std::fprintf(stderr, "%s\n", message.line2.value_or(message.line1).c_str());
        return;
    }
    printer_.show(std::move(message));
}

bool ModuleSession::filesUsable() {
    if (scripts_.size() > kMostScripts) {
        complain("the scene has " + std::to_string(scripts_.size()) + " surfaces with scripts; at most " +
                     std::to_string(kMostScripts) + " are possible",
                 kExitUnusable);
        return false;
    }
    bool usable = true;
    std::set<std::string> checked;
    for (const ScriptedSurface& script : scripts_) {
        if (checked.insert(script.file).second) usable = requireReadable(script.file, invocation_) && usable;
    }
    const std::vector<std::string> scripts(checked.begin(), checked.end());
    for (const std::string& file : options_.choose) {
        usable = requireReadable(file, invocation_) && usable;
        checked.insert(file);
    }
    for (const std::string& file : checked) {
        if (file.find('\n') == std::string::npos) continue;
        complain(file + ": a script's name cannot contain a line break", kExitUnusable);
        usable = false;
    }
    if (!usable) return false;
    return checkScripts(scripts);
}

bool ModuleSession::checkScripts(const std::vector<std::string>& files) {
    RunWatch watch;
    const RunGuard guard(watch.requested, invocation_.timeout);
    std::vector<std::string> globals;
    bool compile = true;
    for (const std::string& file : files) {
        const ScriptCheck check = precheck(file, options_.choose, &watch);
        if (guard.triggered()) {
            complain(file + ": " + guard.reason() + ", compile ended", kExitScriptFailed);
            return false;
        }
        if (!check.safe()) {
            check.complain(printer_);
            invocation_.exitCode = kExitScriptFailed;
            return false;
        }
        hints_[file] = check.hints();
        if (invocation_.debugLink.empty() && !check.debugLink().empty())
            printer_.hint(HintId::DebugLink,
                          debugLinkHint(check.debugLink(), !debugLinkTaken(check.debugLink())));
        compile = compile && check.compiles();
        globals.insert(globals.end(), check.globals().begin(), check.globals().end());
    }
    return !compile || checkParams(globals, invocation_);  // what does not compile is told by the module
}

bool ModuleSession::setFace() {
    const auto observe = [this](const preview::Panel& panel) {
        if (beforeMessage_) beforeMessage_();
        if (invocation_.json && !worker_) std::printf("%s\n", panelJson(panel, index_).c_str());
    };
    if (!options_.panel.empty()) {
        if (!requireReadable(options_.panel, invocation_)) return false;
        const std::optional<std::string> text = platform::readTextFile(platform::systemPath(options_.panel));
        std::string problem = "cannot be read";
        if (text) {
            const auto complainOf = [this](const std::string& wrong) {
                complain(options_.panel + ": " + wrong, kExitUnusable);
            };
            face_ = answersFromJson(*text, index_, observe, complainOf, problem);
        }
        if (face_ == nullptr) complain(options_.panel + ": " + problem, kExitUnusable);
    } else {
        face_ = personIsThere() && !invocation_.json ? terminalForm(index_, observe) : noAnswers(observe);
    }
    services_.panels().setFace(face_.get());
    return face_ != nullptr;
}

bool ModuleSession::readStates() {
    for (const std::string& argument : options_.states) {
        ScriptedSurface* owner = scripts_.size() == 1 ? &scripts_.front() : nullptr;
        std::string file = argument;
        const std::size_t equals = argument.find('=');
        for (ScriptedSurface& script : scripts_) {
            if (equals == std::string::npos ||
                scene_.surfaces[script.surface].name != argument.substr(0, equals))
                continue;
            owner = &script;
            file = argument.substr(equals + 1);
        }
        if (owner == nullptr) {
            complain("--state " + argument +
                         ": which surface is it for? Write SURFACE=FILE with the name of a surface "
                         "that has a script",
                     kExitUnusable);
            return false;
        }
        if (!requireReadable(file, invocation_)) return false;
        std::optional<std::string> bytes = readBytes(file, kLargestState);
        if (bytes) owner->settings = preview::stateFromBytes(std::move(*bytes));
        owner->settingsFile = file;
        if (owner->settings) continue;
        complain(file + ": " +
                     (bytes ? "holds no settings of a script: they begin with \"Script \", or in the binary "
                              "form with the length of the script's path"
                            : "cannot be read, or is larger than 256 MB"),
                 kExitUnusable);
        return false;
    }
    return true;
}

bool ModuleSession::open() {
    if (!filesUsable() || !readStates() || !setFace()) return false;
    std::string problem;
    module_ = preview::ModuleHost::open(preview::defaultModulePath(), services_, problem);
    if (module_ == nullptr) {
        complain(problem, kExitUnusable);
        return false;
    }
    if (!invocation_.debugLink.empty() && !module_->setDebugLink(invocation_.debugLink)) {
        complain("the module has no debugger link", kExitUnusable);
        return false;
    }
    for (const std::string& assignment : invocation_.presets) {
        if (module_->preset(assignment)) continue;
        complain("the module takes no --param", kExitUnusable);
        return false;
    }
    module_->setAdvice([](void* session, const char* rule,
                          const char* text) { static_cast<ModuleSession*>(session)->advise(rule, text); },
                       this);
    KestrelRunWatch* watch = module_->watch();
    guard_ =
        std::make_unique<RunGuard>(watch != nullptr ? watch->requested : unwatched_, invocation_.timeout);
    for (ScriptedSurface& script : scripts_) {
        script.shader = preview::ShaderHandle::create(*module_);
        if (script.shader != nullptr) continue;
        complain("the module makes no shader instance", kExitUnusable);
        return false;
    }
    return true;
}

bool ModuleSession::load() {
    for (ScriptedSurface& script : scripts_) {
        const bool loaded = script.settings ? script.shader->loadScript(script.file, *script.settings)
                                            : script.shader->loadScript(script.file);
        const bool ran = settle();
        for (ShownMessage& hint : std::exchange(hints_[script.file], {})) printer_.show(std::move(hint));
        if (!loaded) invocation_.exitCode = kExitScriptFailed;
        if (!loaded || !ran) return false;
        if (const std::string problem = script.shader->settingsProblem(); !problem.empty()) {
            complain(script.settingsFile + ": " + problem, kExitUnusable);
            return false;
        }
        shaders_[script.surface].shader = script.shader.get();
    }
    if (!invocation_.debugLink.empty() && !debugged()) {
        complain("the debugger link cannot be made", kExitUnusable);
        return false;
    }
    return true;
}

bool ModuleSession::begin() {
    for (ScriptedSurface& script : scripts_) {
        script.shader->init();
        if (!settle()) return false;
    }
    return true;
}

bool ModuleSession::beginFrame(std::int32_t frame, double seconds) {
    services_.setOperations(nullptr);
    shading_.reset();
    caster_.reset();  // before the next pose needs its memory
    pose_ = std::make_unique<preview::Pose>(index_, seconds);
    caster_ = std::make_unique<preview::RayCaster>(*pose_);
    for (ScriptedSurface& script : scripts_) {
        script.shader->newTime(frame, seconds);
        if (!settle()) return false;
        shaders_[script.surface].mask = script.shader->flags();
        if (!settle()) return false;
    }
    shading_ = std::make_unique<preview::Shading>(*pose_, *caster_, shaders_);
    services_.setOperations(shading_.get());
    return true;
}

bool ModuleSession::end() {
    bool fine = settle();
    for (ScriptedSurface& script : scripts_) {
        if (!fine) break;
        script.shader->cleanup();
        fine = settle();
    }
    services_.setOperations(nullptr);
    shading_.reset();
    for (ScriptedSurface& script : scripts_) {
        script.shader.reset();  // runs the script's destroy
        if (module_->aborted(nullptr)) aborted_ = true;
    }
    fine = settle() && fine;
    printer_.finish();
    return fine && !aborted_;
}

bool ModuleSession::debugged() const {
    return std::ranges::any_of(scripts_, [](const ScriptedSurface& script) {
        return script.shader != nullptr && script.shader->debugged();
    });
}

bool ModuleSession::failed() {
    (void)settle();
    return aborted_;
}

void ModuleSession::becomeWorker(std::function<void(const ShownMessage&)> relay) {
    worker_ = true;
    endToldAbout_ = true;
    beforeMessage_ = {};
    printer_.setRelay(std::move(relay));
    guard_->becomeWorker();
}

std::int32_t ModuleSession::endedAtLine() const {
    const KestrelRunWatch* watch = module_->watch();
    return watch != nullptr ? watch->line.load() : 0;
}

void ModuleSession::tellEnded(std::int32_t line) {
    if (endToldAbout_) return;
    endToldAbout_ = true;
    if (beforeMessage_) beforeMessage_();
    Place place;
    if (scripts_.size() == 1) place.file = scripts_.front().file;
    place.line = line;
    const std::string where = line > 0 ? "line " + std::to_string(line) + ", " : std::string();
    printer_.plainError(where + guard_->reason() + ", run ended", place);
}

bool ModuleSession::settle() {
    for (const ScriptedSurface& script : scripts_) {
        if (script.shader != nullptr && script.shader->aborted()) aborted_ = true;
    }
    const bool ended = guard_ != nullptr && guard_->triggered();
    if (ended) {
        tellEnded(endedAtLine());
        aborted_ = true;
    }
    if (aborted_) invocation_.exitCode = kExitScriptFailed;
    return !ended;
}

}  // namespace kestrel::cli
