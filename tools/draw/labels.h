// Labels beside their features, none over another.
#pragma once

#include "tools/draw/page.h"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace cxml {

class Labels {
public:
    /// What a label may not cover.
    void occupy(const PagePoint& middle, double halfWidth, double halfHeight);
    /// Notes a text at a place; the same one at the same place once.
    void add(const std::string& text, const PagePoint& place);

    /// Puts each label where there is room beside its place. To be called when everything was noted.
    void write(std::string& svg, const Page& page, const std::string& ink, const std::string& paper);
    /// How many have found no room.
    std::size_t leftOut() const noexcept { return leftOut_; }

private:
    struct Box {
        double left;
        double top;
        double right;
        double bottom;
    };
    bool isFree(const Box& box) const;
    void occupy(const Box& box);
    template <class Visit>
    static void eachCell(const Box& box, Visit&& visit);

    std::map<std::pair<int, int>, std::vector<Box>> taken_;  // by the cells of a grid
    std::vector<std::pair<std::string, PagePoint>> labels_;
    std::set<std::string> known_;
    std::size_t leftOut_ = 0;
};

}  // namespace cxml
