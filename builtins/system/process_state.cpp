#include "builtins/system/process_state.h"

#include "engine/context/context.h"

#include <iterator>
#include <memory>
#include <utility>

namespace kestrel {

namespace {

/// Lets the table know of a script's unload.
class OwnerUnload final : public ScriptResource {
public:
    OwnerUnload(StartedPrograms& programs, const EngineContext& owner) : programs_(programs), owner_(owner) {}
    ~OwnerUnload() override { programs_.release(owner_); }
    OwnerUnload(const OwnerUnload&) = delete;
    OwnerUnload& operator=(const OwnerUnload&) = delete;

private:
    StartedPrograms& programs_;
    const EngineContext& owner_;
};

}  // namespace

void flushResources(const EngineContext& ctx) noexcept {
    for (const auto& resource : ctx.resources) resource->flush();
}

std::string StartedPrograms::add(platform::Process program, EngineContext& owner) {
    if (!owners_.contains(&owner)) {
        owner.resources.push_back(std::make_unique<OwnerUnload>(*this, owner));
        owners_.insert(&owner);
    }
    std::string reference = "process " + std::to_string(++count_) + " (" + std::to_string(program.id()) + ")";
    entries_.emplace(reference, Entry{std::move(program), &owner});
    return reference;
}

platform::Process* StartedPrograms::find(std::string_view reference) {
    const auto entry = entries_.find(reference);
    return entry != entries_.end() ? &entry->second.program : nullptr;
}

void StartedPrograms::remove(std::string_view reference) {
    const auto entry = entries_.find(reference);
    if (entry == entries_.end()) return;
    if (!entry->second.program.poll()) strays_.push_back(std::move(entry->second.program));
    entries_.erase(entry);
}

void StartedPrograms::release(const EngineContext& owner) {
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        if (entry->second.owner != &owner) {
            ++entry;
            continue;
        }
        strays_.push_back(std::move(entry->second.program));
        entry = entries_.erase(entry);
    }
    owners_.erase(&owner);
    reap();
}

void StartedPrograms::reap() {
    for (auto& [reference, entry] : entries_) (void)entry.program.poll();
    for (auto stray = strays_.begin(); stray != strays_.end();)
        stray = stray->poll() ? strays_.erase(stray) : std::next(stray);
}

}  // namespace kestrel
