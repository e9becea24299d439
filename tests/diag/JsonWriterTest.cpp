// The JSON writer: nesting, commas, indentation, and escapes that keep the
// text plain ASCII.
#include "status/JsonWriter.h"

#include <gtest/gtest.h>

namespace {

TEST(JsonWriter, NestedObjectsAndArraysIndentedByTwo)
{
    diag::JsonWriter json;
    json.BeginObject();
    json.Key(L"a").Number(1);
    json.Key(L"b").BeginArray();
    json.Bool(true);
    json.Null();
    json.BeginObject();
    json.Key(L"c").String(L"d");
    json.EndObject();
    json.EndArray();
    json.Key(L"e").BeginObject();
    json.EndObject();
    json.Key(L"f").BeginArray();
    json.EndArray();
    json.EndObject();
    EXPECT_EQ(json.Text(), L"{\n"
                           L"  \"a\": 1,\n"
                           L"  \"b\": [\n"
                           L"    true,\n"
                           L"    null,\n"
                           L"    {\n"
                           L"      \"c\": \"d\"\n"
                           L"    }\n"
                           L"  ],\n"
                           L"  \"e\": {},\n"
                           L"  \"f\": []\n"
                           L"}\n");
}

TEST(JsonString, EscapesQuotesBackslashesControlsAndNonAscii)
{
    EXPECT_EQ(diag::JsonString(L"C:\\a \"b\""), L"\"C:\\\\a \\\"b\\\"\"");
    EXPECT_EQ(diag::JsonString(L"a\nb\tc\r\x01"), L"\"a\\nb\\tc\\r\\u0001\"");
    EXPECT_EQ(diag::JsonString(L"Intel\u00ae \u20ac"), L"\"Intel\\u00ae \\u20ac\"");
    EXPECT_EQ(diag::JsonString(L"\x7f"), L"\"\\u007f\"");
}

TEST(JsonWriter, NegativeAndLargeNumbers)
{
    diag::JsonWriter json;
    json.BeginArray();
    json.Number(-5);
    json.Number(4294967295);
    json.EndArray();
    EXPECT_EQ(json.Text(), L"[\n  -5,\n  4294967295\n]\n");
}

}  // namespace
