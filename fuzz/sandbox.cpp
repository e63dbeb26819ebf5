#include "fuzz/sandbox.h"

#include "fuzz/target.h"

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <system_error>

namespace kestrel::fuzz {

namespace fs = std::filesystem;

namespace {

/// In memory unless somebody chose another place: the store waits for the disk at each write.
fs::path placeForDirectories() {
    const fs::path memory = "/dev/shm";
    const bool chosen = ::getenv("TMPDIR") != nullptr || ::access(memory.c_str(), W_OK) != 0;
    return chosen ? fs::temp_directory_path() : memory;
}

/// The first of all constructors that programs may have.
[[gnu::constructor(101)]] void makeSandbox() {
    Sandbox::get();
}

}  // namespace

Sandbox& Sandbox::get() {
    static Sandbox sandbox;
    return sandbox;
}

Sandbox::Sandbox() : owner_(::getpid()) {
    std::string pattern = (placeForDirectories() / "kestrel-fuzz-XXXXXX").string();
    require(::mkdtemp(pattern.data()) != nullptr, "no temporary directory can be made");
    directory_ = pattern;
    for (const char* name : {"XDG_DATA_HOME", "HOME", "TMP", "TMPDIR"}) ::setenv(name, directory_.c_str(), 1);
    for (const char* name : {"KSPATH", "KSCFG", "COMSPEC"}) ::unsetenv(name);
}

Sandbox::~Sandbox() {
    std::error_code ignored;
    if (::getpid() == owner_) fs::remove_all(directory_, ignored);
}

void Sandbox::enter() const {
    fs::current_path(directory_);
}

std::string Sandbox::write(std::string_view name, std::string_view bytes) const {
    const fs::path path = directory_ / name;
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path.string();
}

void Sandbox::clear() const {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory_, ignored))
        fs::remove_all(entry.path(), ignored);
}

std::string Sandbox::sharedName(std::string_view name) const {
    return directory_.filename().string() + "-" + std::string(name);
}

}  // namespace kestrel::fuzz
