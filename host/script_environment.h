// What all scripts of one process, or of one session of a tool, share.
#pragma once

#include "builtins/builtin_table.h"
#include "builtins/store/persistent_store.h"
#include "builtins/system/process_state.h"
#include "engine/context/context.h"
#include "engine/fast/native.h"
#include "host/file_request.h"
#include "host/host_interface.h"
#include "host/locate_component.h"
#include "host/object_kinds.h"
#include "host/presets.h"
#include "host/requester.h"
#include "host/scene_services.h"
#include "host/shader_context.h"
#include "ipc/queues.h"
#include "platform/registry.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

/// One of the host's directories by its key, such as "Temp"; nothing when the host has none of that kind.
using DirectoryFinder = std::function<std::optional<std::string>(const std::string& key)>;

class ScriptEnvironment {
public:
    /// @param messages, watch  may be null; they outlive the environment
    ScriptEnvironment(MessageSink* messages, RunWatch* watch, Settings settings);
    ScriptEnvironment(const ScriptEnvironment&) = delete;
    ScriptEnvironment& operator=(const ScriptEnvironment&) = delete;

    /// What a new engine context is given.
    /// @param host  the script's own part of the host side; outlives the context
    [[nodiscard]] EngineServices services(ShaderContext& host) noexcept;

    FileRequester requestFile;                    ///< empty: every request is cancelled
    DirectoryFinder findDirectory;                ///< empty: the host offers no such service
    PanelFinder findPanels;                       ///< empty: there are no panels
    std::uint32_t systemInfo = HX_SYSTEM_LAYOUT;  ///< the host's system-information word
    SceneServices scene;                          ///< nulls: the host has no scene
    HintSink* advice = nullptr;  ///< of scripts that are loaded later, while they run; null: nobody wants any
    std::string debugLink;       ///< of the script that is loaded next, in place of what its pragma says
    LineHook* lineHook =
        nullptr;  ///< of scripts that are loaded later, where no debugger attaches; may be null
    Executor executor = Executor::Automatic;  ///< of scripts that are loaded later; KESTREL_EXECUTOR names it
    std::vector<Preset> presets;              ///< of all scripts that are loaded from now on
    std::string configurationFile;            ///< where a configuration would be; nothing reads one yet

    int batchLanes = 0;     ///< see EngineServices
    int failingGuard = -1;  ///< for tests, see EngineServices
    bool fewRegisters = false;
    fast::CodeMemory codeMemory;
    platform::Registry registry;
    PersistentStore store{registry};
    LibraryPath libraryPath;
    ProcessState process;
    Queues queues;
    Requester requester{findPanels};

private:
    MessageSink* messages_;
    RunWatch* watch_;
    BuiltinLibrary builtins_;
    HostLocator locator_{libraryPath, requestFile};
    ObjectKinds kinds_;
};

}  // namespace kestrel
