// Runs scripts under two executors and tells what differs.
#include "tests/equal/compare.h"
#include "tests/equal/generator.h"
#include "tests/equal/shaders.h"
#include "tests/equal/shrink.h"

#include <unistd.h>

#include <charconv>
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

constexpr const char* kUsage =
    "usage: equal [--seed N] [--count N] [--samples N] [--executors A,B] [--script FILE] [--language] "
    "[--print]\n"
    "             [--trace] [--first] [--shaders] [--why] [--keep DIR]\n"
    "  --seed N         of the first random program and of the samples (1)\n"
    "  --count N        random programs, each with the next seed (500; 0 with --script or --language)\n"
    "  --samples N      that each script shades (12; those of the language tests 2; in batches 60)\n"
    "  --executors A,B  which two are compared (plain,hooked)\n"
    "  --script FILE    a script instead; may be repeated\n"
    "  --language       the scripts of the language tests\n"
    "  --print          shows the random programs, without running them\n"
    "  --trace          shows what is seen of each script under the first executor\n"
    "  --shaders        random programs that compute, as shaders do, in place of any\n"
    "  --why            tells why scripts were not shaded without the interpreter\n"
    "  --first          ends with the first that differs (otherwise the tenth)\n"
    "  --keep DIR       writes what differs, made small, into this directory\n"
    "The status is 1 when something differs, 2 for wrong arguments.\n";

struct Options {
    std::uint64_t seed = 1;
    std::optional<std::uint64_t> count;
    std::optional<int> samples;
    std::string executor = "plain";
    std::string other = "hooked";
    std::vector<fs::path> scripts;
    bool language = false;
    bool print = false;
    bool trace = false;
    bool first = false;
    bool why = false;
    bool shaders = false;
    fs::path keep;
};

bool readNumber(std::string_view text, std::uint64_t& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

bool readOption(Options& options, std::string_view name, std::string_view value) {
    std::uint64_t number = 0;
    if (name == "--script") {
        options.scripts.push_back(fs::absolute(value));
    } else if (name == "--keep") {
        options.keep = fs::absolute(value);
    } else if (name == "--executors") {
        const std::size_t comma = std::min(value.find(','), value.size());
        options.executor = value.substr(0, comma);
        options.other = value.substr(std::min(comma + 1, value.size()));
    } else if (!readNumber(value, number)) {
        return false;
    } else if (name == "--seed") {
        options.seed = number;
    } else if (name == "--count") {
        options.count = number;
    } else if (name == "--samples" && number <= 100000) {
        options.samples = static_cast<int>(number);
    } else {
        return false;
    }
    return true;
}

std::optional<Options> readOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "--language") {
            options.language = true;
        } else if (name == "--print") {
            options.print = true;
        } else if (name == "--trace") {
            options.trace = true;
        } else if (name == "--first") {
            options.first = true;
        } else if (name == "--shaders") {
            options.shaders = true;
        } else if (name == "--why") {
            options.why = true;
        } else if (i + 1 >= argc || !readOption(options, name, argv[++i])) {
            return std::nullopt;
        }
    }
    if (!options.count) options.count = options.language || !options.scripts.empty() ? 0 : 500;
    return options;
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
        lowered_ += outcome.samples.shaded > 0 ? 1 : 0;
        native_ += outcome.ran == kestrel::Executor::Native ? 1 : 0;
        shaded_ += outcome.samples.shaded;
        left_ += outcome.samples.left;
        grouped_ += outcome.samples.grouped;
        apart_ += outcome.samples.apart;
        if (!outcome.refusal.empty()) ++refusals_[outcome.refusal];
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
        for (const test::LanguageScript& script : test::languageScripts())
            comparison.script(script.file.stem().string() + '-' + std::to_string(++number), script,
                              2);  // main does the work
    }
    const int most = options.first ? 1 : 10;  // the next ones are the same again
    for (std::uint64_t i = 0; i < *options.count && comparison.differences() < most; ++i)
        comparison.program(options.seed + i);
    return comparison.finish() ? 0 : 1;
}

int run(int argc, char** argv) {
    const std::optional<Options> options = readOptions(argc, argv);
    if (!options) {
        std::cerr << kUsage;
        return 2;
    }
    const Executor* first = findExecutor(options->executor);
    const Executor* second = findExecutor(options->other);
    if (first == nullptr || second == nullptr) {
        std::cerr << "equal: executors are";
        for (const Executor& executor : executors()) std::cerr << ' ' << executor.name;
        std::cerr << '\n';
        return 2;
    }
    if (options->print) {
        for (std::uint64_t i = 0; i < *options->count; ++i)
            std::cout << render(options->shaders ? generateShader(options->seed + i, second->inGroups)
                                                 : generate(options->seed + i));
        return 0;
    }
    if (!options->keep.empty()) fs::create_directories(options->keep);
    platform::setEnvironment("COMSPEC", "/bin/sh");  // as the command does it
    // In memory, unless somebody chose another place: each script has a folder of its own.
    if (!platform::environment("TMPDIR") && ::access("/dev/shm", W_OK) == 0)
        platform::setEnvironment("TMPDIR", "/dev/shm");
    return compareAll(*options, {*first, *second});
}

}  // namespace

}  // namespace kestrel::equal

int main(int argc, char** argv) {
    return kestrel::equal::run(argc, argv);
}
