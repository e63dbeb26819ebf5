// A per-user store of texts by key path and value name: what stands in for the system registry.
#pragma once

#include "platform/clock.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::platform {

enum class Hive { CurrentUser, LocalMachine };

/// One database for the user, safe for several processes at once, made on first use. Key paths are
/// "\"-separated and, like value names, compare without regard to case. Nothing here throws: a store that
/// cannot be opened or written makes the operation fail. So does one that another process keeps locked for
/// two seconds, which is not asked again for the next five. No other user may look into the store.
class Registry {
public:
    /// The user's store: $XDG_DATA_HOME/kestrel/registry.db, by default below ~/.local/share.
    Registry();
    /// A store in a file of its own (native path), for tests.
    explicit Registry(std::string databasePath);
    ~Registry();
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    /// Ends waiting for other processes.
    void setCancel(CancelFlag requested) noexcept;

    /// Creates the key and, level by level, the keys above it that are missing. @return true when it exists
    /// afterwards
    bool createKey(Hive hive, std::string_view key);
    [[nodiscard]] bool keyExists(Hive hive, std::string_view key);
    /// Sets a value of an existing key; false when the key does not exist or the store cannot be written.
    bool setValue(Hive hive, std::string_view key, std::string_view name, std::string_view text);
    /// @return nothing when the key or the value does not exist or the store cannot be read
    [[nodiscard]] std::optional<std::string> value(Hive hive, std::string_view key, std::string_view name);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace kestrel::platform
