// Values of scripts in records that programs share.
#pragma once

#include "engine/values/value.h"
#include "ipc/shared_record.h"

namespace kestrel {

/// Writes kind and payload of a number, a text, a vector or Nil; texts are cut at 255 characters, integers at
/// 32 bits. Other values leave the record as it is.
void putValue(SharedRecord& record, const ValueCell& value);

}  // namespace kestrel
