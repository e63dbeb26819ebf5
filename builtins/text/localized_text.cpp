// getlocalestr(): texts in the user's language, from a file beside the script.
#include "builtins/common/handlers.h"
#include "engine/operations/text_buffer.h"
#include "platform/files.h"
#include "platform/paths.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::builtins {

namespace {

/// The script's name up to its first ".", with ".loc" behind it.
std::string sideFileName(std::string_view scriptFile) {
    const std::string_view name = scriptFile.substr(platform::directoryOf(scriptFile).size());
    return std::string(name.substr(0, name.find('.'))) + ".loc";
}

/// Looks in the script's directory, then where components of scripts are found.
platform::FileHandle openSideFile(EngineContext& ctx) {
    const std::string name = sideFileName(ctx.scriptFile);
    const std::string beside = std::string(platform::directoryOf(ctx.scriptFile)) + name;
    if (platform::FileHandle file = platform::openRegularFile(beside)) return file;
    std::string found;
    if (ctx.services.locator == nullptr || !ctx.services.locator->locate(ctx, name, found)) return nullptr;
    return platform::openRegularFile(found);
}

/// The index-th of the NUL-terminated texts in a file.
/// @return nothing when the file ends before that text's NUL, or after reporting that the text is too long
std::optional<std::string> textAt(EngineContext& ctx, std::FILE* file, std::int64_t index) {
    std::array<char, 16384> block;
    std::string text;
    while (const std::size_t size = std::fread(block.data(), 1, block.size(), file)) {
        std::string_view rest(block.data(), size);
        for (; index > 1 && !rest.empty(); --index) {
            const std::size_t end = rest.find('\0');
            if (end == std::string_view::npos) break;
            rest.remove_prefix(end + 1);
        }
        if (index == 1) {
            const std::size_t end = rest.find('\0');
            text += rest.substr(0, end);
            if (end != std::string_view::npos) return text;
            if (!fitsText(ctx, text.size())) return std::nullopt;
        }
        if (ctx.endRequested()) break;
    }
    return std::nullopt;
}

}  // namespace

void localizedText(BuiltinCall& call) {
    if (!call.arg(1).isText()) return call.failType(2);
    if (!call.arg(0).isNumeric()) return call.failType(1);
    const std::int64_t index = truncate(call.arg(0).number);
    std::optional<std::string> text;
    if (index >= 1)
        if (const platform::FileHandle file = openSideFile(call.ctx))
            text = textAt(call.ctx, file.get(), index);
    call.resultText(text ? std::string_view(*text) : std::string_view(call.arg(1).text));
}

}  // namespace kestrel::builtins
