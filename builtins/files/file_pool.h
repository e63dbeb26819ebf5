// The file objects of a script.
#pragma once

#include "builtins/files/file_record.h"
#include "engine/context/context.h"

#include <cstddef>
#include <deque>
#include <string_view>
#include <vector>

namespace kestrel::builtins {

/// All file objects of one script. Those that nobody holds any more are closed and used again, so that a
/// script which opens a file at every sample and forgets to close it does not use up the host's descriptors.
class FilePool final : public ScriptResource {
public:
    /// Files that one script may have open at a time. Each may take two descriptors of the process.
    static constexpr std::size_t kMostOpen = 256;

    /// That of a script, made on first use; the context owns it.
    [[nodiscard]] static FilePool& of(EngineContext& ctx);

    explicit FilePool(EngineContext& ctx) : context(ctx) {}
    FilePool(const FilePool&) = delete;
    FilePool& operator=(const FilePool&) = delete;

    /// A closed record, which nobody holds yet.
    [[nodiscard]] FileRecord& make();
    /// Opens a file for a new value of the script.
    /// @param name  as scripts write it
    /// @return null when it does not open
    [[nodiscard]] FileRecord* open(std::string_view name, std::string_view mode);
    /// Whether one more file may be open, which is reported where not.
    [[nodiscard]] bool mayOpen();

    /// A holder takes / lets go of a record; null is allowed.
    void hold(FileRecord* record) noexcept;
    void drop(FileRecord* record);
    /// Closes and frees the records that nobody holds and no cell on the stack refers to.
    void sweep();
    void flush() noexcept override;

    EngineContext& context;

private:
    friend struct OpenFile;  // counts itself

    void setLoose(FileRecord& record);
    void setHeld(FileRecord& record) noexcept;

    std::deque<FileRecord> records_;
    std::vector<FileRecord*> free_;
    std::vector<FileRecord*> loose_;
    std::size_t open_ = 0;
};

/// Opens a file for a new value of the script.
/// @param name  as scripts write it
/// @return null when it does not open, and after reporting that there are too many
[[nodiscard]] inline FileRecord* openScriptFile(EngineContext& ctx, std::string_view name,
                                                std::string_view mode) {
    return FilePool::of(ctx).open(name, mode);
}

}  // namespace kestrel::builtins
