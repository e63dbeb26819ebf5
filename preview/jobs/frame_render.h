// One picture, rendered pass by pass by this process or by several workers beside it.
#pragma once

#include "platform/workers.h"
#include "preview/picture/image.h"
#include "preview/render/renderer.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace kestrel::preview {

/// Who follows a picture on its way.
class FrameWatcher {
public:
    virtual ~FrameWatcher() = default;

    /// Called several times a second in the process that asked for the picture.
    /// @param done  0..1
    /// @return false to stop
    [[nodiscard]] virtual bool progress(double done) = 0;
    /// After each tile, in the process that rendered it. True: a script failed, so the picture is not to be
    /// had.
    [[nodiscard]] virtual bool scriptFailed() = 0;

    /// The first thing that a worker does.
    virtual void enterWorker(const platform::WorkerChannel& channel) = 0;
    /// In a worker: it cannot go on, for lack of memory for example.
    virtual void workFailed(std::string_view why) = 0;
    /// What a worker sent through its channel.
    virtual void workerLine(std::string_view line) = 0;
    /// A worker was ended by a signal, such as that of a crash.
    /// @param tile  what it was rendering
    virtual void workerDied(int signal, const std::optional<Tile>& tile) = 0;
};

struct FrameResult {
    Image image;
    bool complete = false;  ///< every sample of every pixel is there, and no script failed
    bool failed = false;    ///< a script failed or was ended, or a worker died
    std::int32_t passes =
        0;  ///< that cover the whole picture; the image shows what there is of the next as well
    RenderStatistics statistics;
};

/// Which samples a pass adds: the first one, then as many as there are already, so that every pass doubles
/// them.
struct SamplePass {
    std::int32_t first = 0;
    std::int32_t count = 1;
};
[[nodiscard]] std::vector<SamplePass> samplePasses(std::int32_t samples);

/// How many samples of each pixel that many passes take.
[[nodiscard]] std::int32_t samplesOf(const RenderOptions& options, std::int32_t passes);

/// The picture, or its region, in tiles row by row.
[[nodiscard]] std::vector<Tile> tilesOf(const RenderOptions& options);

/// Renders a picture. Its pixels are the same whatever the number of workers, as long as scripts keep nothing
/// from one sample to the next.
/// @param jobs  1: in this process, with what scripts keep from picture to picture; more: by that many
/// workers, each
///              a copy of this process that ends with the picture
[[nodiscard]] FrameResult renderFrame(const Pose& pose, Shading& shading, const RenderOptions& options,
                                      int jobs, FrameWatcher& watcher);

}  // namespace kestrel::preview
