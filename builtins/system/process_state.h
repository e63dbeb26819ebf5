// What the scripts of one process share through the operating system's built-ins.
#pragma once

#include "platform/processes.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

class EngineContext;

/// The programs that scripts started without waiting for them. A script refers to one by a text, so that
/// copies of the text are as good, and every copy is void once one of them was used to wait for the program
/// or to end it.
class StartedPrograms {
public:
    /// @param owner  the script that started it; from its unload on the reference is void
    /// @return the reference; no two are equal in the life of the process
    [[nodiscard]] std::string add(platform::Process program, EngineContext& owner);
    /// @return null for a text that is no reference, or no longer
    [[nodiscard]] platform::Process* find(std::string_view reference);
    /// Makes a reference void. A program that runs on is taken care of until it ends.
    void remove(std::string_view reference);

    /// Makes all references of a script void; the programs run on.
    void release(const EngineContext& owner);
    /// Takes notice of every program that has ended, without waiting for any.
    void reap();

private:
    struct Entry {
        platform::Process program;
        const EngineContext* owner;
    };
    std::map<std::string, Entry, std::less<>> entries_;
    std::set<const EngineContext*> owners_;  // those whose unload will call release()
    std::vector<platform::Process> strays_;  // running, and nobody can refer to them
    std::uint64_t count_ = 0;
};

/// Writes out what the script's open files have buffered: a program that it starts may read them.
void flushResources(const EngineContext& ctx) noexcept;

struct ProcessState {
    std::uint32_t timerStart = 0;  ///< timestart()'s tick count in milliseconds; one for all scripts
    StartedPrograms programs;
};

}  // namespace kestrel
