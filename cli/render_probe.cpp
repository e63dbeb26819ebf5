#include "cli/render_probe.h"

#include "cli/sample_json.h"
#include "preview/services/sample_members.h"

#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>

namespace kestrel::cli {

namespace {

using Json = nlohmann::ordered_json;

std::string numbersOf(const preview::SampleMember& member, const ShadingSample& sample) {
    std::string text;
    for (int i = 0; i < member.count; ++i) {
        char number[40];
        std::snprintf(number, sizeof number, "%s%g", i == 0 ? "" : ", ", member.get(sample, i));
        text += number;
    }
    return text;
}

/// Writes down each sample that a script shades.
class SampleTeller final : public preview::SampleObserver {
public:
    SampleTeller(ModuleSession& session, bool json) : session_(session), json_(json) {}

    void beforeScript(const ShadingSample& sample, std::int32_t) override { before_.push_back(sample); }
    void afterScript(const ShadingSample& sample, std::int32_t surface) override {
        ++count_;
        session_.printer().finish();
        const ShadingSample before = before_.back();
        before_.pop_back();
        const std::string& name = session_.index().scene().surfaces[static_cast<std::size_t>(surface)].name;
        if (json_)
            tellJson(before, sample, name);
        else
            tellPeople(before, sample, name);
        std::fflush(stdout);
    }
    [[nodiscard]] int count() const noexcept { return count_; }

private:
    void tellJson(const ShadingSample& before, const ShadingSample& after, const std::string& surface) const {
        Json json;
        json["kind"] = "sample";
        json["surface"] = surface;
        json["before"] = sampleJson(before);
        json["after"] = sampleJson(after);
        std::printf("%s\n", json.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    }

    /// What the script saw, and after an arrow what it made of it.
    void tellPeople(const ShadingSample& before, const ShadingSample& after,
                    const std::string& surface) const {
        std::printf("%ssample %d, surface %s\n", count_ > 1 ? "\n" : "", count_, surface.c_str());
        for (const preview::SampleMember& member : preview::sampleMembers()) {
            const std::string was = numbersOf(member, before);
            const std::string is = numbersOf(member, after);
            std::printf("  %-13s %s", std::string(member.name).c_str(), was.c_str());
            std::printf(was == is ? "\n" : "  ->  %s\n", is.c_str());
        }
    }

    ModuleSession& session_;
    bool json_;
    int count_ = 0;
    std::vector<ShadingSample> before_;  // scripts that trace rays let others run in between
};

/// Finds the first sample whose values a script left without a number.
class BadNumberFinder final : public preview::SampleObserver {
public:
    void beforeScript(const ShadingSample&, std::int32_t) override {}
    void afterScript(const ShadingSample& sample, std::int32_t surface) override {
        if (surface_ >= 0) return;
        for (const preview::SampleMember& member : preview::sampleMembers()) {
            for (int i = 0; i < member.count; ++i) {
                if (std::isfinite(member.get(sample, i))) continue;
                surface_ = surface;
                member_ = member.name;
                if (member.count > 1) member_ += "[" + std::to_string(i + 1) + "]";
                value_ = member.get(sample, i);
                return;
            }
        }
    }
    [[nodiscard]] bool found() const noexcept { return surface_ >= 0; }
    [[nodiscard]] std::int32_t surface() const noexcept { return surface_; }
    [[nodiscard]] std::string what() const {
        return (std::isnan(value_) ? "no number (NaN) in " : "an infinite number in ") + member_;
    }

private:
    std::int32_t surface_ = -1;
    std::string member_;
    double value_ = 0.0;
};

/// The picture's pixels one after the other, all samples of each, until `goOn` says stop.
void renderPixels(ModuleSession& session, const preview::RenderOptions& options,
                  const std::function<bool(std::int32_t x, std::int32_t y)>& goOn) {
    std::vector<preview::Float3> sums(options.pixels());
    const preview::Tile all = options.rendered();
    for (std::int32_t y = all.y0; y < all.y1; ++y) {
        for (std::int32_t x = all.x0; x < all.x1; ++x) {
            preview::renderTile(session.pose(), session.shading(), options, {x, y, x + 1, y + 1}, 0,
                                options.samples, sums);
            if (!goOn(x, y)) return;
        }
    }
}

/// The place where a script wrote the number, as the module tells it; without a known line the script's file.
Place placeOfWrite(const ModuleSession& session, const ScriptedSurface& script) {
    const std::optional<KestrelPlace> place = session.module().badWrite(script.shader->instance());
    if (place) return {place->file, place->line, place->column, place->endColumn, {}};
    Place file;
    file.file = script.file;
    return file;
}

}  // namespace

void showPixel(ModuleSession& session, const RenderTask& task, std::int32_t x, std::int32_t y, bool json) {
    const std::int32_t frame = task.frames.first;
    if (!session.beginFrame(frame, session.seconds(frame))) return;
    preview::RenderOptions options = renderOptions(session.index().scene().settings, task);
    options.samples = 1;
    options.region = preview::Tile{x, y, x + 1, y + 1};
    SampleTeller teller(session, json);
    session.shading().setObserver(&teller);
    renderPixels(session, options, [](std::int32_t, std::int32_t) { return true; });
    session.shading().setObserver(nullptr);
    if (teller.count() == 0 && !json) std::printf("no script shaded anything that this pixel shows\n");
    (void)session.end();
}

void findBadNumber(ModuleSession& session, const RenderTask& task, Invocation& invocation) {
    bool found = false;
    for (std::int64_t i = 0; !found && i < task.frames.count(); ++i) {
        const std::int32_t frame = task.frames.at(i);
        if (!session.beginFrame(frame, session.seconds(frame))) return;
        BadNumberFinder finder;
        session.shading().setObserver(&finder);
        renderPixels(session, renderOptions(session.index().scene().settings, task),
                     [&](std::int32_t x, std::int32_t y) {
                         if (finder.found()) {
                             found = true;
                             const auto script = std::find_if(
                                 session.scripts().begin(), session.scripts().end(), [&](const auto& s) {
                                     return s.surface == static_cast<std::size_t>(finder.surface());
                                 });
                             session.printer().plainError("frame " + std::to_string(frame) + ", pixel " +
                                                              std::to_string(x) + "," + std::to_string(y) +
                                                              ": the script wrote " + finder.what(),
                                                          placeOfWrite(session, *script));
                         }
                         return !found && !session.failed();
                     });
        session.shading().setObserver(nullptr);
    }
    const bool fine = session.end();
    if (found) invocation.exitCode = std::max<int>(invocation.exitCode, kExitScriptFailed);
    if (!found && fine && !invocation.json) std::printf("every number that scripts wrote is finite\n");
}

}  // namespace kestrel::cli
