// Batches: samples by planes.
#include "engine/fast/batch_run.h"
#include "engine/fast/columns.h"
#include "script/include/kestrel/script.h"
#include "script/sample_kind.h"
#include "script/script_state.h"

#include <algorithm>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>

namespace kestrel::script {

struct Planes::Impl {
    Impl(std::size_t samples, const Sample& common)
        : count(samples), columns(std::as_bytes(std::span(&common, 1))) {}

    /// @param plane  its first number; of one that is not updated never written
    void add(std::string_view member, int number, void* plane, std::size_t size, bool whole, bool updated);

    std::size_t count;
    fast::Columns columns;

private:
    [[nodiscard]] std::int64_t offsetOf(std::string_view member, int number, bool whole, bool updated) const;
    [[nodiscard]] bool overlaps(const fast::Column& a, const fast::Column& b) const noexcept;
};

namespace {

[[noreturn]] void refuse(std::string_view member, const char* why) {
    throw std::invalid_argument("kestrel: \"" + std::string(member) + "\" " + why);
}

std::size_t bytesOf(const fast::Column& column, std::size_t count) noexcept {
    return count * (column.whole ? sizeof(std::int32_t) : sizeof(double));
}

/// A name under which scripts read what belongs to another one.
bool isSecondName(const MemberRow& row) noexcept {
    return row.name == "wXfrm";
}

}  // namespace

std::int64_t Planes::Impl::offsetOf(std::string_view member, int number, bool whole, bool updated) const {
    const MemberRow* row = findSampleMember(member);
    if (row == nullptr) refuse(member, "is no member of a sample");
    if (row->layout == MemberLayout::None || isSecondName(*row))
        refuse(member, "is nothing that scripts read");
    if (number < 1 || number > row->elements)
        refuse(member, "does not have so many numbers, which are counted from 1");
    if (whole != (row->layout == MemberLayout::Whole))
        refuse(member, whole ? "is no whole number: its plane is of doubles"
                             : "is a whole number: its plane is of std::int32_t");
    if (updated && row->write == nullptr) refuse(member, "cannot be changed by scripts: its plane is read");
    return static_cast<std::int64_t>(row->detail + static_cast<std::size_t>(number - 1) * sizeof(double));
}

bool Planes::Impl::overlaps(const fast::Column& a, const fast::Column& b) const noexcept {
    const auto* beginA = static_cast<const std::byte*>(a.data);
    const auto* beginB = static_cast<const std::byte*>(b.data);
    const std::less<> before;  // of pointers into different arrays, too
    return before(beginA, beginB + bytesOf(b, count)) && before(beginB, beginA + bytesOf(a, count));
}

void Planes::Impl::add(std::string_view member, int number, void* plane, std::size_t size, bool whole,
                       bool updated) {
    const fast::Column column{offsetOf(member, number, whole, updated), whole, updated, plane};
    if (columns.find(column.offset) != nullptr) refuse(member, "has a plane for this number already");
    if (size < count) refuse(member, "has a plane that is shorter than the batch");
    if (plane == nullptr && count != 0) refuse(member, "has a plane that is a null pointer");
    for (const fast::Column& other : columns.all())
        if ((updated || other.writable) && overlaps(column, other))
            refuse(member, "has a plane that overlaps another, and one of the two is updated");
    columns.add(column);
}

namespace {

Planes::Impl& there(const std::unique_ptr<Planes::Impl>& impl) {
    if (impl == nullptr) throw std::logic_error("kestrel: the planes were moved elsewhere");
    return *impl;
}

/// Columns have one kind of pointer; through those that are not writable nothing is written.
template <class Number>
void* unwritten(std::span<const Number> plane) noexcept {
    return const_cast<Number*>(plane.data());  // NOLINT: see above
}

}  // namespace

Planes::Planes(std::size_t count, const Sample& common)
    : count_(count), impl_(std::make_unique<Impl>(count, common)) {}
Planes::~Planes() = default;
Planes::Planes(Planes&&) noexcept = default;
Planes& Planes::operator=(Planes&&) noexcept = default;

Planes& Planes::read(TextView member, int number, std::span<const double> plane) {
    there(impl_).add(member, number, unwritten(plane), plane.size(), false, false);
    return *this;
}

Planes& Planes::read(TextView member, int number, std::span<const std::int32_t> plane) {
    there(impl_).add(member, number, unwritten(plane), plane.size(), true, false);
    return *this;
}

Planes& Planes::update(TextView member, int number, std::span<double> plane) {
    there(impl_).add(member, number, plane.data(), plane.size(), false, true);
    return *this;
}

BatchResult Script::evaluate(const Planes& planes, std::size_t first, std::size_t count) {
    const fast::Columns& columns = there(planes.impl_).columns;
    if (first > planes.count() || count > planes.count() - first)
        throw std::invalid_argument("kestrel: the planes do not have so many samples");
    Work work(impl());
    Impl& script = work.script();
    if (script.process == nullptr) return {Status::NoSuchFunction, 0};
    BatchResult result;
    bool cancelled = false;  // before the sample
    const auto single = [&](std::size_t sample) {
        cancelled = script.ctx.endRequested();
        if (cancelled) return false;
        work.begin();
        Sample record;
        columns.gather(sample, &record);
        result.status = script.shade(record);
        columns.scatter(sample, &record);
        return result.status == Status::Done;
    };
    const std::size_t end = fast::shadeBatch(script.fast, columns, first, first + count, single);
    if (cancelled) result.status = Status::Cancelled;
    result.evaluated = end - first - (cancelled ? 1 : 0);
    return result;
}

std::uint64_t Script::samplesInGroups() const {
    const Use use(*impl()->engine);
    return impl_->fast.counts().grouped;
}

}  // namespace kestrel::script
