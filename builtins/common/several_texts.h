// Results that are several texts.
#pragma once

#include "engine/context/builtin.h"

#include <string_view>
#include <vector>

namespace kestrel::builtins {

/// A new text (TempString), one of the cells for BuiltinCall::results(). Without memory it is Nil.
[[nodiscard]] ValueCell ownedText(EngineContext& ctx, std::string_view text);

/// Collects the results of a call. More of them than the evaluation stack has room for end the run with its
/// message.
class SeveralTexts {
public:
    explicit SeveralTexts(BuiltinCall& call) : call_(call) {}
    SeveralTexts(const SeveralTexts&) = delete;
    SeveralTexts& operator=(const SeveralTexts&) = delete;

    /// A value that stands before the texts.
    void addInteger(double value) { cells_.push_back(ValueCell::ofInteger(value)); }
    /// @return false when there is no use in adding more
    bool add(std::string_view text);
    /// Ends the call: leaves the values and their count.
    void leave() { call_.results(cells_); }

private:
    BuiltinCall& call_;
    std::vector<ValueCell> cells_;
};

/// Ends a call with the pieces of a text between delimiters.
void resultTokens(BuiltinCall& call, std::string_view delims, std::string_view text);

}  // namespace kestrel::builtins
