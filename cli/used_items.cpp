#include "cli/used_items.h"

#include <nlohmann/json.hpp>
#include <string>
#include <unordered_set>

namespace kestrel::cli {

namespace {

/// The bone at which the module's walk would stay for ever: the first one that is not named, of an object
/// that is not.
const preview::BoneItem* endlessBone(const preview::SceneIndex& index,
                                     const std::vector<std::string>& named) {
    const std::unordered_set<std::string_view> names(named.begin(), named.end());
    for (const preview::BoneItem& bone : index.scene().bones) {
        const preview::Item* mesh = index.item(bone.mesh);
        if (mesh != nullptr && !names.contains(mesh->name) && !names.contains(bone.item.name)) return &bone;
    }
    return nullptr;
}

}  // namespace

bool usedItems(ModuleSession& session, nlohmann::ordered_json& names) {
    const std::vector<std::string> named = session.module().effectedBy(session.shader().instance());
    names = nullptr;
    if (named.empty()) return true;
    if (const preview::BoneItem* bone = endlessBone(session.index(), named)) {
        session.complain(
            "the items that affect the surface are not asked for: effectedby() names neither the object \"" +
                session.index().item(bone->mesh)->name + "\" nor its bone \"" + bone->item.name +
                "\", and then the answer would never come",
            kExitScriptFailed);
        return false;
    }
    names = nlohmann::ordered_json::array();
    for (const HostItemID id : session.shader().usedItems()) {
        const preview::Item* item = session.index().item(id);
        names.push_back(item != nullptr ? item->name : std::to_string(id));
    }
    return true;
}

}  // namespace kestrel::cli
