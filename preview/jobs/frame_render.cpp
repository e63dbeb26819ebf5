#include "preview/jobs/frame_render.h"

#include "platform/environment.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <span>
#include <thread>

namespace kestrel::preview {

namespace {

using std::chrono::milliseconds;

constexpr std::int32_t kTile = 32;
constexpr std::size_t kMostWorkers = 256;
constexpr milliseconds kLook{50};
/// A script that does not end at an interrupt, because it waits inside the system, is ended after this.
constexpr milliseconds kPatience{3000};
constexpr std::int32_t kNoTile = -1;
/// So that an interrupt is seen soon.
constexpr std::int32_t kMostPerPass = 16;

/// What all workers of a picture share. It lies in shared memory, so it holds no pointers.
struct Board {
    std::atomic<std::uint64_t> next{0};      // tickets: pass by pass, tile by tile
    std::atomic<std::uint64_t> finished{0};  // tickets that are done
    std::atomic<bool> stop{false};
    std::atomic<bool> failed{false};
    struct Worker {
        std::atomic<std::int32_t> tile{kNoTile};
        RenderStatistics statistics;
    };
    Worker workers[kMostWorkers];
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free &&
              std::atomic<std::int32_t>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

/// The picture's work, wherever its memory lies.
class Work {
public:
    Work(const Pose& pose, Shading& shading, const RenderOptions& options)
        : pose_(pose),
          shading_(shading),
          options_(options),
          passes_(samplePasses(options.samples)),
          tiles_(tilesOf(options)),
          pixels_(static_cast<std::size_t>(options.width) * static_cast<std::size_t>(options.height)),
          memory_(sizeof(Board) + tiles_.size() * sizeof(std::atomic<std::int32_t>) +
                  pixels_ * sizeof(Float3)) {
        std::byte* place = memory_.bytes().data();
        board_ = new (place) Board;
        place += sizeof(Board);
        auto* counts = reinterpret_cast<std::atomic<std::int32_t>*>(place);
        std::uninitialized_value_construct_n(counts, tiles_.size());
        tilePasses_ = {counts, tiles_.size()};
        place += tiles_.size() * sizeof(std::atomic<std::int32_t>);
        sums_ = {reinterpret_cast<Float3*>(place), pixels_};
    }

    [[nodiscard]] Board& board() const noexcept { return *board_; }
    [[nodiscard]] std::uint64_t tickets() const noexcept {
        return std::uint64_t{passes_.size()} * tiles_.size();
    }
    [[nodiscard]] double done() const noexcept {
        return tickets() == 0 ? 1.0
                              : static_cast<double>(board_->finished.load()) / static_cast<double>(tickets());
    }
    [[nodiscard]] std::optional<Tile> tileOf(std::size_t worker) const {
        const std::int32_t tile = board_->workers[worker].tile.load();
        if (tile == kNoTile) return std::nullopt;
        return tiles_[static_cast<std::size_t>(tile)];
    }

    /// Takes tickets until none is left or somebody stops.
    void run(std::size_t worker, FrameWatcher& watcher, const std::function<bool()>& goOn) {
        Board::Worker& own = board_->workers[worker];
        const std::chrono::nanoseconds start = platform::processorTime();
        const platform::SharedMemory memory(pixels_ * sizeof(Float3));  // costs what is touched
        const std::span scratch(reinterpret_cast<Float3*>(memory.bytes().data()), pixels_);
        while (!board_->stop.load()) {
            const std::uint64_t ticket = board_->next.fetch_add(1);
            if (ticket >= tickets()) break;
            own.tile = static_cast<std::int32_t>(ticket % tiles_.size());
            renderTicket(ticket, watcher, scratch);
            own.statistics = shading_.statistics();
            own.statistics.totalSeconds =
                std::chrono::duration<double>(platform::processorTime() - start).count();
            if (!goOn()) board_->stop = true;
        }
        own.tile = kNoTile;
    }

    [[nodiscard]] FrameResult result(std::size_t workers) const {
        FrameResult result{Image(options_.width, options_.height), false, board_->failed.load(), 0, {}};
        std::int32_t least = static_cast<std::int32_t>(passes_.size());
        for (std::size_t i = 0; i < tiles_.size(); ++i) {
            const std::int32_t passes = tilePasses_[i].load();
            least = std::min(least, passes);
            if (passes > 0) average(tiles_[i], passes, result.image);
        }
        result.passes = least;
        result.complete = !result.failed && least == static_cast<std::int32_t>(passes_.size());
        for (std::size_t i = 0; i < workers; ++i) result.statistics += board_->workers[i].statistics;
        return result;
    }

private:
    /// @param scratch  of the whole picture: what is half done when a worker ends must not be in the sums
    void renderTicket(std::uint64_t ticket, FrameWatcher& watcher, std::span<Float3> scratch) {
        const auto pass = static_cast<std::int32_t>(ticket / tiles_.size());
        const std::size_t tile = ticket % tiles_.size();
        // Sums grow in the order of the samples, so the tile's pass before must be there.
        while (tilePasses_[tile].load(std::memory_order_acquire) < pass) {
            if (board_->stop.load()) return;
            std::this_thread::sleep_for(milliseconds(1));
        }
        const SamplePass& samples = passes_[static_cast<std::size_t>(pass)];
        copyTile(tiles_[tile], sums_, scratch);
        renderTile(pose_, shading_, options_, tiles_[tile], samples.first, samples.count, scratch);
        if (watcher.scriptFailed()) {  // it may have left off in the middle of a sample
            board_->failed = board_->stop = true;
            return;
        }
        copyTile(tiles_[tile], scratch, sums_);
        tilePasses_[tile].store(pass + 1, std::memory_order_release);
        board_->finished.fetch_add(1);
    }

