#include "cli/script_check.h"

#include "host/script_session.h"

#include <algorithm>
#include <utility>

namespace kestrel::cli {

namespace {

/// Keeps what a compile reports, with the places as they are known at that moment.
class Recorder final : public MessageSink {
public:
    void setContext(const EngineContext* context) { context_ = context; }
    void show(const Message& message) override {
        ShownMessage shown;
        shown.kind = message.kind == MessageKind::Error     ? ShownMessage::Kind::Error
                     : message.kind == MessageKind::Warning ? ShownMessage::Kind::Warning
                                                            : ShownMessage::Kind::Info;
        // The module's messages end at a zero byte, and these are compared with them.
        shown.line1 = message.line1.c_str();
        if (message.line2) shown.line2 = message.line2->c_str();
        if (context_ != nullptr && context_->program) {
            shown.place = resolvePlace(message.where, context_->program->files);
        }
        messages.push_back(std::move(shown));
    }
    std::vector<ShownMessage> messages;

private:
    const EngineContext* context_ = nullptr;
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

ScriptCheck precheck(const std::string& nativePath, const std::vector<std::string>& components) {
    ScriptCheck check;
    Recorder recorder;
    ScriptSession session(recorder, nullptr, answerWith(components));
    recorder.setContext(&session.context());
    CompileInfo info;
    CompileOptions options;
    options.reportEndless = true;
    options.info = &info;
    static_cast<void>(session.compile(nativePath, options) && session.check());
    recorder.setContext(nullptr);
    check.safe_ = !info.endless;
    for (ShownMessage& message : recorder.messages) check.diagnostics_.push_back({std::move(message), false});
    return check;
}

void ScriptCheck::complain(MessagePrinter& printer) const {
    for (const Diagnostic& diagnostic : diagnostics_) printer.show(diagnostic.message);
    printer.finish();
}

ShownMessage ScriptCheck::withPlace(ShownMessage::Kind kind, const char* line1, const char* line2) {
    ShownMessage shown;
    shown.kind = kind;
    if (line1 != nullptr) shown.line1 = line1;
    if (line2 != nullptr) shown.line2 = line2;
    const auto same = [&shown](const Diagnostic& diagnostic) {
        return !diagnostic.used && diagnostic.message.line1 == shown.line1 &&
               diagnostic.message.line2 == shown.line2;
    };
    const auto found = std::find_if(diagnostics_.begin(), diagnostics_.end(), same);
    if (found != diagnostics_.end()) {
        found->used = true;
        shown.place = found->message.place;
    }
    return shown;
}

}  // namespace kestrel::cli
