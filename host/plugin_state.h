// The one process-wide state of the module.
#pragma once

#include "engine/report/reporter.h"
#include "host/host_interface.h"
#include "host/instance.h"
#include "host/script_environment.h"
#include "host/shading_report.h"

#include <array>
#include <cstdint>
#include <list>

namespace kestrel {

/// The host's services, but for those about its scene, which ScriptEnvironment has. They are looked up once
/// in the process; after their release the pointers stay in use.
struct HostServices {
    const InfoMessages* messages = nullptr;
    const FileRequestService* fileRequest = nullptr;
    const DirectoryInfoService* directoryInfo = nullptr;
};

/// The engine's messages on their way to the host's message boxes.
class HostMessages final : public MessageSink, public HintSink {
public:
    explicit HostMessages(const HostServices& services) : services_(services) {}
    void show(const Message& message) override;
    /// Hands a hint to whoever wants hints; hosts do not.
    void advise(const Hint& hint) override;
    using TakeAdvice = void (*)(void* user, const char* rule, const char* text);
    void setAdvice(TakeAdvice take, void* user) noexcept {
        takeAdvice_ = take;
        adviceUser_ = user;
    }
    /// Shows what the module itself has to say: the text of a row that takes no arguments.
    void showOwn(const InfoMessages& boxes, MessageTaking<> message);
    /// The same for an exception. Needs no memory.
    void showFailure(const char* module, const char* what) noexcept;

    /// The script's message that the host is showing right now; null otherwise.
    [[nodiscard]] const Message* shown() const noexcept { return shown_; }
    /// The name of the message that the host is showing right now, whoever has it from; null otherwise.
    [[nodiscard]] const char* shownName() const noexcept { return shownName_; }

private:
    void showInBox(const InfoMessages& boxes, MessageId id, const char* line1, const char* line2);

    const HostServices& services_;
    const Message* shown_ = nullptr;
    const char* shownName_ = nullptr;
    TakeAdvice takeAdvice_ = nullptr;
    void* adviceUser_ = nullptr;
};

inline constexpr std::size_t kDescribeSize = 80;
inline constexpr const char* kServerName = "Kestrel/PT";

struct PluginState {
    PluginState();

    std::uint32_t activationCount = 0;  ///< successful activations of the shader handler
    std::int16_t activationNumber = 0;  ///< the latest count; stamped into new instances
    HostGlobal hostGlobal = nullptr;    ///< of the latest activation
    HostServices services;
    bool holdsServices = false;  ///< looked up and not released since
    bool endedAborted = false;   ///< the instance destroyed last left its script with the abort flag set
    RunWatch watch;              ///< exported behind the module's descriptor
    HostMessages messages{services};
    ScriptEnvironment environment{&messages, &watch, Settings::Store};
    std::list<ShaderInstance> instances;            ///< every live instance, in order of creation
    std::array<char, kDescribeSize> description{};  ///< what the latest `describe` gave out
    ToldShading shading;
};

[[nodiscard]] PluginState& pluginState();

}  // namespace kestrel
