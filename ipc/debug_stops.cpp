#include "ipc/debug_stops.h"

#include "engine/run/interpreter.h"

#include <algorithm>

namespace kestrel::debug {

namespace {

constexpr std::size_t kMostPixels = 1000;  // each is looked at for each sample

/// The first instruction of a function behind its parameters that a run can pause at.
const CodeNode* bodyOf(const FunctionRecord& function) noexcept {
    const CodeNode* node = function.entry != nullptr ? function.entry->next : nullptr;
    for (std::int32_t i = 0;
         i < function.paramCount && node != nullptr && node->op == OP_DECL && node->link != nullptr; ++i)
        node = node->link->next;
    while (node != nullptr && node != function.end && (!beginsLine(*node) || !node->pos.known()))
        node = node->next;
    return node != nullptr && node->pos.known() ? node : nullptr;
}

}  // namespace

std::optional<LinePlace> lineWithCode(const Program& program, LinePlace place) {
    std::optional<LinePlace> found;
    const auto consider = [&](const CodeNode& node) {
        const SourcePos& pos = node.pos;
        if (pos.known() && pos.file == place.file && pos.line >= place.line &&
            (!found || pos.line < found->line))
            found = {pos.file, pos.line};
    };
    std::int32_t line = -1;  // of the node before
    for (const CodeNode* node = program.code.head; node != nullptr; line = node->line, node = node->next)
        if (beginsLine(*node) && node->line != line) consider(*node);
    for (const FunctionRecord* f = program.functions.head; f != nullptr; f = f->next)
        if (const CodeNode* node = bodyOf(*f)) consider(*node);
    return found;
}

std::optional<LinePlace> firstLineOf(const FunctionRecord& function) {
    const CodeNode* node = bodyOf(function);
    if (node == nullptr) return std::nullopt;
    const LinePlace first{node->pos.file, node->pos.line};
    // A run that the host begins here is told of only when it has left the line of the function's name.
    for (; node != nullptr && node != function.end; node = node->next)
        if (node->line != function.entry->line && beginsLine(*node) && node->pos.known())
            return LinePlace{node->pos.file, node->pos.line};
    return first;
}

std::int32_t Stops::addLine(LinePlace place) {
    if (const std::int32_t known = stopAt({place.file, place.line, 0, 0}); known != 0) return known;
    lines_.push_back({++lastNumber_, place});
    markLines();
    return lastNumber_;
}

std::int32_t Stops::addPixel(Pixel pixel, std::int32_t sample) {
    if (pixels_.size() >= kMostPixels) return 0;
    pixels_.push_back({++lastNumber_, pixel, std::max(sample, 1)});
    return lastNumber_;
}

bool Stops::remove(std::int32_t number) {
    const bool known =
        std::erase_if(lines_, [&](const LineStop& stop) { return stop.number == number; }) +
            std::erase_if(pixels_, [&](const PixelStop& stop) { return stop.number == number; }) >
        0;
    markLines();
    return known;
}

void Stops::removeAll() {
    lines_.clear();
    pixels_.clear();
    pixelReached_ = 0;
    atErrors = false;
    markLines();
}

void Stops::step(const EngineContext& ctx, RunMode mode, std::int32_t count) {
    mode_ = mode;
    linesLeft_ = std::max(count, 1);
    depth_ = ctx.run.calls.size();
    wasDeeper_ = false;
    from_ = {};
    if (const CodeNode* node = ctx.run.node) from_ = {node->pos.file, node->pos.line};
    arm();
}

void Stops::stopStepping() {
    mode_ = RunMode::Freely;
    arm();
}

void Stops::markLines() {
    numbers_.clear();
    for (const LineStop& stop : lines_) {
        const auto file = static_cast<std::size_t>(stop.place.file);
        const auto line = static_cast<std::size_t>(stop.place.line);
        if (file >= numbers_.size()) numbers_.resize(file + 1);
        if (line >= numbers_[file].size()) numbers_[file].resize(line + 1);
        numbers_[file][line] = stop.number;
    }
    arm();
}

void Stops::arm() noexcept {
    armed_ = !lines_.empty() || pixelReached_ != 0 || mode_ != RunMode::Freely;
}

std::int32_t Stops::stopAt(const SourcePos& pos) const noexcept {
    const auto file = static_cast<std::size_t>(pos.file);  // an unknown one becomes very large
    const auto line = static_cast<std::size_t>(pos.line);
    return file < numbers_.size() && line < numbers_[file].size() ? numbers_[file][line] : 0;
}

bool Stops::stepEnds(const EngineContext& ctx, const CodeNode& node) {
    const std::size_t depth = ctx.run.calls.size();
    if (mode_ == RunMode::Freely || (mode_ == RunMode::Out && depth >= depth_)) return false;
    if (mode_ == RunMode::Over && depth > depth_) {
        wasDeeper_ = true;
        return false;
    }
    // Back from a call the rest of its line follows, which is no other line.
    const LinePlace here{node.pos.file, node.pos.line};
    if (mode_ == RunMode::Over && std::exchange(wasDeeper_, false) && depth == depth_ && here == from_)
        return false;
    depth_ = depth;
    from_ = here;
    return --linesLeft_ <= 0;
}

std::optional<Stops::Reached> Stops::look(const EngineContext& ctx, const CodeNode& node) {
    std::optional<Reached> reached;
    if (pixelReached_ != 0) reached = {PauseReason::Stop, pixelReached_};
    // The rest of a line, behind a call, has been stopped at before the call.
    else if (const std::int32_t number = stopAt(node.pos); number != 0 && !ctx.run.activationEnded)
        reached = {PauseReason::Stop, number};
    // Code outside functions ends where the first of them begins.
    if (node.op != OP_FUNC && stepEnds(ctx, node) && !reached) reached = {PauseReason::Step, 0};
    if (reached) {
        pixelReached_ = 0;
        stopStepping();
    }
    return reached;
}

void Stops::runBegins(const EngineContext& ctx, const CodeNode& start) {
    // What was stepped through is over: the next line is in another call from the host.
    if (mode_ != RunMode::Freely && ctx.run.calls.size() <= std::max<std::size_t>(depth_, 1))
        mode_ = RunMode::Line;
    if (pixels_.empty() || ctx.run.calls.empty()) return;
    const FunctionRecord& function = *ctx.run.calls.back().function;
    if (function.entry != &start || std::string_view(function.name) != "process") return;
    const std::optional<Pixel> pixel = pixelOfSample_ ? pixelOfSample_() : std::nullopt;
    if (!pixel) return;
    for (PixelStop& stop : pixels_) {
        if (stop.pixel != *pixel || stop.samplesLeft == 0 || --stop.samplesLeft > 0) continue;
        pixelReached_ = stop.number;
        arm();
    }
}

}  // namespace kestrel::debug
