#include "screen/Json.h"

#include <nlohmann/json.hpp>

#include "base/Text.h"
#include "screen/Terminal.h"

namespace {

std::string Dump(const nlohmann::json& js) {
    return js.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

CJson::CJson(double fValue) : m_strText(Dump(fValue)) {}

CJson::CJson(const std::string& strValue) : m_strText(Dump(strValue)) {}

CJson::CJson(const JsonObject& vMembers) {
    std::vector<std::string> vTexts;
    for (const auto& [strKey, js] : vMembers) vTexts.push_back(Dump(strKey) + ":" + js.Text());
    m_strText = "{" + Joined(vTexts, ",") + "}";
}

CJson::CJson(const std::vector<JsonObject>& vElements) {
    std::vector<std::string> vTexts;
    for (const JsonObject& vMembers : vElements) vTexts.push_back(CJson(vMembers).Text());
    m_strText = "[" + Joined(vTexts, ",") + "]";
}

void PrintJson(const JsonObject& vMembers) {
    PrintLine(CJson(vMembers).Text());
}
