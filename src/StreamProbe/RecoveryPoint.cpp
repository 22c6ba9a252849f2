#include "StreamProbe/RecoveryPoint.h"

namespace {
constexpr std::uint32_t RECOVERY_POINT = 6;
}

bool CRecoveryPointScan::Push(std::uint8_t byData) {
    if (byData == 3 && m_nZeros >= 2) {
        m_nZeros = 0;  // emulation prevention: not part of the message
        return false;
    }
    m_nZeros = byData == 0 ? static_cast<std::uint8_t>(m_nZeros < 2 ? m_nZeros + 1 : 2) : 0;
    return PushPayload(byData);
}

// Type and size are sums of bytes, the last of which is not 0xFF.
bool CRecoveryPointScan::PushPayload(std::uint8_t byData) {
    switch (m_ePhase) {
        case EPhase::Type:
            m_nType += byData;
            m_ePhase = byData == 0xFF ? EPhase::Type : EPhase::Size;
            return false;
        case EPhase::Size:
            m_nLeft += byData;
            if (byData != 0xFF) {
                m_ePhase = m_nLeft == 0 ? EPhase::Type : EPhase::Payload;
                m_nType = m_nLeft == 0 ? 0 : m_nType;
            }
            return false;
        case EPhase::Payload:
            break;
    }
    const bool bFound = m_nType == RECOVERY_POINT;
    if (--m_nLeft == 0) {
        m_ePhase = EPhase::Type;
        m_nType = 0;
    }
    return bFound;
}
