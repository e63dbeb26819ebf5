// What calls reach outside the script, the language and its records: code of libraries that a script names.
#pragma once

#include <string_view>

namespace kestrel {

class BuiltinCall;

/// A function of a library, or what makes an object of a class.
class NativeCallee {
public:
    virtual ~NativeCallee() = default;
    /// Runs one call; ends it as the handler of a built-in does.
    virtual void call(BuiltinCall& call) = 0;
};

/// All that a script has brought in. Complete when the script is linked.
class NativeCallees {
public:
    virtual ~NativeCallees() = default;
    /// @return null when nothing has the name
    [[nodiscard]] virtual NativeCallee* find(std::string_view name) = 0;
    /// Ends what nobody holds and no value on the stack refers to.
    virtual void sweep() = 0;
};

}  // namespace kestrel
