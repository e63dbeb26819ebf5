// Where a script pauses by itself: at lines, at pixels, after steps.
#pragma once

#include "engine/context/context.h"
#include "ipc/debug_protocol.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace kestrel::debug {

struct Pixel {
    std::int32_t column = 0;
    std::int32_t row = 0;
    bool operator==(const Pixel&) const = default;
};
/// The pixel of the sample that is being shaded; nothing outside of one.
using PixelFinder = std::function<std::optional<Pixel>()>;

/// A line as people see it, with its file in Program::files.
struct LinePlace {
    std::int32_t file = -1;
    std::int32_t line = 0;
    bool operator==(const LinePlace&) const = default;
};

/// The first line with code from `place` on.
[[nodiscard]] std::optional<LinePlace> lineWithCode(const Program& program, LinePlace place);
/// The first line of a function at which a run can pause.
[[nodiscard]] std::optional<LinePlace> firstLineOf(const FunctionRecord& function);

class Stops {
public:
    explicit Stops(PixelFinder pixel) : pixelOfSample_(std::move(pixel)) {}

    /// @return the stop's number; that of the stop which is there already; 0 when there are too many
    std::int32_t addLine(LinePlace place);
    std::int32_t addPixel(Pixel pixel, std::int32_t sample);
    /// @return false when there is no such stop
    bool remove(std::int32_t number);
    void removeAll();
    /// Pauses after that many lines that count, as the mode says.
    void step(const EngineContext& ctx, RunMode mode, std::int32_t count);
    void stopStepping();

    struct Reached {
        PauseReason reason = PauseReason::Stop;
        std::int32_t number = 0;
    };
    /// Asked before each line.
    [[nodiscard]] std::optional<Reached> reached(const EngineContext& ctx, const CodeNode& node) {
        if (!armed_) [[likely]]
            return std::nullopt;
        return look(ctx, node);
    }
    /// Told when the host calls a function.
    void runBegins(const EngineContext& ctx, const CodeNode& start);

    bool atErrors = false;

private:
    struct LineStop {
        std::int32_t number;
        LinePlace place;
    };
    struct PixelStop {
        std::int32_t number;
        Pixel pixel;
        std::int32_t samplesLeft;  ///< 0: it has been reached
    };

    [[nodiscard]] std::optional<Reached> look(const EngineContext& ctx, const CodeNode& node);
    [[nodiscard]] bool stepEnds(const EngineContext& ctx, const CodeNode& node);
    [[nodiscard]] std::int32_t stopAt(const SourcePos& pos) const noexcept;
    void markLines();
    void arm() noexcept;

    PixelFinder pixelOfSample_;
    std::vector<LineStop> lines_;
    std::vector<std::vector<std::int32_t>> numbers_;  ///< by file and line: the stop there, 0 = none
    std::vector<PixelStop> pixels_;
    std::int32_t pixelReached_ = 0;
    RunMode mode_ = RunMode::Freely;
    std::int32_t linesLeft_ = 0;
    std::size_t depth_ = 0;
    LinePlace from_;          ///< where the step began
    bool wasDeeper_ = false;  ///< a call has been passed over since
    std::int32_t lastNumber_ = 0;
    bool armed_ = false;  ///< there is anything to look for
};

}  // namespace kestrel::debug
