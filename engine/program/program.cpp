#include "engine/program/program.h"

#include <algorithm>
#include <cassert>

namespace kestrel {

std::int32_t RecordTemplate::positionOf(NameId wanted) const noexcept {
    const auto found =
        std::lower_bound(fieldsByName.begin(), fieldsByName.end(), wanted,
                         [](const FieldPosition& field, NameId id) { return field.name < id; });
    return found != fieldsByName.end() && found->name == wanted ? found->position : -1;
}

void Program::nameFields(const NameTable& kindNames) {
    names = NameTable(&kindNames);
    for (RecordTemplate* record = records.head; record != nullptr; record = record->next) {
        const std::span<FieldPosition> positions =
            makeSpan<FieldPosition>(static_cast<std::size_t>(record->fieldCount));
        std::int32_t count = 0;
        for (const RecordField* field = record->fields.head; field != nullptr; field = field->next, ++count)
            positions[static_cast<std::size_t>(count)] = {names.intern(field->name->name), count};
        assert(count == record->fieldCount);
        std::stable_sort(positions.begin(), positions.end(),
                         [](const FieldPosition& a, const FieldPosition& b) { return a.name < b.name; });
        record->fieldsByName = positions;
    }
}

FunctionRecord* Program::findFunction(std::string_view name) const {
    return functionIndex_.find(functions.head, name);
}

Variable* Program::findGlobal(std::string_view name) const {
    return globalIndex_.find(globals.head, name);
}

RecordTemplate* Program::findRecord(std::string_view name) const {
    return recordIndex_.find(records.head, name,
                             [](const RecordTemplate& r) { return std::string_view(r.name->name); });
}

}  // namespace kestrel
