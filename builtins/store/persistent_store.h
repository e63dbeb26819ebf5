// Texts that outlive a run, in three scopes, over the platform's registry.
#pragma once

#include "platform/registry.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace kestrel {

/// Scope names. Any other scope is that of one script, named by its path.
inline constexpr std::string_view kMasterScope = "--Master--";
inline constexpr std::string_view kGlobalScope = "--Global--";

/// The longest text that scripts get back.
inline constexpr std::size_t kReadLimit = 511;

class PersistentStore {
public:
    /// @param registry  borrowed
    explicit PersistentStore(platform::Registry& registry) : registry_(registry) {}
    PersistentStore(const PersistentStore&) = delete;
    PersistentStore& operator=(const PersistentStore&) = delete;

    /// Sets a value. A script's key is created when it is not there yet.
    /// @return false when the key cannot be created or the value not written: the caller reports that
    [[nodiscard]] bool write(std::string_view scope, std::string_view name, std::string_view text);

    /// Reads a value, at most its first `limit` bytes. The global scope looks in the master scope first,
    /// where "(none)" counts as missing.
    /// @return `fallback` for a missing or empty value
    [[nodiscard]] std::string read(std::string_view scope, std::string_view name, std::string_view fallback,
                                   std::size_t limit = kReadLimit);

    /// The chain of keys is created before the first use and, after this, before the next one.
    void recreateKeys() noexcept { keysCreated_ = false; }

private:
    void createKeys();

    platform::Registry& registry_;
    bool keysCreated_ = false;
};

/// The key of a script below the global key: its full path with "\", ":", "." and blanks replaced by "_".
[[nodiscard]] std::string storeKeyName(std::string_view scriptPath);

}  // namespace kestrel
