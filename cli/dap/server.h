// A server of the Debug Adapter Protocol: lets an editor debug one script.
#pragma once

#include "cli/dap/breakpoints.h"
#include "cli/dap/target.h"
#include "cli/dap/variables.h"
#include "cli/dap/wire.h"
#include "cli/debugger/interrupt.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::cli::dap {

/// One thread does everything in turns and waits only in one place, for the streams. A script is asked with
/// little patience; what it does not answer at once is asked again in the next turn.
class Server {
public:
    Server() = default;
    /// Serves until the editor has said goodbye or is gone. @return the exit status
    int run();

private:
    using Time = std::chrono::steady_clock::time_point;

    enum class Needs { Nothing, Initialize, Script, Pause };
    struct Row {
        std::string_view command;
        Needs needs;
        /// @return the answer's body; nothing when it comes later
        std::optional<Json> (Server::*carryOut)(const Json& request);
    };
    static const Row kRows[];
    struct Waiting {
        const Row* row;
        Json request;
        Time until;
    };
    struct ReplRow {
        std::string_view form;  ///< the command, then its arguments
        std::string_view description;
        std::string (Server::*carryOut)(const std::vector<std::string>& words);
    };
    static const ReplRow kReplRows[];

    // server.cpp: turns and requests in general
    void turn();
    void wait();
    void receive();
    void dispatch(Json request);
    void askAgain();
    [[nodiscard]] std::string unmet(Needs needs);
    /// @return false when the script has to be asked again
    [[nodiscard]] bool carryOut(const Row& row, const Json& request);

    // session.cpp: the script from its beginning to its end
    void followTarget();
    void followScript();
    void applyStops();
    void tellChanged(const std::vector<int>& ids);
    void tellScript(std::vector<int>& changed);
    void pauseScript();
    void foundScript();
    void show(const debug::Event& event);
    void passOver();
    void showOutput();
    void settlePause();
    void announcePause(const debug::Event& event, const std::vector<int>& breakpoints);
    [[nodiscard]] bool goesOn(const debug::Event& event, std::vector<int>& breakpoints);
    [[nodiscard]] bool stepGoesOn();
    void resume(debug::RunMode mode, std::int32_t count, bool announced);
    void scriptEnded();
    void finish(std::optional<int> status);
    void say(const char* category, const std::string& text);

    enum class Leaving { No, End, LetGo };
    void leave(Leaving how, std::optional<Json> request, std::chrono::milliseconds patience);
    /// The same, and serves no longer.
    void quit(std::chrono::milliseconds patience);
    void goOnLeaving();
    void left();
    [[nodiscard]] bool letGoOfScript();

    // requests.cpp: from the beginning to the end; looking.cpp: what a paused script is
    std::optional<Json> initialize(const Json& request);
    std::optional<Json> launch(const Json& request);
    std::optional<Json> attach(const Json& request);
    std::optional<Json> setBreakpoints(const Json& request);
    std::optional<Json> setFunctionBreakpoints(const Json& request);
    std::optional<Json> setExceptionBreakpoints(const Json& request);
    std::optional<Json> configurationDone(const Json& request);
    std::optional<Json> goOn(const Json& request);
    std::optional<Json> next(const Json& request);
    std::optional<Json> stepIn(const Json& request);
    std::optional<Json> stepOut(const Json& request);
    std::optional<Json> pause(const Json& request);
    std::optional<Json> cancel(const Json& request);
    std::optional<Json> terminate(const Json& request);
    std::optional<Json> disconnect(const Json& request);
    std::optional<Json> threads(const Json& request);
    std::optional<Json> stackTrace(const Json& request);
    std::optional<Json> scopes(const Json& request);
    std::optional<Json> variables(const Json& request);
    std::optional<Json> setVariable(const Json& request);
    std::optional<Json> setExpression(const Json& request);
    std::optional<Json> evaluate(const Json& request);
    std::optional<Json> exceptionInfo(const Json& request);
    std::optional<Json> loadedSources(const Json& request);
    std::optional<Json> source(const Json& request);

    void begin(const Json& request);
    [[nodiscard]] Json tellStops(const std::vector<int>& ids);
    [[nodiscard]] Json describeStop(const Breakpoint& breakpoint) const;
    [[nodiscard]] std::string pathOf(std::int32_t file) const;
    [[nodiscard]] Json sourceOf(std::int32_t file) const;
    [[nodiscard]] std::string functionOf(const Json& arguments);
    [[nodiscard]] debug::DebugClient& script();
    /// Lines count from 0 for some editors.
    [[nodiscard]] std::int32_t fromEditor(std::int32_t line) const noexcept { return line + lineOffset_; }
    [[nodiscard]] std::int32_t toEditor(std::int32_t line) const noexcept { return line - lineOffset_; }

    // repl.cpp: commands
    [[nodiscard]] std::optional<std::string> command(const std::string& line);
    std::string breakCommand(const std::vector<std::string>& words);
    std::string deleteCommand(const std::vector<std::string>& words);
    std::string printCommand(const std::vector<std::string>& words);
    std::string setCommand(const std::vector<std::string>& words);
    std::string stepCommand(const std::vector<std::string>& words);
    std::string nextCommand(const std::vector<std::string>& words);
    std::string finishCommand(const std::vector<std::string>& words);
    std::string continueCommand(const std::vector<std::string>& words);
    std::string pauseCommand(const std::vector<std::string>& words);
    std::string whereCommand(const std::vector<std::string>& words);
    std::string helpCommand(const std::vector<std::string>& words);
    void goFromRepl(debug::RunMode mode, const std::vector<std::string>& words);

    Wire wire_;
    Interrupt interrupt_{Interrupt::On::Termination};
    Target target_;
    Breakpoints stops_;
    Variables variables_;
    std::deque<Waiting> waiting_;

    // what the editor said
    bool initialized_ = false;
    bool configured_ = false;
    bool tellsInvalidated_ = false;  // it knows the event of that name
    std::int32_t lineOffset_ = 0;
    std::optional<Json> starting_;  // launch or attach, until the script is there
    bool stopOnEntry_ = false;
    bool noDebug_ = false;
    std::string directory_;  // from which the script's paths are relative

    // what is known of the script
    bool begun_ = false;  // launch or attach came
    bool live_ = false;   // the editor was told of it, and not of its end
    std::vector<std::string> files_;
    bool filesKnown_ = false;
    bool paused_ = false;
    bool pauseWanted_ = false;
    bool pauseTold_ = false;                // to the script, which is about to pause, for whatever reason
    std::optional<debug::Event> pausedBy_;  // a pause that is still to be looked into
    std::string function_;                  // in which it is paused
    std::string lastError_;
    debug::RunMode mode_ = debug::RunMode::Freely;
    std::size_t stepDepth_ = 0;  // calls in progress where a step began; 0: not looked up

    // the end
    Leaving leaving_ = Leaving::No;
    std::optional<Json> leaveRequest_;
    Time leaveUntil_{};
    bool endAsked_ = false;
    bool quits_ = false;  // when it has left the script
    bool over_ = false;
    int exitCode_ = 0;

    // turns
    bool busy_ = false;    // the script has to be asked again
    bool active_ = false;  // something happened
    std::chrono::milliseconds idle_{1};
};

}  // namespace kestrel::cli::dap
