// The preprocessor: executes directives, replaces defined names and splices in insert files.
#pragma once

#include "engine/context/context.h"
#include "frontend/define_uses.h"
#include "frontend/defines.h"
#include "frontend/line_map.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// What a run leaves behind.
struct PreprocessedScript {
    std::string text;
    LineMap map;         ///< where its lines come from
    DefineUses defines;  ///< empty where nobody wants hints
};

/// One run. Pragmas change ctx.options and ctx.reporter.state as they are met, and stay in force afterwards.
class Preprocessor {
public:
    /// @param files        receives the script and every file inserted
    /// @param locatedOnly  see CompileOptions
    Preprocessor(EngineContext& ctx, SourceFiles& files, bool locatedOnly = false)
        : ctx_(ctx), files_(files), locatedOnly_(locatedOnly) {}

    /// @return nothing when a file cannot be opened or a directive is wrong (reported)
    std::optional<PreprocessedScript> run(std::string_view inputPath);
    /// The same for a text that lies in no file.
    std::optional<PreprocessedScript> runText(std::string_view name, std::string_view text);

private:
    /// A file being read.
    struct Input {
        std::string name;  // as messages show it
        std::string text;
        std::size_t next = 0;       // start of the next line
        std::int32_t file = -1;     // index into files_
        std::int32_t line = 0;      // number of the current line; long physical lines count once per piece
        std::int32_t trueLine = 0;  // physical line
        std::size_t column = 0;     // where the current piece begins in it
        bool pieceEndsLine = true;  // the current piece reaches to the end of its physical line
    };

    std::optional<PreprocessedScript> process();
    /// @param nativePath  where people find it
    void addFile(Input input, std::string nativePath, const SourcePos& broughtInBy);
    bool readLine(std::string& line);
    void processLine(std::string& line);
    void directive(std::string_view line);
    /// The hint about a directive that has no handler.
    void adviseOnDirective(std::string_view text) const;
    void ordinaryLine(std::string& line);
    void endOfInsert();
    void put(std::string_view line);
    void putMarker(std::int32_t line);

    /// Reports an error of the current directive.
    template <class... Args>
    void directiveError(MessageFor<Args...> message, const Args&... args) {
        reportDirective(message.id(), {FormatArg(args)...});
    }
    void reportDirective(MessageId id, FormatArgs args);
    [[nodiscard]] SourcePos currentPlace() const noexcept;

#define KESTREL_PRAGMA(name, handler, ...) void handler(std::string_view argument);
#include "frontend/pragmas.def"
#undef KESTREL_PRAGMA

    EngineContext& ctx_;
    SourceFiles& files_;
    const bool locatedOnly_;
    std::vector<Input> inputs_;  // the open files, outermost first
    DefineTable defines_;
    DefineUses defineUses_;
    std::string output_;
    LineMap map_;
    std::size_t insertedBytes_ = 0;  // of all inserts so far, with something for each
    std::int32_t lineLength_ = 0;    // of the current line, for its place
    bool failed_ = false;
};

}  // namespace kestrel
