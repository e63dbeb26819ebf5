#include "ipc/debug_values.h"

#include "engine/operations/arrays.h"
#include "engine/operations/assignment.h"
#include "engine/operations/storage.h"
#include "engine/operations/text.h"
#include "engine/program/node_modes.h"
#include "engine/values/record_instance.h"
#include "ipc/value_record.h"

#include <algorithm>
#include <charconv>

namespace kestrel::debug {

namespace {

Variable* findIn(const LinkedList<Variable>& list, std::string_view name) noexcept {
    Variable* variable = list.head;
    while (variable != nullptr && variable->name != name) variable = variable->next;
    return variable;
}

Variable* findIn(const Program& program, std::string_view function, std::string_view name) {
    if (function.empty()) return program.findGlobal(name);
    const FunctionRecord* record = program.findFunction(function);
    if (record == nullptr) return nullptr;
    Variable* local = findIn(record->locals, name);
    return local != nullptr ? local : findIn(record->params, name);
}

/// What a variable holds, as a cell that is never an array without a record.
ValueCell cellOf(Variable& variable) noexcept {
    ValueCell cell;
    cell.type = Uninitialized;
    if (variable.type == Array) {
        if (ArrayRecord* array = variable.heldArray()) cell = ValueCell::ofArray(array, &variable);
    } else if (variable.holdsText() || isObjectKind(variable.type) || isInlineKind(variable.type)) {
        cell = load(variable);
    }
    return cell;
}

ArrayRecord* arrayIn(const ValueCell& value) noexcept {
    return value.type == ArrayRef || value.type == NewArray ? value.array : nullptr;
}

RecordInstance* recordIn(const ValueCell& value) noexcept {
    return value.type == UserRecord ? value.record : nullptr;
}

/// Where the parts of a reference begin.
std::size_t partsOf(std::string_view reference) noexcept {
    const std::size_t scope = std::min(reference.find(kScope), reference.size());
    return std::min({reference.find('[', scope), reference.find("->", scope), reference.size()});
}

/// Takes "[i]" or "[i,j]" off the text. @return the element's position, nothing when there is none
std::optional<std::size_t> takeIndex(const ArrayRecord& array, std::string_view& rest) {
    const std::size_t end = rest.find(']');
    if (end == std::string_view::npos) return std::nullopt;
    const char* at = rest.data() + 1;
    const char* const stop = rest.data() + end;
    std::int64_t position = 0;
    const int wanted = std::max(array.dimCount, 1);
    int given = 0;
    while (true) {
        if (given >= wanted) return std::nullopt;
        std::int64_t index = 0;
        const auto [next, error] = std::from_chars(at, stop, index);
        const bool several = array.dimCount > 1;
        const std::int64_t size = several ? array.dims[static_cast<std::size_t>(given)] : array.count();
        if (error != std::errc() || index < 1 || index > size) return std::nullopt;
        position = position * size + index - 1;
        ++given;
        if (next == stop) break;
        if (*next != ',') return std::nullopt;
        at = next + 1;
    }
    rest.remove_prefix(end + 1);
    if (given != wanted || position >= array.count()) return std::nullopt;
    return static_cast<std::size_t>(position);
}

ValueCell* takeField(RecordInstance& record, std::string_view& rest) {
    rest.remove_prefix(2);
    const std::string_view name = rest.substr(0, std::min(rest.find('['), rest.find("->")));
    rest.remove_prefix(name.size());
    const auto found = std::ranges::find(
        record.members, name, [](const RecordMember& member) { return std::string_view(member.name); });
    return found != record.members.end() ? &found->value : nullptr;
}

std::string indexText(const ArrayRecord& array, std::size_t position) {
    if (array.dimCount <= 1) return "[" + std::to_string(position + 1) + "]";
    std::string text;
    for (int i = array.dimCount; i-- > 0;) {
        const auto size = static_cast<std::size_t>(std::max(array.dims[static_cast<std::size_t>(i)], 1));
        text.insert(0, (i > 0 ? "," : "[") + std::to_string(position % size + 1));
        position /= size;
    }
    return text + "]";
}

}  // namespace

bool isGlobalOfScript(const Program& program, const Variable& global) {
    return (global.flags & (kVarPredefined | kVarInlineConst)) == 0 &&
           program.findFunction(global.name) == nullptr && program.findRecord(global.name) == nullptr &&
           global.pos.known();
}

NamesOfVariables::NamesOfVariables(const Program& program) {
    for (const CodeNode* node = program.code.head; node != nullptr; node = node->next) {
        if (node->op == OP_MEMBER || node->op == OP_RECORD || node->op == OP_IPCREF)
            used_.insert(node->operand.variable);
        else if ((node->op == OP_VAR || node->op == OP_INDEX) && !namesMember(node->mode))
            used_.insert(node->operand.variable);
    }
}

bool NamesOfVariables::has(Variable& variable) const {
    return cellOf(variable).type != Uninitialized || used_.contains(&variable);
}

Variable* findVariable(const Program& program, std::string_view reference) {
    const std::size_t at = reference.find(kScope);
    if (at == std::string_view::npos) return nullptr;
    return findIn(program, reference.substr(0, at), reference.substr(at + kScope.size()));
}

Variable* findBase(const Program& program, std::string_view reference) {
    return findVariable(program, reference.substr(0, partsOf(reference)));
}

std::optional<ValuePlace> findValue(const Program& program, std::string_view reference) {
    const std::size_t parts = partsOf(reference);
    ValuePlace place{findVariable(program, reference.substr(0, parts)), nullptr};
    if (place.variable == nullptr) return std::nullopt;
    for (std::string_view rest = reference.substr(parts); !rest.empty();) {
        const ValueCell value = valueAt(place);
        ArrayRecord* array = arrayIn(value);
        RecordInstance* record = recordIn(value);
        if (rest.starts_with('[') && array != nullptr) {
            const std::optional<std::size_t> position = takeIndex(*array, rest);
            if (!position) return std::nullopt;
            place.part = &array->elements[*position];
        } else if (rest.starts_with("->") && record != nullptr) {
            place.part = takeField(*record, rest);
            if (place.part == nullptr) return std::nullopt;
        } else {
            return std::nullopt;
        }
    }
    return place;
}

ValueCell valueAt(const ValuePlace& place) noexcept {
    return place.part != nullptr ? load(*place.part) : cellOf(*place.variable);
}

bool setValue(EngineContext& ctx, const ValuePlace& place, const SharedRecord& record, const char* text) {
    ValueCell value;
    switch (record.kind) {
        case kSharedInteger:
            value = ValueCell::ofInteger(record.integer());
            break;
        case kSharedNumber:
            value = ValueCell::ofNumber(record.number());
            break;
        case kSharedText:
            value = ValueCell::ofText(text);
            break;
        case kSharedVector:
            value = ValueCell::ofVector({record.number(0), record.number(1), record.number(2)});
            break;
        case kSharedNil:
            value = ValueCell::ofNil();
            break;
        default:
            return false;
    }
    if (place.part != nullptr) {
        store(ctx, *place.part, value);
        return true;
    }
    return assignFromOutside(ctx, *place.variable, value);
}

std::optional<ValueList> ValueList::of(const Program& program, const NamesOfVariables& names,
                                       std::string_view reference) {
    ValueList list;
    if (reference == kScope) {
        for (Variable* global = program.globals.head; global != nullptr; global = global->next)
            if (isGlobalOfScript(program, *global) && names.has(*global)) list.variables_.push_back(global);
        list.size_ = list.variables_.size();
        return list;
    }
    if (reference.ends_with(kScope)) {
        const FunctionRecord* function =
            program.findFunction(reference.substr(0, reference.size() - kScope.size()));
        if (function == nullptr) return std::nullopt;
        for (Variable* v = function->params.head; v != nullptr; v = v->next) list.variables_.push_back(v);
        for (Variable* v = function->locals.head; v != nullptr; v = v->next)
            if (names.has(*v)) list.variables_.push_back(v);
        list.size_ = list.variables_.size();
        return list;
    }
    const std::optional<ValuePlace> place = findValue(program, reference);
    if (!place) return std::nullopt;
    const ValueCell value = valueAt(*place);
    if ((list.array_ = arrayIn(value)) != nullptr) list.size_ = list.array_->elements.size();
    if ((list.record_ = recordIn(value)) != nullptr) list.size_ = list.record_->members.size();
    return list;
}

std::string ValueList::nameOf(std::size_t index) const {
    if (array_ != nullptr) return indexText(*array_, index);
    if (record_ != nullptr) return std::string("->") + record_->members[index].name;
    return variables_[index]->name;
}

ValueCell ValueList::valueOf(std::size_t index) const noexcept {
    if (array_ != nullptr) return load(array_->elements[index]);
    if (record_ != nullptr) return load(record_->members[index].value);
    return cellOf(*variables_[index]);
}

void putShape(const EngineContext& ctx, SharedRecord& record, const ValueCell& value) {
    record.setText("");
    putValue(record, value);
    record.next = 0;
    record.owner = static_cast<std::int32_t>(ValueShape::Plain);
    if (value.isText()) {
        record.next = value.text != nullptr ? static_cast<std::int32_t>(std::strlen(value.text)) : 0;
    } else if (value.type == Uninitialized) {
        record.owner = static_cast<std::int32_t>(ValueShape::Nothing);
    } else if (const ArrayRecord* array = arrayIn(value)) {
        record.owner = static_cast<std::int32_t>(ValueShape::Array);
        record.next = static_cast<std::int32_t>(array->count());
        record.setText(dimensionText(*array));
    } else if (const RecordInstance* instance = recordIn(value)) {
        record.owner = static_cast<std::int32_t>(ValueShape::Record);
        record.next = static_cast<std::int32_t>(instance->members.size());
        record.setText(instance->declaration->name->name);
    } else if (isObjectKind(value.type)) {
        record.owner = static_cast<std::int32_t>(ValueShape::Object);
        record.setText(objectText(ctx, TextUse::Dump, value).value_or(""));
    }
}

}  // namespace kestrel::debug
