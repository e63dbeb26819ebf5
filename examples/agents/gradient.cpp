// A class in C++: a gradient of colors. Scripts see
//
// clang-format off
//     g = Gradient(<0,0,0>, <1,1,1>);   colors at equal distances from 0 to 1; none is a gradient without colors
//     g.add(0.3, <1,0,0>);              another one at a position
//     color = g.at(0.25);               the color at a position, as a Vector
//     g.smooth = 1;                     eases in and out of each color
//     g.color[2] = <0,1,0>;             the colors, in order; g.size says how many there are
// clang-format on
#include "sdk/kestrel_agent.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace {

struct Color {
    double r = 0.0;
    double g = 0.0;
    double b = 0.0;
};

struct Stop {
    double position;
    Color color;
};

class Gradient {
public:
    std::vector<Stop> stops;
    double smooth = 0.0;

    void add(double position, const Color& color) {
        const auto after =
            std::upper_bound(stops.begin(), stops.end(), position,
                             [](double wanted, const Stop& stop) { return wanted < stop.position; });
        stops.insert(after, {position, color});
    }

    [[nodiscard]] Color at(double position) const {
        if (stops.empty()) return {};
        const auto after =
            std::upper_bound(stops.begin(), stops.end(), position,
                             [](double wanted, const Stop& stop) { return wanted < stop.position; });
        if (after == stops.begin()) return stops.front().color;
        if (after == stops.end()) return stops.back().color;
        const Stop& left = *(after - 1);
        double t = (position - left.position) / (after->position - left.position);
        if (smooth != 0.0) t = t * t * (3.0 - 2.0 * t);
        return {left.color.r + t * (after->color.r - left.color.r),
                left.color.g + t * (after->color.g - left.color.g),
                left.color.b + t * (after->color.b - left.color.b)};
    }
};

Color colorOf(const KestrelRecord& record) {
    return {record.value.vector[0], record.value.vector[1], record.value.vector[2]};
}

KestrelRecord recordOf(const Color& color) {
    return kestrel_vector(color.r, color.g, color.b);
}

/// The color at an index from 1; null where there is none.
Stop* stopAt(Gradient& gradient, int32_t index) {
    const bool inside = index >= 1 && static_cast<std::size_t>(index) <= gradient.stops.size();
    return inside ? &gradient.stops[static_cast<std::size_t>(index - 1)] : nullptr;
}

}  // namespace

// No exception may leave these functions; Kestrel would catch it, but other programs need not.
extern "C" {

KESTREL_AGENT void version(int32_t* major, int32_t* minor) {
    *major = KESTREL_AGENT_MAJOR;
    *minor = KESTREL_AGENT_MINOR;
}

KESTREL_AGENT void* constructor(const KestrelCall* call) try {
    auto* gradient = new Gradient;
    const int32_t count = call->argument_count;
    for (int32_t i = 0; i < count; ++i) {
        if (call->arguments[i].type != KESTREL_VECTOR) {
            call->services->error(call->services, "Gradient() takes colors, such as <1, 0.5, 0>");
            delete gradient;
            return nullptr;
        }
        gradient->add(count > 1 ? static_cast<double>(i) / (count - 1) : 0.0, colorOf(call->arguments[i]));
    }
    return gradient;
} catch (...) {
    return nullptr;
}

KESTREL_AGENT void destructor(void* instance) {
    delete static_cast<Gradient*>(instance);
}

KESTREL_AGENT int32_t ownmethod(const char* name) {
    return std::string_view(name) == "add" || std::string_view(name) == "at";
}

KESTREL_AGENT int32_t owndata(const char* name) {
    const std::string_view member(name);
    return member == "smooth" || member == "size" || member == "color";
}

KESTREL_AGENT const KestrelRecord* returndata(const KestrelCall* call, const char* member, int32_t index) {
    auto& gradient = *static_cast<Gradient*>(call->data);
    if (std::string_view(member) == "smooth")
        return kestrel_result(call->services, kestrel_number(gradient.smooth));
    if (std::string_view(member) == "size") {
        const auto size = static_cast<double>(gradient.stops.size());
        return kestrel_result(call->services, kestrel_integer(size));
    }
    const Stop* stop = stopAt(gradient, index);
    return kestrel_result(call->services, stop != nullptr ? recordOf(stop->color) : kestrel_nil());
}

KESTREL_AGENT int32_t assigndata(const KestrelCall* call, const char* member, int32_t index,
                                 int32_t operation, const KestrelRecord* value) {
    auto& gradient = *static_cast<Gradient*>(call->data);
    if (std::string_view(member) == "smooth") return kestrel_combine(&gradient.smooth, operation, value);
    if (std::string_view(member) == "size" || operation != KESTREL_ASSIGN) return KESTREL_BAD_OPERATION;
    if (value->type != KESTREL_VECTOR) return KESTREL_BAD_TYPE;
    Stop* stop = stopAt(gradient, index);
    if (stop == nullptr) return KESTREL_UNKNOWN;
    stop->color = colorOf(*value);
    return KESTREL_ASSIGNED;
}

KESTREL_AGENT const KestrelRecord* add(int32_t count, const KestrelRecord* arguments,
                                       const KestrelCall* call) try {
    if (count != 2 || !kestrel_is_number(&arguments[0]) || arguments[1].type != KESTREL_VECTOR)
        call->services->error(call->services, "add() takes a position and a color");
    else
        static_cast<Gradient*>(call->data)->add(arguments[0].value.number, colorOf(arguments[1]));
    return nullptr;
} catch (...) {
    return nullptr;
}

KESTREL_AGENT const KestrelRecord* at(int32_t count, const KestrelRecord* arguments,
                                      const KestrelCall* call) {
    const auto& gradient = *static_cast<const Gradient*>(call->data);
    return kestrel_result(call->services, recordOf(gradient.at(kestrel_number_at(count, arguments, 0, 0.0))));
}

}  // extern "C"
