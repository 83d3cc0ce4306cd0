// The templates, as their files have them; see CMakeLists.txt.
#pragma once

#include <string_view>

namespace cxml::templates {

extern const std::string_view diff_html;    // NOLINT(readability-identifier-naming): the file's name
extern const std::string_view page_css;     // NOLINT(readability-identifier-naming)
extern const std::string_view report_css;   // NOLINT(readability-identifier-naming)
extern const std::string_view report_html;  // NOLINT(readability-identifier-naming)
extern const std::string_view report_js;    // NOLINT(readability-identifier-naming)

}  // namespace cxml::templates
