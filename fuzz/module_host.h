// A host that does what fuzzed bytes say: calls the module, and calls it back from inside its operations.
#pragma once

#include "fuzz/taken.h"
#include "host/host_interface.h"

#include <memory>
#include <string>
#include <vector>

namespace kestrel::fuzz {

class FuzzedHost {
public:
    explicit FuzzedHost(Bytes bytes);
    /// Destroys all instances and requires that nothing of them is left.
    ~FuzzedHost();
    FuzzedHost(const FuzzedHost&) = delete;
    FuzzedHost& operator=(const FuzzedHost&) = delete;

    /// Calls the module until the bytes are used up.
    void play();

    // ---- for the services, which are plain functions
    struct Panel {
        std::vector<std::unique_ptr<HxControlValue>> controls;
        HxPanelDraw draw = nullptr;
        void* user = nullptr;
        bool open = false;
    };
    /// The module has called: now and then it is called back.
    void comeBack();
    std::int32_t answerFileRequest(char* fullName, std::int32_t size);
    Panel* createPanel();
    void destroyPanel(Panel* panel);
    std::int32_t openPanel(Panel& panel);
    struct State {
        std::int32_t mode;
        std::string name;  ///< what is read first: which script it is; then the rest of a read
    };
    std::int32_t readState(State& state, char* buffer, std::int32_t size);
    void* service(std::string_view name);
    Taken data;

private:
    void call();
    HxInstance any();
    void load(HxInstance instance);
    void save(HxInstance instance);
    void evaluate(HxInstance instance);
    void look(HxInstance instance);
    void edit(HxInstance instance);

    ShaderHandlerRecord handler_{};
    std::vector<HxInstance> living_;
    std::vector<std::unique_ptr<Panel>> panels_;
    std::vector<std::string> scripts_;  ///< native paths
    int depth_ = 0;
    int calls_ = 0;
};

}  // namespace kestrel::fuzz
