// The sample that `process` is at work with, and what objects of the kind ShaderObj have beside it.
#pragma once

#include "engine/context/context.h"

#include <cstdint>

namespace kestrel {

/// What EngineServices::host points to where scripts can meet samples; whoever has more derives from it.
struct SampleContext {
    /// The first instruction since somebody asked that wrote a number which is not finite into a sample.
    SourcePos badWrite;
    /// The item of the scene that has a number; null: there is no scene, and scripts read Nil.
    ValueCell (*item)(EngineContext& ctx, std::uint32_t number) = nullptr;
};

[[nodiscard]] inline SampleContext& sampleContext(const EngineContext& ctx) noexcept {
    return *static_cast<SampleContext*>(ctx.services.host);
}

/// A script has a sample for exactly one call of `process`.
class CurrentSample {
public:
    /// @param sample  laid out as script::Sample
    CurrentSample(EngineContext& ctx, void* sample) noexcept : ctx_(ctx) { ctx.hostRecord = sample; }
    ~CurrentSample() { ctx_.hostRecord = nullptr; }
    CurrentSample(const CurrentSample&) = delete;
    CurrentSample& operator=(const CurrentSample&) = delete;

private:
    EngineContext& ctx_;
};

}  // namespace kestrel
