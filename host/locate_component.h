// The library search path, and finding the files that scripts are made of.
#pragma once

#include "engine/context/context.h"
#include "host/file_request.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// Whether settings of the user's store may be changed: tools that only look at scripts leave them alone.
enum class Settings { ReadOnly, Store };

inline constexpr std::string_view kNoSetting = "(none)";

/// Reads a setting and writes it straight back: one that was never made is stored as "(none)", so that
/// whoever looks into the store finds it, and a global one keeps what the master scope said.
/// @return "(none)" when there is none
[[nodiscard]] std::string readSetting(PersistentStore& store, Settings settings, std::string_view scope,
                                      std::string_view name);

/// Directories in which components of scripts are looked for before all others, as PATH has them for
/// programs.
inline constexpr const char* kSearchPathVariable = "KESTREL_PATH";

/// The directories in which components of scripts are looked for: those of the environment, then what the
/// user's store has; kept for the process.
class LibraryPath {
public:
    LibraryPath(PersistentStore& store, Settings settings) : store_(store), settings_(settings) {}
    /// Rebuilds the list from the store: at once, or where settings stay as they are, when it is first asked
    /// for.
    void load();
    /// Appends a directory to the list and to the stored setting.
    void add(std::string_view directory);

    [[nodiscard]] std::span<const std::string> directories();

private:
    void read();

    PersistentStore& store_;
    Settings settings_;
    std::vector<std::string> directories_;  // those of the environment are not stored
    bool outdated_ = false;
};

/// Finds components on the library path or by asking the user.
class HostLocator final : public ComponentLocator {
public:
    HostLocator(LibraryPath& path, const FileRequester& requester) : path_(path), requester_(requester) {}
    bool locate(EngineContext& ctx, std::string_view name, std::string& fullPath) override;

private:
    bool ask(std::string_view name, std::string& fullPath);

    LibraryPath& path_;
    const FileRequester& requester_;
};

/// A path that came from outside (a saved state, a file requester) as the system writes it: absolute,
/// "\"-separated.
[[nodiscard]] std::string absoluteSystemPath(std::string_view path);

}  // namespace kestrel
