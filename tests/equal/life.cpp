#include "tests/equal/life.h"

#include "engine/fast/batch_run.h"
#include "engine/run/entry.h"
#include "host/evaluate.h"
#include "host/plugin_state.h"
#include "tests/equal/samples.h"
#include "tests/host/fake_scene.h"
#include "tests/time_budget.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstddef>
#include <list>
#include <memory>
#include <span>
#include <tuple>
#include <type_traits>

namespace kestrel::equal {

namespace {

namespace fs = std::filesystem;

/// Of a run, as one whose loop has lost its count never ends.
#ifdef KESTREL_SANITIZED
constexpr int kMilliseconds = 60'000;
#else
constexpr int kMilliseconds = 10'000;
#endif

/// What the script's host shows and answers. Services are plain functions, so there is one at a time.
class Host {
public:
    explicit Host(PluginState& state) : state_(state) {
        current_ = this;
        scene_.furnish();
        state.services.messages = &kMessages;
        lookUpSceneServices([](const char* name, std::int32_t) { return current_->scene_.service(name); },
                            state.environment.scene);
    }
    ~Host() { current_ = nullptr; }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Moves what has been shown and asked since the last time to the end of the lines.
    void tell(Lines& lines) {
        for (std::string& text : shown_) lines.push_back(std::move(text));
        shown_.clear();
        for (const std::string& question : scene_.asked()) lines.push_back("asked " + question);
    }

private:
    static void show(std::string_view kind, const char* line1, const char* line2) {
        std::string text(kind);
        text.append(line1).append(" / ").append(line2 != nullptr ? line2 : "(null)");
        if (const Message* message = current_->state_.messages.shown())
            text += " at " + std::to_string(message->where.file) + ':' + std::to_string(message->where.line) +
                    ':' + std::to_string(message->where.column) + '-' +
                    std::to_string(message->where.endColumn);
        current_->shown_.push_back(std::move(text));
    }

    static Host* current_;
    static constexpr InfoMessages kMessages{[](const char* a, const char* b) { show("info ", a, b); },
                                            [](const char* a, const char* b) { show("error ", a, b); },
                                            [](const char* a, const char* b) { show("warning ", a, b); }};

