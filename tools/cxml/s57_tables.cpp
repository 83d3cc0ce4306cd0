#include "s57_tables.h"

#include "tools/s57/catalogue.h"

namespace cxml {

void complainOfMissingTables(Console& console) {
    if (!S57Catalogue::installed().isThere())
        console.complain("the tables of S-57 are not installed with GDAL: meanings of codes are not shown");
}

}  // namespace cxml
