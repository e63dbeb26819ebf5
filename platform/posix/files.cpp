#include "platform/files.h"

#include "platform/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace kestrel::platform {

namespace {

enum class EntryKind { None, Regular, Directory, Other };

EntryKind entryKind(const std::string& native) {
    struct stat info;
    if (native.empty() || stat(native.c_str(), &info) != 0) return EntryKind::None;
    if (S_ISREG(info.st_mode)) return EntryKind::Regular;
    return S_ISDIR(info.st_mode) ? EntryKind::Directory : EntryKind::Other;
}

}  // namespace

FileHandle openFile(std::string_view systemPath, const char* mode) {
    const std::string native = nativePath(systemPath);
    if (entryKind(native) == EntryKind::Directory) {
        errno = EISDIR;  // fopen would open a directory for reading
        return nullptr;
    }
    return FileHandle(std::fopen(native.c_str(), (std::string(mode) + "e").c_str()));
}

FileHandle openRegularFile(std::string_view systemPath) {
    if (entryKind(nativePath(systemPath)) != EntryKind::Regular) return nullptr;
    return openFile(systemPath, "rb");
}

std::optional<std::string> readTextFile(std::string_view systemPath) {
    const FileHandle file = openRegularFile(systemPath);
    if (file == nullptr) return std::nullopt;
    std::string text;
    char block[16384];
    while (const std::size_t n = std::fread(block, 1, sizeof block, file.get())) text.append(block, n);
    if (std::ferror(file.get()) != 0) return std::nullopt;

    std::size_t kept = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
        text[kept++] = text[i];
    }
    text.resize(kept);
    return text;
}

bool pathExists(std::string_view systemPath) {
    return entryKind(nativePath(systemPath)) != EntryKind::None;
}

bool fileExists(std::string_view systemPath) {
    const EntryKind kind = entryKind(nativePath(systemPath));
    return kind == EntryKind::Regular || kind == EntryKind::Other;
}

bool removeFile(std::string_view systemPath) {
    return unlink(nativePath(systemPath).c_str()) == 0;
}

}  // namespace kestrel::platform
