// The connection to an editor: standard input and output, read and written without waiting.
#pragma once

#include "cli/dap/framing.h"
#include "platform/channels.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kestrel::cli::dap {

class Wire {
public:
    Wire();

    /// Takes in what has come.
    void receive();
    [[nodiscard]] std::optional<Incoming> next() { return frames_.next(received_); }
    /// True when the editor is gone.
    [[nodiscard]] bool ended() const noexcept { return !in_.isOpen() || !out_.isOpen(); }

    void respond(const Json& request, Json body);
    void refuse(const Json& request, const std::string& problem);
    void event(const char* name, Json body = Json::object());
    /// Sends what finds room.
    void flush() { out_.write(sending_); }
    [[nodiscard]] bool unsent() const noexcept { return !sending_.empty() && out_.isOpen(); }
    /// The editor does not take what it is sent: nothing more should be made of it.
    [[nodiscard]] bool congested() const noexcept;

    [[nodiscard]] const platform::Channel& in() const noexcept { return in_; }
    [[nodiscard]] const platform::Channel& out() const noexcept { return out_; }

private:
    void send(Json message);

    platform::Channel in_;
    platform::Channel out_;
    FrameReader frames_;
    std::string received_;
    std::string sending_;
    std::int64_t sequence_ = 0;
};

}  // namespace kestrel::cli::dap
