// What the named objects of this system have in common; for its own files only.
#pragma once

#include <sys/mman.h>
#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kestrel::platform {

/// The system's name for an object: "/" and the name. Characters that it cannot hold are written as "%2F"; of
/// names that are too long the end gives way to a number made of all of it.
[[nodiscard]] std::string objectName(std::string_view name);

/// An open object's descriptor, which it closes.
class ObjectFile {
public:
    explicit ObjectFile(int descriptor) noexcept : descriptor_(descriptor) {}
    ~ObjectFile();
    ObjectFile(const ObjectFile&) = delete;
    ObjectFile& operator=(const ObjectFile&) = delete;

    explicit operator bool() const noexcept { return descriptor_ >= 0; }
    [[nodiscard]] int get() const noexcept { return descriptor_; }
    [[nodiscard]] int release() noexcept;

private:
    int descriptor_;
};

/// Opens an object that belongs to this user and that nobody else may write.
/// @return -1 when there is none
[[nodiscard]] int openObject(const std::string& object);
/// Makes an object that only this user may open. @return -1 when there is one of that name
[[nodiscard]] int createObject(const std::string& object);
/// Makes an object at least that large, with memory behind all of it: writing to it cannot fail later.
[[nodiscard]] bool reserveObject(int descriptor, std::size_t size);
/// Size in bytes; 0 when it cannot be told.
[[nodiscard]] std::size_t objectSize(int descriptor);
/// True while the object has its name.
[[nodiscard]] bool objectNamed(int descriptor);
/// The system forgets a program's locks when it ends, however that happens. They belong to the open
/// descriptor and its copies; what they cover need not exist.
enum class Lock { None, Shared, Alone };
bool lockObject(int descriptor, Lock lock, off_t byte) noexcept;
/// The same for locks that others hold only for a moment.
bool lockSoon(int descriptor, Lock lock, off_t byte);
/// True when another open descriptor has a lock there.
[[nodiscard]] bool lockedByOthers(int descriptor, off_t byte) noexcept;

/// Who takes an object's name away holds the lock of this byte.
inline constexpr off_t kNameByte = 2;
/// Takes an object's name away. An object has one name, and nobody takes it without the lock: so as long as
/// the object has a name, it is this one.
void takeNameAway(int descriptor, const std::string& object);

/// How often to try where others make and remove objects of the same name.
inline constexpr int kObjectTries = 200;

/// @return MAP_FAILED when it cannot be mapped
[[nodiscard]] void* mapObject(int descriptor, std::size_t size);

}  // namespace kestrel::platform
