// What a host shows of one row: the row, its fields, its class. Only the library's public headers are used.
#pragma once

#include <symbology/symbology_manager.h>

#include <map>
#include <string>

/// Objects of this host live as long as their owner says, who is last to let go of them.
template <class... Interfaces>
class HostObject : public Interfaces... {
public:
    ULONG STDMETHODCALLTYPE AddRef() final { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() final { return --references_; }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) final {
        if (!object) return E_POINTER;
        *object = nullptr;
        (offer<Interfaces>(iid, object), ...);
        if (!*object && iid == __uuidof(IUnknown)) *object = firstOf<Interfaces...>();
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

protected:
    virtual ~HostObject() = default;

private:
    template <class Interface>
    void offer(REFIID iid, void** object) {
        if (iid == __uuidof(Interface)) *object = static_cast<Interface*>(this);
    }
    template <class First, class...>
    First* firstOf() {
        return this;
    }

    ULONG references_ = 1;
};

class Fields final : public HostObject<IFields> {
public:
    HRESULT STDMETHODCALLTYPE FindField(BSTR name, LONG* index) override {
        static const std::map<WideString, LONG> positions{
            {OLESTR("COLOUR"), 0}, {OLESTR("SYMBOL_C"), 1}, {OLESTR("LABEL"), 2}};
        const auto found = positions.find(WideString(name, SysStringLen(name)));
        *index = found == positions.end() ? -1 : found->second;
        return S_OK;
    }
};

/// A class without subtypes and without a workspace: rules that look into other tables find none.
class Buoys final : public HostObject<ITable, IObjectClass, IDataset> {
public:
    HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) override {
        return CComPtr<IFields>(&fields_).CopyTo(fields);
    }
    HRESULT STDMETHODCALLTYPE GetRow(ObjectId, IRow**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Select(IQueryFilter*, SelectionType, SelectionOption, IWorkspace*,
                                     ISelectionSet**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Update(IQueryFilter*, VARIANT_BOOL, ICursor**) override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE FindField(BSTR name, LONG* index) override { return fields_.FindField(name, index); }
    HRESULT STDMETHODCALLTYPE get_AliasName(BSTR* name) override { return CComBSTR(OLESTR("Buoy")).CopyTo(name); }

    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override { return CComBSTR(OLESTR("BUOY")).CopyTo(name); }
    HRESULT STDMETHODCALLTYPE get_Workspace(IWorkspace** workspace) override {
        *workspace = nullptr;
        return E_NOTIMPL;
    }

private:
    Fields fields_;
};

class Buoy final : public HostObject<IRow> {
public:
    explicit Buoy(Buoys& table) : table_(table) {
        values_[0] = CComVariant(3);
        values_[1].vt = VT_NULL;
        values_[2].vt = VT_NULL;
    }

    HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) override { return table_.get_Fields(fields); }
    HRESULT STDMETHODCALLTYPE get_Value(LONG index, VARIANT* value) override {
        return VariantCopy(value, &values_[index]);
    }
    HRESULT STDMETHODCALLTYPE put_Value(LONG index, VARIANT value) override {
        return VariantCopy(&values_[index], &value);
    }
    HRESULT STDMETHODCALLTYPE get_Table(ITable** table) override { return CComPtr<ITable>(&table_).CopyTo(table); }
    HRESULT STDMETHODCALLTYPE Store() override { return S_OK; }

    std::string symbol() const { return text(values_[1]); }
    std::string label() const { return text(values_[2]); }

private:
    static std::string text(const VARIANT& value) {
        if (value.vt != VT_BSTR) return "(none)";
        std::string ascii;  // as the names of symbols are
        for (UINT i = 0; i < SysStringLen(value.bstrVal); ++i) ascii += static_cast<char>(value.bstrVal[i]);
        return ascii;
    }

    Buoys& table_;
    CComVariant values_[3];
};
