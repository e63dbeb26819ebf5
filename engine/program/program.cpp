#include "engine/program/program.h"

namespace kestrel {

namespace {

template <class T>
T* findByName(T* head, std::string_view name) noexcept {
    for (T* item = head; item != nullptr; item = item->next)
        if (name == item->name) return item;
    return nullptr;
}

}  // namespace

FunctionRecord* Program::findFunction(std::string_view name) const noexcept {
    return findByName(functions.head, name);
}

Variable* Program::findGlobal(std::string_view name) const noexcept {
    return findByName(globals.head, name);
}

RecordTemplate* Program::findRecord(std::string_view name) const noexcept {
    for (RecordTemplate* record = records.head; record != nullptr; record = record->next)
        if (name == record->name->name) return record;
    return nullptr;
}

}  // namespace kestrel
