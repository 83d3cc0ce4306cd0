// The real DOM with a hand on every call: each can be made to fail, and what load() answers can be chosen.
// For the portable DOM, whose interfaces have just the operations that the library uses.
#pragma once

#include "memhost/object.h"
#include "symbology/vel_core.h"

#include <optional>
#include <string>

/// A parse error made up by a test.
struct FakeParseError {
    std::string reason;
    std::string source;
    LONG line = 0;
    LONG column = 0;
};

/// How the documents made in a FaultyDomScope answer load().
struct FakeLoad {
    HRESULT status = S_FALSE;
    VARIANT_BOOL loaded = VARIANT_FALSE;
    std::optional<FakeParseError> error = {};  // without one the document has no parse-error object
};

/// Has the object factory make wrapped documents for as long as it lives: every call of a document, its nodes, lists
/// and attribute collections is one of memhost::Op::Document.
class FaultyDomScope {
public:
    FaultyDomScope();
    explicit FaultyDomScope(FakeLoad load);
    ~FaultyDomScope();
    FaultyDomScope(const FaultyDomScope&) = delete;
    FaultyDomScope& operator=(const FaultyDomScope&) = delete;
};
