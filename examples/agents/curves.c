// A library of functions in C. Scripts see
//
// clang-format off
//     x = smoothstep(0, 1, t);       0 to 1, easing in and out, while t goes from the first number to the second
//     f = fresnel(cosine, ior);      how much a surface mirrors, by the cosine of the angle and its refraction index
//     m = mean(1, 2, a);             of numbers and of the numbers in arrays
// clang-format on
#include "sdk/kestrel_agent.h"

#include <math.h>

static const KestrelRecord* number(const KestrelCall* call, double value) {
    return kestrel_result(call->services, kestrel_number(value));
}

KESTREL_AGENT const KestrelRecord* smoothstep(int32_t count, const KestrelRecord* arguments,
                                              const KestrelCall* call) {
    const double from = kestrel_number_at(count, arguments, 0, 0);
    const double to = kestrel_number_at(count, arguments, 1, 1);
    const double x = kestrel_number_at(count, arguments, 2, 0);
    double t = to == from ? x >= to : (x - from) / (to - from);
    t = fmin(fmax(t, 0), 1);
    return number(call, t * t * (3 - 2 * t));
}

/* Schlick's approximation. */
KESTREL_AGENT const KestrelRecord* fresnel(int32_t count, const KestrelRecord* arguments,
                                           const KestrelCall* call) {
    const double cosine = kestrel_number_at(count, arguments, 0, 1);
    const double ior = kestrel_number_at(count, arguments, 1, 1.5);
    const double straight = pow((ior - 1) / (ior + 1), 2);
    return number(call, straight + (1 - straight) * pow(1 - fmin(fabs(cosine), 1), 5));
}

static void add_up(const KestrelRecord* values, int32_t count, double* sum, double* numbers) {
    for (int32_t i = 0; i < count; ++i) {
        if (values[i].type == KESTREL_ARRAY) add_up(values[i].value.elements, values[i].count, sum, numbers);
        if (!kestrel_is_number(&values[i])) continue;
        *sum += values[i].value.number;
        *numbers += 1;
    }
}

KESTREL_AGENT const KestrelRecord* mean(int32_t count, const KestrelRecord* arguments,
                                        const KestrelCall* call) {
    double sum = 0;
    double numbers = 0;
    add_up(arguments, count, &sum, &numbers);
    if (numbers == 0) return kestrel_result(call->services, kestrel_nil());
    return number(call, sum / numbers);
}
