// Samples in order, in groups where that can be.
#pragma once

#include "engine/fast/fast_process.h"

#include <algorithm>
#include <cstddef>

namespace kestrel::fast {

/// How far groups came.
struct GroupsRun {
    std::size_t end;  ///< the sample behind the last group that was shaded
    bool left;        ///< the group that begins there has left
};

/// Shades samples. What cannot be shaded in groups, and what is left behind the last whole group, is shaded
/// one by one, so that everything happens in the samples' order.
/// @param groups  code(process) is the code for groups, null where there is none now; run(code, first, end)
///                shades groups from `first` on, as many up to `end` as it likes, but one at least
/// @param single  shades the sample of an index without a group; false: it is the last one
/// @return the index behind the last one that was shaded
template <class Groups, class Single>
std::size_t shadeInOrder(FastProcess& process, std::size_t first, std::size_t end, Groups& groups,
                         const Single& single) {
    std::size_t at = first;
    while (at < end) {
        std::size_t until = std::min(end, at + BatchCode::kMostLanes);
        if (BatchCode* code = groups.code(process)) {
            const std::size_t lanes = code->lanes();
            if (end - at >= lanes) {
                const GroupsRun run = groups.run(*code, at, at + (end - at) / lanes * lanes);
                process.noteBatch(run.end - at, run.left ? lanes : 0);
                at = run.end;
                if (!run.left) continue;
            }
            until = std::min(end, at + lanes);
        }
        for (; at < until; ++at)
            if (!single(at)) return at + 1;
    }
    return end;
}

/// Groups of samples in columns.
class ColumnGroups {
public:
    ColumnGroups(const FastProcess& process, const Columns& columns) noexcept
        : process_(process), columns_(columns) {}

    [[nodiscard]] static BatchCode* code(FastProcess& process) { return process.batch(); }
    GroupsRun run(BatchCode& code, std::size_t first, std::size_t end) noexcept {
        if (&code != bound_ || made_ != process_.counts().lowered) code.bind(columns_);
        bound_ = &code;
        made_ = process_.counts().lowered;
        const std::size_t until = std::min(end, first + kBetweenPolls);
        const std::size_t stopped = code.run(first, until);
        return {stopped, stopped != until};
    }

private:
    static constexpr std::size_t kBetweenPolls = 1024;  // samples after which is looked whether to end

    const FastProcess& process_;
    const Columns& columns_;
    const BatchCode* bound_ = nullptr;
    int made_ = 0;
};

/// Groups of samples in records.
class RecordGroups {
public:
    explicit RecordGroups(const Records& records) noexcept : records_(records) {}

    /// Who shades by records did not ask for batches: there is code once it pays.
    [[nodiscard]] static BatchCode* code(FastProcess& process) {
        return process.batchPays() ? process.batch() : nullptr;
    }
    GroupsRun run(BatchCode& code, std::size_t first, std::size_t end) noexcept {
        const std::size_t until = std::min(end, first + ahead_);
        const std::size_t stopped = first + code.runRecords(records_, first, until);
        // Samples behind a group that leaves were put into planes for nothing.
        ahead_ = stopped != until ? std::size_t{BatchCode::kMostLanes}
                                  : std::min(2 * ahead_, BatchCode::kMostRecords);
        return {stopped, stopped != until};
    }

private:
    const Records& records_;
    std::size_t ahead_ = BatchCode::kMostRecords;
};

template <class Single>
std::size_t shadeBatch(FastProcess& process, const Columns& columns, std::size_t first, std::size_t end,
                       const Single& single) {
    ColumnGroups groups(process, columns);
    return shadeInOrder(process, first, end, groups, single);
}

template <class Single>
std::size_t shadeBatch(FastProcess& process, const Records& records, const Single& single) {
    RecordGroups groups(records);
    return shadeInOrder(process, 0, records.count, groups, single);
}

}  // namespace kestrel::fast
