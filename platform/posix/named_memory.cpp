// The system forgets a program's locks when it ends, however that happens. So who owns a block, and who has
// it open, is told by locks on its object: of byte 0 by the owners, of byte 1 by everybody who has it open.
// Whoever takes the name away locks byte 2 meanwhile. What a lock covers need not exist.
#include "platform/named_memory.h"

#include "platform/posix/named_objects.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace kestrel::platform {

namespace {

constexpr off_t kOwnerByte = 0;
constexpr off_t kUserByte = 1;
static_assert(kOwnerByte != kNameByte && kUserByte != kNameByte);

enum class Taking { Done, OwnerLives, TryAgain };

/// Makes way for a new block under a name that exists.
Taking takeFromDeadOwner(const std::string& object) {
    const ObjectFile old(openObject(object));
    if (!old) return errno == ENOENT ? Taking::TryAgain : Taking::OwnerLives;
    if (!lockObject(old.get(), Lock::Alone, kOwnerByte)) return Taking::OwnerLives;
    takeNameAway(old.get(), object);
    return Taking::Done;
}

}  // namespace

std::optional<NamedMemory> NamedMemory::create(std::string_view name, std::size_t size) {
    std::string object = objectName(name);
    if (name.empty() || size == 0) return std::nullopt;
    for (int i = 0; i < kObjectTries; ++i) {
        ObjectFile file(createObject(object));
        if (!file) {
            if (errno != EEXIST || takeFromDeadOwner(object) == Taking::OwnerLives) return std::nullopt;
            continue;
        }
        // Until this lock, another may take the block for one whose owner is gone, and be its owner's heir.
        if (!lockObject(file.get(), Lock::Alone, kOwnerByte) ||
            !lockSoon(file.get(), Lock::Shared, kUserByte))
            continue;
        if (!objectNamed(file.get())) continue;
        void* memory = reserveObject(file.get(), size) ? mapObject(file.get(), size) : MAP_FAILED;
        if (memory == MAP_FAILED) {
            takeNameAway(file.get(), object);
            return std::nullopt;
        }
        lockObject(file.get(), Lock::Shared, kOwnerByte);  // from now on others may join
        return NamedMemory(std::move(object), file.release(), {static_cast<std::byte*>(memory), size}, true);
    }
    return std::nullopt;
}

std::optional<NamedMemory> NamedMemory::open(std::string_view name) {
    std::string object = objectName(name);
    for (int i = 0; i < kObjectTries; ++i) {
        ObjectFile file(openObject(object));
        if (!file) return std::nullopt;
        if (!lockSoon(file.get(), Lock::Shared, kUserByte)) return std::nullopt;
        if (!objectNamed(file.get())) continue;  // its last user was just leaving
        const std::size_t size = objectSize(file.get());
        void* memory = size > 0 ? mapObject(file.get(), size) : MAP_FAILED;
        if (memory == MAP_FAILED) return std::nullopt;
        return NamedMemory(std::move(object), file.release(), {static_cast<std::byte*>(memory), size}, false);
    }
    return std::nullopt;
}

std::optional<NamedMemory> NamedMemory::join(std::string_view name) {
    std::optional<NamedMemory> block = open(name);
    if (!block || !block->ownerLives()) return std::nullopt;
    // Who made it may be at that still.
    block->owner_ = lockSoon(block->descriptor_, Lock::Shared, kOwnerByte);
    if (!block->owner_ || block->superseded()) return std::nullopt;
    return block;
}

NamedMemory::NamedMemory(std::string object, int descriptor, std::span<std::byte> bytes, bool owner) noexcept
    : object_(std::move(object)), descriptor_(descriptor), bytes_(bytes), owner_(owner), process_(getpid()) {}

NamedMemory::NamedMemory(NamedMemory&& other) noexcept
    : object_(std::move(other.object_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      bytes_(std::exchange(other.bytes_, {})),
      owner_(other.owner_),
      left_(other.left_),
      last_(other.last_),
      process_(other.process_) {}

NamedMemory& NamedMemory::operator=(NamedMemory&& other) noexcept {
    if (this == &other) return *this;
    close();
    object_ = std::move(other.object_);
    descriptor_ = std::exchange(other.descriptor_, -1);
    bytes_ = std::exchange(other.bytes_, {});
    owner_ = other.owner_;
    left_ = other.left_;
    last_ = other.last_;
    process_ = other.process_;
    return *this;
}

NamedMemory::~NamedMemory() {
    close();
}

void NamedMemory::close() noexcept {
    if (descriptor_ < 0) return;
    if (process_ == getpid() && (left_ ? last_ : leave())) takeNameAway(descriptor_, object_);
    munmap(bytes_.data(), bytes_.size());
    ::close(std::exchange(descriptor_, -1));
}

bool NamedMemory::ownerLives() const {
    if (owner_) return true;
    return lockedByOthers(descriptor_, kOwnerByte);
}

bool NamedMemory::superseded() const {
    return !objectNamed(descriptor_);
}

bool NamedMemory::leave() {
    left_ = true;
    // Locks belong to a copy of this program, too; what it does with them is done for both.
    if (process_ != getpid()) return false;
    // Unlocked first: of two that leave at the same time one finds the other gone.
    lockObject(descriptor_, Lock::None, kUserByte);
    last_ = lockObject(descriptor_, Lock::Alone, kUserByte);
    return last_;
}

}  // namespace kestrel::platform
