// How messages of the Debug Adapter Protocol lie in a stream: "Content-Length: N", an empty line, N bytes of
// JSON.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::cli::dap {

using Json = nlohmann::json;

/// What a message may take; a longer one is passed over.
inline constexpr std::size_t kMostMessage = std::size_t{8} << 20;

/// A message that came, or what is wrong with it.
struct Incoming {
    Json message;
    std::string problem;  ///< a sentence; empty: the message is an object
    bool lost = false;    ///< where the next message begins cannot be told any more
};

/// Takes messages off the front of what has been read.
class FrameReader {
public:
    /// @return nothing until there is a whole message
    [[nodiscard]] std::optional<Incoming> next(std::string& bytes);

private:
    [[nodiscard]] Incoming lose(std::string problem);

    std::uint64_t passOver_ = 0;  // bytes of a message that is too long
    std::optional<std::size_t> length_;
    bool lost_ = false;
};

/// A message with its header. Bytes that are no UTF-8 are replaced.
[[nodiscard]] std::string framed(const Json& message);

/// How many bytes at the end of `text` begin a character of UTF-8 whose rest is still to come.
[[nodiscard]] std::size_t unfinishedBytes(std::string_view text);

}  // namespace kestrel::cli::dap
