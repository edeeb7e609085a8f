#include "files/largePages.h"

#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

namespace {

constexpr std::uintptr_t largePage = 2 << 20;
constexpr int largestHeapArray = 32 << 20;  // the allocator accepts no larger value
constexpr int heapRoom = 64 << 20;

bool memoryIsLimited() {
    for (const auto resource : {RLIMIT_AS, RLIMIT_DATA}) {
        rlimit limit{};
        if (getrlimit(resource, &limit) != 0 || limit.rlim_cur != RLIM_INFINITY) {
            return true;
        }
    }
    return false;
}

std::uintptr_t roundedUp(std::uintptr_t address) {
    return (address + largePage - 1) / largePage * largePage;
}

// The system may ignore this advice. The run then only takes longer.
void advise(std::uintptr_t begin, std::uintptr_t end) {
    madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace

void prepareHeap() {
    if (memoryIsLimited()) {
        return;  // under a limit, other allocations may need the room
    }
    mallopt(M_MMAP_THRESHOLD, largestHeapArray);
    mallopt(M_TRIM_THRESHOLD, 2 * heapRoom);
    mallopt(M_TOP_PAD, heapRoom);
    const auto oldEnd = reinterpret_cast<std::uintptr_t>(sbrk(0));
    // The heap has less room than this allocation needs, so it grows now. Then the system can be advised before the
    // first access to the new memory. The pointer is volatile, because the compiler may remove an unused allocation.
    constexpr std::size_t moreThanLeft = 1 << 20;
    void* volatile const place = std::malloc(moreThanLeft);
    std::free(place);
    const auto newEnd = reinterpret_cast<std::uintptr_t>(sbrk(0));
    if (newEnd > roundedUp(oldEnd)) {
        advise(roundedUp(oldEnd), newEnd);
    }
}

void preferLargePages(QByteArray& bytes) {
    if (bytes.size() < static_cast<qsizetype>(largePage)) {
        return;
    }
    // The range is rounded outward to whole large pages, because the system makes a large page only if the advice
    // covers all of it. The added memory does no harm: it mostly belongs to another large array, and the system skips
    // parts of the range that aren't mapped.
    const auto begin = reinterpret_cast<std::uintptr_t>(bytes.data());
    advise(begin / largePage * largePage, roundedUp(begin + static_cast<std::uintptr_t>(bytes.capacity()) + 1));
}
