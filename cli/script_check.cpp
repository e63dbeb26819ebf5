#include "cli/script_check.h"

#include "host/script_session.h"

#include <utility>

namespace kestrel::cli {

namespace {

/// Keeps what a compile reports.
class Recorder final : public MessageSink, public HintSink {
public:
    Recorder(std::vector<ShownMessage>& messages, std::vector<ShownMessage>& hints)
        : messages_(messages), hints_(hints) {}
    void show(const Message& message) override { messages_.push_back(shownMessage(message)); }
    void advise(const Hint& hint) override { hints_.push_back(shownHint(hint)); }

private:
    std::vector<ShownMessage>& messages_;
    std::vector<ShownMessage>& hints_;
};

/// Answers with the files of the command line, in order, as the command itself will.
FileRequester answerWith(const std::vector<std::string>& components) {
    return [&components, next = std::size_t{0}](FileRequest& request) mutable {
        if (next == components.size()) return false;
        request.fullName = components[next++];
        return true;
    };
}

}  // namespace

ScriptCheck precheck(const std::string& nativePath, const std::vector<std::string>& components,
                     RunWatch* watch) {
    ScriptCheck check;
    Recorder recorder(check.diagnostics_, check.hints_);
    ScriptSession session(recorder, watch, answerWith(components));
    CompileInfo info;
    CompileOptions options;
    options.reportEndless = true;
    options.declareOnly = true;
    options.info = &info;
    session.context().reporter.hints = &recorder;
    check.compiles_ = session.compile(nativePath, options);
    if (check.compiles_) check.globals_ = session.globals();
    check.debugLink_ = session.context().options.debugName;
    check.hasMain_ = session.context().program->findFunction("main") != nullptr;
    check.safe_ = !info.endless;
    return check;
}

void ScriptCheck::complain(MessagePrinter& printer) const {
    for (const ShownMessage& message : diagnostics_) printer.show(message);
    printer.finish();
}

}  // namespace kestrel::cli
