// Data as JSON, one object per line (NDJSON), in the order in which it is given.

#ifndef LOCALSTORAGE_TOOL_SCREEN_JSON_H
#define LOCALSTORAGE_TOOL_SCREEN_JSON_H

#include <concepts>
#include <string>
#include <utility>
#include <vector>

class CJson;
using JsonObject = std::vector<std::pair<std::string, CJson>>;

/// One value, as the text it has in JSON. Text that is not UTF-8 is repaired, since names of files
/// may be anything.
class CJson {
public:
    CJson(std::nullptr_t) : m_strText("null") {}
    CJson(bool bValue) : m_strText(bValue ? "true" : "false") {}
    CJson(std::integral auto nValue) : m_strText(std::to_string(nValue)) {}
    CJson(double fValue);
    CJson(const std::string& strValue);
    CJson(const char* pValue) : CJson(std::string(pValue)) {}
    CJson(const JsonObject& vMembers);
    CJson(const std::vector<JsonObject>& vElements);

    const std::string& Text() const { return m_strText; }

private:
    std::string m_strText;
};

/// Prints one line to standard output. Any thread.
void PrintJson(const JsonObject& vMembers);

#endif  // LOCALSTORAGE_TOOL_SCREEN_JSON_H
