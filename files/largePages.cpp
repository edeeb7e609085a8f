#include "files/largePages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace {

constexpr std::uintptr_t largeSize = 4 << 20;

}  // namespace

void preferLargePages(QByteArray& bytes) {
    const auto size = static_cast<std::uintptr_t>(bytes.size());
    if (size < largeSize) {
        return;
    }
    const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(bytes.data());
    const std::uintptr_t first = (begin + pageSize - 1) / pageSize * pageSize;
    const std::uintptr_t last = (begin + size) / pageSize * pageSize;
    // Only advice: whether it is taken changes nothing but the time.
    static_cast<void>(madvise(bytes.data() + (first - begin), last - first, MADV_HUGEPAGE));
}
