// Values on their way to native code and back.
#pragma once

#include "agents/call_arena.h"
#include "agents/services.h"
#include "builtins/files/file_record.h"
#include "engine/context/builtin.h"
#include "sdk/kestrel_agent.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

namespace kestrel::agents {

/// Runs native code, which returns something. A C++ exception that leaves it is reported and ends there.
/// @param what  for the message
/// @return nothing when there was one
template <class Work>
auto guarded(EngineContext& ctx, std::string_view what, Work work) -> std::optional<decltype(work())> {
    try {
        return work();
    } catch (const std::exception& fault) {
        ctx.report(MessageId::NativeCodeFailed, what, fault.what());
    } catch (...) {
        ctx.report(MessageId::NativeCodeFailed, what, "unknown exception");
    }
    return std::nullopt;
}

/// What one script exchanges with its libraries: the memory is used again for each call.
class Exchange {
public:
    explicit Exchange(EngineContext& context) noexcept : ctx(context), services(context) {}
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    EngineContext& ctx;
    Services services;

    // ---- to native code
    /// Begins the arguments of a call.
    void begin() noexcept;
    /// Adds a value; kinds that native code does not know are passed over.
    /// @return false for those
    bool add(const ValueCell& value);
    void addText(std::string_view text);
    /// All arguments of a call.
    /// @return false after reporting that memory is exhausted
    bool addAll(const BuiltinCall& call);
    /// Puts the end behind the arguments and enters them in the call.
    void end(KestrelCall& call);

    // ---- from native code
    /// Ends a call with what native code returned, which is released where it is ours.
    void finish(BuiltinCall& call, const KestrelRecord* results);
    /// The value of one returned record, which is released where it is ours.
    /// @return nothing for null and for unknown types; an owned text belongs to the caller
    [[nodiscard]] std::optional<ValueCell> single(const KestrelRecord* result);

private:
    [[nodiscard]] std::optional<KestrelRecord> record(const ValueCell& value);
    [[nodiscard]] KestrelRecord array(const ArrayRecord& array);
    [[nodiscard]] KestrelRecord file(builtins::FileRecord& file);
    [[nodiscard]] std::optional<ValueCell> value(const KestrelRecord& record);
    [[nodiscard]] std::string_view textOf(const char* text) const noexcept;
    [[nodiscard]] ValueCell fileOf(const KestrelFile& file);
    void release(std::span<const KestrelRecord> records);

    CallArena arena_;
    std::vector<KestrelRecord> arguments_;
    std::vector<builtins::FileRecord*> lentFiles_;  ///< in the arguments
    std::vector<ValueCell> results_;
    std::vector<const void*> blocks_;  ///< of ours, in the results
};

}  // namespace kestrel::agents
