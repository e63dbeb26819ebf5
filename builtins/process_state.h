// What the scripts of one process share through the operating system's built-ins.
#pragma once

#include <cstdint>

namespace kestrel {

struct ProcessState {
    std::uint32_t timerStart = 0;  ///< timestart()'s tick count in milliseconds; one for all scripts
};

}  // namespace kestrel
