#include "host/shader_object.h"

#include "host/host_builtins.h"
#include "host/shader_context.h"
#include "script/include/kestrel/script.h"

#include <cstddef>

namespace kestrel {

namespace {

// Scripts reach a host's record by the places that the library's has.
#define KESTREL_SAMPLE_MEMBER(name, ...)                                             \
    static_assert(offsetof(ShadingSample, name) == offsetof(script::Sample, name) && \
                  sizeof(ShadingSample::name) == sizeof(script::Sample::name));
#include "script/sample_members.def"
#undef KESTREL_SAMPLE_MEMBER
static_assert(sizeof(ShadingSample) == sizeof(script::Sample));

/// A built-in that is a method too; it counts its arguments itself.
template <BuiltinHandler::Function kHandler>
void builtin(MethodCall& call) {
    kHandler(call);
}

constexpr ArgumentCounts kAnyCount{0, ArgumentCounts::kAny};

constexpr MethodRow kMethods[] = {
    {"illuminate", builtin<illuminateBuiltin>, kAnyCount, 0, "sa.illuminate(light, point, vector)",
     "The light that arrives at a point: its direction and its colour, six numbers."},
    {"raytrace", builtin<raytraceBuiltin>, kAnyCount, 0, "sa.raytrace(point, direction)",
     "What a ray hits: the distance (negative for nothing) and the colour, four numbers."},
};

}  // namespace

ShaderObjectKind::ShaderObjectKind() : SampleKind(kMethods) {}

ValueCell shadedItem(EngineContext& ctx, std::uint32_t number) {
    SceneItem* item = shaderContext(ctx).items.make(ctx, HX_MESH, number);
    return item != nullptr ? ValueCell::ofObject(HxObject, item) : ValueCell::ofNil();
}

}  // namespace kestrel
