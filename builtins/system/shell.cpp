// Commands for the command processor: system, systemex.
#include "builtins/common/handlers.h"
#include "builtins/common/joined_text.h"
#include "builtins/common/several_texts.h"
#include "builtins/system/process_state.h"
#include "engine/operations/file_names.h"
#include "engine/operations/text.h"
#include "platform/command_processor.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/paths.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

namespace kestrel::builtins {

namespace {

/// A new file in the directory for temporary files, deleted at the end.
class WorkFile {
public:
    /// The name is fixed, yet no file that has it is touched: it may be in use by a program that runs a
    /// script at the same time, belong to somebody else or be a link to any file of the user's. Then the
    /// number of this process comes before the extension, and a count where even that is taken.
    WorkFile(std::string_view name, std::string_view extension) {
        std::string stem = platform::temporaryDirectory();
        if (!stem.ends_with('\\')) stem += '\\';
        stem += name;
        const std::string process = "." + std::to_string(platform::processId());
        for (int attempt = 0; file_ == nullptr && attempt < kAttempts; ++attempt) {
            path_ = stem;
            if (attempt > 0) path_ += process;
            if (attempt > 1) path_ += "." + std::to_string(attempt);
            path_ += extension;
            native_ = platform::nativePath(path_);  // before there is anything to remove
            file_ = platform::createFile(path_);
        }
        created_ = file_ != nullptr;
    }
    ~WorkFile() {
        if (created_) std::remove(native_.c_str());  // needs no memory
    }
    WorkFile(const WorkFile&) = delete;
    WorkFile& operator=(const WorkFile&) = delete;

    [[nodiscard]] bool created() const noexcept { return created_; }
    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    /// Ends the writing with a text. @return false when it could not be written completely
    [[nodiscard]] bool write(const std::string& text) {
        const bool written = std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size();
        return platform::closeFile(std::move(file_)) == 0 && written;
    }

private:
    static constexpr int kAttempts = 16;
    std::string path_;
    std::string native_;
    platform::FileHandle file_;
    bool created_ = false;
};

bool holdsSeveral(const ValueCell& cell) {
    return cell.isText() && std::string_view(cell.text).find('@') != std::string_view::npos;
}

/// True when the arguments are several commands: when any of the texts has a "@".
bool severalCommands(BuiltinCall& call) {
    for (int i = 0; i < call.argc; ++i)
        if (holdsSeveral(call.arg(i))) return true;
    return false;
}

/// An argument's text; nothing, after a warning, for one that adds nothing to the command.
std::optional<std::string> pieceOf(BuiltinCall& call, int i) {
    const ValueCell& cell = call.arg(i);
    std::optional<std::string> text =
        cell.type != Nil ? pieceText(call.ctx, cell, TextUse::Name) : std::nullopt;
    if (!text) call.ctx.report(MessageId::ArgumentSkipped, i + 1, call.name);
    return text;
}

/// A piece on its way into the command: converted like every name that scripts give, then put into the form
/// that the command processor understands. A script that wants its texts as they are gets them so.
std::string converted(BuiltinCall& call, std::string_view piece) {
    if (call.ctx.options.literalpaths) return std::string(piece);
    return platform::nativeCommand(convertSeparators(call.ctx, piece));
}

/// All arguments as one command, with blanks between them.
std::string oneCommand(BuiltinCall& call) {
    std::string command;
    bool first = true;
    for (int i = 0; i < call.argc; ++i) {
        const std::optional<std::string> piece = pieceOf(call, i);
        if (!piece) continue;
        if (!std::exchange(first, false)) command += ' ';
        command += converted(call, *piece);
    }
    return command;
}

/// The commands, a line each: every "@" ends one, and so does every argument.
std::string commandLines(BuiltinCall& call) {
    std::string lines;
    for (int i = 0; i < call.argc; ++i) {
        const std::optional<std::string> piece = pieceOf(call, i);
        if (!piece) continue;
        std::string_view rest = *piece;
        if (holdsSeveral(call.arg(i))) {
            for (std::size_t at = rest.find('@'); at != std::string_view::npos; at = rest.find('@')) {
                lines += rest.substr(0, at);
                lines += '\n';
                rest.remove_prefix(at + 1);
            }
            rest.remove_prefix(std::min(rest.find_first_not_of(" \t\n\v\f\r"), rest.size()));
        }
        lines += converted(call, rest);
        lines += '\n';
    }
    return lines;
}

std::string batchText(const std::string& commands) {
    std::string text = "@echo off\n\n" + commands + "\n\n";
    text += platform::kRestoreRemark;
    text += "\nC:\n";  // there is one drive
    const std::string directory = platform::currentDirectory();
    // A name with a line end in it has no place in a line. The caller's directory never changes anyway: the
    // commands run in a process of their own.
    if (directory.find('\n') == std::string::npos) text += "cd " + directory + "\n";
    return text;
}

/// Leaves the exit code, every line of the output and how many values that makes.
void leaveOutput(BuiltinCall& call, int exitCode, std::FILE* output) {
    constexpr std::size_t kPiece = 511;
    SeveralTexts results(call);
    results.addInteger(exitCode);
    std::string line;
    while (platform::readPiece(output, kPiece, line) &&
           results.add(line.c_str())) {  // a NUL ends a line early
    }
    results.leave();
}

/// Whether there is a command processor, with the script's files ready to be read by what it runs.
bool hasCommandProcessor(BuiltinCall& call) {
    flushResources(call.ctx);
    if (platform::environment("COMSPEC")) return true;
    call.fail(MessageId::NoCommandProcessor, call.name);
    return false;
}

}  // namespace

void systemCommand(BuiltinCall& call) {
    if (!hasCommandProcessor(call)) return;
    if (!severalCommands(call))
        return call.resultInteger(platform::runCommand(oneCommand(call), call.ctx.cancelFlag()));
    WorkFile batch("ks$$", ".bat");
    if (!batch.created() || !batch.write(batchText(commandLines(call))))
        return call.fail(MessageId::CommandsNotWritten);
    call.resultInteger(platform::runBatch(batch.path(), "", call.ctx.cancelFlag()));
}

void systemCommandOutput(BuiltinCall& call) {
    if (!hasCommandProcessor(call)) return;
    WorkFile batch("kxl$$", ".bat");
    if (!batch.created() ||
        !batch.write(batchText(severalCommands(call) ? commandLines(call) : oneCommand(call))))
        return call.fail(MessageId::CommandNotWritten);
    WorkFile output("kxl$$", ".out");
    int exitCode = -1;
    if (output.created() && output.write(""))
        exitCode = platform::runBatch(batch.path(), output.path(), call.ctx.cancelFlag());
    const platform::FileHandle file = output.created() ? platform::openFile(output.path(), "rb") : nullptr;
    if (file != nullptr) return leaveOutput(call, exitCode, file.get());
    call.ctx.report(MessageId::CommandOutputLost, output.path());
    call.resultInteger(exitCode);
}

}  // namespace kestrel::builtins
