// What scripts of an engine can call: the built-ins that are open to them, and what the embedder has defined.
#pragma once

#include "builtins/builtin_table.h"
#include "script/include/kestrel/script.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::script {

struct DefinedFunction {
    std::string name;
    int argumentCount;
    Function function;
};

/// All that the scripts of one compile can call. It does not change, so scripts share it.
class FunctionTable {
public:
    /// @param language  its built-ins
    /// @param defined   none has the name of a built-in
    FunctionTable(const BuiltinTable& language, const Options& options,
                  std::vector<std::shared_ptr<const DefinedFunction>> defined);

    [[nodiscard]] const BuiltinTable& table() const noexcept { return library_.table(); }
    /// Of a row whose handler is that of defined functions.
    [[nodiscard]] const DefinedFunction& defined(const BuiltinEntry& row) const noexcept {
        return *byRow_[static_cast<std::size_t>(&row - table().rows().data())];
    }

private:
    [[nodiscard]] std::vector<BuiltinEntry> rows(const BuiltinTable& language, const Options& options) const;

    std::vector<std::shared_ptr<const DefinedFunction>> defined_;
    BuiltinLibrary library_;
    std::vector<const DefinedFunction*> byRow_;  // null for built-ins
};

/// Runs a defined function: the handler of their rows.
void callDefined(BuiltinCall& call);

/// True for a name that the language can have for a function and has nothing for yet.
[[nodiscard]] bool isFreeName(const BuiltinTable& language, std::string_view name);

}  // namespace kestrel::script
