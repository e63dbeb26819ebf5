// kestrel bench FILE: how fast the module evaluates a script's samples.

#include "cli/commands.h"
#include "cli/module_session.h"
#include "cli/sample_grid.h"
#include "cli/scene_choice.h"
#include "cli/text_script.h"
#include "platform/environment.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>

namespace kestrel::cli {

namespace {

struct BenchCommand {
    ModuleOptions module;
    GridSize grid{256, 256};
    int passes = 7;
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

/// Evaluates the grid once.
/// @param checksum  may be null
/// @return nanoseconds per sample; below 0 when the script failed
double pass(const GridSize& grid, ModuleSession& session, Checksum* checksum) {
    const ShadingSample blank = blankSample();
    const std::chrono::nanoseconds start = platform::processorTime();
    for (std::int32_t y = 0; y < grid.height; ++y) {
        for (std::int32_t x = 0; x < grid.width; ++x) {
            ShadingSample sample = blank;
            placeInGrid(sample, grid, x, y);
            session.shader().evaluate(sample);
            if (checksum != nullptr) checksum->add(sample);
        }
        if (session.failed()) return -1.0;
    }
    return nanosecondsSince(start) / static_cast<double>(grid.count());
}

void report(const BenchCommand& options, double nsPerSample, double loadMs, const Checksum& checksum) {
    if (options.json) {
        nlohmann::ordered_json line;
        line["file"] = options.module.file;
        line["grid"] = {options.grid.width, options.grid.height};
        line["passes"] = options.passes;
        line["nsPerSample"] = nsPerSample;
        line["samplesPerSecond"] = 1e9 / nsPerSample;
        line["loadMs"] = loadMs;
        line["checksum"] = checksum.text();
        const std::string text = line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
        std::printf("%s\n", text.c_str());
        return;
    }
    std::printf("%.1f ns per sample (median of %d passes over %dx%d), %.0f samples per second\n", nsPerSample,
                options.passes, options.grid.width, options.grid.height, 1e9 / nsPerSample);
    std::printf("%.3f ms to load the script\n", loadMs);
    std::printf("checksum %s\n", checksum.text().c_str());
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
    fine = session.end() && fine;
    if (!fine) return;
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    report(options, *middle, loadMs, checksum);
}

}  // namespace

void addBenchCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "bench",
        "Evaluates a grid of samples through the module again and again and tells the time per sample");
    const auto options = std::make_shared<BenchCommand>();
    addModuleOptions(*command, options->module, invocation);
    addSizeOption(*command, "--grid", options->grid, "The grid, as `kestrel shade --grid` evaluates it");
    command->add_option("--passes", options->passes, "Timed passes over the grid, after one to warm up")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    command->add_flag("--json", options->json, "The result as one JSON object");
    command->footer(
        "All times are processor time: what other programs take of the machine does not count. The time per "
        "sample\n"
        "is the median of the passes.\n"
        "The checksum (FNV-1a over wNorm to roughness of all samples of the first pass) is the same wherever "
        "the script\n"
        "computes the same.");
    command->callback([options, &invocation] {
        if (takeStandardInput(options->module.file, invocation)) benchScript(*options, invocation);
    });
}

}  // namespace kestrel::cli
