// getfile: the user chooses a file.
#include "host/host_builtins.h"
#include "host/script_environment.h"
#include "host/shader_context.h"
#include "host/text_argument.h"
#include "platform/environment.h"

#include <algorithm>
#include <string>
#include <utility>

namespace kestrel {

void getfileBuiltin(BuiltinCall& call) {
    constexpr int kNameLimit = 99;
    constexpr std::size_t kDirectoryLimit = 255;
    if (call.argc > 3) return call.failCount();
    const auto textOr = [&call](int i, std::string fallback) {
        return i < call.argc && call.arg(i).isText() ? std::string(textOf(call.arg(i))) : std::move(fallback);
    };
    FileRequest request;
    request.title = textOr(0, "Select File");
    request.fileName = textOr(1, "").substr(0, kNameLimit);
    request.path = textOr(2, platform::currentDirectory()).substr(0, kDirectoryLimit);
    request.size = kNameLimit;
    const FileRequester& ask = shaderContext(call.ctx).environment.requestFile;
    if (!ask || !ask(request)) return call.result(ValueCell::ofNil());
    std::ranges::replace(request.fullName, '/', '\\');  // as scripts see every path
    call.resultText(request.fullName);
}

}  // namespace kestrel
