// illuminate and raytrace: what the host knows at the current sample beyond the sample itself.
#include "engine/operations/arrays.h"
#include "host/host_builtins.h"
#include "host/scene_item.h"
#include "host/shader_context.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace kestrel {

namespace {

using Triple = std::array<double, 3>;

/// The first three elements of an array that hold something.
/// @return false after the call has failed
bool tripleFromArray(BuiltinCall& call, const ArrayRecord& array, Triple& out) {
    std::size_t found = 0;
    for (std::size_t i = 0; i < array.elements.size() && found < out.size(); ++i) {
        const ValueCell& element = array.elements[i];
        if (element.type == Uninitialized || element.type == Nil) continue;
        if (!element.isNumeric()) {
            call.fail(MessageId::ElementType, i + 1, call.name);
            return false;
        }
        out[found++] = element.number;
    }
    if (found == out.size()) return true;
    call.fail(MessageId::TooFewNumbers);
    return false;
}

/// A Vector or an array of numbers as three numbers.
/// @return false after the call has failed
bool tripleArgument(BuiltinCall& call, int index, Triple& out) {
    const ValueCell& cell = call.arg(index);
    if (cell.type == Vector) {
        out = {cell.vec.x, cell.vec.y, cell.vec.z};
        return true;
    }
    if (cell.type == ArrayRef && cell.array != nullptr) return tripleFromArray(call, *cell.array, out);
    call.failType(index + 1);
    return false;
}

void normalize(Triple& v) {
    const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    if (length == 0.0) return;
    for (double& component : v) component /= length;
}

/// The distance, and the color.
HostAnswers::Answer traceRay(const ShadingSample& sample, Triple point, Triple direction) {
    normalize(direction);
    Triple color{};
    const double distance = sample.rayTrace(point.data(), direction.data(), color.data());
    return {distance, color[0], color[1], color[2]};
}

}  // namespace

void illuminateBuiltin(BuiltinCall& call) {
    if (call.argc != 3) return call.failCount();
    Triple point{};
    Triple vector{};
    if (!tripleArgument(call, 2, vector)) return;
    if (!tripleArgument(call, 1, point)) return;
    const ValueCell& light = call.arg(0);
    const SceneItem* item = light.type == HxObject ? static_cast<const SceneItem*>(light.object) : nullptr;
    if (item == nullptr || item->kind == kImageItem) return call.failType(1);
    const ShadingSample* sample = shadingSample(call.ctx);
    if (sample == nullptr || sample->illuminate == nullptr)
        return call.fail(MessageId::OutsideShading, call.name);

    Triple color{};
    sample->illuminate(item->item, point.data(), vector.data(), color.data());
    std::array<ValueCell, 6> values;
    for (std::size_t i = 0; i < 3; ++i) {
        values[i] = ValueCell::ofNumber(vector[i]);
        values[i + 3] = ValueCell::ofNumber(color[i]);
    }
    call.results(values);
}

void raytraceBuiltin(BuiltinCall& call) {
    if (call.argc != 2) return call.failCount();
    Triple point{};
    Triple direction{};
    if (!tripleArgument(call, 1, direction)) return;
    if (!tripleArgument(call, 0, point)) return;
    ShaderContext& context = shaderContext(call.ctx);
    ShadingSample* const sample = shadingSample(call.ctx);
    if (sample == nullptr || sample->rayTrace == nullptr)
        return call.fail(MessageId::OutsideShading, call.name);

    const auto known = context.answers.next(*sample);
    const auto [distance, red, green, blue] = known ? *known : traceRay(*sample, point, direction);
    call.results(std::array{ValueCell::ofNumber(distance), ValueCell::ofNumber(red),
                            ValueCell::ofNumber(green), ValueCell::ofNumber(blue)});
}

bool askForRay(EngineContext& ctx, void* record, const double* given, double* answer) noexcept {
    auto& sample = *static_cast<ShadingSample*>(record);
    if (sample.rayTrace == nullptr) return false;
    const auto answered = shaderContext(ctx).answers.ask(sample, [&] {
        return traceRay(sample, {given[0], given[1], given[2]}, {given[3], given[4], given[5]});
    });
    if (answered) std::ranges::copy(*answered, answer);
    return answered.has_value();
}

}  // namespace kestrel
