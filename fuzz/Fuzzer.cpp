#include "fuzz/Targets.h"

#include <cstddef>
#include <cstdint>

// libFuzzer's entry; TAVIK_FUZZ_TARGET is one of the functions in Targets.h.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    tavik::fuzz::TAVIK_FUZZ_TARGET({reinterpret_cast<const char*>(bytes), size});
    return 0;
}
