// A table of what a program has to say of rows of a dataset.
#pragma once

#include "host/geodatabase/memory_dataset.h"
#include "host/geodatabase/new_file.h"
#include "symbology/host_interfaces.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace embedded_host {

/// A new GeoPackage with one table, which has its name when it is finished. Each row of it is about a row of another
/// dataset: its first columns are "layer" and "fid". Used from one thread; memory does not grow with rows.
class RowTable {
public:
    using Field = MemoryDataset::Field;
    using Value = MemoryDataset::Value;
    enum class Shapes : unsigned char { None, Degrees };

    /// \param replaces whether a file that is there gives way. \param fields behind the first two.
    /// \throws HostError, naming the file
    RowTable(const std::string& file, bool replaces, const std::string& name, const std::vector<Field>& fields,
             Shapes shapes);
    ~RowTable();
    RowTable(const RowTable&) = delete;
    RowTable& operator=(const RowTable&) = delete;

    /// \throws HostError, naming the file, when the disk is full for one.
    void add(const std::string& layer, ObjectId row, const std::vector<Value>& values);
    /// Gives all rows that were added their shapes. \param shapeOf as ShapeSource::wellKnownBinary(); may throw.
    /// \throws HostError
    void setShapes(const std::function<std::string(const std::string& layer, ObjectId row)>& shapeOf);
    /// Gives the file its name. \throws HostError
    void finish();

private:
    class Content;

    std::string name_;
    NewFile file_;
    std::unique_ptr<Content> content_;
};

}  // namespace embedded_host
