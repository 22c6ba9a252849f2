#include "base/MetricText.h"

std::string MetricLabel(const char* pName, const std::string& strValue) {
    std::string strLabel = std::string(pName) + "=\"";
    for (const char c : strValue) {
        if (c == '"' || c == '\\') strLabel += '\\';
        strLabel += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return strLabel + "\"";
}

std::string MetricTime(UtcTime tTime) {
    const auto n = std::chrono::floor<std::chrono::milliseconds>(tTime).time_since_epoch().count();
    return std::to_string(n / 1000) + "." + std::to_string(1000 + n % 1000).substr(1);
}

CMetric::CMetric(const std::string& strName, const char* pType, const char* pHelp)
    : m_strName("localstorage_" + strName),
      m_strText("# HELP " + m_strName + " " + pHelp + "\n# TYPE " + m_strName + " " + pType +
                "\n") {}

CMetric& CMetric::Add(const std::string& strLabels, const std::string& strValue,
                      const char* pPart) {
    m_strText += m_strName + pPart + "{" + strLabels + "} " + strValue + "\n";
    return *this;
}
