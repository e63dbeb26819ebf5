#include "bench/patterns.h"

namespace kestrel::bench {

void empty(void* /*instance*/, ShadingSample* /*sample*/) {}

void member(void* /*instance*/, ShadingSample* sample) {
    sample->color[0] = sample->oPos[0];
}

}  // namespace kestrel::bench
