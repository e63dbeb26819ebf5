#include "cli/scene_access.h"

#include "cli/scene_choice.h"
#include "preview/services/file_dialog.h"
#include "preview/services/services.h"

#include <utility>

namespace kestrel::cli {

namespace {

class OpenedScene final : public SceneAccess {
public:
    explicit OpenedScene(preview::Scene scene) : scene_(std::move(scene)) {}
    [[nodiscard]] HostGlobal services() const override { return services_.global(); }

private:
    preview::Scene scene_;
    preview::SceneIndex index_{scene_};
    preview::FileDialog dialog_{{}, false};
    preview::PreviewServices services_{index_, dialog_, {}};
};

}  // namespace

std::unique_ptr<SceneAccess> openScene(const std::string& nativePath, Invocation& invocation) {
    std::optional<preview::Scene> scene = readSceneFile(nativePath, invocation);
    if (!scene) return nullptr;
    return std::make_unique<OpenedScene>(std::move(*scene));
}

}  // namespace kestrel::cli
