// Reading lines.
#include "builtins/common/several_texts.h"
#include "builtins/files/file_methods.h"

#include <array>
#include <optional>

namespace kestrel::builtins::file {

namespace {

/// Collects bytes in the file's text up to one that ends it.
/// @return that byte, or EOF; nothing when memory is exhausted or the run is to end
template <class Ends>
std::optional<int> collect(FileCall& call, Ends ends) {
    GrowingText& text = call.file().text;
    text.clear();
    std::array<char, 512> piece;
    for (;;) {
        std::size_t length = 0;
        int c = 0;
        while (length < piece.size() && (c = platform::nextByte(call.stream())) != EOF && !ends(c))
            piece[length++] = static_cast<char>(c);
        if (!text.append({piece.data(), length}) || call.ctx.endRequested()) return std::nullopt;
        if (length < piece.size()) return c;
    }
}

}  // namespace

void read(FileCall& call) {
    if (call.argc == 1 && !moveToLine(call)) return;
    OpenFile& file = call.file();
    const std::int64_t line = file.standsAtLine;
    file.beginReading();
    const std::optional<int> end = collect(call, [](int c) { return c == '\n' || c == '\r'; });
    if (!end) return call.resultNil();
    if (*end == EOF) {
        // Meant: what follows the last line end is lost.
        file.meetEnd();
        return call.resultNil();
    }
    if (*end == '\r' && !platform::takeLineFeed(call.stream()))
        std::clearerr(call.stream());  // the CR may be the last byte: that is met by the next read
    if (line >= 0) file.standsAtLine = line + 1;
    ++file.currentLine;
    call.resultText(file.text.view());
}

void parse(FileCall& call) {
    if (!call.arg(0).isText()) return call.failType(1);
    OpenFile& file = call.file();
    file.beginReading();
    const std::optional<int> end = collect(call, [](int c) { return c == '\n'; });
    if (!end) return call.resultNil();
    std::string_view line = file.text.view();
    if (*end == EOF) {
        file.meetEnd();
        if (line.empty()) return call.resultNil();
    } else if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    ++file.currentLine;
    resultTokens(call, call.arg(0).text, line);
}

}  // namespace kestrel::builtins::file
