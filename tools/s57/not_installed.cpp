// For programs without GDAL: there are no tables.
#include "catalogue.h"

namespace cxml {

const S57Catalogue& S57Catalogue::installed() {
    static const S57Catalogue catalogue({}, {}, {});
    return catalogue;
}

}  // namespace cxml
