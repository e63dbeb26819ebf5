// What a file object is.
#pragma once

#include "builtins/common/growing_text.h"
#include "builtins/files/line_index.h"
#include "engine/context/context.h"
#include "engine/values/value.h"
#include "platform/files.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::builtins {

class FilePool;

/// The state of an open file.
struct OpenFile {
    explicit OpenFile(FilePool& pool);
    ~OpenFile();
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    platform::FileHandle stream;
    std::string path;       ///< as scripts see it
    std::string mode;       ///< as the script gave it
    bool eof = false;       ///< a read met the end of the file; positioning clears it
    bool printNil = false;  ///< Nil is written as "(nil)"
    bool binary = false;
    std::optional<std::string> delimiter = " ";  ///< between the elements of a written array
    LineIndex lines;                  ///< empty for binary files, devices and under the pragma "nonrandom"
    platform::FileHandle lineReader;  ///< finds lines where the stream itself cannot be read; else null
    std::int64_t lineCount = 0;       ///< lines of a text; bytes of a binary file
    std::int64_t currentLine = 0;     ///< from 0: the line that the next read() returns
    std::int64_t standsAtLine = -1;   ///< the line at whose beginning the stream stands; -1: not known
    GrowingText text;                 ///< the line being read or the text being written

    enum class Direction { None, Reading, Writing };
    Direction direction = Direction::None;  ///< what the stream was last used for

    [[nodiscard]] bool readable() const noexcept;
    /// Readies the stream for reading or writing; afterwards it may stand anywhere within a line.
    void beginReading() { turn(Direction::Reading); }
    void beginWriting() { turn(Direction::Writing); }
    /// A read met the end. More can be read later if the file grows.
    void meetEnd() noexcept;

private:
    void turn(Direction next);

    FilePool& pool_;
};

/// What the payload of a FileObj points to. Variables, elements and members that hold it are counted.
struct FileRecord {
    explicit FileRecord(FilePool& owner) noexcept : pool(owner) {}

    /// Closes what is open, then opens the file and, for a text, looks where its lines begin.
    /// @param path  with separators converted
    /// @return false when it does not open, also after reporting that too many are open; the record is closed
    /// then
    bool open(std::string path, std::string_view mode);
    /// @return 0, or -1 when not everything could be written
    int close();
    void flush() noexcept;

    std::unique_ptr<OpenFile> file;  ///< null: closed
    FilePool& pool;
    std::int32_t holders = 0;
    std::size_t looseIndex = 0;  ///< the pool's own
    bool onStack = false;        ///< while a sweep runs
};

/// The record behind a FileObj's payload; null where there is none.
[[nodiscard]] inline FileRecord* fileRecord(void* object) noexcept {
    return static_cast<FileRecord*>(object);
}
[[nodiscard]] inline ValueCell fileCell(FileRecord& record) noexcept {
    return ValueCell::ofObject(FileObj, &record);
}

}  // namespace kestrel::builtins
