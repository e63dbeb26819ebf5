// A class in C: points strewn at random through space, one in each cell of a grid. Scripts see
//
// clang-format off
//     p = Points(seed);                                a number of your choice; the same one gives the same points
//     (nearest, second, cell) = p.distances(sa.oPos);  to the nearest two, and a number from 0 to 1 of the nearest
//     p.jitter = 0.5;                                  how far points leave the middle of their cell, 0 to 1
// clang-format on
#include "sdk/kestrel_agent.h"

#include <math.h>
#include <stdlib.h>

typedef struct Points {
    uint32_t seed;
    double jitter;
} Points;

KESTREL_AGENT void version(int32_t* major, int32_t* minor) {
    *major = KESTREL_AGENT_MAJOR;
    *minor = KESTREL_AGENT_MINOR;
}

KESTREL_AGENT void* constructor(const KestrelCall* call) {
    const double seed = kestrel_number_at(call->argument_count, call->arguments, 0, 1);
    Points* points = malloc(sizeof *points);
    if (points == NULL) return NULL;
    points->seed = (uint32_t)fmod(fabs(seed), 1e9);
    points->jitter = 1;
    return points;
}

KESTREL_AGENT void destructor(void* instance) {
    free(instance);
}

KESTREL_AGENT int32_t ownmethod(const char* name) {
    return strcmp(name, "distances") == 0;
}

KESTREL_AGENT int32_t owndata(const char* name) {
    return strcmp(name, "jitter") == 0;
}

KESTREL_AGENT const KestrelRecord* returndata(const KestrelCall* call, const char* member, int32_t index) {
    const Points* points = call->data;
    (void)member; /* there is only one, and it has no elements */
    (void)index;
    return kestrel_result(call->services, kestrel_number(points->jitter));
}

KESTREL_AGENT int32_t assigndata(const KestrelCall* call, const char* member, int32_t index,
                                 int32_t operation, const KestrelRecord* value) {
    Points* points = call->data;
    (void)member;
    (void)index;
    return kestrel_combine(&points->jitter, operation, value);
}

/* A number from 0 to 1 that looks random, of a cell. */
static double hash(const Points* points, const int32_t cell[3], uint32_t which) {
    uint32_t h = points->seed + which * 0x9e3779b9u;
    for (int i = 0; i < 3; ++i) {
        h ^= (uint32_t)cell[i];
        h *= 0x85ebca6bu;
        h ^= h >> 15;
        h *= 0xc2b2ae35u;
        h ^= h >> 13;
    }
    return h / 4294967295.0;
}

static void look(const Points* points, const double at[3], const int32_t cell[3], double found[3]) {
    double square = 0;
    for (uint32_t i = 0; i < 3; ++i) {
        const double point = cell[i] + 0.5 + points->jitter * (hash(points, cell, i) - 0.5);
        square += (point - at[i]) * (point - at[i]);
    }
    const double distance = sqrt(square);
    if (distance < found[0]) {
        found[1] = found[0];
        found[0] = distance;
        found[2] = hash(points, cell, 3);
    } else if (distance < found[1]) {
        found[1] = distance;
    }
}

static const KestrelRecord* nothing(const KestrelServices* services, int32_t count) {
    KestrelRecord* results = kestrel_results(services, count);
    for (int32_t i = 0; results != NULL && i < count; ++i) results[i] = kestrel_nil();
    return results;
}

KESTREL_AGENT const KestrelRecord* distances(int32_t count, const KestrelRecord* arguments,
                                             const KestrelCall* call) {
    double found[3] = {HUGE_VAL, HUGE_VAL, 0};
    if (count != 1 || arguments[0].type != KESTREL_VECTOR) {
        call->services->error(call->services, "distances() takes a position");
        return nothing(call->services, 3);  // the script goes on with it
    }
    const double* at = arguments[0].value.vector;
    int32_t middle[3];
    for (int i = 0; i < 3; ++i) middle[i] = fabs(at[i]) < 1e9 ? (int32_t)floor(at[i]) : 0;
    for (int32_t x = -1; x <= 1; ++x)
        for (int32_t y = -1; y <= 1; ++y)
            for (int32_t z = -1; z <= 1; ++z) {
                const int32_t cell[3] = {middle[0] + x, middle[1] + y, middle[2] + z};
                look(call->data, at, cell, found);
            }
    KestrelRecord* results = kestrel_results(call->services, 3);
    if (results != NULL)
        for (int i = 0; i < 3; ++i) results[i] = kestrel_number(found[i]);
    return results;
}
