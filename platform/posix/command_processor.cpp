#include "platform/command_processor.h"

#include "platform/ascii.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/processes.h"
#include "platform/terminal.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace kestrel::platform {

namespace {

/// The system takes no argument of more than 128 KiB.
constexpr std::size_t kLongestArgument = 100000;

class Descriptor {
public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const noexcept { return number_; }

private:
    int number_;
};

bool writeAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written < 0 && errno != EINTR) return false;
        if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

int runShell(std::vector<std::string> arguments, ProcessOptions options, CancelFlag requested) {
    arguments.insert(arguments.begin(), environment("COMSPEC").value_or(""));
    // A terminal belongs to one group: in its own the command could not read from it. Whoever presses Ctrl-C
    // there reaches the whole group anyway.
    options.ownGroup = !isTerminal(Stream::Input);
    std::optional<Process> process = Process::start(std::move(arguments), options);
    return process ? process->finish(requested) : -1;
}

std::string quoted(std::string_view text) {
    std::string word = "'";
    for (const char c : text) word += c == '\'' ? "'\\''" : std::string(1, c);
    return word + "'";
}

/// Runs commands of any length from a file without a name, as part of one shell, so that its messages carry
/// the line numbers of the text and the last command's exit code is the shell's.
int runText(const BatchText& text, std::string_view outputFile, CancelFlag requested) {
    const Descriptor memory(memfd_create("kestrel", MFD_CLOEXEC));
    if (memory.get() < 0 || !writeAll(memory.get(), text.commands)) return -1;
    const Descriptor file(fcntl(memory.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (file.get() < 0) return -1;

    std::string start = ". \"$1\"";
    if (!text.directory.empty())
        start += "\nset -- $?\ncd -- " + quoted(text.directory) + " 2>/dev/null || :\nexit \"$1\"";
    ProcessOptions options;
    options.outputFile = outputFile;
    options.descriptor = file.get();
    return runShell({"-c", start, "kestrel", "/dev/fd/" + std::to_string(file.get())}, options, requested);
}

bool startsWithWord(std::string_view line, std::string_view word) {
    return ascii::equalIgnoringCase(line.substr(0, word.size()), word) &&
           (line.size() == word.size() || line[word.size()] == ' ');
}

bool isDriveLine(std::string_view line) {
    return line.size() == 2 && line[1] == ':' && ascii::isLetter(line[0]);
}

/// The native directory that a line "cd \DIR" names; "" for any other line.
std::string directoryNamed(std::string_view line) {
    constexpr std::string_view kCommand = "cd ";
    if (!startsWithWord(line, "cd") || !line.substr(std::min(line.size(), kCommand.size())).starts_with('\\'))
        return "";
    return nativePath(line.substr(kCommand.size()));
}

std::string_view withoutLeadingBlanks(std::string_view line) {
    return line.substr(std::min(line.find_first_not_of(" \t"), line.size()));
}

std::string_view takeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// Where the restore lines begin: the last line that is the remark.
std::size_t endOfCommands(std::string_view batch) {
    const std::string mark = "\n" + std::string(kRestoreRemark) + "\n";
    const std::size_t at = batch.rfind(mark);
    return at == std::string_view::npos ? batch.size() : at + 1;
}

}  // namespace

std::string nativeCommand(std::string_view piece) {
    std::string native(piece);
    const auto blank = static_cast<std::ptrdiff_t>(std::min(native.find(' '), native.size()));
    std::replace(native.begin(), native.begin() + blank, '\\', '/');
    return native;
}

int runCommand(const std::string& line, CancelFlag requested) {
    if (line.size() > kLongestArgument) return runText({line + "\n", ""}, "", requested);
    // What begins with a sign would be taken for an option.
    const bool signFirst = line.starts_with('-') || line.starts_with('+');
    return runShell({"-c", signFirst ? " " + line : line}, {}, requested);
}

BatchText translateBatch(std::string_view batch) {
    BatchText text;
    const std::size_t end = endOfCommands(batch);
    std::string_view body = batch.substr(0, end);
    while (!body.empty()) {
        const std::string_view line = takeLine(body);
        const std::string_view command = withoutLeadingBlanks(line);
        const std::string directory = directoryNamed(command);
        const bool empty = command == "@echo off" || startsWithWord(command, "rem") || isDriveLine(command);
        if (!directory.empty())
            text.commands += "cd -- " + quoted(directory);
        else if (!empty)
            text.commands += line;
        text.commands += '\n';  // for what means nothing, too: line numbers stay
    }
    std::string_view rest = batch.substr(end);
    while (!rest.empty())
        if (std::string directory = directoryNamed(takeLine(rest)); !directory.empty())
            text.directory = std::move(directory);
    return text;
}

int runBatch(std::string_view batchFile, std::string_view outputFile, CancelFlag requested) {
    const std::optional<std::string> batch = readTextFile(batchFile);
    return batch ? runText(translateBatch(*batch), outputFile, requested) : -1;
}

}  // namespace kestrel::platform
