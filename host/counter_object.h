// A counter as a value.
#pragma once

#include "engine/context/object_kind.h"

#include <cstdint>

namespace kestrel {

struct Counter {
    double count = 0.0;
    double step = 1.0;
};

class CounterKind final : public ObjectKind {
public:
    static constexpr std::int32_t kTags[] = {207};

    CounterKind();
};

}  // namespace kestrel
