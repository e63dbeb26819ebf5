#include "platform/replace_file.h"

#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>

namespace kestrel::platform {

namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;  // as the system
constexpr mode_t kPermissions = 0777;
constexpr mode_t kEverybody = 0666;  // less the process's mask

std::string lastError() {
    return std::strerror(errno);
}

fs::path directoryOfFile(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

/// A link that somebody else may have put there for us to walk into: the system's own rule for links in
/// directories such as /tmp, which renaming would get round.
bool isStrangersLink(const fs::path& link, const struct stat& info) {
    struct stat directory;
    if (stat(directoryOfFile(link).c_str(), &directory) != 0) return true;
    const bool everybodys = (directory.st_mode & S_ISVTX) != 0 && (directory.st_mode & S_IWOTH) != 0;
    return everybodys && info.st_uid != geteuid() && info.st_uid != directory.st_uid;
}

/// Follows links to what is to be replaced.
/// @param problem  receives the reason when there is no way
fs::path targetOf(fs::path path, std::string& problem) {
    for (int i = 0; i < kMostLinks; ++i) {
        struct stat info;
        if (lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return path;
        if (isStrangersLink(path, info)) {
            problem = "is a link that another user made";
            return path;
        }
        std::error_code error;
        path = directoryOfFile(path) / fs::read_symlink(path, error);  // an absolute one replaces all of it
    }
    problem = std::strerror(ELOOP);
    return path;
}

enum class Kind { None, File, Directory, Special };

Kind kindOf(const fs::path& path, mode_t& permissions) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return Kind::None;
    permissions = info.st_mode & kPermissions;
    if (S_ISDIR(info.st_mode)) return Kind::Directory;
    return S_ISREG(info.st_mode) ? Kind::File : Kind::Special;
}

std::string writeAndClose(FileHandle file, std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) return lastError();
    return closeFile(std::move(file)) == 0 ? std::string() : lastError();
}

/// Writes into a device or a pipe. Never waits for somebody who reads a pipe, and never cuts a file that has
/// taken the place meanwhile.
std::string writeThrough(const fs::path& path, std::string_view bytes) {
    const int file = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0) return errno == ENXIO ? "is a pipe that nobody reads" : lastError();
    struct stat info;
    const bool special = fstat(file, &info) == 0 && !S_ISREG(info.st_mode) && fcntl(file, F_SETFL, 0) == 0;
    std::FILE* stream = special ? fdopen(file, "wb") : nullptr;
    if (stream == nullptr) {
        const std::string problem = special ? lastError() : "has been replaced by a file";
        close(file);
        return problem;
    }
    return writeAndClose(FileHandle(stream), bytes);
}

/// @return null with errno set
FileHandle createBeside(const fs::path& target, mode_t permissions, bool exact, std::string& name) {
    std::random_device random;
    for (int attempt = 0; attempt < 10; ++attempt) {
        name = (directoryOfFile(target) / (".kestrel." + std::to_string(random()))).string();
        const int file =
            open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, permissions);
        if (file < 0 && errno == EEXIST) continue;
        if (file < 0) return nullptr;
        // Before there is anything in it to read.
        if (exact) static_cast<void>(fchmod(file, permissions));
        std::FILE* stream = fdopen(file, "wb");
        if (stream == nullptr) {
            close(file);
            unlink(name.c_str());
        }
        return FileHandle(stream);
    }
    return nullptr;
}

}  // namespace

std::string replaceFile(const std::string& nativePath, std::string_view bytes) {
    // Not what its links lead to: those of /dev/stdout and its like are no paths that can be walked.
    mode_t permissions = kEverybody;
    if (kindOf(nativePath, permissions) == Kind::Special) return writeThrough(nativePath, bytes);
    std::string problem;
    const fs::path target = targetOf(nativePath, problem);
    if (!problem.empty()) return problem;
    const Kind kind = kindOf(target, permissions);
    if (kind == Kind::Directory) return std::strerror(EISDIR);
    std::string name;
    FileHandle file = createBeside(target, permissions, kind == Kind::File, name);
    if (file == nullptr) return lastError();
    problem = writeAndClose(std::move(file), bytes);
    if (problem.empty() && std::rename(name.c_str(), target.c_str()) != 0) problem = lastError();
    if (!problem.empty()) unlink(name.c_str());
    return problem;
}

std::string whyNotReplaceable(const std::string& nativePath) {
    mode_t permissions = 0;
    switch (kindOf(nativePath, permissions)) {
        case Kind::Directory:
            return "is a directory";
        case Kind::Special:
            return access(nativePath.c_str(), W_OK) == 0 ? std::string() : lastError();
        case Kind::None:
        case Kind::File:
            break;
    }
    std::string problem;
    const fs::path directory = directoryOfFile(targetOf(nativePath, problem));
    if (!problem.empty()) return problem;
    if (kindOf(directory, permissions) != Kind::Directory)
        return "there is no directory " + directory.string();
    return access(directory.c_str(), W_OK | X_OK) == 0 ? std::string() : lastError();
}

}  // namespace kestrel::platform
