#include "builtins/files/file_pool.h"

#include "engine/operations/collector.h"
#include "engine/operations/file_names.h"

#include <memory>

namespace kestrel::builtins {

namespace {

/// Records that are kept; a script that keeps more has gone astray.
constexpr std::size_t kMostRecords = 1'000'000;
/// A file is more than a record, so some dozens that nobody holds are reason enough for a sweep.
constexpr std::size_t kLooseWeight = 8;

}  // namespace

FilePool& FilePool::of(EngineContext& ctx) {
    if (ctx.files == nullptr) {
        ctx.resources.push_back(std::make_unique<FilePool>(ctx));
        ctx.files = ctx.resources.back().get();
    }
    return static_cast<FilePool&>(*ctx.files);
}

FileRecord& FilePool::make() {
    if (free_.empty()) {
        // So that nothing can fail when they come back.
        if (records_.size() >= loose_.capacity()) loose_.reserve(2 * records_.size() + 16);
        if (records_.size() >= free_.capacity()) free_.reserve(loose_.capacity());
        free_.push_back(&records_.emplace_back(*this));
    }
    FileRecord& record = *free_.back();
    free_.pop_back();
    setLoose(record);
    return record;
}

FileRecord* FilePool::open(std::string_view name, std::string_view mode) {
    if (records_.size() >= kMostRecords && free_.empty()) {
        context.report(MessageId::MemoryExhausted);
        return nullptr;
    }
    if (!mayOpen()) return nullptr;  // before there is a new record, which a sweep would take back
    FileRecord& record = make();
    return record.open(convertSeparators(context, name), mode) ? &record : nullptr;
}

bool FilePool::mayOpen() {
    if (open_ >= kMostOpen) collectLost(context);  // arrays and records may hold them
    if (open_ < kMostOpen) return true;
    context.report(MessageId::TooManyFiles, kMostOpen);
    return false;
}

void FilePool::hold(FileRecord* record) noexcept {
    if (record != nullptr && record->holders++ == 0) setHeld(*record);
}

void FilePool::drop(FileRecord* record) {
    if (record != nullptr && --record->holders == 0) setLoose(*record);
}

void FilePool::sweep() {
    const auto mark = [this](bool value) {
        for (int i = 0; i < context.stack.size(); ++i) {
            const ValueCell& cell = context.stack.at(i);
            if (cell.type == FileObj && cell.object != nullptr) fileRecord(cell.object)->onStack = value;
        }
    };
    mark(true);
    for (std::size_t i = loose_.size(); i > 0; --i) {
        FileRecord& record = *loose_[i - 1];
        if (record.onStack) continue;
        record.close();
        setHeld(record);
        free_.push_back(&record);
    }
    mark(false);
}

void FilePool::flush() noexcept {
    for (FileRecord& record : records_) record.flush();
}

void FilePool::setLoose(FileRecord& record) {
    record.looseIndex = loose_.size();
    loose_.push_back(&record);
    context.looseObjects += kLooseWeight;
}

void FilePool::setHeld(FileRecord& record) noexcept {
    loose_[record.looseIndex] = loose_.back();
    loose_[record.looseIndex]->looseIndex = record.looseIndex;
    loose_.pop_back();
    context.looseObjects -= kLooseWeight;
}

}  // namespace kestrel::builtins
