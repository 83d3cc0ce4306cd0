// One run of libxml2's parser over one document.
#pragma once

#include "platform/portable/dom_expansion.h"
#include "platform/portable/dom_loader.h"
#include "platform/portable/dom_positions.h"

#include <libxml/parser.h>

namespace symbology_platform::dom {

// The parser's handlers hand out errors that newer versions do not let be changed.
#if LIBXML_VERSION >= 21200
using ReportedError = const xmlError*;
#else
using ReportedError = xmlError*;
#endif

/// Parses the source once. All handlers belong to this parser's context: nothing that other users of libxml2 in the
/// process could notice is changed.
class Parser {
public:
    explicit Parser(DocumentSource& source);
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;
    ~Parser();

    LoadResult parse();

private:
    static Parser& of(void* context);
    static int readSource(void* parser, char* buffer, int size) noexcept;
    static xmlEntity* getEntity(void* context, const xmlChar* name) noexcept;
    static xmlEntity* getParameterEntity(void* context, const xmlChar* name) noexcept;
    static xmlParserInput* resolveEntity(void* context, const xmlChar* publicId, const xmlChar* systemId) noexcept;
    static void declareAttribute(void* context, const xmlChar* element, const xmlChar* name, int type, int use,
                                 const xmlChar* value, xmlEnumeration* values) noexcept;
    static void startElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                             int namespaceCount, const xmlChar** namespaces, int attributeCount, int defaultedCount,
                             const xmlChar** attributes) noexcept;
    static void characters(void* context, const xmlChar* text, int length) noexcept;
    static void cdataBlock(void* context, const xmlChar* text, int length) noexcept;
    void notePlaces(const xmlParserInput* input, xmlNode* element);
    void noteTextLine(xmlParserCtxt* context, const xmlChar* text, int length) const noexcept;
    static void onError(void* context, ReportedError error) noexcept;

    template <class Body>
    void guarded(Body&& body) noexcept;
    void installHandlers();
    bool allows(const xmlEntity* entity, const xmlParserCtxt* context);
    bool isAmongTooManyAttributes() const;
    bool isWithin(std::uint64_t expanded, std::uint64_t limit);
    void fail(std::string_view reason);
    bool failed() const { return failure_.code != 0; }

    DocumentSource& source_;
    xmlParserCtxt* context_;
    xmlSAXHandler original_{};
    Positions positions_;
    EntitySizes entitySizes_;
    std::uint64_t referenced_ = 0;  ///< bytes that references to entities have cost
    std::uint64_t defaulted_ = 0;   ///< bytes of defaulted attributes and of namespaces
    int declaredAttributes_ = 0;
    ParseFailure failure_;
    bool outOfMemory_ = false;
};

}  // namespace symbology_platform::dom
