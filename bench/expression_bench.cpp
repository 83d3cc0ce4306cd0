// Rows with an expression, against the bare cost of executing the same code object in a new module and calling the same
// function with the same arguments from C: what the library adds to Python.
#include "bench_support.h"

#include "cxml/condition.h"
#include "cxml/condition_map.h"
#include "host/geodatabase/gdal_workspace.h"
#include "host/python/interpreter.h"
#include "memhost/table.h"
#include "python/get_gil.h"
#include "python/py_ref.h"

#include <Python.h>
#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace {

using ConditionalXml::PyRef;
using embedded_host::GdalWorkspace;

constexpr std::size_t rowCount = 100'000;

// ---- the lights ----

struct Light {
    std::string name;
    int character;
    const char* group;  // null stands for NULL, here and below
    const char* colour;
    double period;  // 0 stands for NULL, here and below
    double height;
    double range;
};

constexpr std::array characters{1, 2, 3, 4, 7, 8};
constexpr std::array<const char*, 4> groups{nullptr, "(2)", "(3)", "(1)"};
constexpr std::array<const char*, 5> colours{"1", "3", "4", "1,3", nullptr};

Light lightOf(std::size_t row) {
    return {"Ledge " + std::to_string(row),    characters[row % characters.size()], groups[row / 2 % groups.size()],
            colours[row / 3 % colours.size()], static_cast<double>(row % 5) * 2.5,  static_cast<double>(row % 60) * 0.5,
            static_cast<double>(row % 18)};
}

// ---- the cases ----

struct Case {
    const char* name;
    const char* expression;            // one element of the condition
    PyRef (*arguments)(const Light&);  // what the library makes of a row
};

PyRef textOf(const char* text) {
    return text ? PyRef(PyUnicode_FromString(text)) : PyRef::borrow(Py_None);
}

PyRef numberOf(double number) {
    return number != 0 ? PyRef(PyFloat_FromDouble(number)) : PyRef::borrow(Py_None);
}

PyRef listOf(PyRef item) {
    PyRef list(PyList_New(1));
    PyList_SetItem(list.get(), 0, item.release());
    return list;
}

const std::array cases{
    Case{"oneLiner", "<expression>def Generate(OBJNAM): return 'Lt ' + OBJNAM</expression>",
         [](const Light& light) {
             const PyRef name = textOf(light.name.c_str());
             return PyRef(PyTuple_Pack(1, name.get()));
         }},
    Case{"lightDescription",
         "<expression library='lights'><![CDATA[\n"
         "def Generate(LITCHR, SIGGRP, COLOUR[], SIGPER, HEIGHT, VALNMR[]):\n"
         "    return light_description(LITCHR, SIGGRP, COLOUR[], SIGPER, HEIGHT, VALNMR[])\n"
         "]]></expression>",
         [](const Light& light) {
             const PyRef character(PyLong_FromLong(light.character));
             const PyRef group = textOf(light.group);
             const PyRef colour = listOf(textOf(light.colour));
             const PyRef period = numberOf(light.period);
             const PyRef height = numberOf(light.height);
             const PyRef range = listOf(numberOf(light.range));
             return PyRef(
                 PyTuple_Pack(6, character.get(), group.get(), colour.get(), period.get(), height.get(), range.get()));
         }},
};

/// One case's document, and the texts that its expression has for the rows.
struct Run {
    const Case& one;
    SymbologyManager manager;
    const std::vector<Light>& lights;
    std::vector<std::string> answers;

    Run(const Case& which, const Folder& folder, const std::vector<Light>& rows) : one(which), lights(rows) {
        loadDocument(manager,
                     folder.write(std::string(which.name) + ".cxml",
                                  "<conditionMap name='bench'><functionLibrary><expressionFile name='lights'>" +
                                      std::string(LIGHT_LIBRARY) +
                                      "</expressionFile></functionLibrary><featureClass name='LIGHTS'>"
                                      "<condition type='2' field='LABEL_C'>" +
                                      which.expression + "</condition></featureClass></conditionMap>"));
    }

