#include "ipc/shared_record.h"

#include <algorithm>
#include <new>

namespace kestrel {

std::span<SharedRecord> sharedRecords(std::span<std::byte> block) noexcept {
    if (block.size() < sizeof(SharedBlockHeader)) return {};
    SharedBlockHeader header;
    std::memcpy(&header, block.data(), sizeof header);
    const std::size_t room = (block.size() - sizeof header) / sizeof(SharedRecord);
    const std::size_t count = header.capacity > 0 ? static_cast<std::size_t>(header.capacity) : 0;
    return {std::launder(reinterpret_cast<SharedRecord*>(block.data() + sizeof header)),
            std::min(count, room)};
}

}  // namespace kestrel
