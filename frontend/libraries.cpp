// The chain of libraries that follows the main script, and what is linked from them.

#include "engine/context/builtin.h"
#include "frontend/compile_state.h"
#include "frontend/native_services.h"
#include "platform/files.h"
#include "platform/paths.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <utility>

namespace kestrel {

namespace {

bool isCompiledLibrary(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos) return false;
    const std::string extension = platform::upperCase(name.substr(dot));
    return extension == ".KSL" || extension == ".DLL" || extension == ".SL" || extension == ".SO";
}

}  // namespace

bool Compiler::pushLibrary(const char* name, const SourcePos& where) {
    if (libraries_.size() >= kLibraryLimit) return false;
    libraries_.push_back({name, where});
    return true;
}

void Compiler::listUnresolvedCalls() {
    for (CodeNode* node = program().code.head; node != nullptr; node = node->next) {
        if (node->op != OP_CALL || node->operand.variable == nullptr) continue;
        if (node->next != nullptr && node->next->op == OP_MEMBER) continue;  // a method
        const std::string_view name = node->operand.variable->name;
        if (program().findFunction(name) != nullptr || ctx_.services.builtins->find(name) != nullptr) {
            node->flags = 0;
        } else {
            node->flags |= kNodeUnresolved;
            unresolved_[name].push_back(node);
        }
    }
}

bool Compiler::nextInputFile() {
    if (firstEnd_) {
        listUnresolvedCalls();
        libraryMode_ = true;
        firstEnd_ = false;
    }
    while (!libraries_.empty()) {
        const Library library = libraries_.back();
        libraries_.pop_back();
        const bool compiled = isCompiledLibrary(library.name);
        if (compiled && options_.native != nullptr) {
            ctx_.reporter.place = &library.where;
            const std::int32_t warnings = ctx_.reporter.state.warningCount;
            options_.native->bindLibrary(ctx_, library.name, program().code);
            libraryMissing_ = libraryMissing_ || ctx_.reporter.state.warningCount != warnings;
            ctx_.reporter.place = nullptr;
            continue;
        }
        if (!compiled && openLibrary(library)) return true;
        ctx_.reporter.place = &library.where;
        ctx_.report(MessageId::LibraryNotFound, currentLine(), library.name);
        libraryMissing_ = true;
        ctx_.reporter.place = nullptr;
        // A script library that is missing ends the chain, by design; a compiled one does not.
        if (!compiled) return false;
    }
    return false;
}

bool Compiler::openLibrary(const Library& library) {
    std::string path = library.name;
    std::optional<std::string> text;
    if (!options_.locatedOnly) text = platform::readTextFile(path);
    if (!text && !options_.locatedOnly && mainPath_.find('\\') != std::string::npos) {
        path = std::string(platform::directoryOf(mainPath_)) + library.name;
        text = platform::readTextFile(path);
    }
    if (!text && ctx_.services.locator != nullptr && ctx_.services.locator->locate(ctx_, library.name, path))
        text = platform::readTextFile(path);
    if (!text) return false;
    if (options_.reportEndless && bringsItselfIn(library, platform::nativePath(path))) {
        reportEndless(library.where, MessageId::EndlessLibrary, library.name);
        return true;
    }
    const auto file = static_cast<std::int32_t>(program().files.size());
    program().files.push_back({platform::nativePath(path), library.where});
    scanner_.open(*std::move(text), LineMap::identity(file));
    return true;
}

bool Compiler::bringsItselfIn(const Library& library, const std::string& path) const {
    for (std::int32_t file = library.where.file; file >= 0;) {
        const SourceFile& source = ctx_.program->files[static_cast<std::size_t>(file)];
        std::error_code ignored;
        if (std::filesystem::equivalent(source.path, path, ignored)) return true;
        file = source.broughtInBy.file;
    }
    return false;
}

void Compiler::linkLibraryProcedure(const FunctionRecord& function) {
    // Only the first call of a procedure counts as resolved by linking it, by design.
    libraryGlobalIndex_.reset();
    const auto calls = unresolved_.find(function.name);
    if (calls != unresolved_.end()) {
        const auto open = [](const CodeNode* call) { return (call->flags & kNodeUnresolved) != 0; };
        const auto call = std::ranges::find_if(calls->second, open);
        if (call != calls->second.end()) {
            (*call)->flags = 0;
            program().globals.splice(libraryGlobals_);
            program().code.splice(libraryCode_);
            program().functions.splice(libraryFunctions_);
            return;
        }
    }
    libraryGlobals_ = {};
    libraryCode_ = {};
    libraryFunctions_ = {};
}

}  // namespace kestrel
