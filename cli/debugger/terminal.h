// The debugger that people type commands to.
#pragma once

#include "cli/debugger/debuggee.h"
#include "cli/debugger/interrupt.h"
#include "cli/debugger/line_source.h"
#include "cli/debugger/view.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::cli {

class Terminal {
public:
    Terminal(Debuggee& debuggee, Interrupt& interrupt, bool json)
        : debuggee_(debuggee), client_(debuggee.client()), interrupt_(interrupt), json_(json) {}

    /// Carries out commands until there are no more, the user leaves, or the script has ended.
    /// @return the exit status
    int run(std::unique_ptr<LineSource> lines);
    /// What could stand at the end of a line.
    [[nodiscard]] std::vector<std::string> completions(std::string_view begun);

    /// All commands, for --help.
    [[nodiscard]] static std::string help();

private:
    struct Row {
        std::string_view name;
        std::string_view alias;  ///< empty: none
        std::string_view form;
        std::string_view description;
        void (Terminal::*run)(std::string_view arguments);
        bool repeats;  ///< an empty line behind it means the same again
    };
    static const Row kRows[];
    [[nodiscard]] static const Row* rowOf(std::string_view word);

    enum class State { Asking, Left, Ended };

    /// Asks once for what stays the same.
    [[nodiscard]] bool begin();
    void carryOut(std::string line);
    void abandon();
    /// Shows what happens until the script pauses, ends, or the user wants to type.
    void waitForStop();
    /// Shows what has happened. @return true when the script has paused
    bool showEvents();
    void showMessages();
    void show(const debug::Event& event);
    void whenStopped(const debug::Event& event);
    void whenEnded();
    /// Keeps the status; a command that fails ends a script of commands.
    void fail(std::string_view problem);
    [[nodiscard]] bool took(const debug::Answer& answer);

    void go(debug::RunMode mode, std::string_view count);
    [[nodiscard]] std::optional<std::int32_t> fileNamed(std::string_view name) const;
    [[nodiscard]] std::optional<debug::DebugPlace> placeNamed(std::string_view text) const;
    /// Why a text names neither a place nor a function, if that can be told.
    [[nodiscard]] std::string problemWithPlace(std::string_view text) const;
    /// took() for what was asked about a variable of that name.
    [[nodiscard]] bool tookValue(const debug::Answer& answer, std::string_view name);
    /// The reference that a user's name means: in the current function, else a global.
    [[nodiscard]] std::string referenceOf(std::string_view name);
    void addStop(const debug::Answer& answer, const debug::DebugStop& stop, std::string what);
    void printAll(const std::string& scope);

    void breakCommand(std::string_view arguments);
    void breakAtPixel(std::string_view arguments);
    void deleteCommand(std::string_view arguments);
    void stepCommand(std::string_view arguments) { go(debug::RunMode::Line, arguments); }
    void nextCommand(std::string_view arguments) { go(debug::RunMode::Over, arguments); }
    void finishCommand(std::string_view /*arguments*/) { go(debug::RunMode::Out, {}); }
    void continueCommand(std::string_view /*arguments*/) { go(debug::RunMode::Freely, {}); }
    void pauseCommand(std::string_view arguments);
    void printCommand(std::string_view arguments);
    void globalsCommand(std::string_view arguments);
    void setCommand(std::string_view arguments);
    void whereCommand(std::string_view arguments);
    void listCommand(std::string_view arguments);
    void statusCommand(std::string_view arguments);
    void messagesCommand(std::string_view arguments);
    void infoCommand(std::string_view arguments);
    void quitCommand(std::string_view arguments);
    void terminateCommand(std::string_view arguments);
    void helpCommand(std::string_view arguments);

    Debuggee& debuggee_;
    debug::DebugClient& client_;
    Interrupt& interrupt_;
    bool json_;
    std::unique_ptr<LineSource> lines_;
    std::optional<View> view_;
    std::vector<debug::DebugFunction> functions_;
    std::vector<debug::Event> messages_;
    std::vector<UserStop> stops_;
    bool atErrors_ = false;
    std::string function_;       ///< in which the script is paused
    debug::DebugPlace place_{};  ///< where it is
    std::int32_t listed_ = 0;    ///< the line up to which `list` has come
    std::string last_;           ///< the command that an empty line repeats
    State state_ = State::Asking;
    int exitCode_ = 0;
    bool begun_ = false;        ///< files and functions are known
    bool pauseWanted_ = false;  ///< has been asked for and is still to come
    bool pausedNow_ = false;    ///< has been shown only after the command was given
    bool failed_ = false;       ///< the last command did
};

}  // namespace kestrel::cli