    PyObject* code() const {
        return SymbologyManagerAccess::currentMap(manager)->conditions.at(0)->compiledExpression.get();
    }
};

// ---- the bare way ----

/// Executes the code in a new module with the names that modules have, and calls its function, once for each row, the
/// lock held all the time.
template <class Take>
void callBare(const Run& run, Take&& take) {
    const ConditionalXml::GetGIL lock;
    PyObject* const code = run.code();
    for (const Light& light : run.lights) {
        const PyRef module(PyModule_New("CalcFields"));
        PyObject* const names = PyModule_GetDict(module.get());
        PyDict_SetItemString(names, "__builtins__", PyEval_GetBuiltins());
        PyModule_AddStringConstant(module.get(), "__file__", "CalcFields");
        PyDict_SetItemString(PyImport_GetModuleDict(), "CalcFields", module.get());
        const PyRef executed(PyEval_EvalCode(code, names, names));
        PyObject* const function = PyDict_GetItemString(names, "Generate");
        const PyRef arguments = run.one.arguments(light);
        const PyRef result(PyObject_CallObject(function, arguments.get()));
        if (!executed || !result) fail("the bare call failed");
        take(result.get());
    }
}

// ---- the library's way ----

memhost::Cell cellOf(const char* text) {
    return text ? memhost::Cell(text) : memhost::Cell(nullptr);
}

memhost::Cell cellOf(double number) {
    return number != 0 ? memhost::Cell(number) : memhost::Cell(nullptr);
}

CComPtr<memhost::TableObject> makeTable(const std::vector<Light>& lights) {
    memhost::Table table("LIGHTS");
    table.symbologyFields()
        .field("LABEL_C", VT_BSTR)
        .field("OBJNAM", VT_BSTR)
        .field("LITCHR", VT_I4)
        .field("SIGGRP", VT_BSTR)
        .field("COLOUR", VT_BSTR)
        .field("SIGPER", VT_R8)
        .field("HEIGHT", VT_R8)
        .field("VALNMR", VT_R8)
        .forgetsUpdates();
    for (const Light& light : lights)
        table.row({nullptr, nullptr, nullptr, nullptr, nullptr, light.name, light.character, cellOf(light.group),
                   cellOf(light.colour), cellOf(light.period), cellOf(light.height), cellOf(light.range)});
    return table.build();
}

void symbolize(SymbologyManager& manager, IFeatureClass* lights) {
    if (!manager.symbolize(lights, nullptr, nullptr)) fail("a run failed");
}

/// The same lights as a GeoPackage.
std::string makeChart(const Folder& folder, const std::vector<Light>& lights) {
    const auto shown = [](double number) { return number != 0 ? std::to_string(number) : std::string(); };
    std::string rows =
        "x,y,SYMBOL_C,Xoffset_C,Yoffset_C,Rotate_C,LABEL_C,OBJNAM,LITCHR,SIGGRP,COLOUR,SIGPER,HEIGHT,"
        "VALNMR\n";
    std::size_t place = 0;
    for (const Light& light : lights) {
        rows += std::to_string(place % 1000) + ',' + std::to_string(place / 1000) + ",,,,,," + light.name + ',' +
                std::to_string(light.character) + ',' + (light.group ? light.group : "") + ",\"" +
                (light.colour ? light.colour : "") + "\"," + shown(light.period) + ',' + shown(light.height) + ',' +
                shown(light.range) + '\n';
        ++place;
    }
    folder.write("LIGHTS.csv", rows);
    folder.write("LIGHTS.csvt",
                 "CoordX,CoordY,String,Real,Real,Real,String,String,Integer,String,String,Real,Real,Real\n");
    std::string chart = folder.file("lights.gpkg");
    runCommand("ogr2ogr -q -f GPKG -nln LIGHTS -a_srs EPSG:3857 '" + chart + "' '" + folder.file("LIGHTS.csv") +
               "' -oo EMPTY_STRING_AS_NULL=YES -oo KEEP_GEOM_COLUMNS=NO");
    return chart;
}

void symbolizeChart(SymbologyManager& manager, GdalWorkspace& workspace) {
    symbolizeLayer(manager, workspace, "LIGHTS", rowCount);
}

