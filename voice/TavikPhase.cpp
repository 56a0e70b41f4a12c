#include "voice/TavikPhase.h"

namespace tavik {

std::string describe(const TavikPhase& phase) {
    switch (phase.kind) {
    case TavikPhase::Kind::error:
        return "error: " + phase.message;
    case TavikPhase::Kind::off:
        return "off";
    case TavikPhase::Kind::preparing:
        return "preparing";
    case TavikPhase::Kind::idle:
        return "idle";
    case TavikPhase::Kind::listening:
        return "listening";
    case TavikPhase::Kind::thinking:
        return "thinking";
    case TavikPhase::Kind::speaking:
        return "speaking";
    }
    return "";
}

} // namespace tavik
