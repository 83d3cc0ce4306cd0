#include "platform/portable/dom_parser.h"

#include "platform/portable/dom_failure.h"
#include "platform/portable/dom_text.h"

#include <libxml/parserInternals.h>
#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>
#include <optional>

namespace symbology_platform::dom {

namespace {

/// The name under which libxml2 knows the document: with one, it tells positions in the document instead of in
/// an entity's text. Never opened.
constexpr const char* documentName = "document.xml";

constexpr int options = XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_BIG_LINES | XML_PARSE_COMPACT |
#if LIBXML_VERSION >= 21300
                        XML_PARSE_NO_XXE |
#endif
                        XML_PARSE_IGNORE_ENC;  // the source decodes

/// Bytes that declarations may add to a document: by references to entities, and by defaulted attributes.
constexpr std::uint64_t largestExpansion = 4'000'000;
/// What a reference costs beside its text: the parser copies the text before it once more.
constexpr std::uint64_t referenceCost = 400;
/// The parser compares each attribute of an element with each other one, and each namespace.
constexpr int mostAttributes = 10'000;
constexpr const char* tooManyAttributes = "An element has too many attributes.";

bool isExternal(const xmlEntity* entity) {
    return entity->etype == XML_EXTERNAL_GENERAL_PARSED_ENTITY || entity->etype == XML_EXTERNAL_PARAMETER_ENTITY;
}

/// Whether the document is no good, beyond what libxml2 itself refuses.
bool isFatal(ReportedError error) {
    // MSXML knows version 1.0 only.
    if (error->domain == XML_FROM_PARSER && error->code == XML_WAR_UNKNOWN_VERSION) return true;
    if (error->level == XML_ERR_FATAL) return true;
    // Any text may be the name of a namespace.
    if (error->code == XML_WAR_NS_URI || error->code == XML_WAR_NS_URI_RELATIVE) return false;
    // Undeclared prefixes and entities are errors without being against well-formedness in its narrow sense; what is
    // only against a document type is not looked at.
    return error->level == XML_ERR_ERROR && error->domain != XML_FROM_DTD && error->domain != XML_FROM_VALID;
}

/// The start tag that ends where the parser stands, without its `>`; empty when the parser does not hold all of it.
std::string_view tagBefore(const xmlParserInput* input) {
    const xmlChar* begin = input->cur;
    // No value of an attribute holds this character.
    while (begin > input->base && *begin != '<') --begin;
    if (*begin != '<') return {};
    return {reinterpret_cast<const char*>(begin), static_cast<std::size_t>(input->cur - begin)};
}

/// Walks over the attributes of a well-formed start tag.
class AttributeNames {
public:
    explicit AttributeNames(std::string_view tag) : tag_(tag), at_(tag.find_first_of(space)) {}

    /// The next name as written, a view of the tag; empty behind the last.
    std::string_view next() {
        at_ = tag_.find_first_not_of(space, at_);
        const std::size_t equals = tag_.find('=', at_);
        if (equals == std::string_view::npos) return {};
        const std::size_t end = std::min(equals, tag_.find_first_of(space, at_));
        const std::string_view name = tag_.substr(at_, end - at_);
        const std::size_t quote = tag_.find_first_of("\"'", equals);
        if (quote == std::string_view::npos) return {};
        at_ = tag_.find(tag_[quote], quote + 1);
        at_ = at_ == std::string_view::npos ? at_ : at_ + 1;
        return name;
    }

private:
    static constexpr std::string_view space = " \t\r\n";

