// Times the functions in LuaJIT as a host calls them: per sample a call through its C interface with two
// numbers, which gives three. Prints what harness.cpp prints.
//     kestrel-bench-luajit PASSES FOLDER NAME...
#include "bench/picture.h"

#include <cstdio>
#include <cstdlib>
#include <luajit-2.1/lua.hpp>
#include <memory>
#include <string>

namespace {

using namespace kestrel::bench;

/// The pattern is all that lies on the stack.
void evaluate(void* instance, ShadingSample* sample) {
    auto* state = static_cast<lua_State*>(instance);
    lua_pushvalue(state, 1);
    lua_pushnumber(state, sample->oPos[0]);
    lua_pushnumber(state, sample->oPos[1]);
    if (lua_pcall(state, 2, 3, 0) == 0) {
        for (int i = 0; i < 3; ++i) sample->color[i] = lua_tonumber(state, 2 + i);
    }
    lua_settop(state, 1);
}

}  // namespace

int main(int argc, char** argv) {
    const int passes = argc > 3 ? std::atoi(argv[1]) : 0;
    if (passes < 1) {
        std::fputs("usage: kestrel-bench-luajit PASSES FOLDER NAME...\n", stderr);
        return 2;
    }
    const std::string folder = argv[2];
    for (int i = 3; i < argc; ++i) {
        const std::unique_ptr<lua_State, decltype(&lua_close)> state(luaL_newstate(), lua_close);
        luaL_openlibs(state.get());
        const std::string begin = "package.path = '" + folder + "/?.lua'; return require('" + argv[i] + "')";
        if (luaL_dostring(state.get(), begin.c_str()) != 0 || lua_gettop(state.get()) != 1) {
            std::fprintf(stderr, "kestrel-bench-luajit: %s cannot be loaded\n", argv[i]);
            return 1;
        }
        measure(argv[i], evaluate, state.get(), passes);
    }
    return 0;
}
