#pragma once

#include "agent/Audit.h"
#include "app/Log.h"

namespace tavik::fuzz {

// Empties the log and the audit log every now and then: a long search would fill the disk.
inline void keepRecordsShort() {
    constexpr int often = 1000;
    static int inputs = 0;
    if (++inputs % often != 0)
        return;
    Audit::clearHistory();
    TavikLog::clearHistory();
}

} // namespace tavik::fuzz
