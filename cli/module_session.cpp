#include "cli/module_session.h"

#include "cli/script_check.h"
#include "platform/terminal.h"

#include <CLI/CLI.hpp>
#include <utility>

namespace kestrel::cli {

namespace {

constexpr double kLongestTime = 1e9;  // seconds; keeps out what is no number or infinite

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

}  // namespace

void addModuleOptions(CLI::App& command, ModuleOptions& options, Invocation& invocation) {
    command.add_option("FILE", options.file, "The script")->required()->type_name("");
    command
        .add_option(
            "--choose", options.choose,
            "Answers the module's file requests, in order. Without one left it asks on the terminal; when "
            "there is none, the request counts as cancelled. A part of a script is taken only under the very "
            "name that was asked for")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("FILE ...");
    addMessagesOption(command, invocation);
    addTimeoutOption(command, invocation);
}

void addFrameOptions(CLI::App& command, ModuleOptions& options) {
    command.add_option("--frame", options.frame, "Frame number for the script")->capture_default_str();
    command.add_option("--time", options.time, "Time of the frame in seconds (default: frame / 30)")
        ->check(CLI::Range(-kLongestTime, kLongestTime).description(""))
        ->type_name("SECONDS");
}

ModuleSession::ModuleSession(const ModuleOptions& options, Invocation& invocation, preview::Scene scene)
    : options_(options),
      invocation_(invocation),
      printer_(invocation.json, options.file),
      scene_(std::move(scene)),
      dialog_(options.choose, personIsThere()),
      services_(index_, dialog_, [this](preview::HostMessageKind kind, const char* line1, const char* line2) {
          show(kind, line1, line2);
      }) {}

ModuleSession::~ModuleSession() = default;

void ModuleSession::complain(std::string_view text, ExitCode exitCode) {
    printer_.plainError(text);
    invocation_.exitCode = exitCode;
}

bool ModuleSession::setPicture(std::string_view output) {
    outputTaken_ = output == "-";
    if (!outputTaken_ || !invocation_.json) return true;
    complain("a picture and JSON messages cannot both go to standard output", kExitUnusable);
    return false;
}

void ModuleSession::show(preview::HostMessageKind kind, const char* line1, const char* line2) {
    if (beforeMessage_) beforeMessage_();
    ShownMessage message;
    message.kind = shownKind(kind);
    if (line1 != nullptr) message.line1 = line1;
    if (line2 != nullptr) message.line2 = line2;
    if (module_ != nullptr) {
        message.id = module_->nameOfMessage();
        message.place = placeOf(module_->placeOfMessage());
    }
    if (outputTaken_ && message.kind == ShownMessage::Kind::Info) {
        printer_.finish();
        std::fprintf(stderr, "%s\n", line2 == nullptr ? line1 : line2);
        return;
    }
    printer_.show(std::move(message));
}

bool ModuleSession::open() {
    bool usable = requireReadable(options_.file, invocation_);
    for (const std::string& file : options_.choose) usable = requireReadable(file, invocation_) && usable;
    if (!usable) return false;
    if (const ScriptCheck check = precheck(options_.file, options_.choose); !check.safe()) {
        check.complain(printer_);
        invocation_.exitCode = kExitScriptFailed;
        return false;
    }
    std::string problem;
    module_ = preview::ModuleHost::open(preview::defaultModulePath(), services_, problem);
    if (module_ == nullptr) {
        complain(problem, kExitUnusable);
        return false;
    }
    KestrelRunWatch* watch = module_->watch();
    guard_ =
        std::make_unique<RunGuard>(watch != nullptr ? watch->requested : unwatched_, invocation_.timeout);
    pose_ = std::make_unique<preview::Pose>(index_, options_.seconds());
    caster_ = std::make_unique<preview::RayCaster>(*pose_);
    shader_ = preview::ShaderHandle::create(*module_);
    if (shader_ == nullptr) {
        complain("the module makes no shader instance", kExitUnusable);
        return false;
    }
    shading_ =
        std::make_unique<preview::Shading>(*pose_, *caster_, std::span<const preview::SurfaceShader>());
    services_.setOperations(shading_.get());
    return true;
}

bool ModuleSession::load() {
    const bool loaded = shader_->loadScript(options_.file);
    const bool ran = settle();
    if (!loaded) invocation_.exitCode = kExitScriptFailed;
    return loaded && ran;
}

bool ModuleSession::begin() {
    shader_->init();
    if (!settle()) return false;
    shader_->newTime(options_.frame, options_.seconds());
    if (!settle()) return false;
    mask_ = shader_->flags();
    const preview::SurfaceShader scripted{shader_.get(), mask_};
    shading_->setShaders({&scripted, 1});
    return settle();
}

bool ModuleSession::end() {
    bool fine = settle();
    if (fine) {
        shader_->cleanup();
        fine = settle();
    }
    services_.setOperations(nullptr);
    shading_.reset();
    shader_.reset();  // runs the script's destroy
    if (module_->aborted(nullptr)) aborted_ = true;
    fine = settle() && fine;
    printer_.finish();
    return fine && !aborted_;
}

bool ModuleSession::failed() {
    (void)settle();
    return aborted_;
}

bool ModuleSession::settle() {
    if (shader_ != nullptr && shader_->aborted()) aborted_ = true;
    const bool ended = guard_ != nullptr && guard_->triggered();
    if (ended && !endToldAbout_) {
        endToldAbout_ = true;
        if (beforeMessage_) beforeMessage_();
        const KestrelRunWatch* watch = module_->watch();
        Place place;
        place.file = options_.file;
        place.line = watch != nullptr ? watch->line : 0;
        const std::string where =
            place.line > 0 ? "line " + std::to_string(place.line) + ", " : std::string();
        printer_.plainError(where + guard_->reason() + ", run ended", place);
    }
    if (ended) aborted_ = true;
    if (aborted_) invocation_.exitCode = kExitScriptFailed;
    return !ended;
}

}  // namespace kestrel::cli
