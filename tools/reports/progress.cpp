#include "progress.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <string_view>

namespace cxml {
namespace {

using namespace std::chrono_literals;

constexpr auto redrawInterval = 100ms;
constexpr auto firstEstimate = 300ms;  // earlier, a rate would be a guess
constexpr std::size_t widestBar = 30;
constexpr std::size_t narrowestBar = 5;

std::size_t terminalWidth(std::FILE* terminal) {
    winsize size{};
    if (ioctl(fileno(terminal), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
    return size.ws_col;
}

bool startsCharacter(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

std::size_t columns(std::string_view utf8) {
    return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), startsCharacter));
}

std::string cutToColumns(std::string_view utf8, std::size_t limit) {
    std::size_t taken = 0;
    for (std::size_t i = 0; i < utf8.size(); ++i)
        if (startsCharacter(utf8[i]) && taken++ == limit) return std::string(utf8.substr(0, i));
    return std::string(utf8);
}

std::string clockText(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
    if (whole >= 3600) return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
    return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

void put(std::FILE* terminal, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), terminal);
    std::fflush(terminal);
}

std::string bar(double part, std::size_t width) {
    const auto full = static_cast<std::size_t>(part * static_cast<double>(width));
    return fmt::format(" [{}{}]", std::string(full, '#'), std::string(width - full, '.'));
}

}  // namespace

void Progress::startRows(std::string label, std::int64_t total) {
    start(std::move(label), static_cast<double>(total), true);
}

void Progress::startShare(std::string label) {
    start(std::move(label), 1.0, false);
}

void Progress::rows(std::int64_t done) {
    update(static_cast<double>(done));
}

void Progress::share(double done) {
    update(done);
}

void Progress::start(std::string label, double total, bool countsRows) {
    if (!terminal_) return;
    hide();
    running_ = true;
    countsRows_ = countsRows;
    label_ = std::move(label);
    total_ = total;
    begun_ = Clock::now();
    draw(0, begun_);
}

void Progress::update(double done) {
    if (!running_) return;
    const Clock::time_point now = Clock::now();
    if (drawnWidth_ != 0 && now - drawn_ < redrawInterval) return;
    draw(done, now);
}

void Progress::draw(double done, Clock::time_point now) {
    const bool totalKnown = total_ > 0;
    const double part = totalKnown ? std::clamp(done / total_, 0.0, 1.0) : 0;
    std::string figures;
    if (totalKnown) figures += fmt::format(" {:3.0f} %", std::floor(part * 100));
    if (countsRows_) {
        figures += fmt::format("  {:.0f}", done);
        figures += totalKnown ? fmt::format(" of {:.0f} rows", total_) : " rows";
    }
    const std::chrono::duration<double> spent = now - begun_;
    if (spent >= firstEstimate && done > 0) {
        const double perSecond = done / spent.count();
        if (countsRows_) figures += fmt::format("  {:.0f} rows/s", perSecond);
        if (totalKnown) figures += fmt::format("  {} left", clockText(std::max(total_ - done, 0.0) / perSecond));
    }

    // The last column stays free: some terminals go to the next line when it is written.
    const std::size_t room = terminalWidth(terminal_) - 1;
    const std::size_t text = columns(label_) + columns(figures);
    std::string line = label_;
    if (totalKnown && text + 3 + narrowestBar <= room) line += bar(part, std::min(widestBar, room - text - 3));
    line = cutToColumns(line + figures, room);

    const std::size_t width = columns(line);
    const std::size_t rest = drawnWidth_ > width ? std::min(drawnWidth_, room) - std::min(width, room) : 0;
    put(terminal_, fmt::format("\r{}{}", line, std::string(rest, ' ')));
    drawnWidth_ = std::max<std::size_t>(width, 1);
    drawn_ = now;
}

void Progress::hide() {
    if (drawnWidth_ == 0) return;
    put(terminal_, fmt::format("\r{}\r", std::string(drawnWidth_, ' ')));
    drawnWidth_ = 0;
}

void Progress::finish() {
    hide();
    running_ = false;
}

}  // namespace cxml
