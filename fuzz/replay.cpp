// Runs targets without libFuzzer: on their seeds and on changes of them, the same every time; and on files.
#include "fuzz/dictionary.h"
#include "fuzz/mutation.h"
#include "fuzz/sandbox.h"
#include "fuzz/seeds.h"
#include "fuzz/target.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace kestrel::fuzz {

namespace {

namespace fs = std::filesystem;

constexpr const char* kUsage =
    "fuzz_replay TARGET                     runs a target on its seeds and on changes of them\n"
    "fuzz_replay TARGET FILE...             on what is in files\n"
    "fuzz_replay TARGET --write-seeds DIR   writes the seeds as files\n"
    "fuzz_replay --dictionary FILE          writes the words of the language for libFuzzer\n"
    "fuzz_replay --targets                  the targets, with the longest inputs worth trying\n";

Bytes bytesIn(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Runs inputs in a copy of this process, so that one which ends it is known afterwards.
class Runner {
public:
    explicit Runner(const Target& target) : target_(target), kept_(fs::absolute(keptName(target))) {}

    /// @param runAll  calls what it gets with each input
    template <class RunAll>
    int run(const RunAll& runAll) {
        const auto begin = std::chrono::steady_clock::now();
        const pid_t child = ::fork();
        require(child >= 0, "a process can be made");
        if (child == 0) {
            Sandbox::get().enter();
            runAll([this](const std::string& input) { runOne(input); });
            const auto took = std::chrono::steady_clock::now() - begin;
            std::printf("%.*s: %d inputs in %.1f s\n", static_cast<int>(target_.name.size()),
                        target_.name.data(), count_, std::chrono::duration<double>(took).count());
            std::exit(0);  // NOLINT: leaks are told
        }
        int status = 0;
        while (::waitpid(child, &status, 0) < 0) {
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
            fs::remove(kept_);
            return 0;
        }
        std::fprintf(stderr, "fuzz: the input is %s\nfuzz: run it alone with: fuzz_replay %.*s %s\n",
                     kept_.c_str(), static_cast<int>(target_.name.size()), target_.name.data(),
                     kept_.c_str());
        return 1;
    }

private:
    static std::string keptName(const Target& target) {
        return "fuzz-" + std::string(target.name) + ".input";
    }

    void runOne(const std::string& input) {
        std::ofstream(kept_, std::ios::binary) << input;
        target_.run(bytesIn(input));
        ++count_;
    }

    const Target& target_;
    fs::path kept_;
    int count_ = 0;
};

int replaySeeds(const Target& target) {
    const Seeds seeds = target.seeds(KESTREL_FUZZ_SOURCE);
    require(!seeds.empty(), "there are seeds");
    return Runner(target).run([&](const auto& runOne) {
        Mutator mutator(dictionary(), target.longest);
        for (const std::string& seed : seeds) runOne(seed);
        for (int round = 0; round < target.rounds; ++round)
            for (const std::string& seed : seeds) runOne(mutator.change(seed, seeds));
    });
}

int replayFiles(const Target& target, std::span<char*> names) {
    Seeds inputs;
    for (const char* name : names) {
        if (!fs::is_regular_file(name)) {
            std::fprintf(stderr, "fuzz: %s is no file\n", name);
            return 2;
        }
        inputs.push_back(bytesOf(name));
    }
    return Runner(target).run([&](const auto& runOne) {
        for (const std::string& input : inputs) runOne(input);
    });
}

int writeSeeds(const Target& target, const fs::path& folder) {
    fs::create_directories(folder);
    int number = 0;
    for (const std::string& seed : target.seeds(KESTREL_FUZZ_SOURCE))
        std::ofstream(folder / ("seed-" + std::to_string(number++)), std::ios::binary) << seed;
    return number > 0 ? 0 : 1;
}

int writeDictionary(const char* name) {
    std::ofstream file(name);
    for (const std::string& word : dictionary()) {
        file << '"';
        for (const char c : word) {
            std::array<char, 5> escaped{};
            std::snprintf(escaped.data(), escaped.size(), "\\x%02X", unsigned{static_cast<unsigned char>(c)});
            file << escaped.data();
        }
        file << "\"\n";
    }
    file.close();
    return file.good() ? 0 : 1;
}

int main(std::span<char*> words) {
    const std::string_view first = words.size() > 1 ? words[1] : "";
    if (first == "--targets") {
        for (const Target& target : targets())
            std::printf("%-10s %6zu  %s\n", std::string(target.name).c_str(), target.longest,
                        std::string(target.about).c_str());
        return 0;
    }
    if (first == "--dictionary" && words.size() == 3) return writeDictionary(words[2]);
    const Target* target = findTarget(first);
    if (target == nullptr) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    if (words.size() == 2) return replaySeeds(*target);
    if (std::string_view(words[2]) == "--write-seeds")
        return words.size() == 4 ? writeSeeds(*target, words[3]) : 2;
    return replayFiles(*target, words.subspan(2));
}

}  // namespace

}  // namespace kestrel::fuzz

int main(int argc, char** argv) {
    return kestrel::fuzz::main({argv, static_cast<std::size_t>(argc)});
}
