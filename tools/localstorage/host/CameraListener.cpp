#include "host/CameraListener.h"

const char* NameOf(ECameraState eState) {
    switch (eState) {
        case ECameraState::Connecting:
            return "connecting";
        case ECameraState::Connected:
            return "connected";
        case ECameraState::Lost:
            return "lost";
        case ECameraState::Stalled:
            return "stalled";
        default:
            return "ended";
    }
}
