#include "cli/dap/breakpoints.h"

#include "cli/dap/asking.h"
#include "platform/paths.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace kestrel::cli::dap {

namespace {

namespace fs = std::filesystem;

std::string canonical(const std::string& path) {
    std::error_code error;
    const fs::path found = fs::weakly_canonical(path, error);
    return error ? path : found.string();
}

void readConditions(Breakpoint& breakpoint) {
    if (!breakpoint.conditionText.empty()) {
        breakpoint.condition = Condition::parse(breakpoint.conditionText);
        if (!breakpoint.condition)
            breakpoint.problem =
                "a condition is a name, or two values with ==, !=, <, <=, > or >= between them";
    }
    if (!breakpoint.hitText.empty()) {
        breakpoint.hit = HitCondition::parse(breakpoint.hitText);
        if (!breakpoint.hit)
            breakpoint.problem = "a hit condition is a number, with ==, >, >=, <, <= or % before it or not";
    }
    breakpoint.settled = !breakpoint.problem.empty();
}

}  // namespace

bool Breakpoint::sameAs(const Breakpoint& other) const {
    return kind == other.kind && source == other.source && line == other.line && function == other.function &&
           pixel == other.pixel && conditionText == other.conditionText && hitText == other.hitText;
}

std::vector<int> Breakpoints::replace(Breakpoint::Kind kind, const std::string& source,
                                      std::vector<Breakpoint> wanted) {
    std::vector<Breakpoint> before;
    std::erase_if(all_, [&](Breakpoint& breakpoint) {
        if (breakpoint.kind != kind || breakpoint.source != source) return false;
        before.push_back(breakpoint);
        return true;
    });
    std::vector<int> ids;
    for (Breakpoint& breakpoint : wanted) {
        const auto known =
            std::ranges::find_if(before, [&](const Breakpoint& b) { return b.sameAs(breakpoint); });
        if (known == before.end()) {
            ids.push_back(add(std::move(breakpoint)));
            continue;
        }
        ids.push_back(known->id);
        all_.push_back(std::move(*known));
        before.erase(known);
    }
    for (const Breakpoint& breakpoint : before) retire(breakpoint);
    return ids;
}

int Breakpoints::add(Breakpoint wanted) {
    wanted.id = ++lastId_;
    readConditions(wanted);
    all_.push_back(std::move(wanted));
    return lastId_;
}

void Breakpoints::removeAll(Breakpoint::Kind kind) {
    static_cast<void>(replace(kind, {}, {}));
}

void Breakpoints::retire(const Breakpoint& breakpoint) {
    if (breakpoint.stop.number != 0) retired_.push_back(breakpoint.stop.number);
}

bool Breakpoints::pending() const {
    return !retired_.empty() || atErrors_ != toldErrors_ ||
           !std::ranges::all_of(all_, [](const Breakpoint& breakpoint) { return breakpoint.settled; });
}

void Breakpoints::apply(debug::DebugClient& client, const std::vector<std::string>& files,
                        std::vector<int>& changed) {
    while (!retired_.empty()) {
        const std::int32_t number = retired_.back();
        const bool used =
            std::ranges::any_of(all_, [&](const Breakpoint& b) { return b.stop.number == number; });
        // The script refuses to remove what is not there, and that is as well.
        if (!used && client.removeStop(number).outcome == debug::Answer::Outcome::Busy) throw NotYet();
        retired_.pop_back();
    }
    for (Breakpoint& breakpoint : all_) {
        if (breakpoint.settled) continue;
        settle(client, files, breakpoint);
        changed.push_back(breakpoint.id);
    }
    if (atErrors_ != toldErrors_) {
        need(client.stopAtErrors(atErrors_));
        toldErrors_ = atErrors_;
    }
}

void Breakpoints::settle(debug::DebugClient& client, const std::vector<std::string>& files,
                         Breakpoint& breakpoint) {
    try {
        switch (breakpoint.kind) {
            case Breakpoint::Kind::Line: {
                const std::int32_t file = fileNamed(files, breakpoint.source);
                if (file < 0) throw Refused("the script does not consist of this file");
                need(client.stopAtLine({file, breakpoint.line}, breakpoint.stop));
                break;
            }
            case Breakpoint::Kind::Function:
                need(client.stopAtFunction(breakpoint.function, breakpoint.stop));
                break;
            case Breakpoint::Kind::Pixel:
                need(client.stopAtPixel(breakpoint.pixel[0], breakpoint.pixel[1], breakpoint.pixel[2],
                                        breakpoint.stop));
                break;
        }
    } catch (const Refused& refused) {
        breakpoint.problem = refused.what();
    }
    breakpoint.settled = true;
}

const Breakpoint& Breakpoints::byId(int id) const {
    return *std::ranges::find(all_, id, &Breakpoint::id);
}

std::int32_t Breakpoints::stopAt(const debug::DebugPlace& place) const {
    const auto found = std::ranges::find_if(all_, [&](const Breakpoint& breakpoint) {
        return breakpoint.stop.number != 0 && breakpoint.stop.place.known() &&
               breakpoint.stop.place.file == place.file && breakpoint.stop.place.line == place.line;
    });
    return found != all_.end() ? found->stop.number : 0;
}

bool Breakpoints::anyConditions() const {
    return std::ranges::any_of(all_, [](const Breakpoint& b) { return b.condition || b.hit; });
}

std::vector<int> Breakpoints::reached(debug::DebugClient& client, std::int32_t stop,
                                      const std::string& function) {
    std::vector<Breakpoint*> counting;
    for (Breakpoint& breakpoint : all_) {
        if (breakpoint.stop.number != stop) continue;
        bool holds = true;
        try {
            holds = !breakpoint.condition || breakpoint.condition->holds(client, function);
        } catch (const Refused&) {  // e.g. a name that leads nowhere
        }
        if (holds) counting.push_back(&breakpoint);
    }
    std::vector<int> ids;  // nothing throws NotYet from here on: each is counted once
    for (Breakpoint* breakpoint : counting) {
        ++breakpoint->times;
        if (!breakpoint->hit || breakpoint->hit->holds(breakpoint->times)) ids.push_back(breakpoint->id);
    }
    return ids;
}

std::int32_t fileNamed(const std::vector<std::string>& files, const std::string& path) {
    const auto indexOf = [&](auto same) {
        const auto found = std::ranges::find_if(files, same);
        return found != files.end() ? static_cast<std::int32_t>(found - files.begin()) : -1;
    };
    const std::string wanted = canonical(path);
    const std::int32_t exact = indexOf([&](const std::string& file) { return canonical(file) == wanted; });
    if (exact >= 0) return exact;
    // A script that was started elsewhere may know its files by relative paths; and letter case makes no
    // difference to it.
    const std::string upper = platform::upperCase(wanted);
    return indexOf([&](const std::string& file) {
        const std::string known = platform::upperCase(fs::path(file).lexically_normal().string());
        return known == upper || (!fs::path(file).is_absolute() && upper.ends_with("/" + known));
    });
}

}  // namespace kestrel::cli::dap
