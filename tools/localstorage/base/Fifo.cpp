#include "base/Fifo.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "base/Failure.h"
#include "base/Text.h"

CFifo::CFifo(const std::string& strPath)
    : m_nDescriptor(open(strPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
    if (m_nDescriptor < 0) throw CFailure("cannot open " + strPath + ": " + ErrorText(errno));
}

CFifo::~CFifo() {
    close(m_nDescriptor);
}

bool CFifo::HasCome() const {
    constexpr int MOMENT = 50;  // ms
    pollfd st = {m_nDescriptor, POLLIN, 0};
    return poll(&st, 1, MOMENT) > 0;
}
