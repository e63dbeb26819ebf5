// A host for tests: loads the module, answers its lookups, records what it shows.
#pragma once

#include "host/module_extension.h"
#include "tests/host/fake_panels.h"
#include "tests/host/fake_scene.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::test {

/// One loaded copy of the module, with a process-wide state of its own: every test starts in a fresh process,
/// as far as the module can tell. A directory of its own is current, and holds the user's store and the
/// test's scripts.
class FakeHost {
public:
    FakeHost();
    ~FakeHost();
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;

    // What the host offers.
    std::set<std::string> missing;  ///< services that lookups do not find
    FakePanels panels;
    std::map<std::string, void*, std::less<>> services;  ///< what a test has of its own
    std::uintptr_t systemInfo = HX_SYSTEM_LAYOUT;
    int dialogResult = 0;    ///< what the file dialog returns; below 1 = cancelled
    std::string chosenFile;  ///< full path that the file dialog gives
    std::string chosenDirectory;
    FakeScene scene;
    std::function<void()> onMessage;  ///< while a message is shown

    // What the module did.
    std::vector<std::string> lookups;   ///< "name use"
    std::vector<std::string> messages;  ///< "kind: line1 / line2", without " / line2" for a null second line
    std::vector<std::string> names;     ///< of these messages, as the module tells while they are shown
    std::vector<std::string> dialogs;   ///< "title / file name / path / size"
    std::vector<std::string> directoryRequests;  ///< kinds of directories; the host has "Temp" only

    std::int32_t activate(std::int32_t version = HXM_INTERFACE_VERSION);
    std::int32_t edit(HxInstance instance, std::int32_t version = HXM_INTERFACE_VERSION);
    const KestrelModule& module() const { return *module_; }

    /// Activates the handler and makes an instance.
    HxInstance create();
    /// Makes an instance with a script loaded from a text state. The script's `process` may be left out.
    HxInstance createWith(const std::string& script, const std::string& name = "shade.ks");
    /// Loads a script into an instance from a text state.
    void load(HxInstance instance, const std::string& systemPath);
    void load(HxInstance instance, struct MemoryState& state);
    /// What an instance writes into a state.
    struct MemoryState save(HxInstance instance, std::int32_t mode);
    /// @return the system's path of a script written in the test's directory; a missing `process` is added
    std::string write(const std::string& name, const std::string& script);
    [[nodiscard]] std::string directory() const;  ///< the test's, in the system's form
    /// Destroys an instance; those that a test leaves are destroyed with the host.
    void destroy(HxInstance instance);
    /// @return what was shown since the last call
    std::vector<std::string> shown();
    /// @return of what was shown since the last call, the second lines: what scripts say; the whole message
    ///         where there is none
    std::vector<std::string> said();

    ShaderHandlerRecord handler{};

private:
    std::filesystem::path native_;
    void* library_ = nullptr;
    const KestrelModule* module_ = nullptr;
    std::set<HxInstance> living_;
};

/// A state in memory: lines of a text state, or the bytes of a binary one.
struct MemoryState {
    explicit MemoryState(std::int32_t stateMode) : mode(stateMode) {}

    std::int32_t mode;
    std::deque<std::string> lines;  ///< text mode, and each single write in binary mode
    std::string bytes;              ///< what binary reads take from
    std::size_t atOnce = SIZE_MAX;  ///< the most bytes that a binary read gives
    std::int32_t overstated = 0;    ///< how many more the reads after the script's name say that they gave
    int reads = 0;
    int endsBefore = 0;  ///< this read, counted from 1, meets the end of the data all the same
};

using Lines = std::vector<std::string>;

/// A script in which texts may stand between single quotes.
[[nodiscard]] std::string quoted(std::string script);

}  // namespace kestrel::test
