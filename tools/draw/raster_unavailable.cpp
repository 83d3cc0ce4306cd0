// Without librsvg: SVG only.
#include "tools/draw/raster.h"

#include "tools/draw/styles.h"

namespace cxml {

bool canRender() noexcept {
    return false;
}

std::string render(const std::string& /*svg*/, PictureForm /*form*/, double /*width*/, double /*height*/) {
    throw DrawError("this program was built without librsvg: it writes SVG only");
}

}  // namespace cxml
