#include "platform/portable/dom_parse_error.h"

#include "platform/portable/dom_object.h"
#include "platform/portable/dom_text.h"

namespace symbology_platform::dom {

namespace {

/// Like MSXML's, it answers S_FALSE to what there is nothing to say about.
class ParseError final : public ComObject<ParseError, IXMLDOMParseError> {
public:
    explicit ParseError(ParseFailure failure) : failure_(std::move(failure)) {}
    ~ParseError() = default;

    HRESULT STDMETHODCALLTYPE get_errorCode(LONG* code) override {
        if (!code) return E_INVALIDARG;
        *code = failure_.code;
        return failure_.code == 0 ? S_FALSE : S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_reason(BSTR* reason) override { return give(failure_.reason, reason); }
    HRESULT STDMETHODCALLTYPE get_srcText(BSTR* text) override { return give(failure_.sourceLine, text); }
    HRESULT STDMETHODCALLTYPE get_line(LONG* line) override { return give(failure_.line, line); }
    HRESULT STDMETHODCALLTYPE get_linepos(LONG* position) override { return give(failure_.position, position); }

private:
    static HRESULT give(const std::u16string& text, BSTR* result) {
        if (!result) return E_INVALIDARG;
        *result = nullptr;
        if (text.empty()) return S_FALSE;
        return atBoundary([&] {
            *result = toBstr(text);
            return S_OK;
        });
    }
    static HRESULT give(LONG value, LONG* result) {
        if (!result) return E_INVALIDARG;
        *result = value;
        return S_OK;
    }

    const ParseFailure failure_;
};

}  // namespace

IXMLDOMParseError* makeParseError(const ParseFailure& failure) {
    return new ParseError(failure);
}

}  // namespace symbology_platform::dom
