// What the host and a script tell each other of themselves: getdir(), runningUnder(), setdesc().
#include "builtins/common/joined_text.h"
#include "host/host_builtins.h"
#include "host/script_environment.h"
#include "host/shader_context.h"

#include <algorithm>
#include <string>

namespace kestrel {

namespace {

struct DirectoryKey {
    std::int64_t value;  ///< of the constant that scripts use
    const char* key;
};

constexpr DirectoryKey kDirectoryKeys[] = {
    {255, "Install"},      // INSTALLDIR
    {256, "Objects"},      // OBJECTSDIR
    {257, "Images"},       // IMAGESDIR
    {258, "Motions"},      // MOTIONSDIR
    {259, "Temp"},         // TEMPDIR
    {260, "Plugins"},      // PLUGINSDIR
    {261, "Settings"},     // SETTINGSDIR
    {264, "Content"},      // CONTENTDIR
    {265, "Scenes"},       // SCENESDIR
    {266, "Hierarchies"},  // HIERARCHIESDIR
    {267, "Surfaces"},     // SURFACESDIR
    {268, "Output"},       // OUTPUTDIR
    {269, "Animations"},   // ANIMATIONSDIR
    {270, "Envelopes"},    // ENVELOPESDIR
    {271, "Previews"},     // PREVIEWSDIR
    {272, "Command"},      // COMMANDDIR
};

/// @return null for what is no directory
const char* keyOf(const ValueCell& which) {
    if (which.isText()) return which.text;
    if (!which.isNumeric()) return nullptr;
    const std::int64_t value = truncate(which.number);
    const auto* found = std::find_if(std::begin(kDirectoryKeys), std::end(kDirectoryKeys),
                                     [&](const DirectoryKey& entry) { return entry.value == value; });
    return found != std::end(kDirectoryKeys) ? found->key : nullptr;
}

}  // namespace

void getdirBuiltin(BuiltinCall& call) {
    const char* key = keyOf(call.arg(0));
    if (key == nullptr) return call.failType(1);
    const DirectoryFinder& find = shaderContext(call.ctx).environment.findDirectory;
    std::optional<std::string> path = find ? find(key) : std::nullopt;
    if (!path) return call.result(ValueCell::ofNil());
    std::replace(path->begin(), path->end(), '/', '\\');  // the form in which scripts see every directory
    call.resultText(*path);
}

void runningUnderBuiltin(BuiltinCall& call) {
    constexpr std::uint32_t kProgramBits = 0xf0000000u;
    switch (shaderContext(call.ctx).environment.systemInfo & kProgramBits) {
        case HX_SYSTEM_LAYOUT:
            return call.resultInteger(1);
        case HX_SYSTEM_MODELER:
            return call.resultInteger(2);
        case HX_SYSTEM_RENDER_NODE:
            return call.resultInteger(3);
        default:
            return call.none();  // a program that scripts have no name for
    }
}

void setdescBuiltin(BuiltinCall& call) {
    const std::string text = builtins::joinArguments(call, call.name);
    ShaderContext& context = shaderContext(call.ctx);
    context.description = text.substr(0, kDescriptionLimit);
    context.customDescription = true;
    call.result(ValueCell::ofNil());
}

}  // namespace kestrel
