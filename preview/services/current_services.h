// How the plain functions of the services find the set that answers.
#pragma once

namespace kestrel::preview {

class PreviewServices;

/// The set that exists; null when there is none. For the functions that the module calls, and for nothing
/// else.
[[nodiscard]] PreviewServices* currentServices() noexcept;

}  // namespace kestrel::preview
