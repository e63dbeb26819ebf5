// The sample that `process` is at work with; where objects of the kind ShaderObj find it.
#pragma once

#include "engine/context/context.h"

#include <cstdint>

namespace kestrel {

/// What EngineServices::host points to where scripts can meet samples; whoever has more derives from it.
struct SampleContext {
    void* sample = nullptr;  ///< a record laid out as script::Sample; set while `process` runs
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
    CurrentSample(SampleContext& context, void* sample) noexcept : context_(context) {
        context_.sample = sample;
    }
    ~CurrentSample() { context_.sample = nullptr; }
    CurrentSample(const CurrentSample&) = delete;
    CurrentSample& operator=(const CurrentSample&) = delete;

private:
    SampleContext& context_;
};

}  // namespace kestrel
