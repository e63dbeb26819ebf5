#include "agents/exchange.h"

#include "builtins/files/file_pool.h"
#include "engine/values/array_record.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace kestrel::agents {

namespace {

/// Results on their way to the stack. Opening the next file may close those that nobody holds.
class HeldFiles {
public:
    HeldFiles(EngineContext& ctx, std::vector<ValueCell>& results) : ctx_(ctx), results_(results) {}
    ~HeldFiles() {
        for (const ValueCell& cell : results_)
            if (cell.type == FileObj) builtins::FilePool::of(ctx_).drop(builtins::fileRecord(cell.object));
    }
    HeldFiles(const HeldFiles&) = delete;
    HeldFiles& operator=(const HeldFiles&) = delete;

    void add(const ValueCell& cell) const {
        results_.push_back(cell);
        if (cell.type == FileObj) builtins::FilePool::of(ctx_).hold(builtins::fileRecord(cell.object));
    }

private:
    EngineContext& ctx_;
    std::vector<ValueCell>& results_;
};

constexpr std::size_t kFileTextLimit = 265;  ///< characters of a file's name and mode

bool fitsElement(const ValueCell& element) noexcept {
    return element.isNumeric() || element.isText() || element.type == Vector;
}

/// The records before the end; `most` + 1 when there are more.
std::size_t countRecords(const KestrelRecord* records, std::size_t most) noexcept {
    std::size_t count = 0;
    while (count <= most && records[count].type != KESTREL_END) ++count;
    return count;
}

}  // namespace

// ---- to native code ----

void Exchange::begin() noexcept {
    arena_.clear();
    arguments_.clear();
    lentFiles_.clear();
}

bool Exchange::add(const ValueCell& value) {
    const std::optional<KestrelRecord> added = record(value);
    if (added) arguments_.push_back(*added);
    return added.has_value();
}

void Exchange::addText(std::string_view text) {
    arguments_.push_back(kestrel_text(arena_.text(text)));
}

bool Exchange::addAll(const BuiltinCall& call) {
    try {
        for (int i = 0; i < call.argc; ++i) static_cast<void>(add(call.arg(i)));
        return true;
    } catch (const std::bad_alloc&) {
        ctx.report(MessageId::MemoryExhausted);
        return false;
    }
}

void Exchange::end(KestrelCall& call) {
    call.argument_count = static_cast<std::int32_t>(arguments_.size());
    arguments_.push_back(kestrel_record(KESTREL_END));
    call.arguments = arguments_.data();
    call.services = services.table();
}

std::optional<KestrelRecord> Exchange::record(const ValueCell& value) {
    switch (value.type) {
        case Integer:
            return kestrel_integer(value.number);
        case Number:
            return kestrel_number(value.number);
        case String:
        case TempString:
            return kestrel_text(arena_.text(value.text != nullptr ? value.text : ""));
        case Vector:
            return kestrel_vector(value.vec.x, value.vec.y, value.vec.z);
        case Nil:
            return kestrel_nil();
        case ArrayRef:
        case NewArray:
            if (value.array == nullptr) return std::nullopt;
            return array(*value.array);
        case FileObj:
            if (value.object == nullptr) return std::nullopt;
            return file(*builtins::fileRecord(value.object));
        default:
            return std::nullopt;
    }
}

/// Elements of other kinds are left out, also of the count.
KestrelRecord Exchange::array(const ArrayRecord& array) {
    const auto count =
        static_cast<std::size_t>(std::count_if(array.elements.begin(), array.elements.end(), fitsElement));
    auto* const elements = static_cast<KestrelRecord*>(arena_.take((count + 1) * sizeof(KestrelRecord)));
    std::size_t at = 0;
    for (const ValueCell& element : array.elements)
        if (fitsElement(element)) elements[at++] = *record(element);
    elements[at] = kestrel_record(KESTREL_END);
    KestrelRecord whole = kestrel_record(KESTREL_ARRAY);
    whole.count = static_cast<std::int32_t>(count);
    whole.value.elements = elements;
    return whole;
}

KestrelRecord Exchange::file(builtins::FileRecord& file) {
    lentFiles_.push_back(&file);
    const auto copy = [this](std::string_view text) { return arena_.text(text.substr(0, kFileTextLimit)); };
    KestrelRecord lent = kestrel_record(KESTREL_FILE);
    lent.value.file.file = &file;
    lent.value.file.name = copy(file.file != nullptr ? std::string_view(file.file->path) : "");
    lent.value.file.mode = copy(file.file != nullptr ? std::string_view(file.file->mode) : "");
    return lent;
}