// ---- checks ----

/// The library writes what the bare call returns, in memory and into the chart.
void check(Run& run, memhost::TableObject& table, const std::string& chart) {
    callBare(run, [&](PyObject* result) {
        const char* text = PyUnicode_AsUTF8AndSize(result, nullptr);
        if (!text) fail("the bare call returned no text");
        run.answers.emplace_back(text);
    });
    symbolize(run.manager, table.featureClass());
    std::size_t row = 0;
    for (const std::string& answer : run.answers) {
        const CComVariant& written = table.value(row, "LABEL_C");
        const bool same =
            answer.empty() ? written.vt == VT_NULL : written.vt == VT_BSTR && memhost::utf8(written.bstrVal) == answer;
        if (!same)
            fail(std::string(run.one.name) + ": wrong answer in row " + std::to_string(row) + ": " +
                 table.text(row, "LABEL_C") + " instead of " + answer);
        ++row;
    }
    const auto workspace = GdalWorkspace::open(chart, GdalWorkspace::Access::Update);
    symbolizeChart(run.manager, *workspace);
    const CComPtr<IFeatureClass> featureClass = workspace->openFeatureClass("LIGHTS", std::nullopt);
    const CComQIPtr<ITable> rows(static_cast<IUnknown*>(featureClass));
    LONG label = -1;
    featureClass->FindField(memhost::bstr("LABEL_C"), &label);
    ObjectId id = 0;
    for (const std::string& answer : run.answers) {
        CComPtr<IRow> written;
        CComVariant value;
        if (FAILED(rows->GetRow(++id, &written)) || FAILED(written->get_Value(label, &value)))
            fail("row " + std::to_string(id) + " cannot be read");
        if ((value.vt == VT_BSTR ? memhost::utf8(value.bstrVal) : std::string()) != answer)
            fail(std::string(run.one.name) + ": wrong answer in row " + std::to_string(id) + " of the chart");
    }
    std::printf("checked: %s, %zu rows in memory and of a GeoPackage, such as %s\n", run.one.name, rowCount,
                run.answers[rowCount / 2 + 1].c_str());
}

void measure(benchmark::State& state, const Run& run, const std::function<void()>& library) {
    compare(state, rowCount, library, [&] { callBare(run, [](PyObject* text) { benchmark::DoNotOptimize(text); }); });
}

void add(const std::string& name, const std::function<void(benchmark::State&)>& body) {
    // NOLINTNEXTLINE(readability-redundant-string-cstr): older releases of the library take no std::string
    benchmark::RegisterBenchmark(name.c_str(), body)->UseManualTime()->Unit(benchmark::kMillisecond);
}

void measureAll(int argc, char** argv) {
    const Folder folder;
    std::vector<Light> lights;
    lights.reserve(rowCount);
    for (std::size_t row = 0; row < rowCount; ++row) lights.push_back(lightOf(row));
    const std::string chart = makeChart(folder, lights);
    std::vector<std::unique_ptr<Run>> runs;
    std::vector<CComPtr<memhost::TableObject>> tables;
    for (const Case& one : cases) {
        Run& run = *runs.emplace_back(std::make_unique<Run>(one, folder, lights));
        memhost::TableObject* const table = tables.emplace_back(makeTable(lights));
        check(run, *table, chart);
        // The rows hold their texts already, but for the ones that are always written: NULL for no text.
        add(one.name + std::string("/memory"), [&run, table](benchmark::State& state) {
            measure(state, run, [&] { symbolize(run.manager, table->featureClass()); });
        });
        add(one.name + std::string("/geopackage"), [&run, &chart](benchmark::State& state) {
            const auto workspace = GdalWorkspace::open(chart, GdalWorkspace::Access::Update);
            symbolizeChart(run.manager, *workspace);
            measure(state, run, [&] { symbolizeChart(run.manager, *workspace); });
        });
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

}  // namespace

int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape): a benchmark that throws has failed
    const embedded_host::PythonInterpreter python;
    measureAll(argc, argv);
}
