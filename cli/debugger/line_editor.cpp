// Lines that a person edits: the one place that knows the library for it.
#include "cli/debugger/line_source.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/paths.h"

#include <histedit.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace kestrel::cli {

namespace {

namespace fs = std::filesystem;

constexpr int kHistoryLines = 1000;

/// The history of earlier sessions; empty where there is no place for it.
fs::path historyFile() {
    if (const auto state = platform::environment("XDG_STATE_HOME"); state && state->starts_with('/'))
        return fs::path(*state) / "kestrel" / "debug_history";
    if (const auto home = platform::environment("HOME"); home && home->starts_with('/'))
        return fs::path(*home) / ".local/state/kestrel/debug_history";
    return {};
}

struct EditorEnder {
    void operator()(EditLine* editor) const noexcept { el_end(editor); }
};
struct HistoryEnder {
    void operator()(History* history) const noexcept { history_end(history); }
};

class EditedLines final : public LineSource {
public:
    EditedLines(std::string prompt, LineCompleter completer)
        : prompt_(std::move(prompt)),
          completer_(std::move(completer)),
          editor_(el_init("kestrel", stdin, stdout, stderr)),
          history_(history_init()) {
        HistEvent event{};
        if (history_ != nullptr) {
            history(history_.get(), &event, H_SETSIZE, kHistoryLines);
            history(history_.get(), &event, H_SETUNIQUE, 1);
        }
        if (editor_ == nullptr) return;
        el_set(editor_.get(), EL_CLIENTDATA, this);
        el_set(editor_.get(), EL_PROMPT, &EditedLines::tellPrompt);
        el_set(editor_.get(), EL_EDITOR, "emacs");
        el_set(editor_.get(), EL_SIGNAL, 1);
        if (history_ != nullptr) el_set(editor_.get(), EL_HIST, history, history_.get());
        el_set(editor_.get(), EL_ADDFN, "complete", "Completes a word", &EditedLines::complete);
        el_set(editor_.get(), EL_BIND, "^I", "complete", nullptr);
        el_source(editor_.get(), nullptr);  // the user's own settings
        readHistory();
    }
    ~EditedLines() override { writeHistory(); }

    [[nodiscard]] bool interactive() const override { return true; }

    std::optional<std::string> next() override {
        int length = 0;
        const char* text = editor_ != nullptr ? el_gets(editor_.get(), &length) : nullptr;
        if (text == nullptr || length < 0) return length < 0 ? std::optional<std::string>("#") : std::nullopt;
        std::string line(text, static_cast<std::size_t>(length));
        while (line.ends_with('\n') || line.ends_with('\r')) line.pop_back();
        if (!line.empty()) remember(line);
        return line;
    }

private:
    static EditedLines* self(EditLine* editor) {
        void* data = nullptr;
        el_get(editor, EL_CLIENTDATA, &data);
        return static_cast<EditedLines*>(data);
    }
    static char* tellPrompt(EditLine* editor) { return self(editor)->prompt_.data(); }

    static unsigned char complete(EditLine* editor, int /*character*/) {
        const LineInfo* info = el_line(editor);
        const std::string_view begun(info->buffer, static_cast<std::size_t>(info->cursor - info->buffer));
        const std::size_t word = begun.find_last_of(" \t") + 1;
        const std::string_view typed = begun.substr(word);
        std::vector<std::string> words = self(editor)->completer_(begun);
        std::erase_if(words, [&](const std::string& candidate) { return !candidate.starts_with(typed); });
        std::ranges::sort(words);
        words.erase(std::unique(words.begin(), words.end()), words.end());
        if (words.empty()) return CC_REFRESH_BEEP;
        std::size_t common = words.front().size();
        for (const std::string& candidate : words)
            common = std::min<std::size_t>(
                common, static_cast<std::size_t>(std::ranges::mismatch(words.front(), candidate).in1 -
                                                 words.front().begin()));
        std::string rest = words.front().substr(typed.size(), common - typed.size());
        if (words.size() == 1) rest += ' ';
        if (!rest.empty()) return el_insertstr(editor, rest.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
        std::fputc('\n', stdout);
        for (const std::string& candidate : words) std::printf("%s  ", candidate.c_str());
        std::fputc('\n', stdout);
        return CC_REDISPLAY;
    }

    void remember(const std::string& line) {
        lines_.push_back(line);
        HistEvent event{};
        if (history_ != nullptr) history(history_.get(), &event, H_ENTER, line.c_str());
    }

    void readHistory() {
        std::error_code error;
        const fs::path path = historyFile();
        if (path.empty() || !fs::is_regular_file(fs::symlink_status(path, error))) return;
        const std::optional<std::string> text = platform::readTextFile(platform::systemPath(path.string()));
        if (!text) return;
        for (std::size_t at = 0; at < text->size();) {
            const std::size_t end = std::min(text->find('\n', at), text->size());
            if (end > at) remember(text->substr(at, end - at));
            at = end + 1;
        }
    }

    /// A new file takes the old one's place, so a link in its place is not followed.
    void writeHistory() {
        std::error_code error;
        const fs::path path = historyFile();
        if (path.empty() || lines_.empty()) return;
        fs::create_directories(path.parent_path(), error);
        const fs::path fresh = path.string() + "." + std::to_string(platform::processId());
        platform::FileHandle file = platform::createFile(platform::systemPath(fresh.string()));
        if (file == nullptr) return;
        const std::size_t first = lines_.size() - std::min<std::size_t>(lines_.size(), kHistoryLines);
        for (std::size_t i = first; i < lines_.size(); ++i)
            std::fprintf(file.get(), "%s\n", lines_[i].c_str());
        if (platform::closeFile(std::move(file)) == 0)
            fs::rename(fresh, path, error);
        else
            fs::remove(fresh, error);
    }

    std::string prompt_;
    LineCompleter completer_;
    std::unique_ptr<EditLine, EditorEnder> editor_;
    std::unique_ptr<History, HistoryEnder> history_;
    std::vector<std::string> lines_;
};

}  // namespace

std::unique_ptr<LineSource> editedLines(const std::string& prompt, LineCompleter completer) {
    return std::make_unique<EditedLines>(prompt, std::move(completer));
}

}  // namespace kestrel::cli
