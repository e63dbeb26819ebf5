// The state of engines and scripts behind the public handles.
#pragma once

#include "builtins/files/file_methods.h"
#include "builtins/store/persistent_store.h"
#include "builtins/system/process_state.h"
#include "engine/context/context.h"
#include "engine/fast/fast_process.h"
#include "engine/kinds/engine_kinds.h"
#include "platform/registry.h"
#include "script/functions.h"
#include "script/include/kestrel/script.h"
#include "script/sample_context.h"
#include "script/sample_kind.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

namespace kestrel::script {

struct Canceller::Impl {
    RunWatch watch;  ///< what runs see; from the beginning of one to its end it is never taken back
    platform::SharedFlag wanted{0};  ///< what the embedder wants of those that begin

    void cancel() noexcept {
        wanted = 1;
        watch.requested = 1;
    }
    /// Whoever cancels meanwhile sets the watch after this has cleared it, or is seen here.
    void begin() noexcept {
        watch.requested = 0;
        if (wanted != 0) watch.requested = 1;
    }
};

/// Where scripts find inserts and libraries: in folders, and mostly nowhere outside of them.
class FolderLocator final : public ComponentLocator {
public:
    /// @param leaves  names and links may lead out of the folders
    FolderLocator(const std::vector<std::string>& nativeFolders, bool leaves);
    bool locate(EngineContext& ctx, std::string_view name, std::string& fullPath) override;

    std::optional<std::string> scriptFolder;  ///< of the script that is compiled, where it has one

private:
    std::vector<std::string> folders_;  // in the system's form
    bool leaves_;
};

/// What a script has said: the first of it, and how much more there was.
struct Diagnostics {
    std::vector<Diagnostic> kept;
    std::size_t dropped = 0;
};

struct Engine::Impl {
    explicit Impl(Options engineOptions);

    Options options;
    fast::CodeMemory codeMemory;
    BuiltinLibrary language;
    std::vector<std::shared_ptr<const DefinedFunction>> defined;
    std::shared_ptr<const FunctionTable> functions;  ///< null until the next compile wants it
    std::shared_ptr<Canceller::Impl> canceller = std::make_shared<Canceller::Impl>();
    FolderLocator locator;
    std::optional<platform::Registry> registry;  ///< only where scripts may store
    std::optional<PersistentStore> store;
    ProcessState process;
    builtins::FileKind files;
    SampleKind samples;
    EngineKinds kinds;
    std::atomic<std::thread::id> user;  ///< the thread that is at work
    int uses = 0;                       ///< its nested uses
};

/// One use of an engine.
class Use {
public:
    /// @throws std::logic_error while another thread is at work with it
    explicit Use(Engine::Impl& engine);
    ~Use();
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

private:
    Engine::Impl& engine_;
};

struct Script::Impl final : SampleContext, private MessageSink {
    explicit Impl(std::shared_ptr<Engine::Impl> scriptEngine);
    ~Impl() override;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    /// Compiles it and runs its code outside functions.
    /// @param path  native; with a text any name
    [[nodiscard]] Status load(std::string_view path, std::optional<std::string_view> text);
    /// @return null where the script has no variable of the name: functions have names of their own kind
    [[nodiscard]] Variable* findGlobal(std::string_view name);
    /// How the latest run ended.
    [[nodiscard]] Status status() const noexcept;
    /// Runs `process`, which there is, over a sample.
    [[nodiscard]] Status shade(Sample& given);

    const std::shared_ptr<Engine::Impl> engine;
    const std::shared_ptr<const FunctionTable> functions;
    Diagnostics said;
    std::vector<Value> arguments;  ///< of a call of a defined function; empty between two
    bool busy = false;
    FunctionRecord* process = nullptr;
    Variable argument;  ///< what messages call an array that comes from outside
    EngineContext ctx;
    fast::FastProcess fast{ctx};

private:
    [[nodiscard]] EngineServices services() noexcept;
    void show(const Message& message) override;
    [[nodiscard]] bool compile(std::string_view path, const std::optional<std::string_view>& text);
    void findMemberNames();

    std::string file_;  // what the embedder calls the script's file; empty for one from a text
    std::unordered_set<const Variable*> memberNames_;  // symbols that only name members of records
};

[[nodiscard]] inline Script::Impl& stateOf(const EngineContext& ctx) noexcept {
    return static_cast<Script::Impl&>(sampleContext(ctx));
}

/// A script at work: begins with no diagnostics and ends with an empty stack.
class Work {
public:
    /// @throws std::logic_error when it is at work already
    explicit Work(std::shared_ptr<Script::Impl> script);
    ~Work();
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

    [[nodiscard]] Script::Impl& script() const noexcept { return *script_; }
    /// Errors count anew, as at the beginning.
    void begin() noexcept;

private:
    // What the script calls may let go of the handle: it ends here, while the engine is still in use.
    std::shared_ptr<Engine::Impl> engine_;
    Use use_;
    std::shared_ptr<Script::Impl> script_;
};

}  // namespace kestrel::script
