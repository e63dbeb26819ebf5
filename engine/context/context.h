// All state of one script: program, stack, pool, counters, options. Nothing of the engine is global.
#pragma once

#include "engine/context/executor.h"
#include "engine/context/gate.h"
#include "engine/context/script_queues.h"
#include "engine/program/program.h"
#include "engine/report/reporter.h"
#include "engine/values/eval_stack.h"
#include "engine/values/pool.h"
#include "platform/clock.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

namespace fast {
class CodeMemory;
}

class EngineContext;
class KindTable;
class BuiltinTable;
class NativeCallees;
class PersistentStore;
struct ProcessState;
struct ArrayRecord;
struct RecordInstance;

/// Option flags that pragmas set. Each lasts from one load of a script to the next.
struct Options {
    bool strict = false;
    bool autoerror = false;  ///< accepted, without effect
    bool asyncspawn = false;
    bool nonrandom = false;     ///< no line index for files
    bool literalpaths = false;  ///< file names keep their "/"
    std::string debugName;      ///< pragma "debug"
};

/// Finds a component of a script (insert file, library) on the library search path or by asking the user.
class ComponentLocator {
public:
    virtual ~ComponentLocator() = default;
    /// @param name      as the script wrote it
    /// @param fullPath  receives the path found, in the system's form
    virtual bool locate(EngineContext& ctx, std::string_view name, std::string& fullPath) = 0;
};

/// Called before the instructions of a new line while a debugger is attached; it may block or set `run.stop`.
class LineHook {
public:
    virtual ~LineHook() = default;
    /// A run begins at `start`: the entry of a function that the host calls, or code outside functions.
    virtual void runBegins(EngineContext& /*ctx*/, const CodeNode& /*start*/) {}
    virtual void line(EngineContext& ctx, const CodeNode& node) = 0;
};

/// Lets whoever runs a script from outside end it: set `requested` (from a signal handler, say) and the run
/// stops at the next backward jump or call (after a built-in, which may have waited), storing the line it
/// stopped at. The run's abort flag is set then; nothing is reported. A compile fails in the same way.
struct RunWatch {
    platform::SharedFlag requested{0};
    platform::SharedFlag line{0};
};

/// What a built-in keeps for a script and lets go of when it is unloaded: open files, references to programs.
class ScriptResource {
public:
    virtual ~ScriptResource() = default;
    /// Writes out what is buffered, because a program that is about to start may look at it.
    virtual void flush() noexcept {}
};

/// What lies above the engine, handed in when a context is made. Pointers are borrowed; each may be null
/// where the comment says so.
struct EngineServices {
    MessageSink* messages = nullptr;         ///< null: messages only count
    const BuiltinTable* builtins = nullptr;  ///< required
    ComponentLocator* locator = nullptr;     ///< null: nothing is found
    const KindTable* kinds = nullptr;        ///< required
    RunWatch* watch = nullptr;               ///< null: runs are never ended from outside
    PersistentStore* store = nullptr;        ///< null: nothing can be stored, nothing is found
    ProcessState* process = nullptr;         ///< required by the built-ins that reach the operating system
    QueueService* queues = nullptr;          ///< null: there are no queues
    NativeCallees* natives = nullptr;        ///< null: scripts bring in no libraries
    void* host = nullptr;      ///< what host-side built-ins find again; the engine never looks at it
    bool filesClosed = false;  ///< arrays are not made of files
    Executor executor = Executor::Automatic;
    fast::CodeMemory* codeMemory = nullptr;  ///< null: there is no machine code
    int batchLanes = 0;         ///< samples of a group, 4 or 8; 0: as many as the machine has lanes
    int failingGuard = -1;      ///< for tests: this guard of the code fails always, counted round
    bool fewRegisters = false;  ///< for tests: machine code keeps nearly all on the stack
};

/// An active call: the function and the first stack cell that belongs to it.
struct CallRecord {
    FunctionRecord* function = nullptr;
    std::int32_t base = 0;
};

/// A loop, switch, select or call in progress. At most ten per frame.
struct ControlEntry {
    const CodeNode* node;
    std::int32_t kind;  ///< OP_WHILE, OP_FORTEST, OP_SWITCH, OP_SELECT or OP_CALL
};

inline constexpr int kControlLimit = 10;
/// Calls in progress at one time. Calls are bounded by memory only; this keeps a runaway recursion from
/// eating the machine.
inline constexpr std::size_t kFrameLimit = 20000;

struct Frame {
    Frame() {}              // NOLINT: entries above `top` are never read, so they are left as they are
    std::int32_t top = -1;  ///< index of the innermost entry
    std::array<ControlEntry, kControlLimit> entries;
};

