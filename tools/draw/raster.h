// Pictures in other forms than SVG: an optional component of the build.
#pragma once

#include <string>

namespace cxml {

enum class PictureForm { Svg, Png, Pdf };

/// Whether this program can make the other forms.
bool canRender() noexcept;

/// The picture in another form; the same picture gives the same bytes. Sizes are millimetres.
/// \throws DrawError
std::string render(const std::string& svg, PictureForm form, double width, double height);

}  // namespace cxml
