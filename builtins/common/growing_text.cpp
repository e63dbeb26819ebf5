#include "builtins/common/growing_text.h"

#include "engine/operations/text_buffer.h"

#include <algorithm>
#include <cstring>

namespace kestrel::builtins {

namespace {

constexpr std::size_t kFirstRoom = 512;
constexpr std::size_t kRoomToKeep = 64 * 1024;

}  // namespace

bool GrowingText::append(std::string_view piece) {
    if (piece.empty()) return true;
    if (!makeRoom(piece.size())) return false;
    std::memcpy(data_ + size_, piece.data(), piece.size());
    size_ += piece.size();
    return true;
}

bool GrowingText::append(std::size_t count, char c) {
    if (count == 0) return true;
    if (!makeRoom(count)) return false;
    std::memset(data_ + size_, c, count);
    size_ += count;
    return true;
}

void GrowingText::clear() noexcept {
    size_ = 0;
    if (room_ > kRoomToKeep) release();
}

bool GrowingText::makeRoom(std::size_t more) {
    if (more <= room_ - size_) return true;
    if (more > kLongestText - size_) return fitsText(ctx_, kLongestText + 1);
    const std::size_t room = std::min(std::max({kFirstRoom, size_ + more, 2 * room_}), kLongestText);
    char* data = makeTextBuffer(ctx_, room);
    if (data == nullptr) return false;
    if (size_ > 0) std::memcpy(data, data_, size_);
    ctx_.pool.free(data_);
    data_ = data;
    room_ = room;
    return true;
}

void GrowingText::release() noexcept {
    if (data_ != nullptr) ctx_.pool.free(data_);
    data_ = nullptr;
    size_ = room_ = 0;
}

}  // namespace kestrel::builtins
