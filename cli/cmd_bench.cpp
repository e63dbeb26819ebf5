// kestrel bench FILE: how fast the module evaluates a script's samples.

#include "cli/batch_bench.h"
#include "cli/commands.h"
#include "cli/module_session.h"
#include "cli/sample_grid.h"
#include "cli/scene_choice.h"
#include "cli/text_script.h"
#include "platform/environment.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kestrel::cli {

namespace {

struct BenchCommand {
    ModuleOptions module;
    GridSize grid{256, 256};
    int passes = 7;
    bool batch = false;
    int lanes = 0;
    bool json = false;
};

/// Source: FNV-1a, 64 bits
class Checksum {
public:
    /// Takes in what a script can change of a sample.
    void add(const ShadingSample& sample) {
        constexpr std::size_t kFirst = offsetof(ShadingSample, wNorm);
        constexpr std::size_t kEnd = offsetof(ShadingSample, illuminate);
        const auto* bytes = reinterpret_cast<const unsigned char*>(&sample);
        for (const unsigned char byte : std::span(bytes + kFirst, kEnd - kFirst)) {
            state_ = (state_ ^ byte) * 0x100000001b3;
        }
    }
    [[nodiscard]] std::string text() const {
        char digits[17];
        std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(state_));
        return digits;
    }

private:
    std::uint64_t state_ = 0xcbf29ce484222325;
};

/// Processor time since `start`: how busy the machine is makes no difference.
double nanosecondsSince(std::chrono::nanoseconds start) {
    return static_cast<double>((platform::processorTime() - start).count());
}

ShadingSample blankSample() {
    ShadingSample sample{};
    sample.illuminate = preview::PreviewServices::illuminateOperation();
    sample.rayTrace = preview::PreviewServices::rayTraceOperation();
    return sample;
}

/// What reading the clock takes: it is part of every time that is taken.
double clockCost() {
    double least = 1e9;
    for (int i = 0; i < 1000; ++i) least = std::min(least, nanosecondsSince(platform::processorTime()));
    return least;
}

/// Evaluates the grid once.
/// @param checksum  may be null
/// @return nanoseconds per sample; below 0 when the script failed
double pass(const GridSize& grid, ModuleSession& session, Checksum* checksum) {
    static const double kClockCost = clockCost();
    GridSamples samples(grid, blankSample(), 256);
    const preview::ShaderHandle::Callback evaluate = session.shader().callback();
    double time = 0.0;
    for (auto chunk = samples.next(); !chunk.empty(); chunk = samples.next()) {
        const std::chrono::nanoseconds start = platform::processorTime();
        for (ShadingSample& sample : chunk) evaluate(sample);
        time += nanosecondsSince(start) - kClockCost;
        if (session.failed()) return -1.0;
        if (checksum == nullptr) continue;
        for (const ShadingSample& sample : chunk) checksum->add(sample);
    }
    return std::max(time, 1.0) / static_cast<double>(grid.count());
}

struct Result {
    double median;  ///< of the passes, nanoseconds per sample
    double slowest;
    double loadMs;
    std::optional<KestrelShading> shading{};  ///< of the passes and the one before them; not of batches
    double grouped = 0.0;  ///< of a batch: the share of samples that were computed several at a time
};

nlohmann::ordered_json shadingJson(const KestrelShading& shading) {
    nlohmann::ordered_json json;
    json["byCode"] = shading.shaded;
    json["left"] = shading.left;
    json["byInterpreter"] = shading.interpreted;
    json["exits"] = nlohmann::ordered_json::array();
    for (const KestrelExit& exit : std::span(shading.exits, static_cast<std::size_t>(shading.exitCount)))
        json["exits"].push_back({{"line", exit.line}, {"reason", exit.reason}, {"samples", exit.count}});
    return json;
}

void printShading(const KestrelShading& shading) {
    std::printf("%" PRIu64 " samples by code, %" PRIu64 " left by it to the interpreter, %" PRIu64
                " by the interpreter alone\n",
                shading.shaded, shading.left, shading.interpreted);
    for (const KestrelExit& exit : std::span(shading.exits, static_cast<std::size_t>(shading.exitCount)))
        std::printf("  %" PRIu64 " left at line %d: %s\n", exit.count, exit.line, exit.reason);
}

