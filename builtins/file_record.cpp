#include "builtins/file_record.h"

#include <array>
#include <optional>
#include <utility>

namespace kestrel::builtins {

namespace {

/// Records that a script may make. They stay until it is unloaded, so a script that opens a file again and
/// again must end somewhere.
constexpr std::size_t kMostRecords = 1'000'000;
/// No mode that means anything is longer.
constexpr std::size_t kLongestMode = 15;

bool contains(std::string_view mode, char lower, char upper) noexcept {
    return mode.find(lower) != std::string_view::npos || mode.find(upper) != std::string_view::npos;
}

LineIndex indexLines(const EngineContext& ctx, std::string_view path) {
    LineIndex lines;
    const platform::FileHandle file = platform::openFile(path, "rb");
    if (file == nullptr) return lines;  // written, but not readable
    const auto block = std::make_unique<std::array<char, 1 << 16>>();
    while (const std::size_t n = std::fread(block->data(), 1, block->size(), file.get())) {
        lines.add({block->data(), n});
        if (ctx.endRequested()) break;
    }
    lines.finish();
    return lines;
}

}  // namespace

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

bool FileRecord::open(EngineContext& ctx, std::string path, std::string_view mode) {
    close();
    if (mode.size() > kLongestMode) return false;
    platform::FileHandle opened = platform::openFile(path, mode);
    if (opened == nullptr) return false;

    file = std::make_unique<OpenFile>(ctx);
    file->stream = std::move(opened);
    file->path = std::move(path);
    file->mode = mode;
    file->binary = contains(mode, 'b', 'B');
    file->delimiter = PoolText(ctx.pool.strdup(" "), PoolFree{&ctx.pool});
    stream = file->stream.get();
    name = file->path.c_str();

    // Devices and pipes have no lines to count: they may never end, and reading would take from them.
    const std::optional<std::int64_t> size = platform::fileSize(file->stream.get());
    if (!size) return true;
    if (file->binary) {
        if (!contains(mode, 'w', 'W')) file->lineCount = *size;
    } else if (!ctx.options.nonrandom) {
        file->lines = indexLines(ctx, file->path);
        file->lineCount = file->lines.lineCount();
        file->standsAtLine = mode.front() == 'a' ? -1 : 0;
    }
    return true;
}

int FileRecord::close() {
    if (file == nullptr) return 0;
    const int status = platform::closeFile(std::move(file->stream));
    file.reset();
    stream = nullptr;
    name = nullptr;
    return status;
}

FileRecord* makeFileRecord(EngineContext& ctx) {
    if (ctx.resources.size() >= kMostRecords) {
        ctx.abortWith("#ELine %d, memory exhausted!  Cannot continue!", ctx.run.currentLine);
        return nullptr;
    }
    auto record = std::make_unique<FileRecord>();
    FileRecord* made = record.get();
    ctx.resources.push_back(std::move(record));
    return made;
}

}  // namespace kestrel::builtins
