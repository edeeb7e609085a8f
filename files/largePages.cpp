#include "files/largePages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace {

constexpr std::uintptr_t largeSize = 1 << 20;

}  // namespace

void preferLargePages(QByteArray& bytes) {
    if (bytes.size() < static_cast<qsizetype>(largeSize)) {
        return;
    }
    // Rounded outward, to all of the mapping that the allocator made for a large array: one that is advised in part is
    // two to the system, and growing it would copy it.
    const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(bytes.data());
    const std::uintptr_t first = begin / pageSize * pageSize;
    const std::uintptr_t last = begin + static_cast<std::uintptr_t>(bytes.capacity()) + 1;
    // Only advice: whether it is taken changes nothing but the time.
    static_cast<void>(madvise(bytes.data() - (begin - first), last - first, MADV_HUGEPAGE));
}
