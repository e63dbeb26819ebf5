#include "platform/posix/named_objects.h"

#include "platform/clock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace kestrel::platform {

namespace {

constexpr std::size_t kLongestName = 230;
constexpr mode_t kOnlyThisUser = 0600;
constexpr mode_t kOthersMayWrite = S_IWGRP | S_IWOTH;
constexpr std::chrono::milliseconds kBetweenTries{5};

struct flock lockOf(Lock lock, off_t byte) noexcept {
    struct flock request {};
    request.l_type = lock == Lock::Alone ? F_WRLCK : lock == Lock::Shared ? F_RDLCK : F_UNLCK;
    request.l_whence = SEEK_SET;
    request.l_start = byte;
    request.l_len = 1;
    return request;
}

/// FNV-1a, so that every program makes the same number of a name.
std::uint64_t numberOf(std::string_view name) noexcept {
    std::uint64_t hash = 14695981039346656037ULL;
    for (const char c : name) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1099511628211ULL;
    }
    return hash;
}

}  // namespace

std::string objectName(std::string_view name) {
    std::string object = "/";
    for (const char c : name) {
        if (c == '/' || c == '%' || c == '\0') {
            char text[8];
            std::snprintf(text, sizeof text, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
            object += text;
        } else {
            object += c;
        }
    }
    if (object.size() > kLongestName) {
        char text[24];
        std::snprintf(text, sizeof text, "~%016llx", static_cast<unsigned long long>(numberOf(name)));
        object.resize(kLongestName - 17);
        object += text;
    }
    return object;
}

ObjectFile::~ObjectFile() {
    if (descriptor_ >= 0) close(descriptor_);
}

int ObjectFile::release() noexcept {
    return std::exchange(descriptor_, -1);
}

int openObject(const std::string& object) {
    ObjectFile file(shm_open(object.c_str(), O_RDWR, 0));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0) return -1;
    const bool ours = S_ISREG(status.st_mode) && status.st_uid == geteuid();
    return ours && (status.st_mode & kOthersMayWrite) == 0 ? file.release() : -1;
}

int createObject(const std::string& object) {
    return shm_open(object.c_str(), O_RDWR | O_CREAT | O_EXCL, kOnlyThisUser);
}

bool reserveObject(int descriptor, std::size_t size) {
    int error = EINTR;
    while (error == EINTR) error = posix_fallocate(descriptor, 0, static_cast<off_t>(size));
    return error == 0;
}

std::size_t objectSize(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 ? static_cast<std::size_t>(status.st_size) : 0;
}

bool objectNamed(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

bool lockObject(int descriptor, Lock lock, off_t byte) noexcept {
    struct flock request = lockOf(lock, byte);
    return fcntl(descriptor, F_OFD_SETLK, &request) == 0;
}

bool lockSoon(int descriptor, Lock lock, off_t byte) {
    for (int i = 0; i < kObjectTries; ++i) {
        if (lockObject(descriptor, lock, byte)) return true;
        pause(kBetweenTries, nullptr);
    }
    return false;
}

bool lockedByOthers(int descriptor, off_t byte) noexcept {
    struct flock request = lockOf(Lock::Alone, byte);
    return fcntl(descriptor, F_OFD_GETLK, &request) == 0 && request.l_type != F_UNLCK;
}

void takeNameAway(int descriptor, const std::string& object) {
    if (!lockSoon(descriptor, Lock::Alone, kNameByte)) return;
    if (objectNamed(descriptor)) shm_unlink(object.c_str());
    lockObject(descriptor, Lock::None, kNameByte);
}

void* mapObject(int descriptor, std::size_t size) {
    return mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
}

}  // namespace kestrel::platform
