// Row values: the variant type of each column, and what put_Value makes of what it is given.
#include "host/chart.h"
#include "host/geodatabase/objects/cell_variant.h"

#include <cmath>
#include <limits>

namespace host_test {
namespace {

class Values : public ChartTest {
protected:
    void SetUp() override { open(4); }

    std::string put(const char* field, const VARIANT& given, ObjectId id = 1) {
        const CComPtr<IRow> changed = row(id);
        const HRESULT hr = changed->put_Value(fieldIndex(changed, field), given);
        if (FAILED(hr)) {
            // A value that was refused leaves the row as it was.
            EXPECT_EQ(value(changed, field), value(row(id), field));
            const std::string text = errorText();
            EXPECT_NE(text.find(field), std::string::npos) << text;
            return hr == DISP_E_OVERFLOW ? "overflow" : hr == DISP_E_TYPEMISMATCH ? "mismatch" : text;
        }
        EXPECT_EQ(changed->Store(), S_OK) << errorText();
        return value(row(id), field);
    }
};

TEST_F(Values, HaveTheVariantTypeOfTheirColumn) {
    const CComPtr<IRow> first = row(1);
    EXPECT_EQ(value(first, "number"), "I4:1");
    EXPECT_EQ(value(first, "small"), "I2:1");
    EXPECT_EQ(value(first, "big"), "I8:9007199254740994");
    EXPECT_EQ(value(first, "ratio"), "R8:1.5");
    EXPECT_EQ(value(first, "single"), "R4:1.25");
    EXPECT_EQ(value(first, "name"), "BSTR:Buoy 1");
    EXPECT_EQ(value(first, "flag"), "BOOL:true");
    EXPECT_EQ(value(row(4), "flag"), "BOOL:false");
    EXPECT_EQ(value(first, "day"), "DATE:45351");
    EXPECT_EQ(value(first, "moment"), "DATE:45351.521009838");
    EXPECT_EQ(value(first, "fid"), "I8:1");
}

TEST_F(Values, NullAndUnsetAreBothNull) {
    for (const ObjectId id : {2, 3})
        for (const char* field :
             {"number", "small", "big", "ratio", "single", "name", "flag", "day", "moment", "picture"})
            EXPECT_EQ(value(row(id), field), "NULL") << id << ' ' << field;
}

TEST_F(Values, BinaryDataIsRefusedInBothDirections) {
    EXPECT_NE(value(row(1), "picture").find("field picture: values of this field's type cannot be read"),
              std::string::npos);
    EXPECT_EQ(put("picture", variant("x"), 2), "mismatch");
}

TEST_F(Values, PutNullAndEmptySetNull) {
    EXPECT_EQ(put("number", nullVariant()), "NULL");
    EXPECT_EQ(put("name", nullVariant()), "NULL");
    EXPECT_EQ(put("SYMBOL_C", CComVariant()), "NULL");
    EXPECT_EQ(sqlite(path_, "SELECT typeof(name) FROM BOYLAT WHERE fid = 1").front(), "null");
}

TEST_F(Values, PutConvertsToTheColumn) {
    EXPECT_EQ(put("number", variant("42")), "I4:42");
    EXPECT_EQ(put("number", CComVariant(7.0)), "I4:7");
    EXPECT_EQ(put("number", CComVariant(true)), "I4:-1");
    EXPECT_EQ(put("small", CComVariant(-32768)), "I2:-32768");
    EXPECT_EQ(put("big", variant("9223372036854775807")), "I8:9223372036854775807");
    EXPECT_EQ(put("ratio", variant("2.25")), "R8:2.25");
    EXPECT_EQ(put("ratio", CComVariant(3)), "R8:3");
    EXPECT_EQ(put("single", CComVariant(0.5)), "R4:0.5");
    EXPECT_EQ(put("name", CComVariant(12)), "BSTR:12");
    EXPECT_EQ(put("name", CComVariant(1.5)), "BSTR:1.5");
    EXPECT_EQ(put("name", variant("")), "BSTR:");
    EXPECT_EQ(put("flag", CComVariant(false)), "BOOL:false");
    EXPECT_EQ(put("flag", CComVariant(1)), "BOOL:true");
    EXPECT_EQ(put("day", CComVariant(45352.0, VT_DATE)), "DATE:45352");
    EXPECT_EQ(put("moment", CComVariant(45352.25, VT_DATE)), "DATE:45352.25");
}

TEST_F(Values, PutNeverMangles) {
    EXPECT_EQ(put("number", CComVariant(2.5)), "mismatch");
    EXPECT_EQ(put("number", variant("2.5")), "mismatch");
    EXPECT_EQ(put("number", variant("deep")), "mismatch");
    EXPECT_EQ(put("number", variant("")), "mismatch");
    EXPECT_EQ(put("number", CComVariant(LONGLONG{2147483648})), "overflow");
    EXPECT_EQ(put("small", CComVariant(32768)), "overflow");
    EXPECT_EQ(put("big", CComVariant(1e30)), "overflow");
    EXPECT_EQ(put("ratio", variant("deep")), "mismatch");
    EXPECT_EQ(put("ratio", CComVariant(LONGLONG{9007199254740993})), "overflow");
    EXPECT_EQ(put("ratio", CComVariant(std::numeric_limits<double>::quiet_NaN())), "mismatch");
    EXPECT_EQ(put("single", CComVariant(1e300)), "overflow");
    EXPECT_EQ(put("flag", CComVariant(2)), "overflow");
    EXPECT_EQ(put("day", CComVariant(45352.5, VT_DATE)), "mismatch");
    EXPECT_EQ(put("day", variant("someday")), "mismatch");
}

TEST_F(Values, TextsKeepEveryCharacter) {
    const std::vector<std::string> texts{"Größe ⚓🚢", std::string("a\0b", 3), "it's \"quoted\"\n",
                                         std::string(100000, 'x')};
    for (const std::string& text : texts) EXPECT_EQ(put("name", variant(text)), "BSTR:" + text);
}

TEST_F(Values, ALoneSurrogateIsRefused) {
    const OLECHAR lone[] = {0xD83D};
    const CComPtr<IRow> first = row(1);
    EXPECT_EQ(first->put_Value(fieldIndex(first, "name"), CComVariant(CComBSTR(1, lone))), E_INVALIDARG);
    EXPECT_EQ(errorText(), "the text is not valid UTF-16: it has a lone surrogate");
    EXPECT_EQ(value(first, "name"), "BSTR:Buoy 1");
}

TEST_F(Values, TheKeyCannotBePut) {
    const CComPtr<IRow> first = row(1);
    EXPECT_EQ(first->put_Value(fieldIndex(first, "fid"), CComVariant(9)), E_ACCESSDENIED);
    EXPECT_EQ(errorText(), "field fid: the key of a row does not change");
}

TEST_F(Values, PositionsOutsideTheRowAreRefused) {
    const CComPtr<IRow> first = row(1);
    CComVariant result;
    for (const LONG index : {-1, 13, 1000}) {
        EXPECT_EQ(first->get_Value(index, &result), E_INVALIDARG);
        EXPECT_EQ(errorText(), path_ + ", layer BOYLAT: there is no field " + std::to_string(index));
        EXPECT_EQ(first->put_Value(index, result), E_INVALIDARG);
    }
    EXPECT_EQ(first->get_Value(0, nullptr), E_POINTER);
}

TEST_F(Values, WhatIsNotOfTheColumnsTypeIsNotInvented) {
    sqlite(path_,
           "UPDATE BOYLAT SET number = 'deep', ratio = 'deep', big = 2.5, day = 'someday' WHERE fid = 1;"
           "UPDATE BOYLAT SET number = 5000000000 WHERE fid = 4;");
    const CComPtr<IRow> first = row(1);
    EXPECT_EQ(value(first, "number"), "failed: field number: the row holds 'deep', which is not of the field's type");
    EXPECT_EQ(value(first, "ratio"), "failed: field ratio: the row holds 'deep', which is not of the field's type");
    EXPECT_EQ(value(first, "big"), "failed: field big: the row holds '2.5', which is not of the field's type");
    EXPECT_EQ(value(first, "day"), "failed: field day: the row holds 'someday', which is not a date or time");
    EXPECT_EQ(value(row(4), "number"), "failed: field number: 5000000000 is out of the field's range");
}

TEST_F(Values, AWidthIsALimit) {
    sqlite(path_, "ALTER TABLE BOYLAT ADD COLUMN mark TEXT(5)");
    workspace_ = GdalWorkspace::open(path_, Access::Update);
    EXPECT_EQ(put("mark", variant("Größe")), "BSTR:Größe");
    EXPECT_EQ(put("mark", variant("Größen")), "overflow");
}

}  // namespace
}  // namespace host_test
