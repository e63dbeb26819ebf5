// Where the controls of a panel go, and the lines between them.
#pragma once

#include "host/requester.h"

namespace kestrel {

/// Places the controls, puts the panel in the middle of the screen and has its separators drawn. May be done
/// again when controls have been added.
void layOut(RequesterPanel& panel);

}  // namespace kestrel
