#include "python/expression_fixture.h"

#include <Python.h>

using memhost::bstr;
using memhost::Cell;

namespace {

class HostLock {
public:
    HostLock() : state_(PyGILState_Ensure()) {}
    ~HostLock() { PyGILState_Release(state_); }
    HostLock(const HostLock&) = delete;
    HostLock& operator=(const HostLock&) = delete;

private:
    PyGILState_STATE state_;
};

std::vector<PyObject*>& watched() {
    static std::vector<PyObject*> references;  // weak ones, owned
    return references;
}

bool isAlive(PyObject* weak) {
    PyObject* object = nullptr;
    const int alive = PyWeakref_GetRef(weak, &object);
    Py_XDECREF(object);
    return alive == 1;
}

std::string documentOf(std::string_view source, std::string_view attributes, std::string_view library) {
    return "<conditionMap name='test'><functionLibrary>" + std::string(library) +
           "</functionLibrary><featureClass name='Light'><condition " + std::string(attributes) + "><expression" +
           (library.empty() ? "" : " library='lib'") + ">" + cdata(source) +
           "</expression></condition></featureClass></conditionMap>";
}

}  // namespace

bool runHostPython(const std::string& code) {
    const HostLock lock;
    return PyRun_SimpleString(code.c_str()) == 0;
}

void watchCode(const ConditionalXml::ConditionMap& map) {
    const HostLock lock;
    for (const auto& condition : map.conditions)
        if (condition->compiledExpression)
            watched().push_back(PyWeakref_NewRef(condition->compiledExpression.get(), nullptr));
}

std::size_t liveCodeObjects() {
    if (!Py_IsInitialized()) return 0;
    const HostLock lock;
    std::erase_if(watched(), [](PyObject* weak) {
        if (isAlive(weak)) return false;
        Py_DECREF(weak);
        return true;
    });
    return watched().size();
}

std::string cdata(std::string_view text) {
    return "<![CDATA[" + std::string(text) + "]]>";
}

LoadedExpression::LoadedExpression(std::string_view source, std::string_view attributes, std::string_view library)
    : loaded_(documentOf(source, attributes, library)) {
    watchCode(*loaded_.map);
    clearValues();
}

LoadedExpression& LoadedExpression::put(const char* name, const std::vector<Cell>& cells) {
    for (const Cell& cell : cells) values_->append(bstr(name), cell.value);
    return *this;
}

LoadedExpression& LoadedExpression::clearValues() {
    values_ = std::make_unique<ConditionalXml::RowValueMap>(rule().fieldNames);
    return *this;
}

LoadedExpression& LoadedExpression::result(const Cell& before) {
    before_ = before;
    return *this;
}

bool LoadedExpression::generate() {
    const VARTYPE type = before_.value.vt == VT_NULL ? VARTYPE{VT_BSTR} : before_.value.vt;
    table_ = memhost::Table("LIGHT")
                 .symbologyFields()
                 .field("RESULT", type)
                 .row({nullptr, nullptr, nullptr, nullptr, before_})
                 .build();
    row_ = table_->row(0);
    rule().currentRow = row_;
    rule().changed = false;
    struct Leave {
        ConditionalXml::FeatureClassRule& rule;
        ~Leave() { rule.currentRow = nullptr; }
    } const leave{rule()};
    return condition().generate(*values_);
}

std::string LoadedExpression::report() {
    try {
        generate();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(no error)";
}

std::string loadReport(std::string_view source, std::string_view attributes) {
    try {
        const LoadedExpression loaded(source, attributes);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(no error)";
}
