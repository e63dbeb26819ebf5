#include "host/effected_by.h"

#include "host/host_builtins.h"
#include "host/shader_context.h"

namespace kestrel {

EffectedBy::EffectedBy(std::vector<std::string> names) : names_(std::move(names)) {
    pointers_.reserve(names_.size() + 1);
    for (const std::string& name : names_) {
        pointers_.push_back(name.c_str());
        known_.insert(name);
    }
    pointers_.push_back(nullptr);
}

void effectedbyBuiltin(BuiltinCall& call) {
    if (call.argc == 0) return call.failCount();
    std::vector<std::string> names;
    names.reserve(static_cast<std::size_t>(call.argc));
    for (int i = 0; i < call.argc; ++i) {
        const ValueCell& name = call.arg(i);
        if (!name.isText()) return call.failType(i + 1);
        names.emplace_back(name.text != nullptr ? name.text : "");
    }
    shaderContext(call.ctx).effectedBy = EffectedBy(std::move(names));
    call.none();
}

}  // namespace kestrel
