#include "builtins/store/persistent_store.h"

namespace kestrel {

namespace {

using platform::Hive;

constexpr std::string_view kMasterKey = "Software\\Mirtex\\Kestrel";
constexpr std::string_view kVersionKey = "Software\\Mirtex\\Kestrel\\2.0";
constexpr std::string_view kGlobalKey = "Software\\Mirtex\\Kestrel\\2.0\\KS-PT";

std::string scriptKey(std::string_view scope) {
    std::string key(kGlobalKey);
    key += '\\';
    key += storeKeyName(scope);
    return key;
}

std::string keyOf(std::string_view scope) {
    if (scope == kMasterScope) return std::string(kMasterKey);
    return scope == kGlobalScope ? std::string(kGlobalKey) : scriptKey(scope);
}

}  // namespace

std::string storeKeyName(std::string_view scriptPath) {
    std::string name(scriptPath);
    for (char& c : name)
        if (c == '\\' || c == ':' || c == '.' || c == ' ') c = '_';
    return name;
}

void PersistentStore::createKeys() {
    if (keysCreated_) return;
    // One attempt: where it fails, the writes that need the keys fail and are reported.
    keysCreated_ = true;
    registry_.createKey(Hive::CurrentUser, kGlobalKey);
    registry_.createKey(Hive::LocalMachine, kVersionKey);
}

bool PersistentStore::write(std::string_view scope, std::string_view name, std::string_view text) {
    createKeys();
    const std::string key = keyOf(scope);
    if (registry_.setValue(Hive::CurrentUser, key, name, text)) return true;
    if (scope == kMasterScope || scope == kGlobalScope) return false;
    return registry_.createKey(Hive::CurrentUser, key) &&
           registry_.setValue(Hive::CurrentUser, key, name, text);
}

std::string PersistentStore::read(std::string_view scope, std::string_view name, std::string_view fallback,
                                  std::size_t limit) {
    createKeys();
    std::string text;
    if (scope == kGlobalScope) {
        text = registry_.value(Hive::CurrentUser, kMasterKey, name).value_or("");
        if (text == "(none)") text.clear();
    }
    if (text.empty()) text = registry_.value(Hive::CurrentUser, keyOf(scope), name).value_or("");
    if (text.empty()) return std::string(fallback);
    return text.substr(0, limit);
}

}  // namespace kestrel
