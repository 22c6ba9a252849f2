// The form that a browser sends to log in.

#ifndef LOCALSTORAGE_TOOL_SERVE_FORMREADER_H
#define LOCALSTORAGE_TOOL_SERVE_FORMREADER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct MHD_Connection;
struct MHD_PostProcessor;

class CFormReader {
public:
    /// Of a request whose headers have come; none but a form has fields.
    explicit CFormReader(MHD_Connection& objConnection);
    CFormReader(const CFormReader&) = delete;
    CFormReader& operator=(const CFormReader&) = delete;

    /// The next bytes of it. What is longer than any token is not kept.
    void Take(const char* pBytes, std::size_t nBytes);
    /// The field "token"; empty: there is none.
    const std::string& Token() const { return m_strToken; }

private:
    struct destroy {
        void operator()(MHD_PostProcessor* p) const;
    };
    std::string m_strToken;
    std::unique_ptr<MHD_PostProcessor, destroy> m_pReader;
};

#endif  // LOCALSTORAGE_TOOL_SERVE_FORMREADER_H
