#include "platform/concurrency/ThreadName.h"

#include <pthread.h>
#include <string>

namespace tavik {

void nameThisThread(std::string_view name) {
    constexpr std::size_t limit = 15;
    if (name.size() > limit)
        name.remove_prefix(name.size() - limit);
    pthread_setname_np(pthread_self(), std::string(name).c_str());
}

} // namespace tavik
