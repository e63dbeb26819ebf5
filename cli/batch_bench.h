// Samples by planes, evaluated in batches through the library for programs that embed the engine.
#pragma once

#include "cli/sample_grid.h"
#include "host/host_interface.h"
#include "script/include/kestrel/script.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::cli {

class BatchBench {
public:
    /// @param lanes  samples that are computed at a time; 0: as many as the machine can
    explicit BatchBench(int lanes);

    /// Loads a script and lets it begin as a host does: `init`, and `newtime` of the first frame.
    /// @return false when that failed: said() tells why
    [[nodiscard]] bool load(const std::string& file);
    /// Evaluates the grid once.
    /// @param now     the clock
    /// @param shaded  called with each sample afterwards, in order, outside of the time; may be empty
    /// @return the time in nanoseconds, without that of reading the clock; nothing when a sample failed
    [[nodiscard]] std::optional<double> pass(const GridSize& grid, std::chrono::nanoseconds (*now)(),
                                             const std::function<void(const ShadingSample&)>& shaded);
    /// What the compile and the last run had to say.
    [[nodiscard]] const std::vector<script::Diagnostic>& said() const noexcept { return said_; }
    /// Of samples that were evaluated, how many were computed several at a time: 0 to 1.
    [[nodiscard]] double share() const;

private:
    static constexpr std::size_t kCount = 256;  // of a batch: its planes stay in the processor's cache
    static constexpr std::size_t kWritten = 13;
    using Plane = std::array<double, kCount>;

    void place(const GridSize& grid, std::int64_t first, std::size_t count);
    [[nodiscard]] ShadingSample sampleAt(std::size_t i) const;
    [[nodiscard]] bool run(const char* function, std::initializer_list<script::Value> arguments);

    std::optional<script::Engine> engine_;
    std::optional<script::Script> script_;
    std::vector<script::Diagnostic> said_;
    std::uint64_t evaluated_ = 0;
    std::array<std::int32_t, kCount> column_{};
    std::array<std::int32_t, kCount> row_{};
    Plane x_{};
    Plane y_{};
    std::array<Plane, kWritten> written_{};
    script::Planes planes_{kCount};
};

}  // namespace kestrel::cli
