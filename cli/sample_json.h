// Shading samples as JSON.
#pragma once

#include "host/host_interface.h"

#include <nlohmann/json_fwd.hpp>

namespace kestrel::cli {

/// Every member by its name, in the record's order.
[[nodiscard]] nlohmann::ordered_json sampleJson(const ShadingSample& sample);

}  // namespace kestrel::cli
