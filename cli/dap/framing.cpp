#include "cli/dap/framing.h"

#include "platform/ascii.h"

#include <algorithm>
#include <charconv>

namespace kestrel::cli::dap {

namespace {

constexpr std::size_t kMostHeader = 8192;
/// Nobody means a message like this; what follows such a number is no message either.
constexpr std::uint64_t kMostPassedOver = std::uint64_t{1} << 30U;
constexpr std::string_view kHeaderEnd = "\r\n\r\n";
// An object or a number takes many times its text, so their count has a limit too.
constexpr std::size_t kMostValues = 200000;
constexpr int kDeepest = 64;

/// The length that a header gives, without the line's end behind its last field.
std::optional<std::uint64_t> lengthIn(std::string_view header) {
    std::optional<std::uint64_t> length;
    while (!header.empty()) {
        const std::size_t end = std::min(header.find("\r\n"), header.size());
        const std::string_view field = header.substr(0, end);
        header.remove_prefix(std::min(end + 2, header.size()));
        const std::size_t colon = field.find(':');
        if (colon == std::string_view::npos) return std::nullopt;
        if (!ascii::equalIgnoringCase(ascii::trimmed(field.substr(0, colon)), "Content-Length")) continue;
        const std::string_view digits = ascii::trimmed(field.substr(colon + 1));
        std::uint64_t number = 0;
        const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (error != std::errc() || stop != digits.data() + digits.size()) return std::nullopt;
        length = number;
    }
    return length;
}

struct TooMuch : std::runtime_error {
    TooMuch() : std::runtime_error("it is nested too deep or has too many values") {}
};

Incoming parsed(std::string_view text) {
    Incoming incoming;
    std::size_t values = 0;
    const auto count = [&values](int depth, Json::parse_event_t /*event*/, Json& /*value*/) {
        if (depth > kDeepest || ++values > kMostValues) throw TooMuch();
        return true;
    };
    try {
        incoming.message = Json::parse(text.begin(), text.end(), count);
        if (!incoming.message.is_object()) incoming.problem = "A message is no JSON object.";
    } catch (const Json::exception&) {  // also a number that is none of a machine's
        incoming.problem = "A message is no JSON.";
    } catch (const TooMuch& error) {
        incoming.problem = std::string("A message is refused: ") + error.what() + ".";
    }
    return incoming;
}

}  // namespace

Incoming FrameReader::lose(std::string problem) {
    lost_ = true;
    return {nullptr, std::move(problem), true};
}

std::optional<Incoming> FrameReader::next(std::string& bytes) {
    if (lost_) bytes.clear();
    if (passOver_ > 0) {
        const auto gone = static_cast<std::size_t>(std::min<std::uint64_t>(passOver_, bytes.size()));
        bytes.erase(0, gone);
        passOver_ -= gone;
    }
    if (bytes.empty() || passOver_ > 0) return std::nullopt;
    if (!length_) {
        const std::size_t end = std::string_view(bytes).substr(0, kMostHeader).find(kHeaderEnd);
        if (end == std::string_view::npos) {
            if (bytes.size() < kMostHeader) return std::nullopt;
            return lose("The header of a message does not end.");
        }
        const std::optional<std::uint64_t> length = lengthIn(std::string_view(bytes).substr(0, end));
        if (!length) return lose("The header of a message has no Content-Length.");
        if (*length > kMostPassedOver) return lose("The length of a message is impossible.");
        bytes.erase(0, end + kHeaderEnd.size());
        if (*length > kMostMessage) {
            passOver_ = *length;
            return Incoming{nullptr, "A message of " + std::to_string(*length) + " bytes is too long.",
                            false};
        }
        length_ = static_cast<std::size_t>(*length);
    }
    if (bytes.size() < *length_) return std::nullopt;
    Incoming incoming = parsed(std::string_view(bytes).substr(0, *length_));
    bytes.erase(0, *length_);
    length_.reset();
    return incoming;
}

std::string framed(const Json& message) {
    const std::string text = message.dump(-1, ' ', false, Json::error_handler_t::replace);
    return "Content-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text;
}

std::size_t unfinishedBytes(std::string_view text) {
    for (std::size_t back = 1; back <= std::min<std::size_t>(3, text.size()); ++back) {
        const auto byte = static_cast<unsigned char>(text[text.size() - back]);
        if (byte < 0x80U) return 0;
        if (byte < 0xc0U) continue;
        const std::size_t length = byte >= 0xf0U ? 4 : byte >= 0xe0U ? 3 : 2;
        return length > back ? back : 0;
    }
    return 0;
}

}  // namespace kestrel::cli::dap