    std::string_view tag_;
    std::size_t at_ = 0;
};

std::string_view localName(std::string_view name) {
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

xmlParserCtxt* newContext() {
    static std::once_flag initialized;
    std::call_once(initialized, xmlInitParser);
    return xmlNewParserCtxt();
}

}  // namespace

Parser::Parser(DocumentSource& source) : source_(source), context_(newContext()) {
    if (!context_ || !context_->sax) throw std::bad_alloc();
    installHandlers();
}

Parser::~Parser() {
    xmlFreeParserCtxt(context_);
}

void Parser::installHandlers() {
    // Contexts that libxml2 derives for entities take these handlers and this pointer over.
    context_->_private = this;
    xmlSAXHandler& sax = *context_->sax;
    original_ = sax;
    sax.getEntity = getEntity;
    sax.getParameterEntity = getParameterEntity;
    sax.resolveEntity = resolveEntity;
    sax.externalSubset = nullptr;
    sax.attributeDecl = declareAttribute;
    sax.startElementNs = startElement;
    sax.characters = characters;
    sax.ignorableWhitespace = characters;  // while both are the same, the parser does not tell them apart
    sax.cdataBlock = cdataBlock;
    sax.serror = onError;
}

Parser& Parser::of(void* context) {
    return *static_cast<Parser*>(static_cast<xmlParserCtxt*>(context)->_private);
}

template <class Body>
void Parser::guarded(Body&& body) noexcept {
    try {
        body();
    } catch (...) {
        // Only memory can run out in there.
        outOfMemory_ = true;
        source_.stop();
    }
}

LoadResult Parser::parse() {
    DocumentOwner document(xmlCtxtReadIO(context_, readSource, nullptr, this, documentName, nullptr, options));
    if (outOfMemory_) throw std::bad_alloc();
    if (!source_.failure().empty()) fail(source_.failure());
    if (!document) fail("The document is not well formed.");
    if (!failed() && !finishTree(document.get())) fail("Elements are nested too deeply.");
    if (failed()) return {nullptr, std::move(failure_)};
    return {std::make_shared<Tree>(std::move(document)), {}};
}

int Parser::readSource(void* parser, char* buffer, int size) noexcept {
    auto& self = *static_cast<Parser*>(parser);
    int count = 0;
    self.guarded([&] {
        if (self.isAmongTooManyAttributes()) self.fail(tooManyAttributes);
        count = self.source_.read(buffer, size);
        if (count > 0) self.positions_.add({buffer, static_cast<std::size_t>(count)});
    });
    return count;
}

/// Whether the start tag that is being read has more attributes than an element may have. The parser has room for as
/// many as there were, or twice that.
bool Parser::isAmongTooManyAttributes() const {
    constexpr int pointersPerAttribute = 5;
    return context_->maxatts / pointersPerAttribute > 2 * mostAttributes || context_->nsNr / 2 > mostAttributes;
}

/// Notes the first failure and lets the parser run out of text.
void Parser::fail(std::string_view reason) {
    if (!failed()) failure_ = describeFailure(reason, context_);
    source_.stop();
}

void Parser::onError(void* /*context*/, ReportedError error) noexcept {
    const auto* context = static_cast<xmlParserCtxt*>(error->ctxt);
    if (!context || !isFatal(error)) return;
    Parser& self = *static_cast<Parser*>(context->_private);
    if (self.failed()) return;
    // The parser's bound on the length of a text is reported as if memory had run out.
    const std::string_view message = error->message ? error->message : "";
    const bool tooLong = error->code == XML_ERR_NO_MEMORY && message.find("huge") != std::string_view::npos;
    if (error->code == XML_ERR_NO_MEMORY && !tooLong) self.outOfMemory_ = true;
    self.guarded([&] {
        // A text that broke off is at fault itself, not what the parser then misses.
        const bool brokeOff = !self.source_.failure().empty() && isAtEnd(self.context_);
        self.fail(brokeOff ? self.source_.failure() : tooLong ? "A text is too long." : message);
    });
}

bool Parser::isWithin(std::uint64_t expanded, std::uint64_t limit) {
    if (expanded <= limit) return true;
    fail("The declarations of the document expand to too much text.");
    return false;
}

/// Whether the parser may follow the entity, if any.
bool Parser::allows(const xmlEntity* entity, const xmlParserCtxt* context) {
    if (failed()) return false;
    if (!entity || entity->etype == XML_INTERNAL_PREDEFINED_ENTITY) return true;
    if (isExternal(entity)) {
        fail("The entity '" + std::string(viewOf(entity->name)) + "' stands outside of the document and is not read.");
        return false;
    }
    const bool isParameter = entity->etype == XML_INTERNAL_PARAMETER_ENTITY;
    const auto lookup = [&](const std::string& name) {
        const auto* text = reinterpret_cast<const xmlChar*>(name.c_str());
        return isParameter ? xmlGetParameterEntity(context->myDoc, text) : xmlGetDocEntity(context->myDoc, text);
    };
    // What comes out of an entity is not read piece by piece.
    const std::string_view content = viewOf(entity->content);
    if (content.find('<') != std::string_view::npos && std::ranges::count(content, '=') > mostAttributes) {
        fail(tooManyAttributes);
        return false;
    }
    referenced_ += entitySizes_.sizeOf(entity, isParameter ? '%' : '&', lookup) + referenceCost;
    return isWithin(referenced_, largestExpansion);
}

xmlEntity* Parser::getEntity(void* context, const xmlChar* name) noexcept {
    Parser& self = of(context);
    const auto* parser = static_cast<const xmlParserCtxt*>(context);
    // The parser's own look-up fetches external entities, so it is not asked, and null would make the parser ask it.
    xmlEntity* const refused = xmlGetPredefinedEntity(reinterpret_cast<const xmlChar*>("lt"));
    xmlEntity* const entity = xmlGetDocEntity(parser->myDoc, name);
    bool allowed = false;
    self.guarded([&] { allowed = self.allows(entity, parser); });
    return allowed ? entity : refused;
}

xmlEntity* Parser::getParameterEntity(void* context, const xmlChar* name) noexcept {
    Parser& self = of(context);
    const auto* parser = static_cast<const xmlParserCtxt*>(context);
    xmlEntity* const entity = xmlGetParameterEntity(parser->myDoc, name);
    bool allowed = false;
    self.guarded([&] { allowed = self.allows(entity, parser); });
    return allowed ? entity : nullptr;
}

xmlParserInput* Parser::resolveEntity(void* /*context*/, const xmlChar* /*publicId*/,
                                      const xmlChar* /*systemId*/) noexcept {
    return nullptr;
}

void Parser::declareAttribute(void* context, const xmlChar* element, const xmlChar* name, int type, int use,
                              const xmlChar* value, xmlEnumeration* values) noexcept {
    Parser& self = of(context);
    self.guarded([&] {
        if (++self.declaredAttributes_ > mostAttributes) self.fail("Too many attributes are declared.");
    });
    self.original_.attributeDecl(context, element, name, type, use, value, values);
}

void Parser::startElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                          int namespaceCount, const xmlChar** namespaces, int attributeCount, int defaultedCount,
                          const xmlChar** attributes) noexcept {
    Parser& self = of(context);
    bool allowed = false;
    self.guarded([&] {
        // Each attribute is a name, a prefix, a namespace, and where the value begins and ends; the defaulted ones are
        // last. Each namespace is a prefix and a name.
        std::uint64_t added = 0;
        for (int i = attributeCount - defaultedCount; i < attributeCount; ++i)
            added += static_cast<std::uint64_t>(attributes[5 * i + 4] - attributes[5 * i + 3]);
        for (int i = 0; i < namespaceCount; ++i) added += viewOf(namespaces[2 * i + 1]).size();
        self.defaulted_ += added;
        // Namespaces that the document spells out are counted too, hence what was read counts for it.
        allowed = self.isWithin(self.defaulted_, largestExpansion + 2 * self.source_.delivered());
        if (attributeCount > mostAttributes) {
            self.fail(tooManyAttributes);
            allowed = false;
        }
    });
    if (!allowed) namespaceCount = attributeCount = 0;
    // Not called defaulted, all attributes come into the tree.
    self.original_.startElementNs(context, name, prefix, uri, namespaceCount, namespaces, attributeCount, 0,
                                  attributes);
    auto* parser = static_cast<xmlParserCtxt*>(context);
    // The lines of an entity's text are not those of the document.
    if (parser != self.context_ || parser->inputNr != 1 || !parser->node) return;
    self.guarded([&] { self.notePlaces(parser->input, parser->node); });
}

void Parser::notePlaces(const xmlParserInput* input, xmlNode* element) {
    const std::string_view tag = tagBefore(input);
    if (tag.empty()) return;
    // Bytes of the document before the window that the parser holds, and before the tag.
    const auto* const base = reinterpret_cast<const char*>(input->base);
    const std::uint64_t before = input->consumed + static_cast<std::uint64_t>(tag.data() - base);
    const std::optional<Position> place = positions_.at(before, '<');
    if (!place) return;
    setPlace(element, place->line, place->column);
    AttributeNames names(tag);
    // In the order of the tag; defaulted ones, which stand elsewhere, come last.
    for (xmlAttr* attribute = element->properties; attribute; attribute = attribute->next) {
        std::string_view name = names.next();
        while (!name.empty() && localName(name) != viewOf(attribute->name)) name = names.next();
        if (name.empty()) return;
        const auto offset = before + static_cast<std::uint64_t>(name.data() - tag.data());
        if (const std::optional<Position> at = positions_.at(offset, name.front()))
            setPlace(reinterpret_cast<xmlNode*>(attribute), at->line, at->column);
    }
}

void Parser::characters(void* context, const xmlChar* text, int length) noexcept {
    Parser& self = of(context);
    self.original_.characters(context, text, length);
    self.noteTextLine(static_cast<xmlParserCtxt*>(context), text, length);
}

void Parser::cdataBlock(void* context, const xmlChar* text, int length) noexcept {
    Parser& self = of(context);
    self.original_.cdataBlock(context, text, length);
    self.noteTextLine(static_cast<xmlParserCtxt*>(context), text, length);
}

/// Notes in which line the text began that was just read; a text may come in several pieces.
void Parser::noteTextLine(xmlParserCtxt* context, const xmlChar* text, int length) const noexcept {
    if (context != context_ || context->inputNr != 1 || !context->node || !context->node->last) return;
    xmlNode* const node = context->node->last;
    if (node->type != XML_TEXT_NODE && node->type != XML_CDATA_SECTION_NODE) return;
    if (lineOf(node) != 0) return;
    setPlace(node, context->input->line - static_cast<int>(std::count(text, text + length, xmlChar{'\n'})), 0);
}

}  // namespace symbology_platform::dom
