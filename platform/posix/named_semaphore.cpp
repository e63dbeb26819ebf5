#include "platform/named_semaphore.h"

#include "platform/posix/named_objects.h"

#include <linux/futex.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace kestrel::platform {

/// Zeros are a free semaphore.
struct NamedSemaphore::Shared {
    std::atomic<std::uint64_t> holder;    ///< kFree, kRemoved, or number and start of the program
    std::atomic<std::uint32_t> releases;  ///< what waiting programs sleep on
    std::atomic<std::uint32_t> waiting;   ///< how many do; too high when one was killed, which costs a call
};

namespace {

constexpr std::uint64_t kFree = 0;
constexpr std::uint64_t kRemoved = ~std::uint64_t{0};
constexpr std::chrono::milliseconds kLookAround{100};
/// Tries to get a semaphore before sleeping: others hold it for less than a microsecond.
constexpr int kSpins = 200;

static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
static_assert(std::atomic<std::uint32_t>::is_always_lock_free && sizeof(std::atomic<std::uint32_t>) == 4);

void sleepOn(std::atomic<std::uint32_t>& word, std::uint32_t seen, std::chrono::milliseconds longest) {
    struct timespec time {};
    time.tv_sec = static_cast<time_t>(longest.count() / 1000);
    time.tv_nsec = static_cast<long>(longest.count() % 1000) * 1'000'000;
    syscall(SYS_futex, &word, FUTEX_WAIT, seen, &time, nullptr, 0);
}

void wakeAll(std::atomic<std::uint32_t>& word) {
    syscall(SYS_futex, &word, FUTEX_WAKE, 1 << 30, nullptr, nullptr, 0);
}

struct ProcessStatus {
    bool known = false;
    char state = '\0';
    std::uint32_t started = 0;  ///< in the system's ticks, low half
};

ProcessStatus statusOf(std::int32_t process) {
    char path[40];
    std::snprintf(path, sizeof path, "/proc/%d/stat", process);
    std::FILE* file = std::fopen(path, "re");
    if (file == nullptr) return {};
    std::array<char, 1024> text{};
    const std::size_t size = std::fread(text.data(), 1, text.size() - 1, file);
    std::fclose(file);
    text[size] = '\0';
    // The program's name stands in parentheses and may hold anything. Behind it: the state is the first word,
    // the start the 20th.
    const char* at = std::strrchr(text.data(), ')');
    if (at == nullptr || at[1] == '\0') return {};
    ProcessStatus status{true, at[2], 0};
    for (int i = 0; i < 20 && at != nullptr; ++i) at = std::strchr(at + 1, ' ');
    if (at != nullptr) status.started = static_cast<std::uint32_t>(std::strtoull(at + 1, nullptr, 10));
    return status;
}

std::uint64_t holderWord(std::int32_t process, std::uint32_t started) noexcept {
    return std::uint64_t{static_cast<std::uint32_t>(process)} << 32U | started;
}

/// A program that ended but was not waited for yet counts as gone, and so does one whose number another has
/// by now.
bool isGone(std::uint64_t holder) {
    const auto process = static_cast<std::int32_t>(holder >> 32U);
    if (process <= 0) return true;
    const ProcessStatus status = statusOf(process);
    // A start of 0 is that of a program that could not find out its own.
    if (!status.known || static_cast<std::uint32_t>(holder) == 0)
        return kill(process, 0) != 0 && errno == ESRCH;
    return status.state == 'Z' || status.state == 'X' || status.started != static_cast<std::uint32_t>(holder);
}

}  // namespace

std::optional<NamedSemaphore> NamedSemaphore::map(std::string object, int descriptor) {
    const ObjectFile file(descriptor);
    // Whoever comes first gives it its size: a program may find it between its making and that.
    if (!file || !reserveObject(file.get(), sizeof(Shared))) return std::nullopt;
    void* memory = mapObject(file.get(), sizeof(Shared));
    if (memory == MAP_FAILED) return std::nullopt;
    return NamedSemaphore(std::move(object), static_cast<Shared*>(memory));
}

void NamedSemaphore::clearName(const std::string& object) {
    // Whoever removed the semaphore may have died before its name was gone; and by now the name may be
    // another's.
    const ObjectFile file(openObject(object));
    if (!file || objectSize(file.get()) < sizeof(Shared)) return;
    void* memory = mapObject(file.get(), sizeof(Shared));
    if (memory == MAP_FAILED) return;
    if (static_cast<Shared*>(memory)->holder == kRemoved) takeNameAway(file.get(), object);
    munmap(memory, sizeof(Shared));
}

std::optional<NamedSemaphore> NamedSemaphore::open(std::string_view name) {
    std::string object = objectName(name);
    const int descriptor = openObject(object);
    return map(std::move(object), descriptor);
}

