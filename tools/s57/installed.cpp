// The tables that GDAL comes with.
#include "catalogue.h"
#include "host/geodatabase/s57_tables.h"

namespace cxml {

const S57Catalogue& S57Catalogue::installed() {
    static const S57Catalogue catalogue(embedded_host::readS57Table("s57objectclasses.csv"),
                                        embedded_host::readS57Table("s57attributes.csv"),
                                        embedded_host::readS57Table("s57expectedinput.csv"));
    return catalogue;
}

}  // namespace cxml
