// Saved states, on their way into a script and through the preview host's own reader.
#include "fuzz/confined_script.h"
#include "fuzz/sandbox.h"
#include "fuzz/taken.h"
#include "host/plugin_state.h"
#include "host/state_io.h"
#include "preview/services/instance_state.h"

#include <array>

namespace kestrel::fuzz {

namespace {

constexpr std::string_view kScript = R"(
process: sa { }
kept = nil;
load: mode, io
{
    ::kept = io;
    n = 0;
    while (io.eof() == 0 && n < 200)
    {
        n++;
        if (mode == 1 || n == 7)
        {
            s = io.read();
            words[n] = s;
        }
        if (mode == 2 || n == 8)
        {
            values[n] = io.readInt();
            d = io.readNumber();
            b = io.readByte();
            v = io.readVector();
            t = io.readString();
        }
    }
    info(words, values, d, b, v, t);
}
save: mode, io
{
    if (mode == 1) io.writeln(1, "two", <3, 4, 5>);
    io.writeInt(1);
    io.writeNumber(2.5);
    io.writeByte(3);
    io.writeVector(1, 2, 3);
    io.writeString("text");
    ::kept.read();
}
)";

/// A host that hands out its bytes in pieces, and may say that it gave more.
struct Host {
    std::string_view rest;
    std::size_t atOnce;
    std::int32_t overstated;

    static std::int32_t readText(void* handle, char* buffer, std::int32_t size) {
        auto& host = *static_cast<Host*>(handle);
        if (host.rest.empty()) return -1;
        const std::string_view line = host.rest.substr(0, host.rest.find('\n'));
        const std::size_t count = line.copy(buffer, static_cast<std::size_t>(size) - 1);
        buffer[count] = '\0';
        const bool whole = count == line.size();
        host.rest.remove_prefix(std::min(count + (whole ? 1 : 0), host.rest.size()));
        return static_cast<std::int32_t>(count) + host.overstated;
    }
    static std::int32_t readBinary(void* handle, char* buffer, std::int32_t size) {
        auto& host = *static_cast<Host*>(handle);
        const std::size_t count =
            host.rest.copy(buffer, std::min(static_cast<std::size_t>(size), host.atOnce));
        host.rest.remove_prefix(count);
        return static_cast<std::int32_t>(count) + (count > 0 ? host.overstated : 0);
    }
};

void readByPreview(std::string_view bytes) {
    const std::optional<preview::InstanceState> state = preview::stateFromBytes(std::string(bytes));
    if (!state) return;
    const preview::InstanceState moved = preview::withScript(*state, "C\\elsewhere.ks");
    const std::optional<preview::InstanceState> again = preview::stateFromBytes(moved.bytes);
    require(again.has_value() && again->mode == state->mode, "a state with another script is one");
    preview::StateReader reader(moved);
    std::array<char, 512> buffer{};
    const LoadState* load = reader.loadState();
    std::size_t reads = 0;
    for (std::int32_t count = 1; count > (load->mode == HX_STATE_TEXT ? -1 : 0);
         count = load->read(load->handle, buffer.data(), buffer.size())) {
        require(++reads <= moved.bytes.size() + 2, "a state ends");
        require(count <= static_cast<std::int32_t>(buffer.size()), "a read gives no more than was asked for");
    }
}

}  // namespace

void loadState(Bytes bytes) {
    Sandbox::get().write("s.ks", kScript);
    Taken data(bytes);
    const std::uint8_t how = data.byte();
    const std::uint8_t pieces = data.byte();
    const std::string_view rest = textOf(data.all());
    readByPreview(rest);

    const bool lines = (how & 1) != 0;
    Host host{rest, pieces == 0 ? std::size_t{1} << 20 : pieces, (how & 2) != 0 ? how >> 2 : 0};
    PluginState& state = pluginState();
    state.watch.requested = 0;
    const TimeBudget budget(state.watch, 300);
    ShaderInstance& instance = *createInstance(state);
    loadInstance(state, instance,
                 {lines ? HX_STATE_TEXT : HX_STATE_BINARY, &host, lines ? Host::readText : Host::readBinary});
    const SaveState saving{lines ? HX_STATE_TEXT : HX_STATE_BINARY, nullptr,
                           [](void*, const char* buffer, std::int32_t size) {
                               static_cast<void>(std::count(buffer, buffer + size, 'x'));
                           }};
    saveInstance(instance, saving);
    destroyInstance(state, instance);
    require(state.instances.empty(), "a destroyed instance is gone");
}

Seeds stateSeeds(const std::filesystem::path&) {
    using namespace std::string_literals;
    const std::string values = "\0\0\0\7\x3f\xf0\0\0\0\0\0\0\5"s + std::string(24, '\1') + "\0\0\0\4text"s;
    const std::string binary = "\5\0\0\0s.ks\0"s + values + values;
    return {
        "\1\0Script s.ks\nfirst\n\n12\n"s + std::string(700, 'x') + "\n1.5e3\n",
        "\0\0"s + binary,
        "\0\1"s + binary,
        "\0\3"s + binary.substr(0, 30),
        "\7\0Script s.ks\nfirst\nsecond"s,
        "\x0a\5"s + binary,
        "\0\0\xff\xff\xff\x7fs.ks"s,
    };
}

}  // namespace kestrel::fuzz
