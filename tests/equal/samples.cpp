#include "tests/equal/samples.h"

#include "tests/edges.h"
#include "tests/equal/random.h"

#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace kestrel::equal {

namespace {

constexpr std::int32_t kWholeBorders[] = {
    0, 1, -1, 7, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()};

enum class Form { Grid, Uniform, Bits, Borders, Mixed };

double real(Random& random, Form form) {
    switch (form) {
        case Form::Grid:
            return static_cast<double>(random.below(9)) / 4.0 - 1.0;
        case Form::Uniform:
            return static_cast<double>(random.bits() >> 11) * 0x1p-53 * 20.0 - 10.0;
        case Form::Bits:
            return std::bit_cast<double>(random.bits());
        case Form::Borders:
            return random.pick(test::kEdges);
        case Form::Mixed: {  // so that what is special comes where the rest lets code go on
            const std::size_t kind = random.below(10);
            return kind == 0 ? test::kNaN : real(random, kind == 1 ? Form::Borders : Form::Uniform);
        }
    }
    return 0.0;
}

std::int32_t whole(Random& random, Form form) {
    if (form == Form::Borders) return random.pick(kWholeBorders);
    if (form == Form::Bits) return static_cast<std::int32_t>(random.bits() & 0xffffffffu);
    return static_cast<std::int32_t>(random.below(200));
}

void fill(std::int32_t& member, Random& random, Form form) {
    member = whole(random, form);
}
void fill(HostItemID& member, Random& random, Form) {
    constexpr HostItemID kItems[] = {0, 10, 11, 20, 40};
    member = random.pick(kItems);
}
void fill(double& member, Random& random, Form form) {
    member = real(random, form);
}
template <std::size_t kCount>
void fill(double (&member)[kCount], Random& random, Form form) {
    for (double& number : member) number = real(random, form);
}

std::int32_t illuminate(HostItemID light, const double* position, double vector[3], double color[3]) {
    for (int i = 0; i < 3; ++i) {
        vector[i] = position[i] - 1.0;
        color[i] = static_cast<double>(light) / 16.0;
    }
    return 0;
}

int rays = 0;                 // operations of a sample are plain functions
std::uint64_t raysGiven = 0;  // all that was given, in order

double rayTrace(const double* position, const double* direction, double color[3]) {
    ++rays;
    for (const double* vector : {position, direction})
        for (int i = 0; i < 3; ++i)
            raysGiven = std::rotl(raysGiven, 7) * 31 +
                        (std::isnan(vector[i]) ? 1 : std::bit_cast<std::uint64_t>(vector[i]));
    for (int i = 0; i < 3; ++i) color[i] = direction[i] * 0.5;
    return position[0];
}

/// Most numbers as they come, so that most groups of samples stay together.
template <class Member>
void fillMostly(Member& member, Random& random) {
    if constexpr (std::is_array_v<Member>) {
        for (auto& number : member) fillMostly(number, random);
    } else {
        const std::size_t form = random.below(64);
        fill(member, random,
             form == 0   ? Form::Bits
             : form == 1 ? Form::Borders
             : form < 20 ? Form::Grid
                         : Form::Uniform);
    }
}

}  // namespace

std::string takeRays() {
    return std::to_string(std::exchange(rays, 0)) + " rays " + std::to_string(std::exchange(raysGiven, 0));
}

ShadingSample makeSampleOfBatch(std::uint64_t seed, int number) {
    Random random(seed * 1000003u + 7u * static_cast<std::uint64_t>(number) + 500000u);
    ShadingSample sample{};
#define KESTREL_SAMPLE_MEMBER(name, kind, count, access, description) fillMostly(sample.name, random);
#include "script/sample_members.def"
#undef KESTREL_SAMPLE_MEMBER
    return sample;
}

ShadingSample makeSample(std::uint64_t seed, int number) {
    Random random(seed * 1000003u + static_cast<std::uint64_t>(number));
    constexpr Form kForms[] = {Form::Grid, Form::Uniform, Form::Bits, Form::Mixed, Form::Grid, Form::Borders};
    const Form form = kForms[static_cast<std::size_t>(number) % std::size(kForms)];
    ShadingSample sample{};
#define KESTREL_SAMPLE_MEMBER(name, kind, count, access, description) fill(sample.name, random, form);
#include "script/sample_members.def"
#undef KESTREL_SAMPLE_MEMBER
    if (form == Form::Grid) {
        sample.sx = number / 2 % 3;
        sample.sy = number / 12;
    }
    if (number % 5 != 4) {
        sample.illuminate = illuminate;
        sample.rayTrace = rayTrace;
    }
    return sample;
}

}  // namespace kestrel::equal
