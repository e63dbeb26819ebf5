// What the tests of this folder share.
#pragma once

#include "script/include/kestrel/script.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::script::test {

using Arguments = std::span<const Value>;

inline Script scriptOf(Engine& engine, std::string_view source) {
    Compiled compiled = engine.compile(source);
    for (const Diagnostic& each : compiled.diagnostics) ADD_FAILURE() << each.text;
    if (!compiled) throw std::runtime_error("does not compile");
    return *compiled.script;
}

/// The names of what a script has said.
inline std::string said(const std::vector<Diagnostic>& diagnostics) {
    std::string names;
    for (const Diagnostic& each : diagnostics) names += (names.empty() ? "" : " ") + each.id;
    return names;
}

inline Value result(Script& script, std::string_view function, const std::vector<Value>& arguments = {}) {
    const Result result = script.call(function, arguments);
    EXPECT_TRUE(result) << function << ": " << said(script.diagnostics());
    return result.values.empty() ? Value("no value") : result.values.front();
}

}  // namespace kestrel::script::test
