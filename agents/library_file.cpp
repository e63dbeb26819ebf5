#include "agents/library_file.h"

#include "platform/files.h"
#include "platform/paths.h"

#include <string>

namespace kestrel::agents {

namespace {

/// Tries the paths one after the other and remembers what the system says of those that are there.
class Attempts {
public:
    /// Nothing but a regular file is opened: loading a pipe would wait for whoever writes it.
    bool tryFile(std::string_view systemPath) {
        if (platform::openRegularFile(systemPath) == nullptr) return false;
        std::string path = platform::nativePath(systemPath);
        if (path.find('/') == std::string::npos) path.insert(0, "./");
        library = platform::DynamicLibrary::open(path, reason);
        return library != nullptr;
    }
    bool trySystem(std::string_view name) {
        std::string ignored;  // mostly that it is not there
        library = platform::DynamicLibrary::open(std::string(name), ignored);
        return library != nullptr;
    }

    std::unique_ptr<platform::DynamicLibrary> library;
    std::string reason;
};

bool open(EngineContext& ctx, std::string_view name, Attempts& attempts) {
    if (name.empty()) return false;
    const bool bare = name.find_first_of("\\/") == std::string_view::npos;
    if (bare ? attempts.trySystem(name) : attempts.tryFile(name)) return true;
    const bool absolute = name.find_first_of("\\/") == 0;
    const std::string_view beside = platform::directoryOf(ctx.scriptFile);
    if (!absolute && !beside.empty() && attempts.tryFile(std::string(beside).append(name))) return true;
    std::string found;
    return ctx.services.locator != nullptr && ctx.services.locator->locate(ctx, name, found) &&
           attempts.tryFile(found);
}

}  // namespace

std::unique_ptr<platform::DynamicLibrary> openLibrary(EngineContext& ctx, std::string_view name) {
    Attempts attempts;
    if (!open(ctx, name, attempts)) {
        if (!attempts.reason.empty()) ctx.report(MessageId::NativeLibraryFault, attempts.reason);
        ctx.report(MessageId::NativeLibraryNotFound, name);
    }
    return std::move(attempts.library);
}

}  // namespace kestrel::agents
