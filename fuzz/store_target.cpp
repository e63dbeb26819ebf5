// The user's store: its database file, and the texts in it.
#include "fuzz/confined_script.h"
#include "fuzz/sandbox.h"
#include "fuzz/seeds.h"
#include "fuzz/taken.h"
#include "platform/registry.h"

namespace kestrel::fuzz {

namespace {

using platform::Hive;
using platform::Registry;

constexpr std::string_view kKey = "Software\\Mirtex\\Kestrel\\2.0\\KS-PT";
constexpr const char* kFile = "registry.db";

/// A database that anybody may have written, maybe with the journal of a program that died.
void openDatabase(Taken& data) {
    const Sandbox& sandbox = Sandbox::get();
    const bool journal = data.byte() % 4 == 3;
    const std::string_view bytes = textOf(data.all());
    const std::size_t half = journal ? bytes.size() / 2 : bytes.size();
    sandbox.write(kFile, bytes.substr(0, half));
    if (journal) sandbox.write("registry.db-journal", bytes.substr(half));
    Registry registry((sandbox.directory() / kFile).string());
    PersistentStore store(registry);
    static_cast<void>(registry.keyExists(Hive::CurrentUser, kKey));
    static_cast<void>(store.read(kGlobalScope, "LibPath0", "none"));
    static_cast<void>(store.write("C:\\script.ks", "name", "text"));
    static_cast<void>(store.read("C:\\script.ks", "name", "none"));
    static_cast<void>(registry.createKey(Hive::LocalMachine, kKey));
    static_cast<void>(registry.setValue(Hive::CurrentUser, kKey, "name", std::string(3000, 'x')));
    static_cast<void>(registry.value(Hive::CurrentUser, kKey, "name"));
}

/// Any keys, names and texts in a database that is in order: what is written is read.
void useStore(Taken& data) {
    Registry registry((Sandbox::get().directory() / kFile).string());
    for (int left = 8; left > 0 && !data.empty(); --left) {
        const std::string key = data.text();
        const std::string name = data.text();
        const std::string text = data.text();
        const Hive hive = data.below(2) == 0 ? Hive::CurrentUser : Hive::LocalMachine;
        const bool made = registry.createKey(hive, key);
        require(!made || registry.keyExists(hive, key), "a key that was made is there");
        if (!registry.setValue(hive, key, name, text)) continue;
        const std::optional<std::string> found = registry.value(hive, key, name);
        require(found.has_value() && *found == text, "what was stored is found");
    }
}

/// Texts that other programs stored, and scripts recall.
void recall(Taken& data) {
    ConfinedScript script;
    EngineContext& ctx = script.ctx;
    ctx.reset();
    ctx.reporter.state.scriptPath = "C:\\SCRIPT.KS";
    for (int left = 8; left > 0 && !data.empty(); --left) {
        static constexpr const char* kBuiltins[] = {"recall", "globalrecall"};
        const std::size_t which = data.below(2);
        static_cast<void>(ctx.services.store->write(which == 0 ? ctx.reporter.state.scriptPath : kGlobalScope,
                                                    "name", data.text()));
        CodeNode node;
        node.argc = 2;
        ctx.pushText("name");
        ctx.stack.push(ValueCell::ofNumber(1.5));
        const BuiltinEntry& row = *confinedBuiltins().find(kBuiltins[which]);
        BuiltinCall call(ctx, node, row.name);
        row.handler(call);
        require(ctx.stack.size() > 0, "a recall has a value");
        ctx.stack.dropTo(0);
    }
    script.unload();
}

}  // namespace

void openStore(Bytes bytes) {
    Sandbox::get().clear();
    Taken data(bytes);
    switch (data.below(3)) {
        case 0:
            return openDatabase(data);
        case 1:
            return useStore(data);
        default:
            return recall(data);
    }
}

Seeds storeSeeds(const std::filesystem::path&) {
    using namespace std::string_literals;
    const std::filesystem::path path = Sandbox::get().directory() / kFile;
    {
        Registry registry(path.string());
        PersistentStore store(registry);
        for (const char* scope : {"--Global--", "--Master--", "C:\\SCRIPT.KS"})
            require(store.write(scope, "LibPath0", "str::a text") && store.write(scope, "name", "dbl::1.5"),
                    "the store can be written");
    }
    const std::string database = bytesOf(path);
    std::filesystem::remove(path);
    return {
        "\0\0"s + database, "\0\3"s + database + database.substr(0, 512),
        "\1\6a\\b\\cd\4name\4text\0\6A\\B\\CD\4NAME\3new\1\1k\0\0\0"s,
        "\2\0\12str::hello\1\11int::12.5\0\20vec::<1,2,3>xxxx\1\34rec::dbl@@1.5##str@@text##\0\12xyz::12345"s};
}

}  // namespace kestrel::fuzz
