// A small writer of indented JSON text: objects, arrays, strings (UTF-16
// escaped, so the text is plain ASCII), numbers, booleans. The caller keeps
// the nesting right; the writer puts the commas and the indentation.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace diag {

class JsonWriter {
public:
    void BeginObject();
    void EndObject();
    void BeginArray();
    void EndArray();
    // The next member's name, inside an object.
    JsonWriter& Key(const std::wstring& name);

    void String(const std::wstring& text);
    void Number(int64_t number);
    void Bool(bool value);
    void Null();

    // The text so far, ending in a line end once the outermost value is closed.
    const std::wstring& Text() const { return m_text; }

private:
    void BeforeValue();
    void Open(wchar_t bracket);
    void Close(wchar_t bracket);
    void NewLine();

    std::wstring m_text;
    std::vector<bool> m_hasMembers;  // per open level: whether it has a member yet
    bool m_afterKey = false;
};

// The text as a JSON string literal, quotes included.
std::wstring JsonString(const std::wstring& text);

}  // namespace diag
