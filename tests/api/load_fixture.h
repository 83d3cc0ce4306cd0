// What the tests of loading share.
#pragma once

#include "cxml/condition_map.h"
#include "memhost/messages.h"
#include "support/documents.h"
#include "symbology/symbology_manager.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <string_view>

/// A manager over documents in a folder of their own.
class LoadTest : public testing::Test {
protected:
    using Access = SymbologyManagerAccess;

    static constexpr const char* buoys =
        "<conditionMap name='Harbour' alias='Havn'><featureClass name='Buoy'/></conditionMap>";

    bool load(const std::string& path) { return manager.loadCXML(memhost::bstr(path), messages); }
    bool loadText(std::string_view xml, std::string_view name = "document.xml") {
        return load(folder.write(name, xml));
    }
    /// The text of the runtime_error that loading throws; empty when it throws nothing.
    std::string thrownBy(const std::string& path) {
        try {
            load(path);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return {};
    }
    std::size_t classCount() const { return Access::currentMap(manager)->featureClassRules.size(); }

    TemporaryFolder folder;
    CComPtr<memhost::Messages> messages = memhost::make<memhost::Messages>();
    SymbologyManager manager;
};
