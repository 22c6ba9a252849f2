// Numbers in the text format that Prometheus reads. Pure.

#ifndef LOCALSTORAGE_TOOL_BASE_METRICTEXT_H
#define LOCALSTORAGE_TOOL_BASE_METRICTEXT_H

#include <string>

#include "base/Times.h"

/// name="value"
std::string MetricLabel(const char* pName, const std::string& strValue);

/// Seconds since 1970.
std::string MetricTime(UtcTime tTime);

/// One metric: its description, and a line for each of its samples.
class CMetric {
public:
    CMetric(const std::string& strName, const char* pType, const char* pHelp);

    /// `pPart` stands behind the name: "_sum", "_count".
    CMetric& Add(const std::string& strLabels, const std::string& strValue, const char* pPart = "");
    const std::string& Text() const { return m_strText; }

private:
    const std::string m_strName;
    std::string m_strText;
};

#endif  // LOCALSTORAGE_TOOL_BASE_METRICTEXT_H
