#include "builtins/files/file_record.h"

#include "builtins/files/file_pool.h"

#include <array>
#include <memory>
#include <optional>
#include <utility>

namespace kestrel::builtins {

namespace {

/// A record keeps its mode for good, so a mode is not as long as scripts like; letters that mean something
/// fit.
constexpr std::size_t kLongestMode = 15;

bool contains(std::string_view mode, char lower, char upper) noexcept {
    return mode.find(lower) != std::string_view::npos || mode.find(upper) != std::string_view::npos;
}

LineIndex indexLines(const EngineContext& ctx, std::FILE* file) {
    LineIndex lines;
    const auto block = std::make_unique<std::array<char, 1 << 16>>();
    while (const std::size_t n = std::fread(block->data(), 1, block->size(), file)) {
        lines.add({block->data(), n});
        if (ctx.endRequested()) break;
    }
    lines.finish();
    return lines;
}

}  // namespace

OpenFile::OpenFile(FilePool& pool) : text(pool.context), pool_(pool) {
    ++pool_.open_;
}

OpenFile::~OpenFile() {
    --pool_.open_;
}

bool OpenFile::readable() const noexcept {
    return mode.front() == 'r' || mode.find('+') != std::string::npos;
}

void OpenFile::meetEnd() noexcept {
    eof = true;
    std::clearerr(stream.get());
}

void OpenFile::turn(Direction next) {
    if (direction != next && direction != Direction::None)
        platform::seekFile(stream.get(), 0, platform::SeekFrom::Here);
    direction = next;
    standsAtLine = -1;
}

bool FileRecord::open(std::string path, std::string_view mode) {
    const EngineContext& ctx = pool.context;
    close();
    if (mode.size() > kLongestMode || !pool.mayOpen()) return false;
    platform::FileHandle opened = platform::openFile(path, mode);
    if (opened == nullptr) return false;

    file = std::make_unique<OpenFile>(pool);
    file->stream = std::move(opened);
    file->path = std::move(path);
    file->mode = mode;
    file->binary = contains(mode, 'b', 'B');

    // Devices and pipes have no lines to count: they may never end, and reading would take from them.
    const std::optional<std::int64_t> size = platform::fileSize(file->stream.get());
    if (!size) return true;
    if (file->binary) {
        if (!contains(mode, 'w', 'W')) file->lineCount = *size;
    } else if (!ctx.options.nonrandom) {
        // A second stream, opened now: later the name may stand for another file.
        platform::FileHandle reader = platform::openFile(file->path, "rb");
        if (reader != nullptr) file->lines = indexLines(ctx, reader.get());
        file->lineCount = file->lines.lineCount();
        if (!file->readable()) file->lineReader = std::move(reader);
        file->standsAtLine = mode.front() == 'a' ? -1 : 0;
    }
    return true;
}

int FileRecord::close() {
    if (file == nullptr) return 0;
    const int status = platform::closeFile(std::move(file->stream));
    file.reset();
    return status;
}

void FileRecord::flush() noexcept {
    if (file != nullptr && file->direction == OpenFile::Direction::Writing)
        platform::flushFile(file->stream.get());
}

}  // namespace kestrel::builtins
