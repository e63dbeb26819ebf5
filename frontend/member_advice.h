// Hints about what stands behind a dot or an arrow.
#pragma once

#include "engine/context/context.h"

#include <set>
#include <string>
#include <string_view>

namespace kestrel {

class DefineAdvice;
class ObjectInterface;

/// Looks at members and methods, in the order of the code. The only variable whose kind of object is known
/// before a script runs is the first parameter of `process`; of others it is known what no kind has.
class MemberAdvice {
public:
    /// @param usesClasses  objects of libraries can have members of any name
    /// @param defines      what stands in other words than the script's
    MemberAdvice(EngineContext& ctx, DefineAdvice& defines, bool usesClasses);

    /// The code of a function begins.
    void enter(const Variable& name);
    /// @param node  OP_VAR or OP_INDEX
    /// @param list  the last OP_DIM before it, or null
    /// @return true when it names a member, or a slot of a queue
    bool look(const CodeNode& node, const CodeNode* list);
    /// @param node  OP_CALL
    /// @return true when it calls a method
    bool lookAtMethod(const CodeNode& node);

private:
    /// @param index  a plain number that is the only index; -1 where it is something else
    void ofSample(const CodeNode& node, double index, const Variable& owner, bool assigned);
    void ofObject(const CodeNode& node, const Variable& owner);
    void field(const CodeNode& node, const Variable& owner);
    void indexFromZero(const CodeNode& node, double index, const std::string& what);
    [[nodiscard]] bool isField(std::string_view name) const { return fields_.contains(name); }

    EngineContext& ctx_;
    DefineAdvice& defines_;
    bool anyMember_;
    const ObjectInterface* sample_ = nullptr;   // null where there is no shading sample
    const Variable* sampleVariable_ = nullptr;  // in the function at hand
    std::set<std::string_view> fields_;         // of all records
};

}  // namespace kestrel
