#include "cli/output_file.h"

#include "cli/message_printer.h"
#include "platform/ascii.h"
#include "platform/replace_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

namespace kestrel::cli {

namespace {

namespace fs = std::filesystem;

std::string writeToStandardOutput(std::string_view bytes) {
    const bool written =
        std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() && std::fflush(stdout) == 0;
    return written ? std::string() : std::strerror(errno);
}

std::string sizeText(std::size_t bytes) {
    constexpr double kThousand = 1000.0;
    const auto size = static_cast<double>(bytes);
    char text[40];
    if (size < kThousand)
        std::snprintf(text, sizeof text, "%.0f bytes", size);
    else if (size < kThousand * kThousand)
        std::snprintf(text, sizeof text, "%.1f kB", size / kThousand);
    else
        std::snprintf(text, sizeof text, "%.1f MB", size / (kThousand * kThousand));
    return text;
}

bool hasEnding(const fs::path& path, const OutputRules& rules) {
    const std::string ending = path.extension().string();
    if (ending.empty() || rules.endings.empty()) return true;
    return std::ranges::any_of(
        rules.endings, [&](std::string_view allowed) { return ascii::equalIgnoringCase(ending, allowed); });
}

}  // namespace

std::string outputProblem(const std::string& nativePath, const OutputRules& rules) {
    if (nativePath == "-") return {};
    if (nativePath.empty()) return "-o wants the name of a file";
    std::error_code error;
    const bool special = fs::exists(nativePath, error) && !fs::is_regular_file(nativePath, error);
    if (!special && !hasEnding(nativePath, rules)) return nativePath + ": " + std::string(rules.kinds);
    if (const std::string problem = platform::whyNotReplaceable(nativePath); !problem.empty())
        return nativePath + ": " + problem;
    for (const std::string& input : rules.inputs) {
        if (!special && fs::equivalent(nativePath, input, error))
            return nativePath + ": is a file that the output is made from";
    }
    return {};
}

bool writeOutput(const std::string& nativePath, std::string_view bytes, Invocation& invocation) {
    const bool standard = nativePath == "-";
    const std::string problem =
        standard ? writeToStandardOutput(bytes) : platform::replaceFile(nativePath, bytes);
    if (problem.empty()) return true;
    complain(invocation, (standard ? "standard output" : nativePath) + ": cannot be written: " + problem);
    return false;
}

void tellWritten(const Written& written, const Invocation& invocation) {
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - invocation.started).count();
    if (!invocation.json) {
        std::string text = "wrote " + (written.name == "-" ? "standard output" : written.name) + ": ";
        if (written.width > 0)
            text += std::to_string(written.width) + "x" + std::to_string(written.height) + " pixels, ";
        std::fprintf(stderr, "%s%s, in %.2f s\n", text.c_str(), sizeText(written.bytes).c_str(), seconds);
        return;
    }
    nlohmann::ordered_json json;
    json["kind"] = "output";
    json["file"] = written.name == "-" ? written.name : absolutePath(written.name);
    json["bytes"] = written.bytes;
    if (written.width > 0) {
        json["width"] = written.width;
        json["height"] = written.height;
    }
    json["seconds"] = seconds;
    std::printf("%s\n", json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
    std::fflush(stdout);
}

}  // namespace kestrel::cli
