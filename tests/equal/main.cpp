// Runs scripts under two executors and tells what differs.
#include "tests/equal/compare.h"
#include "tests/equal/programs.h"
#include "tests/equal/shrink.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::equal {

namespace {

namespace fs = std::filesystem;

struct Options {
    std::uint64_t seed = 1;
    std::optional<std::uint64_t> count;
    std::optional<int> samples;
    std::vector<std::string> executors = {"plain", "hooked"};
    std::vector<fs::path> scripts;
    bool language = false;
    bool print = false;
    bool trace = false;
    bool first = false;
    bool why = false;
    bool shaders = false;
    fs::path keep;
};

/// @return what to end with, where nothing is to be run
std::optional<int> readOptions(int argc, char** argv, Options& options) {
    CLI::App app("Runs scripts under two executors. The status is 1 when something differs.", "equal");
    app.add_option("--seed", options.seed, "of the first random program and of the samples (1)");
    app.add_option("--count", options.count,
                   "random programs, each with the next seed (500; 0 with --script or --language)");
    app.add_option("--samples", options.samples,
                   "that each script shades (12; those of the language tests 2; in batches 60)")
        ->check(CLI::Range(0, 100000));
    app.add_option("--executors", options.executors, "which two are compared (plain,hooked)")
        ->delimiter(',')
        ->expected(2);
    app.add_option("--script", options.scripts, "a script instead; may be repeated")->allow_extra_args(false);
    app.add_flag("--language", options.language, "the scripts of the language tests");
    app.add_flag("--print", options.print, "shows the random programs, without running them");
    app.add_flag("--trace", options.trace, "shows what is seen of each script under the first executor");
    app.add_flag("--shaders", options.shaders, "random programs that compute, as shaders do");
    app.add_flag("--why", options.why, "tells why scripts were not shaded without the interpreter");
    app.add_flag("--first", options.first, "ends with the first that differs (otherwise the tenth)");
    app.add_option("--keep", options.keep, "writes what differs, made small, into this directory");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (!options.count) options.count = options.language || !options.scripts.empty() ? 0 : 500;
    if (!options.keep.empty()) options.keep = fs::absolute(options.keep);
    return std::nullopt;
}

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Comparison {
public:
    Comparison(const Options& options, const Pair& pair) : options_(options), pair_(pair) {}

    void script(const std::string& name, const test::LanguageScript& script, int samples) {
        const Plan plan = planOf(options_.seed, samples);
        ++done_;
        trace(script, plan);
        const Outcome outcome = equal::compare(pair_, script, plan);
        note(outcome);
        if (!outcome.found.empty()) tell(name, outcome.found, script.text, plan);
    }

    void program(std::uint64_t seed) {
        Case made{options_.shaders ? generateShader(seed, pair_.second.inGroups) : generate(seed),
                  planOf(seed, options_.samples.value_or(12))};
        ++done_;
        // A program that ends the process can be looked at afterwards.
        if (!options_.keep.empty()) std::ofstream(options_.keep / "last.ks") << render(made.program);
        trace({.file = {}, .text = render(made.program)}, made.plan);
        const Outcome outcome = compare(made);
        note(outcome);
        if (outcome.found.empty()) return;
        if (!outcome.endless)  // else each try would take as long
            shrink(made, [this](const Case& smaller) {
                const Outcome still = compare(smaller);
                return !still.found.empty() && !still.endless;
            });
        tell("seed-" + std::to_string(seed), outcome.endless ? outcome.found : compare(made).found,
             render(made.program), made.plan);
    }

    /// @return false when something differs, or nothing has been proved
    [[nodiscard]] bool finish() const {
        std::cout << "equal: " << done_ << " scripts under " << pair_.first.name << " and "
                  << pair_.second.name << ", " << differences_ << " differ, " << unsteady_
                  << " use addresses as numbers, " << endless_ << " do not end\n";
        if (!pair_.second.keepsLocals)
            std::cout << "equal: " << lowered_ << " scripts shaded without the interpreter, " << native_
                      << " by machine code to the end, " << shaded_ << " samples; " << left_
                      << " samples were begun so and left to it\n";
        if (pair_.second.inGroups)
            std::cout << "equal: " << grouped_ << " samples were shaded in groups; " << apart_
                      << " of groups that left\n";
        if (options_.why)
            for (const auto& [reason, count] : refusals_)
                std::cout << "equal: " << count << " not: " << reason << '\n';
        if (!used_) std::cout << "equal: one of them was never used\n";
        // Where machine code was wanted and all was threaded, nothing has been proved of it.
        const bool native = (pair_.second.name != "native" || native_ > 0 || lowered_ == 0) &&
                            (!pair_.second.inGroups || grouped_ > 0 || fast::BatchCode::machineLanes() == 0);
        if (!native) std::cout << "equal: there was no machine code\n";
        return used_ && native && differences_ == 0;
    }
    [[nodiscard]] int differences() const noexcept { return differences_; }

private:
    /// Groups want more samples.
    [[nodiscard]] Plan planOf(std::uint64_t seed, int samples) const {
        return pair_.second.inGroups ? batchPlan(seed, options_.samples.value_or(60))
                                     : usualPlan(seed, samples);
    }

    /// Counts what proves nothing.
    void note(const Outcome& outcome) {
        used_ = used_ || outcome.used;
        unsteady_ += outcome.unsteady ? 1 : 0;
        lowered_ += outcome.second.samples.shaded > 0 ? 1 : 0;
        native_ += outcome.second.ran == kestrel::Executor::Native ? 1 : 0;
        shaded_ += outcome.second.samples.shaded;
        left_ += outcome.second.samples.left;
        grouped_ += outcome.second.samples.grouped;
        apart_ += outcome.second.samples.apart;
        if (!outcome.second.refusal.empty()) ++refusals_[outcome.second.refusal];
        endless_ += outcome.endless && outcome.found.empty() ? 1 : 0;
    }

    void trace(const test::LanguageScript& script, const Plan& plan) const {
        if (!options_.trace) return;
        for (const std::string& line : live(pair_.first, script, plan, pair_.second.keepsLocals).lines)
            std::cout << line << '\n';
    }

    [[nodiscard]] Outcome compare(const Case& some) const {
        return equal::compare(pair_, {.file = {}, .text = render(some.program)}, some.plan);
    }

    void tell(const std::string& name, const std::string& found, const std::string& text, const Plan& plan) {
        ++differences_;
        std::ostringstream out;
        out << text << "\n/* seed " << plan.seed << ", " << pair_.first.name << " and " << pair_.second.name
            << " differ " << found << "\n   calls: load";
        for (const Plan::Step& step : plan.steps) out << ", " << nameOf(step);
        out << " */\n";
        std::cout << "equal: " << name << '\n' << out.str() << std::flush;
        if (options_.keep.empty()) return;
        std::ofstream file(options_.keep / (name + ".ks"));
        if (!(file << out.str()).flush()) std::cerr << "equal: cannot write into " << options_.keep << '\n';
    }

    const Options& options_;
    Pair pair_;
    int done_ = 0;
    int differences_ = 0;
    int unsteady_ = 0;
    int endless_ = 0;
    int lowered_ = 0;
    int native_ = 0;
    std::map<std::string, int> refusals_;
    std::uint64_t shaded_ = 0;
    std::uint64_t left_ = 0;
    std::uint64_t grouped_ = 0;
    std::uint64_t apart_ = 0;
    bool used_ = false;
};

int compareAll(const Options& options, const Pair& pair) {
    Comparison comparison(options, pair);
    for (const fs::path& path : options.scripts) {
        if (!fs::is_regular_file(path)) {
            std::cerr << "equal: " << path << " is no file\n";
            return 2;
        }
        comparison.script(path.stem().string(), {path, readFile(path)}, options.samples.value_or(12));
    }
    if (options.language) {
        int number = 0;
        for (const test::LanguageScript& script : test::languageScripts(KESTREL_LANGUAGE_TESTS))
            comparison.script(script.file.stem().string() + '-' + std::to_string(++number), script,
                              2);  // main does the work
    }
    const int most = options.first ? 1 : 10;  // the next ones are the same again
    for (std::uint64_t i = 0; i < *options.count && comparison.differences() < most; ++i)
        comparison.program(options.seed + i);
    return comparison.finish() ? 0 : 1;
}

int run(int argc, char** argv) {
    Options options;
    if (const std::optional<int> status = readOptions(argc, argv, options)) return *status;
    const Executor* first = findExecutor(options.executors[0]);
    const Executor* second = findExecutor(options.executors[1]);
    if (first == nullptr || second == nullptr) {
        std::cerr << "equal: executors are";
        for (const Executor& executor : executors()) std::cerr << ' ' << executor.name;
        std::cerr << '\n';
        return 2;
    }
    if (options.print) {
        for (std::uint64_t i = 0; i < *options.count; ++i)
            std::cout << render(options.shaders ? generateShader(options.seed + i, second->inGroups)
                                                : generate(options.seed + i));
        return 0;
    }
    if (!options.keep.empty()) fs::create_directories(options.keep);
    platform::setEnvironment("COMSPEC", "/bin/sh");  // as the command does it
    // In memory, unless somebody chose another place: each script has a folder of its own.
    if (!platform::environment("TMPDIR") && ::access("/dev/shm", W_OK) == 0)
        platform::setEnvironment("TMPDIR", "/dev/shm");
    return compareAll(options, {*first, *second});
}

}  // namespace

}  // namespace kestrel::equal

int main(int argc, char** argv) {
    return kestrel::equal::run(argc, argv);
}
