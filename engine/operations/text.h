// Text forms of values.
#pragma once

#include "engine/values/value.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

class EngineContext;

/// The text form that string concatenation and most built-ins use: Number "%g", Integer "%d" of the truncated
/// value, Vector "%g %g %g", texts as they are, FileObj `(FILEOBJ)"name"`, Nil the empty text.
/// @return nothing for a kind without a text form (arrays, records, objects)
[[nodiscard]] std::optional<std::string> valueText(const ValueCell& cell);
/// `prefix` followed by the text form, as a new pool text; null where there is no text form or no memory.
[[nodiscard]] const char* valueText(EngineContext& ctx, std::string_view prefix, const ValueCell& cell);

/// Names of objects that the engine does not own, as texts and comparisons show them.
/// The first field after the stream of every file record is its name, so this is all the engine knows of one.
struct FileNameHeader {
    void* stream;
    const char* name;
};

/// The name behind a FileObj; "" where there is none.
[[nodiscard]] inline const char* fileName(const ValueCell& cell) noexcept {
    const auto* file = static_cast<const FileNameHeader*>(cell.payload.object);
    return file != nullptr && file->name != nullptr ? file->name : "";
}

/// The beginning of every entry of the table of object agent classes.
struct AgentClassHeader {
    const char* name;
};

/// The beginning of every object agent instance: its handle, the name of the variable it was bound to and its
/// class.
struct AgentNameHeader {
    void* handle;
    const char* name;  ///< null until the instance is bound
    const AgentClassHeader* type;
};

/// The beginning of every record behind the tags HxObject to ImageListObj: what kind of item, and the host's
/// identifier of it.
struct HxItemHeader {
    std::int32_t kind;
    std::uint32_t item;
};

}  // namespace kestrel
