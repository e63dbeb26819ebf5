// The blocks that programs exchange values in: their bytes are an interface between programs.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace kestrel {

/// SharedRecord::kind.
enum SharedKind : std::int32_t {
    kSharedNone = 0,
    kSharedInteger = 1,  ///< payload: 32-bit integer
    kSharedNumber = 2,   ///< payload: double
    kSharedText = 3,     ///< payload: up to 255 characters and a NUL
    kSharedVector = 4,   ///< payload: three doubles
    kSharedNil = 5,
};

/// One record of a block. All numbers are little-endian.
struct SharedRecord {
    static constexpr std::size_t kTextLength = 255;

    std::int32_t state;
    std::int32_t reserved;
    std::int32_t owner;
    std::int32_t next;
    std::int32_t semaphore;
    std::int32_t kind;
    std::array<char, kTextLength + 1> payload;

    [[nodiscard]] std::int32_t integer() const noexcept { return get<std::int32_t>(0); }
    [[nodiscard]] double number(std::size_t index = 0) const noexcept { return get<double>(index); }
    /// The text, of at most 255 characters also when whoever wrote it left no NUL.
    [[nodiscard]] std::string_view text() const noexcept {
        const std::string_view all(payload.data(), kTextLength);
        return all.substr(0, all.find('\0'));
    }
    void setInteger(std::int32_t value) noexcept { set(0, value); }
    void setNumber(double value, std::size_t index = 0) noexcept { set(index, value); }
    /// Cuts what is too long.
    void setText(std::string_view text) noexcept {
        text = text.substr(0, std::min(text.find('\0'), kTextLength));
        text.copy(payload.data(), text.size());
        payload[text.size()] = '\0';
    }

private:
    template <class T>
    [[nodiscard]] T get(std::size_t index) const noexcept {
        T value;
        std::memcpy(&value, payload.data() + index * sizeof(T), sizeof(T));
        return value;
    }
    template <class T>
    void set(std::size_t index, T value) noexcept {
        std::memcpy(payload.data() + index * sizeof(T), &value, sizeof(T));
    }
};

/// What stands before the records.
struct SharedBlockHeader {
    std::int32_t capacity;  ///< number of records
    std::int32_t zero;
};

// Counted from the block's start, the fields of record k stand at 280*k + 8 (state), + 12, ... + 32
// (payload).
inline constexpr std::size_t kSharedRecordSize = 280;
static_assert(sizeof(SharedBlockHeader) == 8);
static_assert(sizeof(SharedRecord) == kSharedRecordSize);
static_assert(sizeof(SharedBlockHeader) + offsetof(SharedRecord, reserved) == 12);
static_assert(sizeof(SharedBlockHeader) + offsetof(SharedRecord, owner) == 16);
static_assert(sizeof(SharedBlockHeader) + offsetof(SharedRecord, next) == 20);
static_assert(sizeof(SharedBlockHeader) + offsetof(SharedRecord, semaphore) == 24);
static_assert(sizeof(SharedBlockHeader) + offsetof(SharedRecord, kind) == 28);
static_assert(sizeof(SharedBlockHeader) + offsetof(SharedRecord, payload) == 32);

/// The records of a block: as many as its header says, but never more than fit.
[[nodiscard]] std::span<SharedRecord> sharedRecords(std::span<std::byte> block) noexcept;

}  // namespace kestrel
