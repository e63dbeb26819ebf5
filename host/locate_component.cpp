#include "host/locate_component.h"

#include "builtins/store/persistent_store.h"
#include "engine/operations/file_names.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/paths.h"

#include <algorithm>

namespace kestrel {

namespace {

constexpr std::size_t kMaxDirectories = 100;
constexpr std::size_t kSettingLimit = 1023;
constexpr std::string_view kLibraryPath = "LibraryPath";

std::string joined(std::string_view directory, std::string_view name) {
    std::string path(directory);
    if (directory.empty() || std::string_view("\\/:").find(directory.back()) == std::string_view::npos)
        path += '\\';
    return path.append(name);
}

}  // namespace

std::string absoluteSystemPath(std::string_view path) {
    std::string full(path);
    std::replace(full.begin(), full.end(), '/', '\\');
    const bool hasDrive = full.size() > 1 && full[1] == ':';
    if (full.starts_with('\\') || hasDrive) return full;
    return joined(platform::currentDirectory(), full);
}

std::string readSetting(PersistentStore& store, Settings settings, std::string_view scope,
                        std::string_view name) {
    const std::string value = store.read(scope, name, kNoSetting, kSettingLimit);
    // A global value may have come from the master scope, so it is written back; a longer one than was read
    // must not lose its end. A store that cannot be written just stays as it is.
    const bool writeBack = value == kNoSetting || (scope == kGlobalScope && value.size() < kSettingLimit);
    if (settings == Settings::Store && writeBack) static_cast<void>(store.write(scope, name, value));
    return value;
}

void LibraryPath::load() {
    outdated_ = true;
    // What was never set is stored as such, whether a script looks for something or not.
    if (settings_ == Settings::Store) read();
}

std::span<const std::string> LibraryPath::directories() {
    if (outdated_) read();
    return directories_;
}

void LibraryPath::read() {
    outdated_ = false;
    directories_ = platform::directoriesOfList(platform::environment(kSearchPathVariable).value_or(""));
    std::string value = readSetting(store_, settings_, kMasterScope, kLibraryPath);
    if (value == kNoSetting) value = readSetting(store_, settings_, kGlobalScope, kLibraryPath);
    if (value == kNoSetting) return;
    for (std::string_view rest = value; !rest.empty() && directories_.size() < kMaxDirectories;) {
        const std::size_t end = std::min(rest.find(';'), rest.size());
        if (end > 0) directories_.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

void LibraryPath::add(std::string_view directory) {
    if (outdated_) read();
    if (directories_.size() < kMaxDirectories) directories_.emplace_back(directory);
    if (settings_ == Settings::ReadOnly) return;
    // What is stored may be longer than what load() takes, and must not lose its end.
    std::string value = store_.read(kMasterScope, kLibraryPath, kNoSetting, std::string::npos);
    if (value == kNoSetting) {
        value = directory;
    } else {
        value.append(";").append(directory);
    }
    static_cast<void>(store_.write(kMasterScope, kLibraryPath, value));
}

bool HostLocator::locate(EngineContext& ctx, std::string_view name, std::string& fullPath) {
    for (const std::string& directory : path_.directories()) {
        std::string candidate = convertSeparators(ctx, joined(directory, name));
        if (platform::fileExists(candidate)) {
            fullPath = std::move(candidate);
            return true;
        }
    }
    return ask(name, fullPath);
}

bool HostLocator::ask(std::string_view name, std::string& fullPath) {
    FileRequest request;
    request.title = "Locate script component...";
    request.fileName = name;
    request.size = 255;
    if (!requester_ || !requester_(request)) return false;
    // Only the very file that was asked for will do.
    const std::string chosen = absoluteSystemPath(request.fullName);
    const std::string_view file = platform::baseName(chosen);
    if (file != name || !platform::fileExists(chosen)) return false;
    path_.add(std::string_view(chosen).substr(0, chosen.size() - file.size()));
    fullPath = chosen;
    return true;
}

}  // namespace kestrel
