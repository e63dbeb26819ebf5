// The samples of a batch by columns: for each number of the record that differs between them an array.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kestrel::fast {

struct Column {
    std::int64_t offset = 0;  ///< in the record
    bool whole = false;       ///< std::int32_t; otherwise double
    bool writable = false;    ///< what code writes arrives there; otherwise it is dropped
    void* data = nullptr;     ///< of sample 0; of a column that is not writable never written
};

class Columns {
public:
    /// @param common  a record: what all samples have where there is no column
    explicit Columns(std::span<const std::byte> common) : common_(common.begin(), common.end()) {}

    void add(const Column& column) { columns_.push_back(column); }
    /// @return null where all samples have what the common record has
    [[nodiscard]] const Column* find(std::int64_t offset) const noexcept;
    [[nodiscard]] std::span<const Column> all() const noexcept { return columns_; }
    /// Where the common record has the number at an offset.
    [[nodiscard]] const std::byte* common(std::int64_t offset) const noexcept {
        return common_.data() + offset;
    }

    /// Makes a sample's record.
    void gather(std::size_t sample, void* record) const noexcept;
    /// Puts back what code may have written of it.
    void scatter(std::size_t sample, const void* record) const noexcept;

private:
    std::vector<std::byte> common_;
    std::vector<Column> columns_;
};

}  // namespace kestrel::fast
