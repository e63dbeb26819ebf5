// What built-ins are about: the headings under which the reference shows them.
#pragma once

#include <string_view>

namespace kestrel::builtins::subjects {

inline constexpr std::string_view kNumbers = "Numbers";
inline constexpr std::string_view kVectors = "Vectors and points";
inline constexpr std::string_view kScene = "Light and scene";
inline constexpr std::string_view kValues = "Values and arrays";
inline constexpr std::string_view kTexts = "Texts";
inline constexpr std::string_view kMessages = "Messages";
inline constexpr std::string_view kFiles = "Files and directories";
inline constexpr std::string_view kStorage = "Stored values";
inline constexpr std::string_view kPrograms = "Programs and the machine";
inline constexpr std::string_view kPanels = "Panels";

/// All of them, in the order of the reference.
inline constexpr std::string_view kAll[] = {kNumbers,  kVectors, kScene,   kValues,   kTexts,
                                            kMessages, kFiles,   kStorage, kPrograms, kPanels};

}  // namespace kestrel::builtins::subjects
