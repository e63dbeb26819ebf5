#include "cli/batch_bench.h"

#include "cli/commands.h"
#include "host/script_session.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace kestrel::cli {

namespace {

script::Executor executorOfLibrary() {
    const std::string_view name = executorAsked();
    if (name == "definition") return script::Executor::Definition;
    if (name == "threaded") return script::Executor::Threaded;
    return name == "native" ? script::Executor::Native : script::Executor::Automatic;
}

script::Options optionsFor(int lanes) {
    script::Options options;
    options.searchFolders = searchedFirst();
    options.leavesFolders = true;  // as scripts that the module loads
    options.executor = executorOfLibrary();
    options.batchLanes = lanes;
    return options;
}

}  // namespace

BatchBench::BatchBench(int lanes) {
    engine_.emplace(optionsFor(lanes));
    planes_.read("sx", 1, column_).read("sy", 1, row_);
    planes_.read("oPos", 1, x_).read("oPos", 2, y_).read("wPos", 1, x_).read("wPos", 2, y_);
    auto plane = written_.begin();
    for (const auto& [member, numbers] : {std::pair{"wNorm", 3},
                                          {"color", 3},
                                          {"luminous", 1},
                                          {"diffuse", 1},
                                          {"specular", 1},
                                          {"mirror", 1},
                                          {"transparency", 1},
                                          {"eta", 1},
                                          {"roughness", 1}})
        for (int number = 1; number <= numbers; ++number) planes_.update(member, number, *plane++);
}

bool BatchBench::load(const std::string& file) {
    script::Compiled compiled = engine_->compileFile(file);
    said_ = compiled.diagnostics;
    if (!compiled) return false;
    script_ = *compiled.script;
    return run("init", {}) && run("newtime", {0, 0.0});
}

/// Runs a function where the script has it.
bool BatchBench::run(const char* function, std::initializer_list<script::Value> arguments) {
    const script::Result result = script_->call(function, arguments);
    const auto said = script_->diagnostics();
    said_.insert(said_.end(), said.begin(), said.end());
    return result || result.status == script::Status::NoSuchFunction;
}

void BatchBench::place(const GridSize& grid, std::int64_t first, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, ++first) {
        ShadingSample sample{};
        placeInGrid(sample, grid, static_cast<std::int32_t>(first % grid.width),
                    static_cast<std::int32_t>(first / grid.width));
        column_[i] = sample.sx;
        row_[i] = sample.sy;
        x_[i] = sample.oPos[0];
        y_[i] = sample.oPos[1];
    }
    for (Plane& plane : written_) plane.fill(0.0);
}

ShadingSample BatchBench::sampleAt(std::size_t i) const {
    ShadingSample sample{};
    auto plane = written_.begin();
    for (double& number : sample.wNorm) number = (*plane++)[i];
    for (double& number : sample.color) number = (*plane++)[i];
    for (double* number : {&sample.luminous, &sample.diffuse, &sample.specular, &sample.mirror,
                           &sample.transparency, &sample.eta, &sample.roughness})
        *number = (*plane++)[i];
    return sample;
}

std::optional<double> BatchBench::pass(const GridSize& grid, std::chrono::nanoseconds (*now)(),
                                       const std::function<void(const ShadingSample&)>& shaded) {
    double least = 1e9;  // what reading the clock takes
    for (int i = 0; i < 100; ++i) {
        const auto start = now();
        least = std::min(least, static_cast<double>((now() - start).count()));
    }
    double time = 0.0;
    for (std::int64_t first = 0; first < grid.count();) {
        const auto count =
            static_cast<std::size_t>(std::min(grid.count() - first, static_cast<std::int64_t>(kCount)));
        place(grid, first, count);
        const auto start = now();
        const script::BatchResult result = script_->evaluate(planes_, 0, count);
        time += static_cast<double>((now() - start).count()) - least;
        evaluated_ += result.evaluated;
        if (!result) {
            said_ = script_->diagnostics();
            return std::nullopt;
        }
        for (std::size_t i = 0; shaded && i < count; ++i) shaded(sampleAt(i));
        first += static_cast<std::int64_t>(count);
    }
    return std::max(time, 1.0);
}

double BatchBench::share() const {
    if (evaluated_ == 0) return 0.0;
    return static_cast<double>(script_->samplesInGroups()) / static_cast<double>(evaluated_);
}

}  // namespace kestrel::cli
