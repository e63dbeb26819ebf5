// How what a script answers ends a request.
#pragma once

#include "ipc/debug_client.h"

#include <stdexcept>
#include <string>

namespace kestrel::cli::dap {

/// A request fails; the sentence goes to the user.
struct Refused : std::runtime_error {
    explicit Refused(const std::string& problem) : std::runtime_error(problem) {}
};

/// The script has not come to a line at which it answers: the request is tried again from its beginning.
struct NotYet {};

/// Goes on with what was asked for, or throws one of the two.
inline void need(const debug::Answer& answer) {
    switch (answer.outcome) {
        case debug::Answer::Outcome::Done:
            return;
        case debug::Answer::Outcome::Busy:
            throw NotYet();
        case debug::Answer::Outcome::Refused:
        case debug::Answer::Outcome::Ended:
            throw Refused(answer.problem);
    }
}

}  // namespace kestrel::cli::dap