    PluginState& state_;
    test::FakeScene scene_;
    Lines shown_;
};
Host* Host::current_ = nullptr;

std::string tell(const ShadingSample& sample) {
    std::string line = "sample";
    const auto add = [&line](const auto& member) {
        using Member = std::remove_cvref_t<decltype(member)>;
        if constexpr (std::is_array_v<Member>) {
            for (const double number : member) line += ' ' + bitsOf(number);
        } else {
            line += ' ' + bitsOf(static_cast<double>(member));
        }
    };
#define KESTREL_SAMPLE_MEMBER(name, kind, count, access, description) add(sample.name);
#include "script/sample_members.def"
#undef KESTREL_SAMPLE_MEMBER
    return line;
}

/// Samples by planes: all members that a script can have a plane for, and a record for the others.
class Planes {
public:
    Planes(std::uint64_t seed, const Plan::Step& step)
        : columns_(std::as_bytes(std::span(&common_, 1))), count_(static_cast<std::size_t>(step.count)) {
        for (int i = 0; i < step.count; ++i) samples_.push_back(makeSampleOfBatch(seed, step.sample + i));
#define KESTREL_SAMPLE_MEMBER(name, kind, count, access, description) \
    add(&ShadingSample::name, offsetof(ShadingSample, name), std::string_view(#access) == "Writable");
#include "script/sample_members.def"
#undef KESTREL_SAMPLE_MEMBER
    }

    [[nodiscard]] const fast::Columns& columns() const noexcept {
        return columns_;
    }
    [[nodiscard]] std::size_t count() const noexcept {
        return count_;
    }

private:
    template <class Member>
    void add(Member ShadingSample::*member, std::size_t offset, bool writable) {
        if constexpr (std::is_array_v<Member>)
            for (std::size_t i = 0; i < std::extent_v<Member>; ++i)
                addPlane(reals_, offset + i * sizeof(double), writable,
                         [=](const ShadingSample& each) { return (each.*member)[i]; });
        else
            addPlane(std::get < std::is_same_v<Member, double> ? 0 : 1 > (std::tie(reals_, wholes_)), offset,
                     writable, [=](const ShadingSample& each) { return each.*member; });
    }
    template <class Number, class Get>
    void addPlane(std::list<std::vector<Number>>& planes, std::size_t offset, bool writable, Get get) {
        std::vector<Number>& plane = planes.emplace_back();
        for (const ShadingSample& each : samples_) plane.push_back(static_cast<Number>(get(each)));
        columns_.add(
            {static_cast<std::int64_t>(offset), !std::is_same_v<Number, double>, writable, plane.data()});
    }

    ShadingSample common_ = makeSample(0, 0);
    fast::Columns columns_;
    std::size_t count_;
    std::vector<ShadingSample> samples_;
    std::list<std::vector<double>> reals_;
    std::list<std::vector<std::int32_t>> wholes_;
};

void tellFiles(const fs::path& folder, const fs::path& store, const fs::path& script, Lines& lines) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) files.push_back(entry.path());
    std::ranges::sort(files);
    for (const fs::path& file : files) {
        if (file == script || file.string().starts_with(store.string())) continue;
        std::string line = "file " + file.lexically_relative(folder).string();
        if (fs::is_regular_file(file)) {
            std::ifstream bytes(file, std::ios::binary);
            line += " holds " + std::string(std::istreambuf_iterator<char>(bytes), {});
        }
        lines.push_back(std::move(line));
    }
}

/// All rows of all tables of the store, if the script has used it.
void tellStore(const fs::path& store, Lines& lines) {
    const fs::path file = store / "kestrel" / "registry.db";
    if (!fs::exists(file)) return;
    sqlite3* raw = nullptr;
    const int opened = sqlite3_open_v2(file.c_str(), &raw, SQLITE_OPEN_READONLY, nullptr);
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(raw, sqlite3_close);
    const auto row = [](void* out, int count, char** values, char**) {
        std::string line = "stored";
        for (int i = 0; i < count; ++i) line.append(" | ").append(values[i] != nullptr ? values[i] : "NULL");
        static_cast<Lines*>(out)->push_back(std::move(line));
        return 0;
    };
    if (opened != SQLITE_OK ||
        sqlite3_exec(raw, "SELECT * FROM registry ORDER BY 1, 2, 3", row, &lines, nullptr) != SQLITE_OK)
        lines.push_back("the store cannot be read");
}

class Stage {
public:
    Stage(const Executor& executor, Life& life, bool allLocals)
        : life_(life),
          allLocals_(allLocals),
          inGroups_(executor.inGroups),
          attachment_(executor.use(state_.environment)) {}

    void play(const std::string& file, const Plan& plan) {
        instance_ = createInstance(state_);
        const bool loaded = attachScript(state_, *instance_, file);
        look("load", {"loaded " + std::to_string(loaded)});
        for (const Plan::Step& step : plan.steps)
            if (loaded) take(step, plan);
        if (loaded) {
            const fast::FastProcess& process = instance_->script()->fast;
            life_.samples = process.counts();
            life_.ran = process.executor();
            if (process.refusal()) life_.refusal = process.refusal()->reason;
        }
        destroyInstance(state_, *instance_);
        look("destroy", {});
        life_.cut = state_.watch.requested != 0;
        life_.used = attachment_->used();
    }

private:
    void take(const Plan::Step& step, const Plan& plan) {
        std::string result;
        switch (step.call) {
            case Call::Flags:
                result = "mask " + std::to_string(flagsOfInstance(state_, *instance_));
                break;
            case Call::NewTime:
                newTimeInstance(state_, *instance_, step.sample, step.sample / 25.0);
                break;
            case Call::Init:
                initInstance(state_, *instance_);
                break;
            case Call::Evaluate: {
                ShadingSample sample = makeSample(plan.seed, step.sample);
                evaluate(sample);
                result = tell(sample) + ", " + takeRays();
                break;
            }
            case Call::Batch:
                return look(nameOf(step), shadeBatch(Planes(plan.seed, step), plan.seed % 2 == 0));
            case Call::Main:
                result = runMain(instance_->script()->engine) ? "failed" : "ended";
                break;
            case Call::Cleanup:
                cleanupInstance(state_, *instance_);
                break;
        }
        look(nameOf(step), {std::move(result)});
    }

    void evaluate(ShadingSample& sample) {
        evaluateSample(state_, *instance_->context, sample, {instance_->context->gate->pass(&sample)});
    }

