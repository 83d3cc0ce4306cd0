// The tables that GDAL has of S-57: object classes, attributes and the codes that these may have.
#pragma once

#include <string>

namespace embedded_host {

/// The content of a table of GDAL's, "s57attributes.csv" and the like, looked for where its reader of cells looks: in
/// the folder that S57_CSV names, else among the installed files. Empty when there is none.
std::string readS57Table(const std::string& name);

}  // namespace embedded_host
