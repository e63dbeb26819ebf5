#include "cli/render_frames.h"

#include "cli/message_relay.h"
#include "cli/output_file.h"
#include "cli/progress_bar.h"
#include "platform/terminal.h"
#include "preview/jobs/frame_render.h"

#include <array>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

namespace kestrel::cli {

namespace {

using Clock = std::chrono::steady_clock;
using Json = nlohmann::ordered_json;

constexpr std::array<std::string_view, 2> kEndings{".png", ".exr"};

// What a worker sends begins with one of these.
constexpr char kMessage = 'm';  // a message, packed
constexpr char kEndedAt = 'e';  // the line at which its script was ended
constexpr char kFailure = 'f';  // why it cannot go on

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string describeTile(const std::optional<preview::Tile>& tile) {
    if (!tile) return "between two tiles";
    return "at pixels " + std::to_string(tile->x0) + "," + std::to_string(tile->y0) + " to " +
           std::to_string(tile->x1 - 1) + "," + std::to_string(tile->y1 - 1);
}

/// Follows one picture for the person or the program that asked for it.
class Watcher final : public preview::FrameWatcher {
public:
    Watcher(ModuleSession& session, ProgressBar& bar) : session_(session), bar_(bar) {}

    bool progress(double done) override {
        bar_.update(done);
        // Why a worker's script was ended is told when all have sent their line.
        return worker_ || !session_.interrupted();
    }
    bool scriptFailed() override {
        const bool failed = session_.failed();
        if (failed && channel_ && session_.interrupted())
            channel_->send(kEndedAt + std::to_string(session_.endedAtLine()));
        return failed;
    }
    void enterWorker(const platform::WorkerChannel& channel) override {
        worker_ = true;
        channel_ = channel;
        session_.becomeWorker(
            [this](const ShownMessage& message) { channel_->send(kMessage + packMessage(message)); });
    }
    void workFailed(std::string_view why) override { channel_->send(kFailure + std::string(why)); }
    void workerLine(std::string_view line) override {
        if (line.starts_with(kMessage)) {
            bar_.clear();
            if (std::optional<ShownMessage> message = unpackMessage(line.substr(1)))
                session_.showRelayed(std::move(*message));
        } else if (line.starts_with(kFailure)) {
            session_.complain("a worker cannot go on: " + std::string(line.substr(1)), kExitScriptFailed);
        } else if (line.starts_with(kEndedAt)) {
            std::int32_t number = 0;
            std::from_chars(line.data() + 1, line.data() + line.size(), number);
            if (number > 0) endedAt_ = number;
        }
    }
    void workerDied(int signal, const std::optional<preview::Tile>& tile) override {
        bar_.clear();
        session_.complain("a worker was ended by signal " + std::to_string(signal) + " " +
                              describeTile(tile) + "; --jobs 1 renders without workers",
                          kExitScriptFailed);
    }

    [[nodiscard]] std::int32_t endedAt() const noexcept { return endedAt_; }

private:
    ModuleSession& session_;
    ProgressBar& bar_;
    std::optional<platform::WorkerChannel> channel_;
    bool worker_ = false;
    std::int32_t endedAt_ = 0;
};

/// All frames of a task.
class FrameRun {
public:
    FrameRun(ModuleSession& session, const RenderTask& task, const FramePattern& names,
             Invocation& invocation)
        : session_(session),
          task_(task),
          names_(names),
          invocation_(invocation),
          bar_(!invocation.json && platform::isTerminal(platform::Stream::Error)) {
        session_.setBeforeMessage([this] { bar_.clear(); });
    }

    /// @return false when no further frame can be rendered
    [[nodiscard]] bool render(std::int32_t frame) {
        const std::string name = names_.name(frame);
        std::error_code error;
        if (task_.skipExisting && std::filesystem::is_regular_file(name, error)) {
            report(frame, name, "skipped", 0, 0);
            return true;
        }
        if (!session_.beginFrame(frame, session_.seconds(frame))) return false;
        const preview::RenderOptions options = renderOptions(session_.index().scene().settings, task_);
        Watcher watcher(session_, bar_);
        const Clock::time_point start = Clock::now();
        const preview::FrameResult result =
            preview::renderFrame(session_.pose(), session_.shading(), options, task_.jobs, watcher);
        renderSeconds_ += secondsSince(start);
        statistics_ += result.statistics;
        bar_.clear();
        if (session_.interrupted()) session_.tellEnded(watcher.endedAt());
        if (!result.complete) invocation_.exitCode = std::max<int>(invocation_.exitCode, kExitScriptFailed);
        const bool usable =
            result.complete || (task_.keepPartial && session_.interrupted() && result.passes > 0);
        if (!usable) return false;
        const std::string file = result.complete ? name : partialName(name);
        const preview::Image image = cropped(result.image, options);
        finished_ = Finished{frame, file, encodePicture(image, file, task_.picture), result.complete,
                             preview::samplesOf(options, result.passes)};
        written_.width = image.width();
        written_.height = image.height();
        // A script's last words come after its only picture, which is none if it fails with them.
        return task_.frames.count() == 1 || (write() && result.complete);
    }

    /// Writes the picture that is not written yet.
    bool write() {
        if (!finished_) return true;
        const Finished picture = *std::exchange(finished_, std::nullopt);
        if (!writeOutput(picture.name, picture.bytes, invocation_)) return false;
        if (count_++ == 0) written_.name = picture.name;
        lastName_ = picture.name;
        written_.bytes += picture.bytes.size();
        report(picture.frame, picture.name, picture.complete ? "written" : "partial", picture.samples,
               picture.bytes.size());
        return true;
    }

