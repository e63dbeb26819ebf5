// The built-ins that only the host side can answer.
#pragma once

#include "engine/context/builtin.h"

namespace kestrel {

/// illuminate(light, point, vector): light and colour at a point, from the host; six numbers.
void illuminateBuiltin(BuiltinCall& call);
/// raytrace(point, direction): distance and colour of what a ray hits, from the host; four numbers.
void raytraceBuiltin(BuiltinCall& call);
/// setdesc(...): sets the line that describes the instance to the arguments' texts.
void setdescBuiltin(BuiltinCall& call);
/// runningUnder(): which of its programs the host is.
void runningUnderBuiltin(BuiltinCall& call);
/// getdir(which): one of the host's directories.
void getdirBuiltin(BuiltinCall& call);

}  // namespace kestrel
