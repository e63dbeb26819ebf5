// The members of a shading sample by the names that scripts use.
#pragma once

#include "host/host_interface.h"

#include <span>
#include <string>
#include <string_view>

namespace kestrel::preview {

struct SampleMember {
    enum class Form { Whole, Item, Real };
    std::string_view name;
    Form form = Form::Real;
    std::size_t offset = 0;  ///< in ShadingSample
    int count = 1;           ///< of numbers

    [[nodiscard]] double get(const ShadingSample& sample, int index) const;
    void set(ShadingSample& sample, int index, double value) const;
};

/// All members in the record's order.
[[nodiscard]] std::span<const SampleMember> sampleMembers();

/// Sets a member from "MEMBER=V[,V...]": as many numbers as the member has, whole ones where it holds those.
/// @param error  receives a plain sentence when the text is not of that form
[[nodiscard]] bool setSampleMember(ShadingSample& sample, std::string_view assignment, std::string& error);

}  // namespace kestrel::preview
