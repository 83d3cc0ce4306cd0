// The thread's error object, and object creation by class.
#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

constexpr GUID sampleGuid = symbology_platform::parseGuid("12345678-9ABC-DEF0-0123-456789ABCDEF");

CComPtr<IErrorInfo> errorWith(LPCOLESTR description) {
    CComPtr<ICreateErrorInfo> created;
    EXPECT_EQ(CreateErrorInfo(&created), S_OK);
    OLECHAR text[64] = {};
    WideView(description).copy(text, 63);
    EXPECT_EQ(created->SetDescription(text), S_OK);
    return CComQIPtr<IErrorInfo>(created);
}

WideString descriptionOf(IErrorInfo* info) {
    CComBSTR description;
    EXPECT_EQ(info->GetDescription(&description), S_OK);
    return {description.m_str, description.Length()};
}

/// Empty when the thread has no error object.
WideString takeDescription() {
    CComPtr<IErrorInfo> info;
    const HRESULT hr = GetErrorInfo(0, &info);
    EXPECT_EQ(hr, info ? S_OK : S_FALSE);
    return info ? descriptionOf(info) : WideString();
}

TEST(ErrorInfo, NoneAtFirst) {
    auto* info = reinterpret_cast<IErrorInfo*>(8);  // the call has to overwrite it
    EXPECT_EQ(GetErrorInfo(0, &info), S_FALSE);
    EXPECT_EQ(info, nullptr);
}

TEST(ErrorInfo, TakenOnce) {
    const CComPtr<IErrorInfo> set = errorWith(OLESTR("no such table"));
    EXPECT_EQ(SetErrorInfo(0, set), S_OK);
    CComPtr<IErrorInfo> taken;
    EXPECT_EQ(GetErrorInfo(0, &taken), S_OK);
    EXPECT_EQ(taken.p, set.p);
    EXPECT_EQ(takeDescription(), OLESTR(""));
}

TEST(ErrorInfo, PlatformKeepsItsOwnReference) {
    EXPECT_EQ(SetErrorInfo(0, errorWith(OLESTR("kept"))), S_OK);
    EXPECT_EQ(takeDescription(), OLESTR("kept"));
}

/// How an error object shows in the count of the system's objects.
const std::size_t counted = onPortablePlatform() ? 1 : 0;

TEST(ErrorInfo, ReplacedObjectIsReleased) {
    const std::size_t before = liveSystemObjects();
    EXPECT_EQ(SetErrorInfo(0, errorWith(OLESTR("first"))), S_OK);
    EXPECT_EQ(SetErrorInfo(0, errorWith(OLESTR("second"))), S_OK);
    EXPECT_EQ(liveSystemObjects(), before + counted);
    EXPECT_EQ(takeDescription(), OLESTR("second"));
    EXPECT_EQ(liveSystemObjects(), before);
}

TEST(ErrorInfo, SameObjectTwice) {
    const CComPtr<IErrorInfo> info = errorWith(OLESTR("same"));
    EXPECT_EQ(SetErrorInfo(0, info), S_OK);
    EXPECT_EQ(SetErrorInfo(0, info), S_OK);
    EXPECT_EQ(takeDescription(), OLESTR("same"));
}

TEST(ErrorInfo, NullClears) {
    const std::size_t before = liveSystemObjects();
    EXPECT_EQ(SetErrorInfo(0, errorWith(OLESTR("gone"))), S_OK);
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK);
    EXPECT_EQ(liveSystemObjects(), before);
    EXPECT_EQ(takeDescription(), OLESTR(""));
}

TEST(ErrorInfo, BelongsToItsThread) {
    const std::size_t before = liveSystemObjects();
    EXPECT_EQ(SetErrorInfo(0, errorWith(OLESTR("main"))), S_OK);
    std::thread([] {
        EXPECT_EQ(takeDescription(), OLESTR(""));
        EXPECT_EQ(SetErrorInfo(0, errorWith(OLESTR("other"))), S_OK);
    }).join();
    EXPECT_EQ(liveSystemObjects(), before + counted) << "the other thread's object ended with it";
    EXPECT_EQ(takeDescription(), OLESTR("main"));
}

