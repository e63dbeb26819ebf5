#include "platform/files.h"

#include "platform/paths.h"

#include <fcntl.h>
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

/// What open(2) and fdopen make of a mode text. The text itself never reaches the library, which would give
/// further letters a meaning.
struct OpenMode {
    int flags;
    const char* stdioMode;
};

std::optional<OpenMode> openMode(std::string_view mode) {
    const bool update = mode.find('+') != std::string_view::npos;
    const int access = update ? O_RDWR : O_WRONLY;
    switch (mode.empty() ? '\0' : mode.front()) {
        case 'r':
            return OpenMode{update ? O_RDWR : O_RDONLY, update ? "r+" : "r"};
        case 'w':
            return OpenMode{access | O_CREAT | O_TRUNC, update ? "w+" : "w"};
        case 'a':
            return OpenMode{access | O_CREAT | O_APPEND, update ? "a+" : "a"};
        default:
            return std::nullopt;
    }
}

/// @return -1 with errno set
int openWithoutWaiting(const std::string& native, int flags) {
    constexpr mode_t kEverybody = 0666;  // less the process's mask
    const int descriptor = open(native.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, kEverybody);
    if (descriptor < 0) return -1;
    struct stat info;
    int error = fstat(descriptor, &info) != 0 ? errno : S_ISDIR(info.st_mode) ? EISDIR : 0;
    // Only opening must not wait; reading and writing may.
    if (error == 0 && fcntl(descriptor, F_SETFL, flags & O_APPEND) != 0) error = errno;
    if (error == 0) return descriptor;
    close(descriptor);
    errno = error;
    return -1;
}

/// For the user alone. @return -1 with errno set
int createNew(const std::string& native) {
    return open(native.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

}  // namespace

FileHandle openFile(std::string_view systemPath, std::string_view mode) {
    const std::optional<OpenMode> how = openMode(mode);
    if (!how) {
        errno = EINVAL;
        return nullptr;
    }
    const int descriptor = openWithoutWaiting(nativePath(systemPath), how->flags);
    if (descriptor < 0) return nullptr;
    FileHandle file(fdopen(descriptor, how->stdioMode));
    if (file == nullptr) close(descriptor);
    return file;
}

int closeFile(FileHandle file) {
    return std::fclose(file.release());
}

bool flushFile(std::FILE* file) {
    return std::fflush(file) == 0;
}

bool seekFile(std::FILE* file, std::int64_t offset, SeekFrom from) {
    static_assert(sizeof(off_t) == sizeof(std::int64_t));
    const int whence = from == SeekFrom::Start ? SEEK_SET : from == SeekFrom::Here ? SEEK_CUR : SEEK_END;
    return fseeko(file, offset, whence) == 0;
}

std::int64_t filePosition(std::FILE* file) {
    return ftello(file);
}

std::optional<std::int64_t> fileSize(std::FILE* file) {
    struct stat info;
    if (fstat(fileno(file), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
    return info.st_size;
}

FileHandle openRegularFile(std::string_view systemPath) {
    if (entryKind(nativePath(systemPath)) != EntryKind::Regular) return nullptr;
    return openFile(systemPath, "rb");
}

FileHandle createFile(std::string_view systemPath) {
    const std::string native = nativePath(systemPath);
    const int file = createNew(native);
    if (file < 0) return nullptr;
    std::FILE* stream = fdopen(file, "w");
    if (stream == nullptr) {
        close(file);
        unlink(native.c_str());
    }
    return FileHandle(stream);
}

bool takesFile(std::string_view systemPath) {
    systemPath = systemPath.substr(0, systemPath.find('\0'));
    const std::string_view directory = directoryOf(systemPath);
    const std::string native = nativePath(directory).append(systemPath.substr(directory.size()));
    const int file = createNew(native);
    if (file < 0) {
        struct stat info;
        return errno == EEXIST && !(lstat(native.c_str(), &info) == 0 && S_ISDIR(info.st_mode));
    }
    close(file);
    unlink(native.c_str());
    return true;
}

bool readPiece(std::FILE* file, std::size_t most, std::string& piece) {
    piece.clear();
    int c = '\0';
    while (piece.size() < most && (c = nextByte(file)) != EOF) {
        if (c == '\n' || (c == '\r' && takeLineFeed(file))) return true;
        piece += static_cast<char>(c);
    }
    return !piece.empty();
}

std::optional<std::string> readTextFile(std::string_view systemPath, std::size_t most) {
    const FileHandle file = openRegularFile(systemPath);
    if (file == nullptr) return std::nullopt;
    std::string text;
    char block[16384];
    while (text.size() <= most) {
        const std::size_t n = std::fread(block, 1, sizeof block, file.get());
        if (n == 0) break;
        text.append(block, n);
    }
    if (std::ferror(file.get()) != 0 || text.size() > kLongestTextFile) return std::nullopt;

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

int removeFile(std::string_view systemPath) {
    return unlink(nativePath(systemPath).c_str()) == 0 ? 0 : errno;
}

}  // namespace kestrel::platform
