// The benchmarks' functions in plain C++, each in a file of its own with the callback that a module made of
// it would give to its host: called through a pointer, it reads a point from the host's record and writes a
// color.
#pragma once

#include "host/host_interface.h"

namespace kestrel::bench {

struct Color {
    double r = 0.0;
    double g = 0.0;
    double b = 0.0;
};

/// A pattern as a callback. The pattern is known while compiling and called nowhere else, so it is inlined.
/// @param pattern  of u and v, 0..1
template <Color (*pattern)(double u, double v)>
void evaluateBy(void* /*instance*/, ShadingSample* sample) {
    const Color color = pattern(sample->oPos[0], sample->oPos[1]);
    sample->color[0] = color.r;
    sample->color[1] = color.g;
    sample->color[2] = color.b;
}

void checker(void* instance, ShadingSample* sample);
void marble(void* instance, ShadingSample* sample);
void brick(void* instance, ShadingSample* sample);
void mandelbrot(void* instance, ShadingSample* sample);
void valueNoise(void* instance, ShadingSample* sample);
void cellPattern(void* instance, ShadingSample* sample);
/// Does nothing: what a call costs.
void empty(void* instance, ShadingSample* sample);
/// Reads one member and writes one.
void member(void* instance, ShadingSample* sample);

}  // namespace kestrel::bench
