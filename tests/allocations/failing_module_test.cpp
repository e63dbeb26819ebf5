// Every allocation of a module's life fails once: the host lives on, nothing is lost, and the next try works.
#include "host/module_extension.h"
#include "tests/allocations/allocator.h"
#include "tests/host/fake_scene.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace kestrel::test {
namespace {

namespace fs = std::filesystem;

/// What the module showed. Nothing here allocates: a host's own trouble is none of the module's.
struct Shown {
    int errors = 0;
    int others = 0;
    std::array<char, 512> unexpected{};  ///< the first error, where it is not about memory

    static bool aboutMemory(std::string_view text) {
        for (const char* part :
             {"memory exhausted", "errors during compile", "error during compile",
              // A file does not open when there is no memory for its stream.
              "Cannot open input file", "Cannot create output file", "Cannot locate insert file",
              "cannot locate library file", "Unresolved function reference"})
            if (text.find(part) != std::string_view::npos) return true;
        return false;
    }
    void error(const char* line1, const char* line2) {
        const char* text = line2 != nullptr ? line2 : line1;
        if (++errors == 1 && !aboutMemory(text)) std::strncpy(unexpected.data(), text, unexpected.size() - 1);
    }
} shown;

InfoMessages messageBoxes{[](const char*, const char*) { ++shown.others; },
                          [](const char* a, const char* b) { shown.error(a, b); },
                          [](const char*, const char*) { ++shown.others; }};
FileRequestService dialog{[](const char*, char*, char*, char*, std::int32_t) { return 0; }};
FakeScene scene;

void* lookUp(const char* name, std::int32_t) {
    const std::string_view service = name;
    if (service == HX_SERVICE_MESSAGES) return &messageBoxes;
    if (service == HX_SERVICE_FILE_REQUEST) return &dialog;
    return scene.service(service);
}

/// A script that uses most of what allocates.
constexpr const char* kScript = R"(#define TWICE(x) 2
#insert "part.ks"
library "lib.ks";
#unused
declare record Point { x = 1, name = "p"; }
names = "a b c";
var grid[4];
create { f = File("out.txt", "w"); if (f != nil) { f.writeln("x", 1, <1,2,3>); f.close(); } list[1] = "first"; list[5] = 2; }
destroy { x = string("gone ", names); }
load: mode, io { text = io.read(); }
save: mode, io { io.writeln("saved"); }
init { store("value", 7); recalled = recall("value", 0); }
newtime: frame, time { scale = frame + time; }
flags { return COLOR, "DIFFUSE"; }
cleanup { store("text", string("a", 1)); }
deeper: n { if (n > 0) return deeper(n - 1); return inLibrary(part(3)); }
process: sa
{
    p = Point(2, "q");
    q = p;
    q->name = string(p->name, sa.sx);
    (a, b, c) = parse(" ", names);
    grid[1] = a;
    list = array(10);
    list[10] = string(b, c);
    f = File("out.txt", "r");
    line = "nothing";
    if (f != nil) { line = f.read(); f.close(); }
    sa.color[1] = deeper(5);
    sa.color[2] = 0.5;
}
)";

