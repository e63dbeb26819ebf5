#include "cli/debugger/launch.h"

#include "cli/script_check.h"
#include "platform/executable.h"

#include <cstdint>
#include <random>
#include <string_view>

namespace kestrel::cli {

std::string unguessableLink() {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::random_device random;
    std::string name = "run-";
    for (int i = 0; i < 4; ++i) {
        std::uint32_t bits = random();
        for (int digit = 0; digit < 8; ++digit, bits >>= 4U) name += kDigits[bits & 15U];
    }
    return name;
}

std::vector<std::string> launchCommand(const Launch& launch, const std::string& link) {
    std::string as = launch.as;
    if (as.empty()) as = precheck(launch.file).hasMain() ? "run" : "shade";
    std::vector<std::string> words{platform::executableDirectory() + "/kestrel", as, launch.file,
                                   "--debug-link", link};
    if (launch.json) words.emplace_back("--messages=json");
    words.insert(words.end(), launch.more.begin(), launch.more.end());
    return words;
}

platform::ProcessOptions launchOptions() {
    platform::ProcessOptions options;
    options.detached = true;
    options.ownGroup = true;
    return options;
}

}  // namespace kestrel::cli
