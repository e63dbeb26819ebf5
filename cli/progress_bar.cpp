#include "cli/progress_bar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace kestrel::cli {

namespace {

constexpr int kBarWidth = 30;
constexpr std::chrono::milliseconds kBetweenDraws{100};

std::string minutesAndSeconds(double seconds) {
    const long whole = std::lround(std::min(seconds, 360000.0));
    const std::string rest = std::to_string(whole % 60);
    return std::to_string(whole / 60) + (rest.size() < 2 ? ":0" : ":") + rest;
}

}  // namespace

ProgressBar::ProgressBar(bool shown) : shown_(shown) {}
ProgressBar::~ProgressBar() {
    clear();
}

void ProgressBar::update(double done) {
    const Clock::time_point now = Clock::now();
    if (!shown_ || done <= 0.0 || now - lastDrawn_ < kBetweenDraws) return;
    lastDrawn_ = now;
    drawn_ = true;
    const double elapsed = std::chrono::duration<double>(now - start_).count();
    const int filled = static_cast<int>(std::clamp(done, 0.0, 1.0) * kBarWidth);
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.resize(kBarWidth, '.');
    std::fprintf(stderr, "\r\033[K[%s] %3d %%, %s left", bar.c_str(), static_cast<int>(done * 100.0),
                 minutesAndSeconds(elapsed * (1.0 - done) / done).c_str());
    std::fflush(stderr);
}

void ProgressBar::clear() {
    if (!drawn_) return;
    drawn_ = false;
    lastDrawn_ = {};
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

}  // namespace kestrel::cli
