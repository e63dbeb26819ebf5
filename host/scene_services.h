// What a host tells of its scene.
#pragma once

#include "host/host_interface.h"

#include <cstddef>

namespace kestrel {

/// Far beyond any scene: whoever follows a host's list gives up here.
inline constexpr std::size_t kMostItems = std::size_t{1} << 18;

/// The host's services about its scene. A null service, or a service without the operation that is asked for,
/// answers every question with Nil.
struct SceneServices {
    const ItemInfo* items = nullptr;
    const ObjectInfo* objects = nullptr;
    const BoneInfo* bones = nullptr;
    const LightInfo* lights = nullptr;
    const CameraInfo* cameras = nullptr;
    const SceneInfo* scene = nullptr;
    const ImageList* images = nullptr;

    /// @return null where the service or its operation is missing
    template <class Service, class Operation>
    [[nodiscard]] Operation operation(const Service* SceneServices::*service,
                                      Operation Service::*operation) const noexcept {
        const Service* record = this->*service;
        return record != nullptr ? record->*operation : nullptr;
    }
};

/// Asks a host for all of them, to be kept.
/// @return false when one is missing; the others are there all the same
bool lookUpSceneServices(HostGlobal global, SceneServices& services);

}  // namespace kestrel
