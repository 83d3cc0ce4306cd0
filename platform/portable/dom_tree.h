// The parsed tree that documents, nodes and lists share, and what is noted on its nodes.
#pragma once

#include "platform/portable/types.h"

#include <libxml/tree.h>
#include <memory>

namespace symbology_platform::dom {

struct FreeDocument {
    void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
};
using DocumentOwner = std::unique_ptr<xmlDoc, FreeDocument>;

/// Owns a libxml2 document. Its structure never changes once it is shared: a second load makes another tree, and
/// whoever holds a node of the old one keeps that alive.
class Tree {
public:
    /// Null stands for memory that ran out.
    explicit Tree(DocumentOwner document);

    static std::shared_ptr<Tree> makeEmpty();

    xmlNode* documentNode() const { return reinterpret_cast<xmlNode*>(document_.get()); }
    xmlNode* root() const { return xmlDocGetRootElement(document_.get()); }

private:
    DocumentOwner document_;
};

/// A node and its share in the tree.
struct NodeRef {
    std::shared_ptr<Tree> tree;
    xmlNode* node = nullptr;
};

// Notes on a node, kept in its _private: flags in the lowest 4 bits, 30 bits for the line, and for the column what is
// left. Attributes are nodes like any other here.

enum class Mark : std::uintptr_t {
    Read = 1,
    PreservesSpace = 2,  ///< an element whose white space counts
    GapBefore = 4,       ///< white space that was dropped stood before this node
    GapAtEnd = 8         ///< white space that was dropped stood after this element's last child
};

inline std::uintptr_t notesOf(const xmlNode* node) {
    return reinterpret_cast<std::uintptr_t>(node->_private);
}
inline bool hasMark(const xmlNode* node, Mark mark) {
    return (notesOf(node) & static_cast<std::uintptr_t>(mark)) != 0;
}
inline void setNotes(xmlNode* node, std::uintptr_t notes) {
    node->_private = reinterpret_cast<void*>(notes);  // NOLINT(performance-no-int-to-ptr): never followed
}
inline void setMark(xmlNode* node, Mark mark) {
    setNotes(node, notesOf(node) | static_cast<std::uintptr_t>(mark));
}
constexpr unsigned lineBits = 30;
constexpr std::uintptr_t mostLines = (std::uintptr_t{1} << lineBits) - 1;
constexpr std::uintptr_t mostColumns = std::uintptr_t{0x3FFFFFFF};
static_assert(sizeof(std::uintptr_t) == 8);

/// From 1; 0 when unknown.
inline LONG lineOf(const xmlNode* node) {
    return static_cast<LONG>((notesOf(node) >> 4U) & mostLines);
}
/// From 1; 0 when unknown. Only of elements and attributes.
inline LONG columnOf(const xmlNode* node) {
    return static_cast<LONG>(notesOf(node) >> (4U + lineBits));
}
inline void setPlace(xmlNode* node, int line, int column) {
    const auto inBounds = [](int number, std::uintptr_t most) {
        const auto value = static_cast<std::uintptr_t>(number);
        return value > most ? std::uintptr_t{0} : value;
    };
    setNotes(node, (notesOf(node) & 0xFU) | (inBounds(line, mostLines) << 4U) |
                       (inBounds(column, mostColumns) << (4U + lineBits)));
}

/// What is done to a tree before it is shared: white space between tags goes, leaving a note where it stood, and
/// namespace declarations become attributes. False when elements are nested so deeply that walking them is not safe.
bool finishTree(xmlDoc* document);

/// Whether the attribute declares a namespace.
bool declaresNamespace(const xmlNode* attribute);

}  // namespace symbology_platform::dom
