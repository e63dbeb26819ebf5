// The panel service as the module calls it.
#pragma once

#include "preview/services/panel.h"

namespace kestrel::preview {

/// The record of the service. Its functions carry no handle of ours (see PreviewServices): they answer for
/// the desk that was set last.
[[nodiscard]] PanelServices* panelServices(PanelDesk& desk);

}  // namespace kestrel::preview
