// A pipe with a name, read without ever waiting for its writer inside a call to the system.

#ifndef LOCALSTORAGE_TOOL_BASE_FIFO_H
#define LOCALSTORAGE_TOOL_BASE_FIFO_H

#include <string>

class CFifo {
public:
    /// Opens it for reading; throws CFailure.
    explicit CFifo(const std::string& strPath);
    ~CFifo();
    CFifo(const CFifo&) = delete;
    CFifo& operator=(const CFifo&) = delete;

    int Descriptor() const { return m_nDescriptor; }
    /// Waits a moment; true once a writer has written something, or gone away again.
    bool HasCome() const;

private:
    const int m_nDescriptor;
};

#endif  // LOCALSTORAGE_TOOL_BASE_FIFO_H
