#include "host/plugin_state.h"

#include "host/lent.h"

#include <optional>
#include <vector>

namespace kestrel {

namespace {

/// Room for what a dialog writes, well above the size that it is told: some forget the terminator, or worse.
constexpr std::size_t kDialogBuffer = 4096;

class DialogText {
public:
    explicit DialogText(const std::string& text) { text.copy(buffer_.data(), kDialogBuffer - 1); }
    [[nodiscard]] char* data() noexcept { return buffer_.data(); }
    [[nodiscard]] std::string text() {
        buffer_.back() = '\0';
        return buffer_.data();
    }

private:
    std::vector<char> buffer_ = std::vector<char>(kDialogBuffer);
};

/// Puts a request through the host's file dialog.
bool askHost(const FileRequestService* service, FileRequest& request) {
    if (service == nullptr || service->fileRequest == nullptr) return false;
    DialogText fileName(request.fileName.substr(0, static_cast<std::size_t>(request.size)));
    DialogText path(request.path);
    DialogText fullName("");
    if (service->fileRequest(request.title.c_str(), fileName.data(), path.data(), fullName.data(),
                             request.size) < 1)
        return false;
    request.fileName = fileName.text();
    request.path = path.text();
    request.fullName = fullName.text();
    return true;
}

std::optional<std::string> hostDirectory(const DirectoryInfoService* service, const std::string& key) {
    if (service == nullptr || service->dirInfo == nullptr) return std::nullopt;
    const char* path = service->dirInfo(key.c_str());
    return path != nullptr ? std::optional<std::string>(path) : std::nullopt;
}

/// Ends the state with the module, but not while instances live: ending their scripts would call into a host
/// that has left without destroying them, and may be half gone. Nothing is lost by it: the store is written
/// at once, and the C library closes what scripts have open.
struct Kept {
    Kept() : state(*new PluginState) {}
    ~Kept() {
        if (state.instances.empty()) delete &state;
    }
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;

    PluginState& state;
};

}  // namespace

void HostMessages::show(const Message& message) {
    if (services_.messages == nullptr) return;
    const Lent lent(shown_, &message);
    showInBox(*services_.messages, message.id, message.line1.c_str(),
              message.line2 ? message.line2->c_str() : nullptr);
}

void HostMessages::advise(const Hint& hint) {
    if (takeAdvice_ == nullptr) return;
    const Message about{
        .id = {}, .kind = {}, .line1 = {}, .line2 = {}, .where = hint.where, .files = hint.files};
    const Lent lent(shown_, &about);  // what place() reads
    takeAdvice_(adviceUser_, hintRow(hint.id).rule.data(), hint.text.c_str());
}

void HostMessages::showOwn(const InfoMessages& boxes, MessageTaking<> message) {
    const std::string_view text = messageRow(message.id()).text;
    const std::size_t end = text.find(kLineBreak);
    const std::string line1(text.substr(0, end));
    showInBox(boxes, message.id(), line1.c_str(),
              end == std::string_view::npos ? nullptr : text.data() + end + kLineBreak.size());
}

void HostMessages::showFailure(const char* module, const char* what) noexcept {
    if (services_.messages != nullptr)
        showInBox(*services_.messages, MessageId::InternalFailure, module, what);
}

void HostMessages::showInBox(const InfoMessages& boxes, MessageId id, const char* line1, const char* line2) {
    const MessageRow& row = messageRow(id);
    const auto box = row.kind == MessageKind::Error     ? boxes.error
                     : row.kind == MessageKind::Warning ? boxes.warning
                                                        : boxes.info;
    if (box == nullptr) return;
    const Lent lent(shownName_, row.name.data());
    box(line1, line2);
}

PluginState::PluginState() {
    environment.requestFile = [this](FileRequest& request) { return askHost(services.fileRequest, request); };
    environment.findDirectory = [this](const std::string& key) {
        return hostDirectory(services.directoryInfo, key);
    };
    // While a panel is open no sample is shaded, of whatever script.
    environment.requester.whenBegun = [this] {
        for (const ShaderInstance& instance : instances) instance.context->gate->close();
    };
    environment.findPanels = [this](HxServiceUse use) -> const PanelServices* {
        if (hostGlobal == nullptr) return nullptr;
        return static_cast<const PanelServices*>(hostGlobal(HX_SERVICE_PANELS, use));
    };
}

PluginState& pluginState() {
    static const Kept kept;
    return kept.state;
}

}  // namespace kestrel
