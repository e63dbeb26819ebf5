// The storage of a user record.
#pragma once

#include "engine/values/pool.h"
#include "engine/values/value.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrel {

struct RecordTemplate;

struct RecordMember {
    const char* name = nullptr;
    ValueCell value;  ///< texts are retained pool copies owned by the member
};

/// One instance. Variables, elements and members that hold it are counted; an instance that only the stack
/// refers to (a fresh one, or one whose holder let go) is kept until the statement that made it is over.
struct RecordInstance {
    explicit RecordInstance(Pool& pool) noexcept : memory(pool) {}

    const RecordTemplate* declaration = nullptr;
    std::vector<RecordMember> members;
    std::int32_t holders = 0;
    std::size_t index = 0;  ///< position in EngineContext::records
    bool onStack = false;   ///< while a sweep runs
    Pool::Share memory;     ///< of the record and its members
};

}  // namespace kestrel
