#include "cxml/document_reader.h"

#include "cxml/class_reader.h"
#include "cxml/dom.h"
#include "cxml/expression_file.h"
#include "text/failures.h"
#include "text/text.h"

namespace ConditionalXml {

void compileWithPython(Condition& condition) {
    condition.compileExpression();
}

namespace {

class DocumentReader {
public:
    DocumentReader(ConditionMap& map, IXMLDOMDocument* document, const Reading& reading)
        : map_(map), document_(document), reading_(reading) {}

    bool read() {
        return readName() &&
               forEach(OLESTR("/conditionMap/functionLibrary/expression"), [this](auto* e) { return readInline(e); }) &&
               forEach(OLESTR("/conditionMap/functionLibrary/expressionFile"),
                       [this](auto* e) { return readFile(e); }) &&
               forEach(OLESTR("/conditionMap/featureClass"), [this](auto* e) {
                   readFeatureClass(e, map_, reading_);  // a rejected element is passed over
                   return true;
               });
    }

private:
    template <class Read>
    bool forEach(const OLECHAR* xpath, Read&& read) {
        const auto nodes = selectNodes(document_, xpath);
        if (!nodes) return false;
        return forEachNode(nodes, [&](IXMLDOMNode* element) { return read(element) || reading_.goesOn; });
    }

    bool readName() {
        CComPtr<IXMLDOMNode> root;
        if (FAILED(checked(document_->selectSingleNode(CComBSTR(OLESTR("/conditionMap")), &root))) || !root)
            return false;
        auto text = attributeText(root, OLESTR("name"));
        if (text) map_.name = std::move(*text);
        return text.has_value();
    }

    /// The name of a piece of the library; its absence is reported with the element's place in the document.
    std::optional<CComBSTR> pieceName(IXMLDOMNode* element, const char* xpath) const {
        std::optional<CComBSTR> name = attributeText(element, OLESTR("name"));
        if (!name) addError(reading_.messages, "Failed to get name attribute for " + std::string(xpath) + " node!");
        return name;
    }

    bool readInline(IXMLDOMNode* element) {
        LibraryPiece piece{
            pieceName(element, "/conditionMap/functionLibrary/expression"), CComBSTR(), nullptr, false, {}};
        if (piece.name) {
            piece.text = nodeText(element);
            // A backslash and the letter n, not a line feed: the condition that uses the piece resolves it.
            CComBSTR source;
            if (FAILED(VarBstrCat(piece.text, CComBSTR(OLESTR("\\n")), &source))) AtlThrow(E_OUTOFMEMORY);
            keep(piece, std::move(source));
        }
        reading_.tell(&LoadObserver::onLibraryPiece, element, piece);
        return piece.name.has_value();
    }

    bool readFile(IXMLDOMNode* element) {
        const ExpressionFile none;
        LibraryPiece piece{
            pieceName(element, "/conditionMap/functionLibrary/expressionFile"), CComBSTR(), &none, false, {}};
        if (!piece.name) {
            reading_.tell(&LoadObserver::onLibraryPiece, element, piece);
            return false;
        }
        piece.isTaken = map_.expressions.contains(*piece.name);
        if (piece.isTaken && !reading_.goesOn)
            throwText(quoted("Encountered duplicate CXML expression name: '", view(*piece.name)));
        piece.text = nodeText(element);
        ExpressionFile file;
        if (!piece.isTaken) file = readExpressionFile(view(piece.text), map_.searchDirectories);
        piece.file = &file;
        if (file.content)
            keep(piece, widen(*file.content + '\n'));
        else if (!piece.isTaken)
            reportUnread(piece.text, file);
        reading_.tell(&LoadObserver::onLibraryPiece, element, piece);
        return piece.source.has_value();
    }

    void keep(LibraryPiece& piece, CComBSTR source) {
        CComBSTR& place = map_.expressions[*piece.name];
        piece.isTaken = place.m_str != nullptr;
        place = std::move(source);
        piece.source = view(place);
    }

    void reportUnread(const CComBSTR& path, const ExpressionFile& file) const {
        addError(reading_.messages, quoted("Failed to open CXML expression file: '", view(path)));
        if (file.refusal)
            addError(reading_.messages, "CXML expression file '" + narrow(view(path)) + "' " + file.refusal + "!");
    }

    ConditionMap& map_;
    IXMLDOMDocument* document_;
    const Reading& reading_;
};

}  // namespace

bool readDocument(ConditionMap& map, BSTR path, IXMLDOMDocument* document, const Reading& reading) {
    if (!document || SysStringLen(path) == 0) return false;
    if (CComBSTR folder = folderOf(view(path)); folder.Length() != 0) map.searchDirectories.insert(std::move(folder));
    return DocumentReader(map, document, reading).read();
}

}  // namespace ConditionalXml