    /// The pixels of a tile's row in a picture.
    [[nodiscard]] std::span<Float3> row(const Tile& tile, std::int32_t y, std::span<Float3> picture) const {
        return picture.subspan(static_cast<std::size_t>(y) * static_cast<std::size_t>(options_.width) +
                                   static_cast<std::size_t>(tile.x0),
                               static_cast<std::size_t>(tile.x1 - tile.x0));
    }

    void copyTile(const Tile& tile, std::span<Float3> from, std::span<Float3> to) const {
        for (std::int32_t y = tile.y0; y < tile.y1; ++y)
            std::ranges::copy(row(tile, y, from), row(tile, y, to).begin());
    }

    void average(const Tile& tile, std::int32_t passes, Image& image) const {
        const SamplePass& last = passes_[static_cast<std::size_t>(passes - 1)];
        const double share = 1.0 / (last.first + last.count);
        for (std::int32_t y = tile.y0; y < tile.y1; ++y) {
            for (std::int32_t x = tile.x0; x < tile.x1; ++x) {
                image.at(x, y) = toVec(row(tile, y, sums_)[static_cast<std::size_t>(x - tile.x0)]) * share;
            }
        }
    }

    const Pose& pose_;
    Shading& shading_;
    const RenderOptions& options_;
    const std::vector<SamplePass> passes_;
    const std::vector<Tile> tiles_;
    const std::size_t pixels_;
    const platform::SharedMemory memory_;
    Board* board_ = nullptr;
    std::span<std::atomic<std::int32_t>> tilePasses_;
    std::span<Float3> sums_;
};

FrameResult renderHere(Work& work, FrameWatcher& watcher) {
    work.run(0, watcher, [&] { return watcher.progress(work.done()); });
    return work.result(1);
}

/// Follows the workers until all have ended.
class Foreman {
public:
    Foreman(Work& work, platform::Workers& workers, FrameWatcher& watcher)
        : work_(work), workers_(workers), watcher_(watcher) {}

    void follow() {
        while (workers_.running()) {
            for (const platform::WorkerEvent& event : workers_.wait(kLook)) note(event);
            if (!stopping_ && !watcher_.progress(work_.done())) stop();
            if (stopping_ && std::chrono::steady_clock::now() > deadline_) workers_.kill();
        }
    }

private:
    void note(const platform::WorkerEvent& event) {
        switch (event.kind) {
            case platform::WorkerEvent::Kind::Line:
                watcher_.workerLine(event.line);
                break;
            case platform::WorkerEvent::Kind::Ended:
                if (event.status != 0) work_.board().failed = true;
                break;
            case platform::WorkerEvent::Kind::Died:
                work_.board().failed = true;
                if (!stopping_) watcher_.workerDied(event.status, work_.tileOf(event.worker));
                break;
        }
        if (work_.board().failed && !stopping_) stop();
    }

    void stop() {
        stopping_ = true;
        deadline_ = std::chrono::steady_clock::now() + kPatience;
        work_.board().stop = true;
        workers_.interrupt();
    }

    Work& work_;
    platform::Workers& workers_;
    FrameWatcher& watcher_;
    bool stopping_ = false;
    std::chrono::steady_clock::time_point deadline_;
};

}  // namespace

std::vector<SamplePass> samplePasses(std::int32_t samples) {
    std::vector<SamplePass> passes;
    for (std::int32_t done = 0; done < samples;) {
        const std::int32_t count = std::min({std::max(done, 1), kMostPerPass, samples - done});
        passes.push_back({done, count});
        done += count;
    }
    return passes;
}

std::int32_t samplesOf(const RenderOptions& options, std::int32_t passes) {
    const std::vector<SamplePass> all = samplePasses(options.samples);
    if (passes <= 0) return 0;
    const SamplePass& last = all[static_cast<std::size_t>(passes - 1)];
    return last.first + last.count;
}

std::vector<Tile> tilesOf(const RenderOptions& options) {
    const Tile all = options.region.value_or(Tile{0, 0, options.width, options.height});
    std::vector<Tile> tiles;
    for (std::int32_t y = all.y0; y < all.y1; y += kTile) {
        for (std::int32_t x = all.x0; x < all.x1; x += kTile)
            tiles.push_back({x, y, std::min(x + kTile, all.x1), std::min(y + kTile, all.y1)});
    }
    return tiles;
}

FrameResult renderFrame(const Pose& pose, Shading& shading, const RenderOptions& options, int jobs,
                        FrameWatcher& watcher) {
    Work work(pose, shading, options);
    const std::size_t wanted = std::min({static_cast<std::size_t>(std::max(jobs, 1)), kMostWorkers,
                                         std::max<std::size_t>(tilesOf(options).size(), 1)});
    if (jobs <= 1) return renderHere(work, watcher);
    platform::Workers workers;
    const std::size_t started =
        workers.start(wanted, [&](std::size_t index, const platform::WorkerChannel& channel) {
            watcher.enterWorker(channel);
            try {
                work.run(index, watcher, [] { return true; });
            } catch (const std::bad_alloc&) {
                watcher.workFailed("memory exhausted");
                return 1;
            } catch (const std::exception& failure) {
                watcher.workFailed(failure.what());
                return 1;
            }
            return work.board().failed.load() ? 1 : 0;
        });
    if (started == 0) return renderHere(work, watcher);
    Foreman(work, workers, watcher).follow();
    return work.result(wanted);
}

}  // namespace kestrel::preview
