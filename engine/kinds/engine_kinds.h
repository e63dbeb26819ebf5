// The kinds that the language itself has.
#pragma once

#include "engine/context/kind_table.h"
#include "engine/kinds/record_kind.h"
#include "engine/kinds/value_kind.h"
#include "engine/kinds/vector_kind.h"

namespace kestrel {

/// A table with the language's own kinds; whoever has more enters them before the first script is linked.
struct EngineKinds {
    EngineKinds() {
        table.add(vector);
        table.add(record);
    }

    ValueKind value;
    VectorKind vector;
    RecordKind record;
    KindTable table{value};
};

}  // namespace kestrel