TEST(ErrorInfo, WrongArguments) {
    CComPtr<IErrorInfo> info;
    EXPECT_EQ(GetErrorInfo(1, &info), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
    EXPECT_EQ(SetErrorInfo(1, nullptr), E_INVALIDARG);
    EXPECT_EQ(CreateErrorInfo(nullptr), E_INVALIDARG);
}

TEST(ErrorInfo, GivesBackWhatWasSet) {
    CComPtr<ICreateErrorInfo> created;
    ASSERT_EQ(CreateErrorInfo(&created), S_OK);
    OLECHAR source[] = OLESTR("source");
    OLECHAR description[] = OLESTR("description");
    OLECHAR helpFile[] = OLESTR("help file");
    EXPECT_EQ(created->SetGUID(sampleGuid), S_OK);
    EXPECT_EQ(created->SetSource(source), S_OK);
    EXPECT_EQ(created->SetDescription(description), S_OK);
    EXPECT_EQ(created->SetHelpFile(helpFile), S_OK);
    EXPECT_EQ(created->SetHelpContext(7), S_OK);
    const CComQIPtr<IErrorInfo> info(created);
    ASSERT_TRUE(info.p);
    GUID guid{};
    CComBSTR texts[3];
    DWORD helpContext = 0;
    EXPECT_EQ(info->GetGUID(&guid), S_OK);
    EXPECT_EQ(info->GetSource(&texts[0]), S_OK);
    EXPECT_EQ(info->GetDescription(&texts[1]), S_OK);
    EXPECT_EQ(info->GetHelpFile(&texts[2]), S_OK);
    EXPECT_EQ(info->GetHelpContext(&helpContext), S_OK);
    EXPECT_EQ(guid, sampleGuid);
    EXPECT_EQ(WideView(texts[0]), source);
    EXPECT_EQ(WideView(texts[1]), description);
    EXPECT_EQ(WideView(texts[2]), helpFile);
    EXPECT_EQ(helpContext, 7U);
}

TEST(ErrorInfo, EmptyObject) {
    CComPtr<ICreateErrorInfo> created;
    ASSERT_EQ(CreateErrorInfo(&created), S_OK);
    const CComQIPtr<IErrorInfo> info(created);
    CComBSTR text;
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    EXPECT_EQ(text.m_str, nullptr);
    EXPECT_EQ(info->GetDescription(nullptr), E_INVALIDARG);
    EXPECT_EQ(created->SetDescription(nullptr), S_OK);
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    EXPECT_EQ(text.m_str, nullptr);
}

TEST(ErrorInfo, OneObjectBehindItsInterfaces) {
    CComPtr<ICreateErrorInfo> created;
    ASSERT_EQ(CreateErrorInfo(&created), S_OK);
    const CComQIPtr<IErrorInfo> info(created);
    EXPECT_TRUE(created.IsEqualObject(info));
    void* object = static_cast<void*>(&object);  // the call has to overwrite it
    EXPECT_EQ(created->QueryInterface(sampleGuid, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    if (!underWine()) {  // it writes there
        EXPECT_EQ(created->QueryInterface(sampleGuid, nullptr), E_POINTER);
    }
}

TEST(ObjectFactory, Refusals) {
    const CComPtr<IErrorInfo> outer = errorWith(OLESTR(""));
    struct Row {
        const char* name;
        CLSID clsid;
        IUnknown* outer;
        DWORD context;
        HRESULT expected;
    };
    const Row rows[] = {
        {"unknown class", sampleGuid, nullptr, CLSCTX_ALL, REGDB_E_CLASSNOTREG},
        {"unknown class, aggregated", sampleGuid, outer, CLSCTX_ALL, REGDB_E_CLASSNOTREG},
        {"aggregated", CLSID_DOMDocument, outer, CLSCTX_ALL, CLASS_E_NOAGGREGATION},
        {"in another process", CLSID_DOMDocument, nullptr, CLSCTX_SERVER & ~CLSCTX_INPROC_SERVER, REGDB_E_CLASSNOTREG},
    };
    for (const Row& row : rows) {
        void* object = static_cast<void*>(&object);  // the call has to overwrite it
        EXPECT_EQ(CoCreateInstance(row.clsid, row.outer, row.context, __uuidof(IUnknown), &object), row.expected)
            << row.name;
        EXPECT_EQ(object, nullptr) << row.name;
    }
    EXPECT_EQ(CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_ALL, __uuidof(IUnknown), nullptr), E_POINTER);
}

TEST(ObjectFactory, NeedsNoInitialising) {
    PORTABLE_ONLY("COM has to be initialised, as main has done");
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    CoUninitialize();
}

}  // namespace
