// A host that prints its messages and starts Python for the expressions of its document: one class with one row. Call
// it with the path of data/labels.cxml; it prints which Python there is, what is said, and what the row has got.
#include "../host/host_objects.h"

#include <symbology/python.h>

#include <cstdio>
#include <stdexcept>

namespace {

std::string narrow(BSTR text) {
    std::string ascii;  // as our document's texts are
    for (UINT i = 0; i < SysStringLen(text); ++i) ascii += text[i] < 128 ? static_cast<char>(text[i]) : '?';
    return ascii;
}

/// What a host's user is to read.
class PrintedMessages final : public HostObject<IGPMessages> {
public:
    HRESULT STDMETHODCALLTYPE AddMessage(BSTR text) override {
        std::printf("message: %s\n", narrow(text).c_str());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE AddError(LONG, BSTR text) override {
        std::printf("error: %s\n", narrow(text).c_str());
        return S_OK;
    }
};

int run(const char* path) {
    const symbology::python::Python python = symbology::python::start();
    std::printf("Python %s, %s: %s\n", python.version.c_str(),
                python.isOurs ? "started here" : "started by somebody else", python.file.c_str());
    PrintedMessages messages;
    SymbologyManager manager;
    const std::string ascii = path;
    if (!manager.loadCXML(WideString(ascii.begin(), ascii.end()).c_str(), &messages)) return 1;
    Buoys buoys;
    Buoy buoy(buoys);
    bool changed = false;
    if (!manager.symbolize(&buoy, &changed, &messages)) return 1;
    std::printf("%s %s, labelled %s\n", changed ? "changed" : "unchanged", buoy.symbol().c_str(), buoy.label().c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: symbology_host_python data/labels.cxml\n", stderr);
        return 2;
    }
    try {
        return run(argv[1]);
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
