// The module with one script in it: what shade, render and bench share.
#pragma once

#include "cli/commands.h"
#include "cli/message_printer.h"
#include "cli/run_guard.h"
#include "preview/render/raycaster.h"
#include "preview/render/shading.h"
#include "preview/scene/builtin_scene.h"
#include "preview/services/file_dialog.h"
#include "preview/services/services.h"
#include "preview/services/shader_handle.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::cli {

/// What the commands ask for alike.
struct ModuleOptions {
    std::string file;                 ///< the script
    std::vector<std::string> choose;  ///< --choose, in order
    std::int32_t frame = 0;
    std::optional<double> time;  ///< default: the frame's time at 30 frames per second
    [[nodiscard]] double seconds() const { return time ? *time : frame / 30.0; }
};

/// Adds FILE, `--choose`, `--messages` and `--timeout`.
void addModuleOptions(CLI::App& command, ModuleOptions& options, Invocation& invocation);
/// Adds `--frame` and `--time`.
void addFrameOptions(CLI::App& command, ModuleOptions& options);

/// Loads the module, makes an instance and attaches the script. Each step says what went wrong and leaves the
/// exit status in the invocation; a step that returns false is the last one to take.
class ModuleSession {
public:
    /// @param scene  what the script may ask about; its surface 0 is the script's
    ModuleSession(const ModuleOptions& options, Invocation& invocation,
                  preview::Scene scene = preview::makeSphereScene());
    ~ModuleSession();
    ModuleSession(const ModuleSession&) = delete;
    ModuleSession& operator=(const ModuleSession&) = delete;

    /// Checks the files and the script, loads the module and makes the instance.
    [[nodiscard]] bool open();
    /// Attaches the script the way the load of a scene does.
    [[nodiscard]] bool load();
    /// Calls init and newTime and asks for the flags.
    [[nodiscard]] bool begin();
    /// Calls cleanup and destroys the instance. False when the script was ended or aborted at any time.
    [[nodiscard]] bool end();

    /// True when a run of script code was ended from outside or ended with a fatal error, up to now.
    [[nodiscard]] bool failed();
    /// False when the time limit or an interrupt ended the script.
    [[nodiscard]] bool running() { return settle(); }

    [[nodiscard]] preview::ShaderHandle& shader() { return *shader_; }
    [[nodiscard]] preview::Shading& shading() { return *shading_; }
    [[nodiscard]] preview::PreviewServices& services() { return services_; }
    [[nodiscard]] const preview::Pose& pose() const { return *pose_; }
    [[nodiscard]] MessagePrinter& printer() { return printer_; }
    [[nodiscard]] std::uint32_t mask() const { return mask_; }

    /// Called before each message is shown.
    void setBeforeMessage(std::function<void()> action) { beforeMessage_ = std::move(action); }
    /// Where a picture goes to; if that is standard output ("-"), information goes to standard error.
    /// @return false when JSON messages want standard output, too
    [[nodiscard]] bool setPicture(std::string_view output);
    /// An error of the command itself.
    void complain(std::string_view text, ExitCode exitCode);

private:
    void show(preview::HostMessageKind kind, const char* line1, const char* line2);
    /// Notes whether the last step failed; tells once when a script was ended from outside.
    [[nodiscard]] bool settle();

    const ModuleOptions& options_;
    Invocation& invocation_;
    MessagePrinter printer_;
    preview::Scene scene_;
    preview::SceneIndex index_{scene_};
    preview::FileDialog dialog_;
    preview::PreviewServices services_;
    std::unique_ptr<preview::Pose> pose_;
    std::unique_ptr<preview::RayCaster> caster_;
    std::unique_ptr<preview::ModuleHost> module_;
    volatile std::int32_t unwatched_ = 0;  // for a module without a watch
    std::unique_ptr<RunGuard> guard_;
    std::unique_ptr<preview::ShaderHandle> shader_;
    std::unique_ptr<preview::Shading> shading_;
    std::function<void()> beforeMessage_;
    std::uint32_t mask_ = 0;
    bool outputTaken_ = false;
    bool aborted_ = false;
    bool endToldAbout_ = false;
};

}  // namespace kestrel::cli