void report(const BenchCommand& options, const Result& result, const Checksum& checksum) {
    const std::string executor(result.shading ? result.shading->executor : executorAsked());
    if (options.json) {
        nlohmann::ordered_json line;
        line["file"] = options.module.file;
        line["grid"] = {options.grid.width, options.grid.height};
        line["passes"] = options.passes;
        line["executor"] = executor;
        if (options.batch) line["grouped"] = result.grouped;
        line["nsPerSample"] = result.median;
        line["slowestNsPerSample"] = result.slowest;
        line["samplesPerSecond"] = 1e9 / result.median;
        line["loadMs"] = result.loadMs;
        line["checksum"] = checksum.text();
        if (result.shading) line["shading"] = shadingJson(*result.shading);
        const std::string text = line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
        std::printf("%s\n", text.c_str());
        return;
    }
    std::printf("%.1f ns per sample (median of %d passes over %dx%d), %.0f samples per second\n",
                result.median, options.passes, options.grid.width, options.grid.height, 1e9 / result.median);
    std::printf("%.1f ns per sample in the slowest pass\n", result.slowest);
    std::printf("%.3f ms to load the script\n", result.loadMs);
    std::printf("executor %s\n", executor.c_str());
    if (result.shading) printShading(*result.shading);
    if (options.batch)
        std::printf("%.1f %% of the samples were computed several at a time\n", result.grouped * 100.0);
    std::printf("checksum %s\n", checksum.text().c_str());
}

void benchBatches(const BenchCommand& options, Invocation& invocation) {
    if (!requireReadable(options.module.file, invocation)) return;
    prepareForPrograms(invocation, true);
    BatchBench bench(options.lanes);
    const std::chrono::nanoseconds start = platform::processorTime();
    bool fine = bench.load(options.module.file);
    const double loadMs = nanosecondsSince(start) * 1e-6;
    Checksum checksum;
    const auto count = static_cast<double>(options.grid.count());
    fine = fine && bench.pass(options.grid, platform::processorTime,
                              [&](const ShadingSample& sample) { checksum.add(sample); });
    std::vector<double> times;
    for (int i = 0; fine && i < options.passes; ++i) {
        const auto time = bench.pass(options.grid, platform::processorTime, {});
        fine = time.has_value();
        times.push_back(time.value_or(0.0) / count);
    }
    if (!fine) {
        for (const script::Diagnostic& each : bench.said())
            if (each.kind == script::Diagnostic::Kind::Error)
                complain(invocation, each.file + ':' + std::to_string(each.line) + ": " + each.text,
                         kExitScriptFailed);
        return;
    }
    std::ranges::sort(times);
    report(options, {times[times.size() / 2], times.back(), loadMs, std::nullopt, bench.share()}, checksum);
}

void benchScript(const BenchCommand& options, Invocation& invocation) {
    prepareForPrograms(invocation, true);
    std::optional<preview::Scene> scene = sceneAround(options.module.file, {}, invocation);
    if (!scene) return;
    ModuleSession session(options.module, std::move(*scene), invocation);
    if (!session.open()) return;
    const std::chrono::nanoseconds start = platform::processorTime();
    if (!session.load()) return;
    const double loadMs = nanosecondsSince(start) * 1e-6;
    if (!session.begin() || !session.beginFrame(0, 0.0)) return;

    // The first pass warms up the caches and yields the checksum, which then costs the timed passes nothing.
    Checksum checksum;
    bool fine = pass(options.grid, session, &checksum) >= 0.0;
    std::vector<double> times;
    for (int i = 0; fine && i < options.passes; ++i) {
        times.push_back(pass(options.grid, session, nullptr));
        fine = times.back() >= 0.0;
    }
    const auto shading = session.module().shading(session.shader().instance());
    fine = session.end() && fine;
    if (!fine) return;
    std::ranges::sort(times);
    report(options, {times[times.size() / 2], times.back(), loadMs, shading}, checksum);
}

}  // namespace

void addBenchCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "bench",
        "Evaluates a grid of samples through the module again and again and tells the time per sample");
    const auto options = std::make_shared<BenchCommand>();
    addModuleOptions(*command, options->module, invocation);
    addExecutorOption(*command);
    addSizeOption(*command, "--grid", options->grid, "The grid, as `kestrel shade --grid` evaluates it");
    command->add_option("--passes", options->passes, "Timed passes over the grid, after one to warm up")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    command->add_flag("--json", options->json, "The result as one JSON object");
    CLI::Option* batch = command->add_flag(
        "--batch", options->batch,
        "Evaluates batches of 256 samples by planes, through the library for programs that embed the engine "
        "in place of the module: without a scene and panels. Libraries are found beside the script, and in "
        "the directories of -I");
    for (const char* name : {"--choose", "--panel", "--timeout"}) batch->excludes(command->get_option(name));
    command
        ->add_option("--lanes", options->lanes,
                     "With --batch: how many samples are computed at a time, 4 or 8 (default: as many as the "
                     "machine can)")
        ->check(CLI::IsMember({4, 8}).description(""))
        ->type_name("4|8")
        ->needs(batch);
    command->footer(
        "All times are processor time: what other programs take of the machine does not count. The time per "
        "sample\n"
        "is the median of the passes; making the samples that the script gets is no part of it.\n"
        "The checksum (FNV-1a over wNorm to roughness of all samples of the first pass) is the same wherever "
        "the script\n"
        "computes the same.");
    command->callback([options, &invocation] {
        if (!takeStandardInput(options->module.file, invocation)) return;
        options->batch ? benchBatches(*options, invocation) : benchScript(*options, invocation);
    });
}

}  // namespace kestrel::cli