/// The state of a run.
struct RunState {
    bool abort = false;     ///< a fatal error happened: the run ends after the current instruction
    bool stop = false;      ///< the debugger said so, or the time is up
    bool returned = false;  ///< a `return` is on its way to the function's end: its values are on the stack
    bool activationEnded = false;    ///< with a hook: a function has ended just before this line
    std::int32_t currentLine = 1;    ///< what every "Line %d" prints
    const CodeNode* node = nullptr;  ///< the instruction being executed
    std::vector<Frame> frames;       ///< frames.back() is the running one
    std::vector<CallRecord> calls;   ///< innermost last; changed through pushCall() and trimCalls()
    std::int32_t base = 0;           ///< calls.back().base, 0 without calls
    LineHook* hook = nullptr;        ///< null: no debugger

    void pushCall(FunctionRecord* function, std::int32_t firstCell) {
        calls.push_back({function, firstCell});
        base = firstCell;
    }
    void trimCalls(std::size_t count) {
        calls.resize(count);
        base = calls.empty() ? 0 : calls.back().base;
    }
};

class EngineContext final : private Pool::Exhaustion, private EvalStack::Overflow {
public:
    explicit EngineContext(const EngineServices& services);
    ~EngineContext();
    EngineContext(const EngineContext&) = delete;
    EngineContext& operator=(const EngineContext&) = delete;

    EngineServices services;
    RunState run;
    Reporter reporter;
    Pool pool;
    EvalStack stack;
    Options options;
    std::unique_ptr<Program> program;
    std::uint32_t randomState = 1;  ///< of random() and randu()
    std::string scriptFile;         ///< path as handed to the compiler, letter case kept
    Gate gate;                      ///< shut by whatever may change the script's state
    void* hostRecord = nullptr;     ///< where members with a MemberLayout lie, while there are any
    int instanceNumber = 1;         ///< INSTANCE is "pt%d" of it
    std::vector<std::unique_ptr<ArrayRecord>> arrays;      ///< every one; collectArrays() says when it goes
    std::vector<std::unique_ptr<RecordInstance>> records;  ///< every one; record_instance.h says when it goes
    bool collecting = false;                               ///< collectArrays() is at work
    std::size_t looseObjects = 0;                          ///< objects of counted kinds that nobody holds
    std::vector<std::unique_ptr<ScriptResource>>
        resources;  ///< let go before the pool, in which they keep texts
    ScriptResource* files =
        nullptr;  ///< the one of `resources` that has the open files; null until there is one
    std::unique_ptr<ScriptQueues> queues;  ///< null until it is asked for

    /// Reports a message about the line being run. One that aborts sets the abort flag first.
    template <class... Args>
    void report(MessageFor<Args...> message, const Args&... args) {
        reporter.report(message, args...);
    }
    /// The same about something else than the line being run.
    template <class... Args>
    void reportAt(const MessageOrigin& origin, MessageFor<Args...> message, const Args&... args) {
        reporter.reportAt(origin, message, args...);
    }

    [[nodiscard]] const KindTable& kinds() const noexcept { return *services.kinds; }

    /// Bottom of the running function's part of the stack (0 outside functions).
    [[nodiscard]] std::int32_t base() const noexcept { return run.base; }
    /// True when the running function owns at least `n` cells; otherwise reports "stack empty" and aborts.
    [[nodiscard]] bool need(int n) {
        if (stack.size() - base() >= n) [[likely]]
            return true;
        stackEmpty();
        return false;
    }

    /// Where it is said that the run is to end, as the platform's waits want it; null when nobody ever says
    /// so.
    [[nodiscard]] platform::CancelFlag cancelFlag() const noexcept {
        return services.watch != nullptr ? &services.watch->requested : nullptr;
    }
    /// True when whoever watches the run wants it to end: what takes long gives up then.
    [[nodiscard]] bool endRequested() const noexcept {
        return services.watch != nullptr && services.watch->requested != 0;
    }

    /// The script's queues; null where there are none.
    [[nodiscard]] ScriptQueues* scriptQueues();

    /// Pushes a text made by the engine: a pool copy owned by the cell. Nothing is pushed when memory is
    /// exhausted.
    void pushText(std::string_view text);

    /// Some memory that is given back before it is reported that there is none left, since messages need
    /// some, and taken again when a run begins.
    void keepReserve() noexcept;
    void useReserve() noexcept { reserve_.reset(); }

    /// Forgets the script and everything it made (no script code runs): program, stack, pool, options,
    /// counters.
    void reset();

private:
    std::unique_ptr<std::byte[]> reserve_;

    void stackEmpty();
    void memoryExhausted() override;
    void stackOverflow() override;
};

}  // namespace kestrel