std::optional<NamedSemaphore> NamedSemaphore::openOrCreate(std::string_view name) {
    const std::string object = objectName(name);
    for (int i = 0; i < kObjectTries; ++i) {
        int descriptor = openObject(object);
        const bool isNew = descriptor < 0;
        if (isNew) descriptor = createObject(object);
        if (descriptor < 0 && errno != EEXIST) return std::nullopt;
        if (descriptor < 0) continue;
        std::optional<NamedSemaphore> made = map(object, descriptor);
        if (!made && isNew) shm_unlink(object.c_str());
        if (!made || made->shared_->holder != kRemoved) return made;
        clearName(object);
    }
    return std::nullopt;
}

std::optional<NamedSemaphore> NamedSemaphore::create(std::string_view name, Count count) {
    const std::string object = objectName(name);
    for (int i = 0; i < kObjectTries; ++i) {
        if (const int descriptor = createObject(object); descriptor >= 0) {
            std::optional<NamedSemaphore> made = map(object, descriptor);
            if (!made) shm_unlink(object.c_str());
            if (!made || count == Count::Free) return made;
            // From the moment of its making others may have it.
            std::uint64_t holder = kFree;
            if (made->shared_->holder.compare_exchange_strong(holder, made->self())) return made;
            return std::nullopt;
        }
        if (errno != EEXIST) return std::nullopt;
        std::optional<NamedSemaphore> old = open(name);
        if (!old) continue;
        if (old->shared_->holder == kRemoved)
            clearName(object);
        else if (!old->remove())
            return std::nullopt;
    }
    return std::nullopt;
}

NamedSemaphore::NamedSemaphore(NamedSemaphore&& other) noexcept
    : object_(std::move(other.object_)), shared_(std::exchange(other.shared_, nullptr)), self_(other.self_) {}

NamedSemaphore& NamedSemaphore::operator=(NamedSemaphore&& other) noexcept {
    std::swap(object_, other.object_);
    std::swap(shared_, other.shared_);
    std::swap(self_, other.self_);
    return *this;
}

NamedSemaphore::~NamedSemaphore() {
    if (shared_ != nullptr) munmap(shared_, sizeof(Shared));
}

std::uint64_t NamedSemaphore::self() {
    const std::int32_t process = getpid();
    if (self_.process != process || self_.started == 0) self_ = {process, statusOf(process).started};
    return holderWord(self_.process, self_.started);
}

NamedSemaphore::Wait NamedSemaphore::acquire(CancelFlag requested,
                                             std::optional<std::chrono::milliseconds> longest) {
    using Clock = std::chrono::steady_clock;
    const std::uint64_t own = self();
    const auto take = [&](std::uint64_t& from) { return shared_->holder.compare_exchange_strong(from, own); };
    for (int i = 0; i < kSpins; ++i) {
        std::uint64_t holder = kFree;
        if (take(holder)) return Wait::Acquired;
        if (holder == kRemoved) return Wait::Removed;
    }
    const Clock::time_point start = Clock::now();
    Clock::time_point looked = start;
    const std::chrono::milliseconds nap = std::min(longest.value_or(kLookAround), kLookAround);
    while (true) {
        const std::uint32_t seen = shared_->releases;
        ++shared_->waiting;
        std::uint64_t holder = kFree;
        const bool taken = take(holder);
        if (!taken && holder != kRemoved) sleepOn(shared_->releases, seen, nap);
        --shared_->waiting;
        if (taken) return Wait::Acquired;
        if (holder == kRemoved) return Wait::Removed;
        if (requested != nullptr && *requested != 0) return Wait::Cancelled;
        const Clock::time_point now = Clock::now();
        if (longest && now - start >= *longest) return Wait::TimedOut;
        if (now - looked < kLookAround) continue;
        looked = now;
        holder = shared_->holder;
        if (holder != kFree && holder != kRemoved && isGone(holder) && take(holder)) return Wait::Recovered;
    }
}

void NamedSemaphore::release() {
    std::uint64_t holder = shared_->holder;
    if (holder == kFree || holder == kRemoved || !shared_->holder.compare_exchange_strong(holder, kFree))
        return;
    ++shared_->releases;
    if (shared_->waiting != 0) wakeAll(shared_->releases);
}

bool NamedSemaphore::remove() {
    std::uint64_t holder = shared_->holder;
    const bool others = holder != kFree && holder != self();
    if (holder == kRemoved || (others && !isGone(holder))) return false;
    if (!shared_->holder.compare_exchange_strong(holder, kRemoved)) return false;
    clearName(object_);
    ++shared_->releases;
    wakeAll(shared_->releases);
    return true;
}

std::uint32_t NamedSemaphore::releases() const noexcept {
    return shared_->releases;
}

void NamedSemaphore::waitForRelease(std::uint32_t seen, std::chrono::milliseconds longest) const {
    ++shared_->waiting;
    sleepOn(shared_->releases, seen, longest);
    --shared_->waiting;
}

}  // namespace kestrel::platform
