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

// Only advice: the system may ignore it, which changes nothing but the time.
void advise(std::uintptr_t begin, std::uintptr_t end) {
    madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace

void prepareHeap() {
    if (memoryIsLimited()) {
        return;  // reserved room would be missing elsewhere
    }
    mallopt(M_MMAP_THRESHOLD, largestHeapArray);
    mallopt(M_TRIM_THRESHOLD, 2 * heapRoom);
    mallopt(M_TOP_PAD, heapRoom);
    const auto oldEnd = reinterpret_cast<std::uintptr_t>(sbrk(0));
    // More than the heap has left, so that the heap grows now: the advice must come before the first access to the
    // memory. Volatile, because the compiler may remove an allocation that isn't used.
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
    // Rounded outward to whole large pages: the memory next to the array mostly belongs to the next array, and the
    // system makes no large page of one that is advised in part. It skips parts of the range that aren't mapped.
    const auto begin = reinterpret_cast<std::uintptr_t>(bytes.data());
    advise(begin / largePage * largePage, roundedUp(begin + static_cast<std::uintptr_t>(bytes.capacity()) + 1));
}
