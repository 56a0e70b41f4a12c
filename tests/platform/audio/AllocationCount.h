#pragma once

namespace tavik {

// How often the calling thread has allocated memory by `new`.
int allocationsOfThisThread();

} // namespace tavik
