// Progress: one line on a terminal that shows how far a run has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

namespace cxml {

/// Draws with carriage returns and blanks only, so that every terminal understands it. Whoever writes to the same
/// terminal calls hide() first; the line comes back with the next update. Used from one thread.
class Progress {
public:
    /// A `terminal` that is null draws nothing.
    explicit Progress(std::FILE* terminal) noexcept : terminal_(terminal) {}
    ~Progress() { finish(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Counts rows; a `total` that is negative is not known.
    void startRows(std::string label, std::int64_t total);
    /// Shows a share from 0 to 1.
    void startShare(std::string label);

    void rows(std::int64_t done);
    void share(double done);

    /// Clears the line until the next update.
    void hide();
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    void start(std::string label, double total, bool countsRows);
    void update(double done);
    void draw(double done, Clock::time_point now);

    std::FILE* terminal_;
    bool running_ = false;
    bool countsRows_ = false;
    std::string label_;
    double total_ = 0;
    Clock::time_point begun_;
    Clock::time_point drawn_;
    std::size_t drawnWidth_ = 0;  // columns that the line on the screen takes, 0 when there is none
};

}  // namespace cxml