class Host {
public:
    Host() {
        scene.recording = false;
        std::string pattern = (fs::path(testing::TempDir()) / "kestrel-failing-XXXXXX").string();
        directory_ = mkdtemp(pattern.data());
        fs::current_path(directory_);
        setenv("XDG_DATA_HOME", directory_.c_str(), 1);
        std::ofstream("shade.ks") << kScript;
        std::ofstream("part.ks") << "part: n { return n; }\n";
        std::ofstream("lib.ks") << "inLibrary: n { return n * 2; }\n";
        line_ = "Script " + (directory_ / "shade.ks").string();
        library_ = dlopen(KESTREL_MODULE, RTLD_NOW | RTLD_LOCAL);
        if (library_ != nullptr)
            module_ = static_cast<const KestrelModule*>(dlsym(library_, HXM_DESCRIPTOR_SYMBOL));
    }
    ~Host() {
        dlclose(library_);
        fs::current_path(testing::TempDir());
        fs::remove_all(directory_);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// One life of an instance and its copy.
    /// @return false when the module could not even be used
    bool live() {
        shown = {};
        color_ = {};
        ShaderHandlerRecord handler{};
        const std::int32_t status =
            module_->descriptor.servers[0].activate(HXM_INTERFACE_VERSION, lookUp, &handler, nullptr);
        if (status != HXM_OK) return false;
        const HxInstance instance = handler.create(nullptr);
        const HxInstance copy = handler.create(nullptr);
        read_ = 0;
        const LoadState load{HX_STATE_TEXT, this, [](void* self, char* buffer, std::int32_t size) {
                                 return static_cast<Host*>(self)->readLine(buffer, size);
                             }};
        handler.load(instance, &load);
        if (instance != nullptr && copy != nullptr) handler.copy(instance, copy);
        handler.init(instance);
        handler.newTime(instance, 1, 0.5);
        flags_ = handler.flags(instance);
        for (int x = 0; x < 2; ++x) {
            ShadingSample sample{};
            sample.sx = x;
            handler.evaluate(copy, &sample);
            color_[static_cast<std::size_t>(x)] = sample.color[0];
        }
        handler.usedItems(instance);
        handler.describe(instance);
        const SaveState save{HX_STATE_TEXT, nullptr, [](void*, const char*, std::int32_t) {}};
        handler.save(instance, &save);
        handler.cleanup(instance);
        handler.destroy(instance);
        handler.destroy(copy);
        return true;
    }
    [[nodiscard]] bool worked() const {
        return shown.errors == 0 && flags_ == 0x0a && color_[0] != 0.0 && color_[1] == color_[0];
    }
    [[nodiscard]] bool usable() const { return module_ != nullptr; }

private:
    std::int32_t readLine(char* buffer, std::int32_t size) {
        const std::string_view line = ++read_ == 1 ? std::string_view(line_) : "saved";
        if (read_ > 2) return -1;
        const std::size_t length = line.copy(buffer, static_cast<std::size_t>(size) - 1);
        buffer[length] = '\0';
        return static_cast<std::int32_t>(length);
    }

    fs::path directory_;
    std::string line_;
    void* library_ = nullptr;
    const KestrelModule* module_ = nullptr;
    int read_ = 0;
    std::uint32_t flags_ = 0;
    std::array<double, 2> color_{};
};

TEST(FailingAllocations, AreSurvivedThroughoutAModulesLife) {
    Host host;
    ASSERT_TRUE(host.usable());
    ASSERT_TRUE(host.live());
    ASSERT_TRUE(host.worked()) << shown.unexpected.data();
    ASSERT_TRUE(host.live());
    const std::ptrdiff_t before = allocations.live;
    // Memory may be back at once, or stay away until the life is over.
    for (const std::size_t failures : {std::size_t{1}, SIZE_MAX}) {
        std::size_t n = 0;
        std::size_t refused = 0;
        do {
            {
                const FailingAllocation failing(++n, failures);
                host.live();
            }
            SCOPED_TRACE("allocation " + std::to_string(n) + (failures == 1 ? "" : " and all later ones"));
            EXPECT_STREQ(shown.unexpected.data(), "");
            if (!host.worked()) ++refused;
            ASSERT_TRUE(host.live());
            ASSERT_TRUE(host.worked()) << "the next call works; " << shown.unexpected.data();
            EXPECT_LE(allocations.live, before + 8) << "nothing is lost";
            if (testing::Test::HasFailure()) return;
        } while (allocations.failed);
        std::printf("%zu points failed; %zu lives were cut short\n", n - 1, refused);
        EXPECT_GT(refused, 100u);
    }
}

}  // namespace
}  // namespace kestrel::test
