// The queues of a process and those of its scripts.
#pragma once

#include "engine/context/script_queues.h"
#include "ipc/queue_block.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace kestrel {

/// The queues that scripts of this process name without having declared them: each is opened once. Those that
/// they declare are their own.
class Queues final : public QueueService {
public:
    [[nodiscard]] std::unique_ptr<ScriptQueues> forScript(EngineContext& ctx) override;

    /// @return null when there is none of that name
    [[nodiscard]] std::shared_ptr<QueueBlock> find(const std::string& name);

private:
    std::unordered_map<std::string, std::weak_ptr<QueueBlock>> opened_;
};

}  // namespace kestrel
