// Where fuzzed scripts may write, and what their shared memory is called.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kestrel::fuzz {

/// A directory of this process, with the user's store and the temporary files. It is made before anything
/// else of the program is initialized: the module looks where the store is when its state is made.
class Sandbox {
public:
    static Sandbox& get();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    [[nodiscard]] const std::filesystem::path& directory() const noexcept { return directory_; }
    /// Makes it the current directory.
    void enter() const;
    /// @return the native path
    std::string write(std::string_view name, std::string_view bytes) const;
    /// Empties it: each input begins with the same.
    void clear() const;
    /// A name that no other program uses, for blocks and semaphores.
    [[nodiscard]] std::string sharedName(std::string_view name) const;

private:
    Sandbox();
    ~Sandbox();

    std::filesystem::path directory_;
    int owner_;  // a copy of the process leaves the directory alone
};

}  // namespace kestrel::fuzz