// ---- from native code ----

void Exchange::finish(BuiltinCall& call, const KestrelRecord* results) {
    if (results == nullptr) return call.none();
    // A block of ours tells where it ends, should the end be missing.
    const std::optional<std::size_t> size = services.sizeOf(results);
    std::size_t most = KESTREL_MOST_RESULTS;
    std::size_t count = 0;
    if (size && *size / sizeof(KestrelRecord) <= most) {
        most = *size / sizeof(KestrelRecord);
        while (count < most && results[count].type != KESTREL_END) ++count;
    } else {
        count = countRecords(results, most);
    }
    const std::span<const KestrelRecord> records(results, std::min(count, most));
    if (count > most) {
        release(records);
        return call.fail(MessageId::TooManyNativeResults, KESTREL_MOST_RESULTS, call.name);
    }
    results_.clear();
    const HeldFiles held(ctx, results_);
    for (const KestrelRecord& returned : records)
        if (const std::optional<ValueCell> cell = value(returned)) held.add(*cell);
    release(records);
    if (results_.empty()) return call.none();
    if (results_.size() == 1) return call.result(results_.front());
    call.results(results_);
}

std::optional<ValueCell> Exchange::single(const KestrelRecord* result) {
    if (result == nullptr) return std::nullopt;
    const std::optional<std::size_t> size = services.sizeOf(result);
    if (size && *size < sizeof(KestrelRecord)) {
        services.release(result);
        return std::nullopt;
    }
    const std::optional<ValueCell> cell = value(*result);
    release({result, 1});
    return cell;
}

/// A text of the library; one in a block of ours ends with the block, should its end be missing.
std::string_view Exchange::textOf(const char* text) const noexcept {
    if (text == nullptr) return {};
    const std::optional<std::size_t> size = services.sizeOf(text);
    return {text, size ? strnlen(text, *size) : std::strlen(text)};
}

std::optional<ValueCell> Exchange::value(const KestrelRecord& record) {
    switch (record.type) {
        case KESTREL_INTEGER:
            return ValueCell::ofInteger(static_cast<double>(truncate(record.value.number)));
        case KESTREL_NUMBER:
            return ValueCell::ofNumber(record.value.number);
        case KESTREL_STRING: {
            const char* const copy = ctx.pool.strdup(textOf(record.value.text));
            return copy != nullptr ? ValueCell::ofTemp(copy) : ValueCell::ofNil();
        }
        case KESTREL_VECTOR:
            return ValueCell::ofVector(
                {record.value.vector[0], record.value.vector[1], record.value.vector[2]});
        case KESTREL_FILE:  // also as the value of a member
            return fileOf(record.value.file);
        case KESTREL_NIL:
            return ValueCell::ofNil();
        default:
            return std::nullopt;
    }
}

/// One of the files that the call was given, or a new one.
ValueCell Exchange::fileOf(const KestrelFile& file) {
    if (file.file != nullptr) {
        const auto lent = std::find(lentFiles_.begin(), lentFiles_.end(), file.file);
        return lent != lentFiles_.end() ? builtins::fileCell(**lent) : ValueCell::ofNil();
    }
    if (file.name == nullptr) return ValueCell::ofNil();
    builtins::FileRecord* const opened =
        builtins::openScriptFile(ctx, textOf(file.name), file.mode != nullptr ? textOf(file.mode) : "r");
    return opened != nullptr ? builtins::fileCell(*opened) : ValueCell::ofNil();
}

void Exchange::release(std::span<const KestrelRecord> records) {
    // First they are all looked up: a text may lie in the block of the records, even at its start.
    const auto note = [this](const void* block) {
        if (services.sizeOf(block)) blocks_.push_back(block);
    };
    blocks_.clear();
    for (const KestrelRecord& record : records) {
        if (record.type == KESTREL_STRING) note(record.value.text);
        if (record.type == KESTREL_FILE && record.value.file.file == nullptr) {
            note(record.value.file.name);
            note(record.value.file.mode);
        }
    }
    note(records.data());
    for (const void* block : blocks_) services.release(block);
}

}  // namespace kestrel::agents
