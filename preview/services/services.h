// The services that the preview, as a host, offers to the module, answered for one scene.
#pragma once

#include "host/host_interface.h"
#include "preview/scene/scene.h"
#include "preview/services/panel.h"

#include <functional>
#include <map>
#include <string>

namespace kestrel::preview {

class FileDialog;

enum class HostMessageKind { Info, Warning, Error };

/// Receives every message of the module.
/// @param line2  null when absent
using MessageReceiver = std::function<void(HostMessageKind kind, const char* line1, const char* line2)>;

/// What a script may ask about light and rays while its sample is evaluated.
class ShadingOperations {
public:
    virtual ~ShadingOperations() = default;
    /// See IlluminateOperation.
    virtual void illuminate(HostItemID light, const Vec3& point, Vec3& vector, Vec3& color) = 0;
    /// See RayTraceOperation.
    virtual double traceRay(const Vec3& point, const Vec3& direction, Vec3& color) = 0;
};

/// One set of services. The module asks for them through a plain function and calls them without any handle
/// of ours, so the set that answers must be known process-wide: one exists at a time, and it must outlive the
/// module's use.
class PreviewServices {
public:
    /// All references outlive the services.
    PreviewServices(const SceneIndex& index, FileDialog& dialog, MessageReceiver messages);
    ~PreviewServices();
    PreviewServices(const PreviewServices&) = delete;
    PreviewServices& operator=(const PreviewServices&) = delete;

    /// The lookup function for the module's activations.
    [[nodiscard]] HostGlobal global() const noexcept;

    /// Answers the operations of a sample; null: no light arrives and no ray hits anything. Borrowed.
    void setOperations(ShadingOperations* operations) noexcept { operations_ = operations; }
    /// The operations to put into samples.
    [[nodiscard]] static IlluminateOperation illuminateOperation() noexcept;
    [[nodiscard]] static RayTraceOperation rayTraceOperation() noexcept;

    /// The panel service. Without a face it is not offered: scripts that want panels are told so and keep
    /// running.
    [[nodiscard]] PanelDesk& panels() noexcept { return panels_; }

    /// Picture size, sampling and frame range as the scene service tells them.
    [[nodiscard]] SceneInfo& sceneInfo() noexcept { return sceneInfo_; }

    [[nodiscard]] const SceneIndex& index() const noexcept { return index_; }
    [[nodiscard]] FileDialog& dialog() noexcept { return dialog_; }
    [[nodiscard]] ShadingOperations* operations() const noexcept { return operations_; }
    void message(HostMessageKind kind, const char* line1, const char* line2) const;
    /// The directory of that kind in the system's form: the temporary directory for "Temp", the current
    /// directory for the other kinds of the host; null for an unknown kind.
    [[nodiscard]] const char* directory(const std::string& kind);

private:
    const SceneIndex& index_;
    FileDialog& dialog_;
    MessageReceiver messages_;
    ShadingOperations* operations_ = nullptr;
    SceneInfo sceneInfo_{};
    PanelDesk panels_;
    std::map<std::string, std::string> directories_;  // keeps the texts that were handed out
};

}  // namespace kestrel::preview
