#include "tools/draw/frame.h"

#include "tools/draw/svg.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace cxml {
namespace {

constexpr double leastWidth = 130;
constexpr double footHeight = 14;
constexpr double lineHeight = 4;
constexpr double textSize = 2.6;
constexpr double tickLength = 1.6;

// 30°01.5'S; `unit` in minutes says how many decimals there are.
std::string degrees(double value, const char* letters, double unit) {
    const int decimals = unit >= 1 ? 0 : unit >= 0.1 ? 1 : unit >= 0.01 ? 2 : 3;
    const double power = std::pow(10, decimals);
    const double minutes = std::round(std::abs(value) * 60 * power) / power;
    const double whole = std::floor(minutes / 60);
    return fmt::format("{:.0f}\xC2\xB0{:0{}.{}f}\xE2\x80\xB2{}", whole, minutes - whole * 60,
                       decimals == 0 ? 2 : 3 + decimals, decimals, value < 0 ? letters[1] : letters[0]);
}

// Minutes between ticks, so that there is room for what is written at them.
double tickUnit(double span, double millimetres) {
    constexpr double room = 42;
    constexpr std::array units{0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1,  0.2,  0.5,  1.0,  2.0,
                               5.0,   10.0,  15.0,  30.0, 60.0, 120., 300., 600., 900., 1800.};
    const double least = span * 60 * std::min(room / millimetres, 1.0);
    const auto found = std::ranges::find_if(units, [&](double unit) { return unit >= least; });
    return found == units.end() ? units.back() : *found;
}

// The minutes from one degree to another at which there is a tick.
std::vector<double> ticks(double from, double to, double unit) {
    const auto first = static_cast<long>(std::ceil(from * 60 / unit));
    const auto last = static_cast<long>(std::floor(to * 60 / unit));
    std::vector<double> minutes;
    for (long i = first; i <= last; ++i) minutes.push_back(static_cast<double>(i) * unit);
    return minutes;
}

class Frame {
public:
    Frame(std::string& svg, const Page& page, const Styles& styles)
        : svg_(svg), page_(page), ink_(styles.colour("ink")), white_(styles.colour("white")) {}

    void write(const std::vector<std::string>& remarks) {
        svg_ += fmt::format(
            "<g id=\"frame\" transform=\"translate({0} {0})\" fill=\"none\" stroke=\"{1}\" stroke-width=\"0.2\">\n",
            frameMargin, ink_);
        svg_ += fmt::format("<rect width=\"{}\" height=\"{}\" stroke-width=\"0.4\"/>\n", svgNumber(page_.width()),
                            svgNumber(page_.height()));
        meridians();
        parallels();
        scaleBar();
        double y = page_.height() + footHeight;
        for (const std::string& remark : remarks) text(0, y += lineHeight, "start", remark);
        svg_ += "</g>\n";
    }

private:
    void text(double x, double y, const char* anchor, const std::string& words, const char* more = "") {
        svg_ += fmt::format(
            "<text x=\"{}\" y=\"{}\" font-size=\"{}\" text-anchor=\"{}\" fill=\"{}\" stroke=\"none\"{}>{}</text>\n",
            svgNumber(x), svgNumber(y), textSize, anchor, ink_, more, xmlText(words));
    }

    void meridians() {
        const embedded_host::Bounds& bounds = page_.bounds();
        const double unit = tickUnit(bounds.east - bounds.west, page_.width());
        for (const double minutes : ticks(bounds.west, bounds.east, unit)) {
            const double longitude = minutes / 60;
            const double x = page_.place({longitude, bounds.north}).x;
            svg_ += fmt::format("<path d=\"M{0},0v{1}M{0},{2}v-{1}\"/>\n", svgNumber(x), tickLength,
                                svgNumber(page_.height()));
            text(x, -1.5, "middle", degrees(longitude, "EW", unit));
        }
    }

    void parallels() {
        const embedded_host::Bounds& bounds = page_.bounds();
        const double unit = tickUnit(bounds.north - bounds.south, page_.height());
        for (const double minutes : ticks(bounds.south, bounds.north, unit)) {
            const double latitude = minutes / 60;
            const double y = page_.place({bounds.west, latitude}).y;
            svg_ += fmt::format("<path d=\"M0,{0}h{1}M{2},{0}h-{1}\"/>\n", svgNumber(y), tickLength,
                                svgNumber(page_.width()));
            text(-1.5, y, "middle", degrees(latitude, "NS", unit),
                 fmt::format(" transform=\"rotate(-90 -1.5 {})\"", svgNumber(y)).c_str());
        }
    }

    // The longest of a round length that is no more than a third of the map.
    void scaleBar() {
        constexpr double millimetresOfAMetre = 1000;
        const double most = std::min(page_.width() / 3, 80.0);
        const double power = std::pow(10, std::floor(std::log10(most * page_.scale() / millimetresOfAMetre)));
        double metres = power;
        for (const double step : {2.0, 5.0})
            if (step * power / page_.scale() * millimetresOfAMetre <= most) metres = step * power;
        const double length = metres / page_.scale() * millimetresOfAMetre;
        const double y = page_.height() + 4;
        svg_ += fmt::format("<rect y=\"{0}\" width=\"{1}\" height=\"1.2\" fill=\"{2}\"/>\n", svgNumber(y),
                            svgNumber(length), white_);
        for (const double quarter : {0.0, 2.0})
            svg_ += fmt::format("<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"1.2\" fill=\"{}\"/>\n",
                                svgNumber(length * quarter / 4), svgNumber(y), svgNumber(length / 4), ink_);
        text(0, y + 4.2, "start", "0");
        text(length, y + 4.2, "middle",
             metres >= 1000 ? grouped(metres / 1000) + " km" : fmt::format("{:g} m", metres));
        const double middle = page_.position({page_.width() / 2, page_.height() / 2}).latitude;
        text(0, y + 9, "start",
             fmt::format("1:{} at {}, Web Mercator. Not for navigation.", grouped(page_.scale()),
                         degrees(middle, "NS", 0.1)));
    }

    std::string& svg_;
    const Page& page_;
    const std::string& ink_;
    const std::string& white_;
};

}  // namespace

FramedSize framedSize(const Page& page, std::size_t remarks) {
    return {std::max(page.width() + 2 * frameMargin, leastWidth),
            page.height() + 2 * frameMargin + footHeight + static_cast<double>(remarks) * lineHeight};
}

void writeFrame(std::string& svg, const Page& page, const Styles& styles, const std::vector<std::string>& remarks) {
    Frame(svg, page, styles).write(remarks);
}

std::string grouped(double number) {
    std::string digits = fmt::format("{:.0f}", number);
    for (std::size_t at = digits.size(); at > 3; digits.insert(at, 1, ' ')) at -= 3;
    return digits;
}

}  // namespace cxml
