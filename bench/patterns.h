// The benchmarks' functions in plain C++, each in a file of its own: called once per sample through a
// pointer, as a host calls a shader.
#pragma once

namespace kestrel::bench {

struct Color {
    double r = 0.0;
    double g = 0.0;
    double b = 0.0;
};

/// u, v: 0..1
Color checker(double u, double v);
Color marble(double u, double v);
Color brick(double u, double v);
Color mandelbrot(double u, double v);
Color valueNoise(double u, double v);
Color cellPattern(double u, double v);

}  // namespace kestrel::bench
