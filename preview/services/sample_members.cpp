#include "preview/services/sample_members.h"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <vector>

namespace kestrel::preview {

namespace {

using Form = SampleMember::Form;

constexpr SampleMember kMembers[] = {
#define KESTREL_SAMPLE_MEMBER(name, form, count, access, description) \
    SampleMember{#name, Form::form, offsetof(ShadingSample, name), count},
#include "script/sample_members.def"
#undef KESTREL_SAMPLE_MEMBER
};

/// Calls `action` with the number at its place in the record, in its own type.
template <class Sample, class Action>
auto onField(const SampleMember& member, Sample& sample, int index, const Action& action) {
    using Byte = std::conditional_t<std::is_const_v<Sample>, const char, char>;
    auto* at = reinterpret_cast<Byte*>(&sample) + member.offset;
    const auto i = static_cast<std::size_t>(index);
    switch (member.form) {
        case Form::Whole:
            return action(at, i, std::int32_t{});
        case Form::Item:
            return action(at, i, HostItemID{});
        case Form::Real:
            break;
    }
    return action(at, i, double{});
}

bool fits(const SampleMember& member, double value) {
    if (member.form == Form::Real) return true;
    const bool item = member.form == Form::Item;
    const double low = item ? 0.0 : std::numeric_limits<std::int32_t>::min();
    const double high =
        item ? std::numeric_limits<std::uint32_t>::max() : std::numeric_limits<std::int32_t>::max();
    return value >= low && value <= high && value == std::floor(value);
}

bool parseNumbers(std::string_view text, std::vector<double>& values) {
    while (true) {
        const std::size_t comma = text.find(',');
        std::string_view part = text.substr(0, comma);
        if (!part.empty() && part.front() == '+') part.remove_prefix(1);
        double value = 0.0;
        const auto [end, problem] = std::from_chars(part.data(), part.data() + part.size(), value);
        if (problem != std::errc{} || end != part.data() + part.size() || !std::isfinite(value)) return false;
        values.push_back(value);
        if (comma == std::string_view::npos) return true;
        text.remove_prefix(comma + 1);
    }
}

/// A refusal of the whole assignment with its reason.
std::string refusal(std::string_view assignment, std::string_view reason) {
    return std::string("'").append(assignment).append("': ").append(reason);
}

std::string allNames() {
    std::string names;
    for (const SampleMember& member : kMembers) names.append(names.empty() ? "" : ", ").append(member.name);
    return names;
}

}  // namespace

double SampleMember::get(const ShadingSample& sample, int index) const {
    return onField(*this, sample, index, [](const char* at, std::size_t i, auto number) {
        std::memcpy(&number, at + i * sizeof number, sizeof number);
        return static_cast<double>(number);
    });
}

void SampleMember::set(ShadingSample& sample, int index, double value) const {
    onField(*this, sample, index, [value](char* at, std::size_t i, auto number) {
        number = static_cast<decltype(number)>(value);
        std::memcpy(at + i * sizeof number, &number, sizeof number);
    });
}

std::span<const SampleMember> sampleMembers() {
    return kMembers;
}

bool setSampleMember(ShadingSample& sample, std::string_view assignment, std::string& error) {
    const std::size_t equals = assignment.find('=');
    const std::string_view name = assignment.substr(0, equals);
    const SampleMember* member = nullptr;
    for (const SampleMember& candidate : kMembers) {
        if (candidate.name == name) member = &candidate;
    }
    if (equals == std::string_view::npos || member == nullptr) {
        error = refusal(assignment, "not of the form MEMBER=V[,V...] with MEMBER one of " + allNames());
        return false;
    }
    std::vector<double> values;
    const bool numbers = parseNumbers(assignment.substr(equals + 1), values);
    if (!numbers || values.size() != static_cast<std::size_t>(member->count)) {
        error = refusal(assignment, "it takes " + std::to_string(member->count) +
                                        (member->count == 1 ? " number" : " numbers, separated by commas"));
        return false;
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!fits(*member, values[i])) {
            error = refusal(assignment, "it takes a whole number");
            return false;
        }
        member->set(sample, static_cast<int>(i), values[i]);
    }
    return true;
}

}  // namespace kestrel::preview