    /// @param ended  no script failed at the end
    void finish(bool ended) {
        session_.setBeforeMessage({});
        if (ended || (task_.keepPartial && session_.interrupted())) write();
        if (invocation_.json)
            reportJson();
        else if (statistics_.samples > 0)
            reportForPeople();
        if (!invocation_.json && count_ > 0) {
            if (count_ > 1)
                written_.name = std::to_string(count_) + " pictures, " + written_.name + " to " + lastName_;
            tellWritten(written_, invocation_);
        }
    }

private:
    struct Finished {
        std::int32_t frame = 0;
        std::string name;
        std::string bytes;
        bool complete = false;
        std::int32_t samples = 0;
    };

    /// Among the files of many frames, or of work that goes on later, one that is only begun must not pass
    /// for done.
    [[nodiscard]] std::string partialName(const std::string& name) const {
        if (task_.frames.count() == 1 && !task_.skipExisting) return name;
        const std::filesystem::path path(name);
        return (path.parent_path() / (path.stem().string() + ".partial" + path.extension().string()))
            .string();
    }

    [[nodiscard]] static preview::Image cropped(const preview::Image& image,
                                                const preview::RenderOptions& options) {
        if (!options.region) return image;
        const preview::Tile& part = *options.region;
        preview::Image result(part.x1 - part.x0, part.y1 - part.y0);
        for (std::int32_t y = part.y0; y < part.y1; ++y) {
            for (std::int32_t x = part.x0; x < part.x1; ++x)
                result.at(x - part.x0, y - part.y0) = image.at(x, y);
        }
        return result;
    }

    void report(std::int32_t frame, const std::string& name, const char* what, std::int32_t samples,
                std::size_t bytes) {
        if (!invocation_.json) return;
        Json json;
        json["kind"] = "frame";
        json["frame"] = frame;
        json["file"] = name;
        json["result"] = what;
        if (samples > 0) json["samples"] = samples;
        if (bytes > 0) json["bytes"] = bytes;
        print(json);
    }

    void print(const Json& json) {
        session_.printer().finish();
        std::printf("%s\n", json.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
        std::fflush(stdout);
    }

    void reportJson() {
        Json json;
        json["kind"] = "statistics";
        json["samples"] = statistics_.samples;
        json["rays"] = statistics_.rays;
        json["scriptRuns"] = statistics_.scriptRuns;
        json["badRuns"] = statistics_.badRuns;
        json["seconds"] = renderSeconds_;
        json["scriptSeconds"] = statistics_.scriptSeconds();
        json["rendererSeconds"] = statistics_.rendererSeconds();
        print(json);
    }

    /// Seconds in scripts and in the renderer are those of all workers together.
    void reportForPeople() {
        const double perSecond =
            statistics_.scriptSeconds() > 0.0
                ? static_cast<double>(statistics_.scriptRuns) / statistics_.scriptSeconds()
                : 0.0;
        session_.printer().finish();
        std::fprintf(stderr,
                     "%llu samples in %.2f s; scripts ran %llu times, %.0f times a second, %.2f s in "
                     "scripts, %.2f s in "
                     "the renderer\n",
                     static_cast<unsigned long long>(statistics_.samples), renderSeconds_,
                     static_cast<unsigned long long>(statistics_.scriptRuns), perSecond,
                     statistics_.scriptSeconds(), statistics_.rendererSeconds());
        if (statistics_.badRuns == 0) return;
        std::fprintf(
            stderr,
            "%llu times a script wrote a number that is none, or infinite: --debug-nan finds the line\n",
            static_cast<unsigned long long>(statistics_.badRuns));
    }

    ModuleSession& session_;
    const RenderTask& task_;
    const FramePattern& names_;
    Invocation& invocation_;
    ProgressBar bar_;
    std::optional<Finished> finished_;
    preview::RenderStatistics statistics_;
    double renderSeconds_ = 0.0;
    Written written_;       // the first picture's name, all pictures' bytes
    std::string lastName_;  // of those
    std::int64_t count_ = 0;
};

}  // namespace

bool checkOutput(const RenderTask& task, const std::vector<std::string>& inputs, std::string& problem) {
    const std::optional<FramePattern> names = FramePattern::parse(task.picture.output, problem);
    if (!names) return false;
    problem = outputProblem(
        names->name(task.frames.first),
        {.endings = kEndings, .kinds = "pictures are PNG (.png) or OpenEXR (.exr)", .inputs = inputs});
    return problem.empty();
}

bool checkNames(const RenderTask& task, ModuleSession& session) {
    std::string problem;
    const std::optional<FramePattern> names = FramePattern::parse(task.picture.output, problem);
    if (task.frames.count() <= 1 || !names || names->numbered()) return true;
    session.complain(
        "-o " + task.picture.output + ": several frames need a place for their number, such as out.%04d.png",
        kExitUnusable);
    return false;
}

preview::RenderOptions renderOptions(const preview::SceneSettings& settings, const RenderTask& task) {
    preview::RenderOptions options;
    options.width = settings.width;
    options.height = settings.height;
    options.samples = settings.maxSamples;
    options.pixelAspect = settings.pixelAspect;
    options.depthOfField = task.depthOfField;
    const auto [x0, y0, x1, y1] = settings.limitedRegion;
    if (x1 > x0 && y1 > y0) options.region = preview::Tile{x0, y0, x1, y1};
    return options;
}

void renderFrames(ModuleSession& session, const RenderTask& task, Invocation& invocation) {
    std::string problem;
    const std::optional<FramePattern> names = FramePattern::parse(task.picture.output, problem);
    FrameRun run(session, task, *names, invocation);
    bool fine = true;
    for (std::int64_t i = 0; fine && i < task.frames.count(); ++i) fine = run.render(task.frames.at(i));
    run.finish(session.end() && fine);
}

}  // namespace kestrel::cli
