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

CJson::CJson(const JsonObject& vecMembers) {
    std::vector<std::string> vecTexts;
    for (const auto& [strKey, js] : vecMembers) vecTexts.push_back(Dump(strKey) + ":" + js.Text());
    m_strText = "{" + Joined(vecTexts, ",") + "}";
}

CJson::CJson(const std::vector<JsonObject>& vecElements) {
    std::vector<std::string> vecTexts;
    for (const JsonObject& vecMembers : vecElements) vecTexts.push_back(CJson(vecMembers).Text());
    m_strText = "[" + Joined(vecTexts, ",") + "]";
}

void PrintJson(const JsonObject& vecMembers) {
    PrintLine(CJson(vecMembers).Text());
}
