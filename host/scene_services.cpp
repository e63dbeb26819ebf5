#include "host/scene_services.h"

namespace kestrel {

namespace {

template <class Service>
bool lookUp(HostGlobal global, const char* name, const Service*& service) {
    service = static_cast<const Service*>(global(name, HX_USE_KEEP));
    return service != nullptr;
}

}  // namespace

bool lookUpSceneServices(HostGlobal global, SceneServices& services) {
    bool complete = lookUp(global, HX_SERVICE_ITEM_INFO, services.items);
    complete = lookUp(global, HX_SERVICE_OBJECT_INFO, services.objects) && complete;
    complete = lookUp(global, HX_SERVICE_BONE_INFO, services.bones) && complete;
    complete = lookUp(global, HX_SERVICE_LIGHT_INFO, services.lights) && complete;
    complete = lookUp(global, HX_SERVICE_CAMERA_INFO, services.cameras) && complete;
    complete = lookUp(global, HX_SERVICE_SCENE_INFO, services.scene) && complete;
    return lookUp(global, HX_SERVICE_IMAGE_LIST, services.images) && complete;
}

}  // namespace kestrel
