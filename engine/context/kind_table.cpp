#include "engine/context/kind_table.h"

namespace kestrel {

static_assert(ShaderObj < 512, "every tag of an object has a place in the table");

KindTable::KindTable(ObjectKind& values) {
    kinds_.fill(&values);
    add(values, {});
}

void KindTable::add(ObjectKind& kind, std::span<const std::int32_t> tags) {
    entered_.push_back(&kind);
    for (ObjectInterface& interface : kind.interfaces()) interface.enter(names_);
    for (const std::int32_t tag : tags) kinds_.at(static_cast<std::size_t>(tag)) = &kind;
}

void KindTable::sweep(EngineContext& ctx) const {
    for (ObjectKind* kind : entered_) kind->sweep(ctx);
}

}  // namespace kestrel
