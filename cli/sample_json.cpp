#include "cli/sample_json.h"

#include "preview/services/sample_members.h"

#include <nlohmann/json.hpp>

namespace kestrel::cli {

namespace {

using Json = nlohmann::ordered_json;

Json memberJson(const preview::SampleMember& member, const ShadingSample& sample, int index) {
    const double value = member.get(sample, index);
    if (member.form == preview::SampleMember::Form::Real) return value;
    return static_cast<std::int64_t>(value);
}

}  // namespace

nlohmann::ordered_json sampleJson(const ShadingSample& sample) {
    Json object = Json::object();
    for (const preview::SampleMember& member : preview::sampleMembers()) {
        Json& entry = object[std::string(member.name)];
        if (member.count == 1) {
            entry = memberJson(member, sample, 0);
            continue;
        }
        for (int i = 0; i < member.count; ++i) entry.push_back(memberJson(member, sample, i));
    }
    return object;
}

}  // namespace kestrel::cli
