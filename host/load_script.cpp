#include "host/load_script.h"

#include "platform/ascii.h"
#include "platform/environment.h"
#include "platform/files.h"

#include <algorithm>

namespace kestrel {

namespace {

constexpr std::size_t kDialogSize =
    99;  // the most that the load dialog handles, and that its start directory takes
constexpr std::string_view kPathSetting = "ScriptPath";

/// The environment variable KSCFG without its last backslash, or the current directory.
std::string configurationDirectory() {
    std::optional<std::string> directory = platform::environment("KSCFG");
    if (!directory) return platform::currentDirectory();
    if (directory->ends_with('\\')) directory->pop_back();
    return *directory;
}

/// The host's own configuration names the directory of its modules in a line that starts with this word; the
/// name begins one character after it.
std::string moduleDirectory() {
    constexpr std::string_view kKey = "PluginDirectory";
    const std::optional<std::string> text =
        platform::readTextFile(platform::currentDirectory() + "\\hxm.cfg");
    if (!text) return {};
    for (std::string_view rest = *text; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view line =
            rest.substr(0, std::min(end, kDialogSize));  // a longer one continues as the next
        if (line.starts_with(kKey)) {
            line.remove_prefix(std::min(kKey.size() + 1, line.size()));
            while (!line.empty() && ascii::isSpace(line.front())) line.remove_prefix(1);
            return std::string(line);
        }
        rest.remove_prefix(line.size() == end ? std::min(end + 1, rest.size()) : line.size());
    }
    return {};
}

std::string startDirectory(PersistentStore& store) {
    if (const auto chosen = platform::environment("KSPATH"); chosen && !chosen->empty())
        return chosen->substr(0, kDialogSize);
    if (std::string stored = readSetting(store, Settings::Store, kGlobalScope, kPathSetting);
        stored != kNoSetting)
        return stored;
    if (std::string directory = moduleDirectory(); !directory.empty()) return directory;
    return platform::currentDirectory();
}

/// @return nothing when the user cancelled
std::optional<std::string> askForScript(ScriptEnvironment& environment) {
    environment.configurationFile = configurationDirectory() + "\\ks-pt.cfg";
    FileRequest request;
    request.title = "Kestrel/PT v1.3: Load Script...";
    request.fileName = "*.ks;*.kxl";
    request.path = startDirectory(environment.store).substr(0, kDialogSize);
    request.size = static_cast<int>(kDialogSize);
    if (!environment.requestFile || !environment.requestFile(request)) return std::nullopt;
    static_cast<void>(environment.store.write(kGlobalScope, kPathSetting, request.path));
    return request.fullName;
}

}  // namespace

std::unique_ptr<LoadedScript> loadScript(ScriptEnvironment& environment,
                                         const std::optional<std::string>& name, int instanceNumber) {
    environment.store.recreateKeys();
    const std::optional<std::string> file = name ? name : askForScript(environment);
    if (!file) return nullptr;
    environment.libraryPath.load();
    return LoadedScript::load(environment, absoluteSystemPath(*file), instanceNumber);
}

}  // namespace kestrel
