#include "cli/dap/wire.h"

#include <utility>

namespace kestrel::cli::dap {

namespace {

constexpr std::size_t kMostUnsent = std::size_t{1} << 20;
constexpr std::size_t kMostAtOnce = std::size_t{1} << 20;

}  // namespace

Wire::Wire() : in_(platform::Channel::standardInput()), out_(platform::Channel::takeStandardOutput()) {}

void Wire::receive() {
    // What was read is taken off before more is: there is never more than one message that is not whole.
    if (!congested()) in_.read(received_, kMostAtOnce);
}

bool Wire::congested() const noexcept {
    return sending_.size() > kMostUnsent && out_.isOpen();
}

void Wire::respond(const Json& request, Json body) {
    send({{"type", "response"},
          {"request_seq", request["seq"]},
          {"command", request["command"]},
          {"success", true},
          {"body", std::move(body)}});
}

void Wire::refuse(const Json& request, const std::string& problem) {
    const Json command = request.value("command", Json(""));
    // A name under the mouse that leads nowhere is nothing to raise an alarm about. Braces in `format` would
    // stand for variables.
    Json error{{"id", 1},
               {"format", "{problem}"},
               {"variables", {{"problem", problem}}},
               {"showUser", command == "launch" || command == "attach"}};
    send({{"type", "response"},
          {"request_seq", request.value("seq", Json(0))},
          {"command", command},
          {"success", false},
          {"message", problem},
          {"body", {{"error", std::move(error)}}}});
}

void Wire::event(const char* name, Json body) {
    send({{"type", "event"}, {"event", name}, {"body", std::move(body)}});
}

void Wire::send(Json message) {
    message["seq"] = ++sequence_;
    if (out_.isOpen()) sending_ += framed(message);
}

}  // namespace kestrel::cli::dap
