// All kinds of objects that a script of this module can meet beyond the language's own. A new kind is a line
// here.
#pragma once

#include "agents/agent_kind.h"
#include "builtins/files/file_methods.h"
#include "engine/kinds/engine_kinds.h"
#include "host/scene_item.h"
#include "host/shader_object.h"
#include "host/state_object.h"

#include <tuple>

namespace kestrel {

class ObjectKinds {
public:
    ObjectKinds() {
        std::apply([this](auto&... kind) { (engine_.table.add(kind), ...); }, kinds_);
    }

    [[nodiscard]] const KindTable& table() const noexcept { return engine_.table; }

private:
    std::tuple<builtins::FileKind, ShaderObjectKind, SceneItemKind, StateObjectKind, agents::AgentKind>
        kinds_;
    EngineKinds engine_;
};

}  // namespace kestrel
