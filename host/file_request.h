// How the host side asks the user for a file.
#pragma once

#include <functional>
#include <string>

namespace kestrel {

/// One request for a file. Texts are in the form in which the other side wants or gives them: scripts' names
/// in the system's form going out, native or system paths coming back.
struct FileRequest {
    std::string title;
    std::string fileName;  ///< in: a name or a pattern such as "*.ks;*.kxl"
    std::string path;      ///< in: start directory; out: chosen directory
    std::string fullName;  ///< out: full path of the chosen file
    int size = 0;          ///< characters that a classic file dialog may return in each text
};

/// Answers a request. @return false when the user cancelled; an empty function cancels everything
using FileRequester = std::function<bool(FileRequest& request)>;

}  // namespace kestrel
