// The module with the scripts of a scene in it: what shade, render, bench and options share.
#pragma once

#include "cli/commands.h"
#include "cli/message_printer.h"
#include "cli/run_guard.h"
#include "preview/render/raycaster.h"
#include "preview/render/shading.h"
#include "preview/scene/scene.h"
#include "preview/services/file_dialog.h"
#include "preview/services/services.h"
#include "preview/services/shader_handle.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::cli {

/// What the commands ask for alike.
struct ModuleOptions {
    std::string file;                 ///< the script, or a scene
    std::vector<std::string> choose;  ///< --choose, in order
    std::string panel;                ///< --panel: a file of answers
    std::vector<std::string> states;  ///< --state: [SURFACE=]FILE
    std::int32_t frame = 0;
    std::optional<double> time;  ///< default: by the frame and the scene's frames per second
};

/// Adds FILE, `--choose`, `--panel`, `--messages`, `--timeout` and `-I`.
void addModuleOptions(CLI::App& command, ModuleOptions& options, Invocation& invocation,
                      const std::string& fileHelp = "The script");
/// Adds `--frame` and `--time`.
void addFrameOptions(CLI::App& command, ModuleOptions& options);
/// Adds `--state`.
void addStateOption(CLI::App& command, ModuleOptions& options);

/// A script on a surface of the scene, with its instance in the module.
struct ScriptedSurface {
    std::size_t surface = 0;  ///< in Scene::surfaces
    std::string file;         ///< native path
    std::optional<preview::InstanceState> settings;
    std::string settingsFile;  ///< where they come from
    std::unique_ptr<preview::ShaderHandle> shader;
};

/// Loads the module, makes an instance for each scripted surface and attaches its script. Each step says what
/// went wrong and leaves the exit status in the invocation; a step that returns false is the last one to
/// take.
class ModuleSession {
public:
    /// @param scene    SurfaceEntry::script tells which surfaces have a script
    /// @param options  outlives the session
    ModuleSession(const ModuleOptions& options, preview::Scene scene, Invocation& invocation);
    ~ModuleSession();
    ModuleSession(const ModuleSession&) = delete;
    ModuleSession& operator=(const ModuleSession&) = delete;

    /// Checks the files and the scripts, loads the module and makes the instances.
    [[nodiscard]] bool open();
    /// Attaches the scripts the way the load of a scene does.
    [[nodiscard]] bool load();
    /// Calls init.
    [[nodiscard]] bool begin();
    /// Puts the scene at a time, calls newTime and asks for the flags.
    [[nodiscard]] bool beginFrame(std::int32_t frame, double seconds);
    /// Calls cleanup and destroys the instances. False when a script was ended or aborted at any time.
    [[nodiscard]] bool end();

    /// True while a debugger can reach one of the scripts.
    [[nodiscard]] bool debugged() const;

    /// True when a run of script code was ended from outside or ended with a fatal error, up to now.
    [[nodiscard]] bool failed();
    /// True when a script has reported an error, which need not have ended its run.
    [[nodiscard]] bool errorReported() const noexcept { return errorReported_; }
    /// False when the time limit or an interrupt ended a script.
    [[nodiscard]] bool running() { return settle(); }

    /// True when the time limit or an interrupt asked for the end.
    [[nodiscard]] bool interrupted() const { return guard_->triggered(); }

    /// A message that a worker has sent.
    void showRelayed(ShownMessage message) { present(std::move(message)); }
    /// In a worker: what is said goes to `relay` instead, and nobody is told why a script was ended.
    void becomeWorker(std::function<void(const ShownMessage&)> relay);
    /// Of a script that was ended in a worker: the line it was at, 0 = unknown.
    [[nodiscard]] std::int32_t endedAtLine() const;
    /// Tells why a script was ended, once; `line` as a worker found it.
    void tellEnded(std::int32_t line);

    /// Time of a frame in seconds.
    [[nodiscard]] double seconds(std::int32_t frame) const;

    /// The first script.
    [[nodiscard]] preview::ShaderHandle& shader() { return *scripts_.front().shader; }
    [[nodiscard]] std::uint32_t mask() const { return shaders_[scripts_.front().surface].mask; }
    [[nodiscard]] std::vector<ScriptedSurface>& scripts() { return scripts_; }
    [[nodiscard]] preview::Shading& shading() { return *shading_; }
    [[nodiscard]] preview::PreviewServices& services() { return services_; }
    [[nodiscard]] const preview::SceneIndex& index() const { return index_; }
    [[nodiscard]] const preview::Pose& pose() const { return *pose_; }
    [[nodiscard]] const preview::ModuleHost& module() const { return *module_; }
    [[nodiscard]] MessagePrinter& printer() { return printer_; }

    /// Called before each message is shown.
    void setBeforeMessage(std::function<void()> action) { beforeMessage_ = std::move(action); }
    /// Where a picture goes to; if that is standard output ("-"), information goes to standard error.
    /// @return false when JSON messages want standard output, too
    [[nodiscard]] bool setPicture(std::string_view output);
    /// An error of the command itself.
    void complain(std::string_view text, ExitCode exitCode);

private:
    [[nodiscard]] bool filesUsable();
    [[nodiscard]] bool checkScripts(const std::vector<std::string>& files);
    [[nodiscard]] bool setFace();
    [[nodiscard]] bool readStates();
    void show(preview::HostMessageKind kind, const char* line1, const char* line2);
    /// What the module advises beside the message before.
    void advise(const char* rule, const char* text);
    void present(ShownMessage message);
    /// Notes whether the last step failed; tells once when a script was ended from outside.
    [[nodiscard]] bool settle();

    const ModuleOptions& options_;
    Invocation& invocation_;
    MessagePrinter printer_;
    preview::Scene scene_;
    preview::SceneIndex index_{scene_};
    preview::FileDialog dialog_;
    preview::PreviewServices services_;
    std::unique_ptr<preview::PanelFace> face_;
    std::unique_ptr<preview::ModuleHost> module_;
    platform::SharedFlag unwatched_{0};  // for a module without a watch
    std::unique_ptr<RunGuard> guard_;
    std::vector<ScriptedSurface> scripts_;
    std::map<std::string, std::vector<ShownMessage>> hints_;  // by script, until it is loaded
    std::vector<preview::SurfaceShader> shaders_;             // by surface
    std::unique_ptr<preview::Pose> pose_;
    std::unique_ptr<preview::RayCaster> caster_;
    std::unique_ptr<preview::Shading> shading_;
    std::function<void()> beforeMessage_;
    bool outputTaken_ = false;
    bool aborted_ = false;
    bool errorReported_ = false;
    bool worker_ = false;
    bool endToldAbout_ = false;
};

}  // namespace kestrel::cli
