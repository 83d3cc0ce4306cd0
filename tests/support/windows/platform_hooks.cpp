// Windows lets a process look into COM's allocator (IMallocSpy) and be its own debugger (a vectored handler).
#include "support/platform_hooks.h"
#include "support/failure_countdown.h"

#include <atomic>
#include <stdexcept>

// Blocks that are kept for the next text would count as held.
extern "C" __declspec(dllimport) void WINAPI SetOaNoCache();

namespace {

std::atomic<long> held{0};
FailureCountdown allocations;

/// Lives as long as the process: COM asks it about blocks until the end.
class Spy final : public IMallocSpy {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = iid == IID_IUnknown || iid == IID_IMallocSpy ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    /// An answer of 0 makes the allocation fail.
    SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T bytes) override { return allocations.failsNow() ? 0 : bytes; }
    void* STDMETHODCALLTYPE PostAlloc(void* block) override {
        if (block) ++held;
        return block;
    }
    void* STDMETHODCALLTYPE PreFree(void* block, BOOL spied) override {
        if (block && spied) --held;
        return block;
    }
    void STDMETHODCALLTYPE PostFree(BOOL) override {}
    SIZE_T STDMETHODCALLTYPE PreRealloc(void* block, SIZE_T bytes, void** newBlock, BOOL) override {
        *newBlock = block;
        return bytes;
    }
    void* STDMETHODCALLTYPE PostRealloc(void* block, BOOL) override { return block; }
    void* STDMETHODCALLTYPE PreGetSize(void* block, BOOL) override { return block; }
    SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T bytes, BOOL) override { return bytes; }
    void* STDMETHODCALLTYPE PreDidAlloc(void* block, BOOL) override { return block; }
    int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int actual) override { return actual; }
    void STDMETHODCALLTYPE PreHeapMinimize() override {}
    void STDMETHODCALLTYPE PostHeapMinimize() override {}
};

void require(HRESULT hr, const char* what) {
    if (FAILED(hr)) throw std::runtime_error(what);
}

DebugSink debugSink = nullptr;
void* debugContext = nullptr;
void* debugHandler = nullptr;

/// What OutputDebugStringA raises for a debugger: the length with terminator, and the text.
LONG CALLBACK hearDebugOutput(EXCEPTION_POINTERS* raised) {
    constexpr DWORD debugPrint = 0x40010006;  // DBG_PRINTEXCEPTION_C
    const EXCEPTION_RECORD& record = *raised->ExceptionRecord;
    if (record.ExceptionCode != debugPrint || record.NumberParameters < 2) return EXCEPTION_CONTINUE_SEARCH;
    debugSink(reinterpret_cast<const char*>(record.ExceptionInformation[1]), debugContext);
    return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

SystemSession::SystemSession() {
    SetOaNoCache();
    require(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "COM does not start");
    static Spy spy;
    require(CoRegisterMallocSpy(&spy), "COM's allocator cannot be watched");
    // What COM and MSXML keep from their first use on belongs to no test.
    CComPtr<IXMLDOMDocument> document;
    require(CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IXMLDOMDocument),
                             reinterpret_cast<void**>(&document.p)),
            "There is no MSXML");
    VARIANT_BOOL loaded = VARIANT_FALSE;
    require(document->loadXML(CComBSTR(OLESTR("<a b='c'>d</a>")), &loaded), "MSXML does not read");
}

SystemSession::~SystemSession() {
    SetErrorInfo(0, nullptr);
    CoRevokeMallocSpy();
    CoUninitialize();
}

std::size_t heldBstrs() {
    return static_cast<std::size_t>(held.load());
}

std::size_t liveSystemObjects() {
    return 0;
}

void failBstrAllocation(long nth, bool allAfter) {
    allocations.arm(nth, allAfter);
}

bool bstrAllocationFailed() {
    return allocations.hit();
}

void setDebugSink(DebugSink sink, void* context) {
    if (debugHandler) RemoveVectoredExceptionHandler(debugHandler);
    debugSink = sink;
    debugContext = context;
    debugHandler = sink ? AddVectoredExceptionHandler(1, hearDebugOutput) : nullptr;
}

bool onPortablePlatform() {
    return false;
}

bool underWine() {
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

std::vector<std::string> irregularFiles(const std::string& /*folder*/) {
    const char* const name = R"(\\.\pipe\symbology-test)";
    static const HANDLE pipe = CreateNamedPipeA(name, PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE | PIPE_WAIT,
                                                PIPE_UNLIMITED_INSTANCES, 0, 0, 0, nullptr);
    if (pipe == INVALID_HANDLE_VALUE) throw std::runtime_error("no pipe can be made");
    return {"NUL", name};
}