    /// @return what has become of the samples
    Lines shadeBatch(const Planes& planes, bool inRecords) {
        ShadingSample record{};
        const auto single = [&](std::size_t i) {
            planes.columns().gather(i, &record);
            evaluate(record);
            planes.columns().scatter(i, &record);
            return true;
        };
        if (inGroups_ && inRecords) {
            shadeRecords(planes);
        } else if (inGroups_) {
            fast::shadeBatch(instance_->script()->fast, planes.columns(), 0, planes.count(), single);
        } else {
            for (std::size_t i = 0; i < planes.count(); ++i) single(i);
        }
        Lines told;
        for (std::size_t i = 0; i < planes.count(); ++i) {
            planes.columns().gather(i, &record);
            told.push_back(tell(record));
        }
        return told;
    }

    void shadeRecords(const Planes& planes) {
        std::vector<ShadingSample> records(planes.count());
        for (std::size_t i = 0; i < records.size(); ++i) planes.columns().gather(i, &records[i]);
        if (instance_->script() != nullptr)  // otherwise groups come after many more samples
            static_cast<void>(instance_->script()->fast.batch());
        evaluateRecords(state_, *instance_,
                        {reinterpret_cast<std::byte*>(records.data()), sizeof(ShadingSample), records.size()},
                        [&](ShadingSample& sample) { evaluate(sample); });
        for (std::size_t i = 0; i < records.size(); ++i) planes.columns().scatter(i, &records[i]);
    }

    void look(const std::string& call, const Lines& results) {
        life_.lines.push_back("== " + call);
        host_.tell(life_.lines);
        for (const std::string& result : results)
            if (!result.empty()) life_.lines.push_back(result);
        if (call == "destroy") return;
        const LoadedScript* script = instance_->script();
        if (script == nullptr) return;
        if (!allLocals_ && !carryover_) carryover_.emplace(*script->engine.program);
        describe(*script, call == "load" || call == "cleanup", carryover_ ? &*carryover_ : nullptr,
                 life_.lines);
    }

    Life& life_;
    bool allLocals_;
    bool inGroups_;
    std::optional<fast::Carryover> carryover_;
    PluginState state_;
    std::unique_ptr<Attachment> attachment_;
    Host host_{state_};
    test::TimeBudget budget_{state_.watch, kMilliseconds};
    ShaderInstance* instance_ = nullptr;
};

}  // namespace

Plan usualPlan(std::uint64_t seed, int samples) {
    Plan plan{.seed = seed, .steps = {{Call::Flags}, {Call::Init}, {Call::NewTime, 1}}};
    for (int i = 0; i < samples; ++i) {
        plan.steps.push_back({Call::Evaluate, i});
        if (i % 2 == 1) plan.steps.push_back({Call::NewTime, i});
    }
    plan.steps.push_back({Call::Main});
    plan.steps.push_back({Call::Cleanup});
    return plan;
}

Plan batchPlan(std::uint64_t seed, int samples) {
    constexpr int kCounts[] = {3, 8, 1, 17, 40, 5, 9};  // whole groups, parts of them, and both
    Plan plan{.seed = seed, .steps = {{Call::Flags}, {Call::Init}, {Call::NewTime, 1}}};
    for (int i = 0, k = 0; i < samples; ++k) {
        const int count = std::min(samples - i, kCounts[static_cast<std::size_t>(k) % std::size(kCounts)]);
        plan.steps.push_back({Call::Batch, i, count});
        if (k % 3 == 2) plan.steps.push_back({Call::NewTime, i});
        i += count;
    }
    plan.steps.push_back({Call::Cleanup});
    return plan;
}

std::string nameOf(const Plan::Step& step) {
    constexpr const char* kNames[] = {"flags", "newtime ", "init", "evaluate ", "batch ", "main", "cleanup"};
    const std::string name = kNames[static_cast<int>(step.call)];
    if (step.call == Call::Batch)
        return name + std::to_string(step.sample) + " to " + std::to_string(step.sample + step.count - 1);
    return name.ends_with(' ') ? name + std::to_string(step.sample) : name;
}

Life live(const Executor& executor, const test::LanguageScript& script, const Plan& plan, bool allLocals) {
    Life life;
    const test::ScriptFolder folder(script);
    const fs::path scriptFile = folder.file();
    const fs::path store = scriptFile.parent_path() / "store";
    platform::setEnvironment("XDG_DATA_HOME", store.string());
    std::make_unique<Stage>(executor, life, allLocals)->play(scriptFile.string(), plan);
    tellFiles(scriptFile.parent_path(), store, scriptFile, life.lines);
    tellStore(store, life.lines);
    return life;
}

}  // namespace kestrel::equal
